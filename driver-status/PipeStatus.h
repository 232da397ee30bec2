#pragma once

#include "framework/Export.h"
#include "framework/Words.h"

namespace BfTable {

/// Status of a PD call as the chip SDK defines it: 0 for success.
using pipe_status = Kel::U32;

/// The statuses that raise an exception class of their own.
inline constexpr pipe_status kStatusSuccess = 0;
inline constexpr pipe_status kStatusNoSysResources = 2;
inline constexpr pipe_status kStatusTableFull = 9;
inline constexpr pipe_status kStatusNotSupported = 17;

/// The SDK's text for a status. Any status above 23, or with the sign bit set, reads
/// "Table not found", as 23 does.
KEL_EXPORT const char* pipeStatusText(pipe_status status) noexcept;

} // namespace BfTable
