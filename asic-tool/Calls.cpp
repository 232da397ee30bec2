#include "asic-tool/Calls.h"

#include <algorithm>

#include "asic-tool/Json.h"
#include "asic/SoftwareAsic.h"

namespace asic_tool {

std::vector<Call> latestCalls(std::uint64_t most) {
    const std::uint64_t end = velmor_asic_log_end();
    const std::uint64_t begin = std::max(velmor_asic_log_begin(), end - std::min(end, most));
    std::vector<Call> calls;
    for (std::uint64_t sequence = begin; sequence != end; ++sequence) {
        velmor_asic_call_t call{};
        const int length = velmor_asic_log_format(sequence, nullptr, 0);
        // The ring may drop a call while it is read.
        if (length < 0 || velmor_asic_log_read(sequence, &call) != P4_PD_STATUS_SUCCESS)
            continue;
        std::string text(static_cast<std::size_t>(length) + 1, '\0');
        if (velmor_asic_log_format(sequence, text.data(), text.size()) != length)
            continue;
        text.pop_back();
        calls.push_back({call.sequence, call.operation, call.status, std::move(text)});
    }
    return calls;
}

std::string callsText(const std::vector<Call>& calls) {
    std::string text;
    for (const Call& call : calls)
        text += std::to_string(call.sequence) + "  " + call.text + '\n';
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
