#include "agent/outcome/OutcomeJson.h"

#include <memory>

#include "agent/outcome/Listing.h"

namespace LagAgent {

Json toJson(const Error& error) {
    Json json{{"kind", kindName(error.kind)}, {"message", error.message}};
    if (error.status) {
        json["class"] = error.exceptionClass;
        json["function"] = error.function;
        json["status"] = *error.status;
    }
    return json;
}

void addCalls(std::vector<PdCallRecord> calls, ObjectPieces& object) {
    const std::size_t count = calls.size();
    const auto rows = std::make_shared<Listing>(
        std::vector<std::string>{"operation", "status", "call"}, count,
        [calls = std::move(calls)](std::size_t i) {
            return Cells{calls[i].operation, calls[i].status, calls[i].text};
        });
    object.addArray("calls", count,
                    [rows](std::size_t i, std::string& out) { rows->appendJson(i, out); });
}

std::string toLine(const Json& document) {
    return toText(document) + "\n";
}

} // namespace LagAgent
