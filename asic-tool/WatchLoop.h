#pragma once

#include <iosfwd>
#include <string>

#include "asic-tool/FlowWatch.h"

namespace asic_tool {

/// What the command `watch` needs of the process: lines on a descriptor ask for reports, its end or
/// stop() ends the watch.
class Requests {
  public:
    explicit Requests(int descriptor) : descriptor_(descriptor) {}

    /// Waits for input for so many milliseconds at most (0: not at all). How many lines have come;
    /// the rest of a line at the end is one too. After stop() or at the end, isOver().
    std::size_t lines(int milliseconds);
    bool isOver() const noexcept;

    /// May be called by a signal handler; ends all of them.
    static void stop() noexcept;

  private:
    int descriptor_;
    bool isAtEnd_ = false;
    bool isInLine_ = false;
};

/// The counts as one line without line end.
std::string reportLine(const FlowWatch::Counts& counts, bool isJson);

/// Sends flows until the requests are over, and reports on request. The first lookup that goes
/// wrong is told on `err`. Returns whether none did. Throws what FlowWatch::send() throws.
bool watchFlows(FlowWatch& watch, Requests& requests, bool isJson, std::ostream& out,
                std::ostream& err);

} // namespace asic_tool
