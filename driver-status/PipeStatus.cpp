#include "driver-status/PipeStatus.h"

#include <array>

namespace BfTable {

namespace {

constexpr std::array kTexts{
    "Success",
    "Pipeline manager service not ready",
    "No system resources",
    "Invalid arguments",
    "Object already exists",
    "Communication failed",
    "Object not found",
    "Exceeded max sessions",
    "Session not found",
    "Not enough Space",
    "Try again later",
    "Initialization error",
    "Not Supported In Transaction",
    "Table is locked",
    "IO Error",
    "Unexpected",
    "Action data entry is being referenced by match entries",
    "Not supported",
    "Updating hardware failed",
    "No learning clients registered",
    "Idle time update state already in progress",
    "Device Locked",
    "Internal Error",
    "Table not found",
    "Unknown Error",
};

/// The last text that is ever chosen: the table ends one further, with a text for which the SDK
/// reports "Table not found" too.
constexpr pipe_status kLastUsed = 23;
static_assert(kTexts.size() == kLastUsed + 2);

} // namespace

const char* pipeStatusText(pipe_status status) noexcept {
    return kTexts[status <= kLastUsed ? status : kLastUsed];
}

} // namespace BfTable
