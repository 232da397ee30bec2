#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

#include "framework/Export.h"
#include "framework/Words.h"

namespace Kel {

/**
 * One trace facility: a name and the level up to which its trace points write. Level 0, the
 * default, is off. A facility that is created takes its level from the environment variable
 * `KEL_TRACE` ("BfLagGroup=9,Kel=1") and from `traceLevelIs` calls made before it existed.
 */
class KEL_EXPORT TraceHandle {
  public:
    /// `on` starts the facility with every level on, unless a level has been set for its name.
    TraceHandle(const char* name, bool on);
    ~TraceHandle();
    TraceHandle(const TraceHandle&) = delete;
    TraceHandle& operator=(const TraceHandle&) = delete;

    const char* name() const noexcept { return name_; }
    U8 level() const noexcept { return level_; }
    bool isEnabled(U8 level) const noexcept { return level <= level_; }

  private:
    friend class TraceRegistry;
    // Read before the constructor has run (zero: off) by trace points of earlier initialisers.
    U8 level_;
    const char* name_;
    TraceHandle* next_;
};

/// Switches the facility of that name, now or when it is created: its points up to `level` write.
KEL_EXPORT void traceLevelIs(std::string_view facility, U8 level);
/// Reads "FACILITY=LEVEL[,FACILITY=LEVEL...]"; throws `RangeException` and changes nothing when the
/// text is anything else.
KEL_EXPORT void traceLevelsIs(std::string_view setting);
/// Where trace lines go (without line end); null is standard error, the default.
KEL_EXPORT void traceSinkIs(std::function<void(std::string_view line)> sink);

/// The text of one trace point.
class KEL_EXPORT TraceStream {
  public:
    TraceStream& operator<<(std::string_view text);
    TraceStream& operator<<(const char* text) { return *this << std::string_view(text); }
    template <class Unsigned>
    requires(std::is_unsigned_v<Unsigned> && !std::is_same_v<Unsigned, bool>) TraceStream&
    operator<<(Unsigned number) {
        return appendNumber(number);
    }

  private:
    friend class TraceHelper;
    TraceStream& appendNumber(U64 number);
    std::string text_;
};

class TraceBuffer;

/// One trace point under way. `tracePoint` below is the whole of it in one call.
class KEL_EXPORT TraceHelper {
  public:
    TraceHelper(const TraceHandle& handle, U8 level) : handle_(handle), level_(level) {}

    /// Begins a trace point in `buffer`; null when the facility is off at that level. Off, it costs
    /// one load and one predicted branch.
    static TraceHelper* createIfEnabled(const TraceHandle& handle, U8 level, TraceBuffer& buffer);

    TraceStream& stream() noexcept { return stream_; }
    /// Writes the line: time, facility, level, source:line, function, text.
    void trace(const char* source, U32 line, const char* function);

  private:
    const TraceHandle& handle_;
    U8 level_;
    TraceStream stream_;
};

/// Room for a trace point, so that one that is off constructs nothing.
class TraceBuffer {
    friend class TraceHelper;
    alignas(TraceHelper) std::byte room_[sizeof(TraceHelper)];
};

inline TraceHelper* TraceHelper::createIfEnabled(const TraceHandle& handle, U8 level,
                                                 TraceBuffer& buffer) {
    if (handle.isEnabled(level)) [[unlikely]] {
        return ::new (buffer.room_) TraceHelper(handle, level);
    }
    return nullptr;
}

/// Ends a trace point's scope.
class EnsureTraceHelperIsDestroyed {
  public:
    explicit EnsureTraceHelperIsDestroyed(TraceHelper& helper) : helper_(helper) {}
    ~EnsureTraceHelperIsDestroyed() { std::destroy_at(&helper_); }
    EnsureTraceHelperIsDestroyed(const EnsureTraceHelperIsDestroyed&) = delete;
    EnsureTraceHelperIsDestroyed& operator=(const EnsureTraceHelperIsDestroyed&) = delete;

  private:
    TraceHelper& helper_;
};

/// A trace point: writes the texts and unsigned numbers in `parts` as one line.
template <class... Parts>
void tracePoint(const TraceHandle& handle, U8 level, const char* source, U32 line,
                const char* function, const Parts&... parts) {
    TraceBuffer buffer;
    if (TraceHelper* helper = TraceHelper::createIfEnabled(handle, level, buffer)) {
        const EnsureTraceHelperIsDestroyed scope(*helper);
        static_cast<void>((helper->stream() << ... << parts));
        helper->trace(source, line, function);
    }
}

} // namespace Kel
