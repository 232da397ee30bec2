#pragma once

#include <functional>
#include <optional>
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

/**
 * One trace point under way.
 *
 *     std::optional<TraceHelper> buffer;
 *     if (TraceHelper* helper = TraceHelper::createIfEnabled(handle, 9, buffer)) {
 *         EnsureTraceHelperIsDestroyed scope(buffer);
 *         helper->stream() << "text" << 7u;
 *         helper->trace(source, line, function);
 *     }
 *
 * Off, it costs one load and one predicted branch.
 */
class KEL_EXPORT TraceHelper {
  public:
    TraceHelper(const TraceHandle& handle, U8 level) : handle_(handle), level_(level) {}

    static TraceHelper* createIfEnabled(const TraceHandle& handle, U8 level,
                                        std::optional<TraceHelper>& buffer) {
        if (handle.isEnabled(level)) [[unlikely]] {
            return &buffer.emplace(handle, level);
        }
        return nullptr;
    }

    TraceStream& stream() noexcept { return stream_; }
    /// Writes the line: time, facility, level, source:line, function, text.
    void trace(const char* source, U32 line, const char* function);

  private:
    const TraceHandle& handle_;
    U8 level_;
    TraceStream stream_;
};

/// Ends a trace point's scope.
class EnsureTraceHelperIsDestroyed {
  public:
    explicit EnsureTraceHelperIsDestroyed(std::optional<TraceHelper>& buffer) : buffer_(buffer) {}
    ~EnsureTraceHelperIsDestroyed() { buffer_.reset(); }
    EnsureTraceHelperIsDestroyed(const EnsureTraceHelperIsDestroyed&) = delete;
    EnsureTraceHelperIsDestroyed& operator=(const EnsureTraceHelperIsDestroyed&) = delete;

  private:
    std::optional<TraceHelper>& buffer_;
};

} // namespace Kel
