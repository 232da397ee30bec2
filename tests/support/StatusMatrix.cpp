#include "tests/support/StatusMatrix.h"

#include <map>
#include <numeric>
#include <typeinfo>

namespace test_support {

namespace {

using BfTable::pipe_status;

const char* textOf(pipe_status status) {
    static const std::map<pipe_status, const char*> texts{
        {1, "Pipeline manager service not ready"},
        {2, "No system resources"},
        {3, "Invalid arguments"},
        {4, "Object already exists"},
        {5, "Communication failed"},
        {6, "Object not found"},
        {7, "Exceeded max sessions"},
        {8, "Session not found"},
        {9, "Not enough Space"},
        {10, "Try again later"},
        {11, "Initialization error"},
        {12, "Not Supported In Transaction"},
        {13, "Table is locked"},
        {14, "IO Error"},
        {15, "Unexpected"},
        {16, "Action data entry is being referenced by match entries"},
        {17, "Not supported"},
        {18, "Updating hardware failed"},
        {19, "No learning clients registered"},
        {20, "Idle time update state already in progress"},
        {21, "Device Locked"},
        {22, "Internal Error"},
    };
    const auto found = texts.find(status);
    return found == texts.end() ? "Table not found" : found->second;
}

template <class Exception>
Refusal refusalOf(const char* className, const Exception& exception) {
    return {className, exception.status, exception.what(), exception.id()};
}

} // namespace

std::vector<pipe_status> failingStatuses() {
    std::vector<pipe_status> statuses(25);
    std::iota(statuses.begin(), statuses.end(), pipe_status{1});
    statuses.push_back(30);
    return statuses;
}

Refusal refusalBy(const std::function<void()>& act) {
    try {
        try {
            act();
        } catch (const BfTable::BfTableException& exception) {
            const std::type_info& type = typeid(exception);
            return refusalOf(type == typeid(BfTable::BfTableException)   ? "BfTableException"
                             : type == typeid(BfTable::BfTableFull)      ? "BfTableFull"
                             : type == typeid(BfTable::BfNoSysResources) ? "BfNoSysResources"
                                                                         : type.name(),
                             exception);
        }
    } catch (const BfTable::BfNotSupported& exception) {
        return refusalOf("BfNotSupported", exception);
    }
    return {"nothing", 0, "", 0};
}

Refusal expectedRefusal(const std::string& function, pipe_status status) {
    const char* thrown = status == 9    ? "BfTableFull"
                         : status == 2  ? "BfNoSysResources"
                         : status == 17 ? "BfNotSupported"
                                        : "BfTableException";
    return {thrown, status, function + "() failed: " + textOf(status), 1};
}

} // namespace test_support
