#include "agent/daemon/StartProgress.h"

#include <systemd/sd-daemon.h>
#include <unistd.h>

#include "agent/outcome/Text.h"

namespace LagAgent {

namespace {

constexpr std::chrono::milliseconds kStatusInterval(250);

} // namespace

StartProgress::StartProgress(const Log& log) : log_(log), terminal_(STDERR_FILENO) {}

void StartProgress::show(std::string_view phase, std::size_t done, std::size_t total) {
    // Phases may take turns, thousands of times; each is an event once.
    const bool isNew = phase != phase_ && phases_.emplace(phase).second;
    phase_ = phase;
    if (isNew) {
        terminal_.hide();
        log_.write(LogLevel::info, "start", {{"phase", phase_}, {"total", total}});
    }
    terminal_.show(phase, done, total);
    const auto now = Clock::now();
    if (isNew || now >= nextStatus_) {
        nextStatus_ = now + kStatusInterval;
        // As long as it gets on, a start may take its time.
        sd_notify(0, ("STATUS=Starting: " + described(phase, done, total) +
                      "\nEXTEND_TIMEOUT_USEC=30000000\nWATCHDOG=1")
                         .c_str());
    }
}

} // namespace LagAgent
