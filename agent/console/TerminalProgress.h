#pragma once

#include <chrono>
#include <string>

#include "agent/console/UnwaitingFile.h"
#include "agent/outcome/Progress.h"

namespace LagAgent {

/// Progress as one line of a terminal that overwrites itself, and that is gone when this object is.
/// Nothing is written to anything but a terminal, and nothing to one that takes no more.
class TerminalProgress final : public Progress {
  public:
    using Duration = std::chrono::milliseconds;

    /// `fd` stays the caller's. Nothing is shown of what is over within `patience`, so that short
    /// work does not flicker.
    explicit TerminalProgress(int fd, Duration patience = Duration(500));
    ~TerminalProgress() override;

    void show(std::string_view phase, std::size_t done, std::size_t total) override;
    void hide() override;

  private:
    using Clock = std::chrono::steady_clock;

    UnwaitingFile file_;
    bool isTerminal_;
    bool isShown_ = false;
    Clock::time_point next_; // not before then
};

/// "restoring members: 43 % (430 of 1000)"
std::string described(std::string_view phase, std::size_t done, std::size_t total);

} // namespace LagAgent
