#pragma once

#include <utility>

#include "driver-status/PipeStatus.h"
#include "framework/Export.h"

namespace BfTable {

/// Throws the exception that belongs to a failed PD call: `BfTableFull` for status 9,
/// `BfNoSysResources` for 2, `BfNotSupported` for 17, otherwise `BfTableException`.
[[noreturn]] KEL_EXPORT void throwPdFailure(const char* function, pipe_status status);

/**
 * Makes one PD call and throws when the chip refuses it. This is the one way in which the driver
 * calls the chip where it cares for the status.
 *
 * `operation` is a callable that knows its own name, so the message cannot name another function
 * than the one called:
 *
 *     pdCall(pd.p4_pd_velmor_switch_lagGroup_table_delete, session, device, handle);
 */
template <class PdOperation, class... Arguments>
void pdCall(const PdOperation& operation, Arguments&&... arguments) {
    const pipe_status status = operation(std::forward<Arguments>(arguments)...);
    if (status != kStatusSuccess) [[unlikely]] {
        throwPdFailure(operation.name(), status);
    }
}

} // namespace BfTable
