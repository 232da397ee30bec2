#pragma once

#include <string>

#include "asic-tool/Json.h"

namespace asic_tool {

/// All that a chip holds: its boot generation, and for each scope (its pipes and "all") usage,
/// members, groups and entries. What another process changes meanwhile may be in it or not.
/// Throws `std::runtime_error` with the status when the chip cannot be read.
Json describeChip(int device);

/// The same for people; scopes without contents are left out, but for that of all pipes.
std::string chipText(const Json& chip);

} // namespace asic_tool
