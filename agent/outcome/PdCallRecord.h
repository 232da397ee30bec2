#pragma once

#include <cstdint>
#include <string>

namespace LagAgent {

/// One PD call, as the ASIC recorded it.
struct PdCallRecord {
    std::uint64_t sequence;
    std::string operation;
    std::uint32_t status;
    /// "operation(argument=value, ...) -> status output=value ..."
    std::string text;
};

} // namespace LagAgent
