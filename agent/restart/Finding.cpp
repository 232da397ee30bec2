#include "agent/restart/Finding.h"

#include <array>

namespace LagAgent {

const char* nameOf(Finding::Kind kind) {
    constexpr std::array kNames{"corrupt table", "stale record",  "reservation", "unknown handle",
                                "unrecorded",    "missing",       "orphan",      "group twice",
                                "wrong action",  "wrong members", "wrong state", "wrong target"};
    return kNames.at(static_cast<std::size_t>(kind));
}

std::string chipName(const char* kind, ChipHandle handle) {
    return std::string("chip ") + kind + " " + std::to_string(handle);
}

} // namespace LagAgent
