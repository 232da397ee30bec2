#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace asic_tool {

/// A PD call of the call log.
struct Call {
    std::uint64_t sequence;
    std::string operation;
    std::uint32_t status;
    /// "operation(argument=value, ...) -> status output=value ..."
    std::string text;
};

/// The latest calls that the log keeps, `most` of them at most.
std::vector<Call> latestCalls(std::uint64_t most);

/// One line a call.
std::string callsText(const std::vector<Call>& calls);
/// One JSON document with all of them.
std::string callsJson(const std::vector<Call>& calls);

} // namespace asic_tool
