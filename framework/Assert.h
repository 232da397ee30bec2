#pragma once

#include <source_location>

#include "framework/Export.h"
#include "framework/Words.h"

namespace Kel {

/**
 * Ends the process over a broken contract, in release builds too. Writes to standard error, in the
 * C library's form,
 *
 *     program: source:line: function: Assertion `text' failed.
 *
 * flushes, and aborts.
 */
[[noreturn]] KEL_EXPORT void assertFail(const char* text, const char* source, U32 line,
                                        const char* function) noexcept;

/// Fails with the caller's own place in the source unless `holds`.
inline void assertThat(bool holds, const char* text,
                       std::source_location where = std::source_location::current()) {
    if (!holds) [[unlikely]] {
        assertFail(text, where.file_name(), where.line(), where.function_name());
    }
}

} // namespace Kel
