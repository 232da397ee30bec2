#include "asic-tool/Calls.h"

#include <algorithm>

#include "asic-tool/Json.h"
#include "pd/ReadBack.h"

namespace asic_tool {

namespace {

struct Log {
    decltype(&velmor_asic_log_begin) log_begin = velmor_asic_log_begin;
    decltype(&velmor_asic_log_read) log_read = velmor_asic_log_read;
    decltype(&velmor_asic_log_format) log_format = velmor_asic_log_format;
};

} // namespace

std::vector<Call> latestCalls(std::uint64_t most) {
    const std::uint64_t end = velmor_asic_log_end();
    const Log log;
    std::vector<Call> calls;
    pd::forEachCall(log, end - std::min(end, most), end, [&](const velmor_asic_call_t& call) {
        if (auto text = pd::callText(log, call.sequence)) {
            calls.push_back({call.sequence, call.operation, call.status, std::move(*text)});
        }
    });
    return calls;
}

std::string callsText(const std::vector<Call>& calls) {
    std::string text;
    for (const Call& call : calls) {
        text += std::to_string(call.sequence) + "  " + call.text + '\n';
    }
    return text;
}

std::string callsJson(const std::vector<Call>& calls) {
    Json json = Json::array();
    for (const Call& call : calls) {
        json.push_back({{"sequence", call.sequence},
                        {"operation", call.operation},
                        {"status", call.status},
                        {"call", call.text}});
    }
    return json.dump() + '\n';
}

} // namespace asic_tool
