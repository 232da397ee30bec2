// How tools read what a PD library tells: its objects by walks over their handles, and the log of
// its calls. It is for functions that are linked as well as for such that were found by name.
#pragma once

#include "pd/PdTools.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace pd {

/// The names of the actions, in the order of P4_PD_ACTION_*.
inline constexpr std::array kActionNames{"fixL2SubintfAlignment", "invalidateUcastEgressPort",
                                         "setLagPort", "setPhysicalPort", "setTunnelInfo"};

/// Calls `visit(handle)` for every handle of a walk, which is over a target, or over a device's
/// group. `read(function, arguments...)` calls a PD function in a session and says whether it found
/// something; what it throws ends the walk.
template <class Read, class First, class Next, class Visit, class... Where>
void walk(const Read& read, const First& first, const Next& next, const Visit& visit,
          const Where&... where) {
    std::uint32_t handle = 0;
    for (bool isFound = read(first, where..., &handle); isFound;
         isFound = read(next, where..., handle, &handle)) {
        visit(handle);
    }
}

/// Calls `visit(call)` for the calls from `begin` to before `end` that the log still has. `log` has
/// the functions of the log as members: log_begin, log_read, log_format.
template <class Log, class Visit>
void forEachCall(const Log& log, std::uint64_t begin, std::uint64_t end, const Visit& visit) {
    for (auto at = std::max(begin, log.log_begin()); at < end; ++at) {
        velmor_asic_call_t call{};
        if (log.log_read(at, &call) == P4_PD_STATUS_SUCCESS) {
            visit(call);
        }
    }
}

/// A call as one line; none when the log has dropped it meanwhile.
template <class Log>
std::optional<std::string> callText(const Log& log, std::uint64_t sequence) {
    std::string text(512, '\0'); // nearly every call is shorter
    int length = log.log_format(sequence, text.data(), text.size());
    if (length >= static_cast<int>(text.size())) {
        text.resize(static_cast<std::size_t>(length) + 1);
        length = log.log_format(sequence, text.data(), text.size());
    }
    if (length < 0) {
        return std::nullopt;
    }
    text.resize(std::min(text.size(), static_cast<std::size_t>(length)));
    return text;
}

} // namespace pd
