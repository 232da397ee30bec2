#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "agent/console/UnwaitingFile.h"
#include "agent/outcome/Reply.h"

namespace LagAgent {

enum class LogLevel { debug, info, warning, error };

struct LogOptions {
    /// One JSON document a line, instead of logfmt.
    bool json = false;
    /// Nothing less important is written.
    LogLevel level = LogLevel::info;
};

/// What an event is about: a name that is one word, and text or a number.
struct LogField {
    std::string_view name;
    Json value;
};

/**
 * A log of events, each of them one line and one write:
 *
 *     ts=2026-11-21T11:12:13.123Z level=info event=ready socket=/run/lag-agent/control
 *
 * Values are quoted where that is needed, and bytes that could end a line or a value, or that a
 * terminal would act on, are escaped: whatever a client sends stays a value. Where the file is the
 * journal, a line begins with the journal's priority ("<6>") and the journal's own time serves.
 *
 * Nobody is waited for. An event that the file does not take is dropped, and as soon as it takes
 * something it is told how many were:
 *
 *     ts=2026-11-21T11:12:19.480Z level=warning event=log-dropped events=17
 *
 * Of a line that was taken in part the rest is written before anything else.
 */
class Log {
  public:
    /// `fd` stays the caller's.
    Log(int fd, LogOptions options);
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    void write(LogLevel level, std::string_view event,
               std::initializer_list<LogField> fields = {}) const;

    /// Writes what is due of earlier events; false when the file does not take it yet.
    bool flush() const;

  private:
    std::string line(LogLevel level, std::string_view event,
                     std::initializer_list<LogField> fields) const;
    bool put(std::string line) const;

    UnwaitingFile file_;
    LogOptions options_;
    bool isJournal_;
    // Of the file's state rather than the log's.
    mutable std::string rest_; // of the line that was taken in part
    mutable std::uint64_t dropped_ = 0;
};

/// The bytes as the value of a logfmt field.
std::string logfmtValue(std::string_view value);

} // namespace LagAgent
