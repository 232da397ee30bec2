#pragma once

#include <source_location>

#include "framework/Assert.h"
#include "framework/Words.h"
#include "platform/BfPdLagGroup/Tracing.h"

namespace BfLagGroup {

using BfPdLagGroup::traceHandle;

/// An operation as traces and assertions name it.
struct Site {
    /// What the trace line at the operation's entry says, and what assertions call it.
    const char* signature;
    const char* name;
};

/// The place that traces and assertions of this library name. It is what readers of logs look for,
/// not a file here; nor are the line numbers that some operations give with it. Keep them.
inline constexpr const char* kSource = "bf_velmor_switch/kel/BfLagGroup/BfLagGroup";

inline constexpr Kel::U8 kEntryLevel = 9;
inline constexpr Kel::U8 kDetailLevel = 8;

/// The caller's own line, which an operation without a fixed one gives.
inline Kel::U32 lineHere(std::source_location where) {
    return where.line();
}

/// Traces the entry into an operation at level 9.
inline void traceEntry(const Site& site,
                       Kel::U32 line = lineHere(std::source_location::current())) {
    Kel::tracePoint(traceHandle, kEntryLevel, kSource, line, site.name, site.signature);
}

/// Ends the process: a caller has broken the order that the driver requires. `text` is the
/// condition as the message shows it.
[[noreturn]] inline void fail(const char* text, const Site& site,
                              Kel::U32 line = lineHere(std::source_location::current())) {
    Kel::assertFail(text, kSource, line, site.signature);
}

/// The same unless `holds`.
inline void require(bool holds, const char* text, const Site& site,
                    Kel::U32 line = lineHere(std::source_location::current())) {
    if (!holds) [[unlikely]] {
        fail(text, site, line);
    }
}

} // namespace BfLagGroup
