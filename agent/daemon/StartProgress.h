#pragma once

#include <chrono>
#include <set>
#include <string>

#include "agent/console/TerminalProgress.h"
#include "agent/daemon/Log.h"
#include "agent/outcome/Progress.h"

namespace LagAgent {

/// How far a daemon's start is: each phase in the log, and how far it is in the status that systemd
/// shows and on the terminal, if there is one.
class StartProgress final : public Progress {
  public:
    /// REQUIRES: the log outlives this object.
    explicit StartProgress(const Log& log);

    void show(std::string_view phase, std::size_t done, std::size_t total) override;
    void hide() override { terminal_.hide(); }

  private:
    using Clock = std::chrono::steady_clock;

    const Log& log_;
    TerminalProgress terminal_;
    std::string phase_;
    std::set<std::string, std::less<>> phases_; // all so far
    Clock::time_point nextStatus_{};
};

} // namespace LagAgent
