#include "agent/console/TerminalProgress.h"

#include <unistd.h>

#include <utility>

#include "agent/outcome/Text.h"

namespace LagAgent {

namespace {

constexpr std::chrono::milliseconds kInterval(100);
constexpr const char* kEraseLine = "\r\x1b[K";

} // namespace

std::string described(std::string_view phase, std::size_t done, std::size_t total) {
    if (done == 0 && total == 0) {
        return printable(phase);
    }
    const std::string text = printable(phase) + ": ";
    if (total == 0) {
        return text + std::to_string(done);
    }
    const double percent = 100.0 * static_cast<double>(done) / static_cast<double>(total);
    return text + std::to_string(static_cast<unsigned>(percent)) + " % (" + std::to_string(done) +
           " of " + std::to_string(total) + ")";
}

TerminalProgress::TerminalProgress(int fd, Duration patience)
    : file_(fd), isTerminal_(isatty(fd) == 1), next_(Clock::now() + patience) {}

TerminalProgress::~TerminalProgress() {
    hide();
}

void TerminalProgress::show(std::string_view phase, std::size_t done, std::size_t total) {
    if (!isTerminal_) {
        return;
    }
    const auto now = Clock::now();
    if (now < next_) {
        return;
    }
    next_ = now + kInterval;
    isShown_ = true;
    file_.write(kEraseLine + described(phase, done, total));
}

void TerminalProgress::hide() {
    if (std::exchange(isShown_, false)) {
        file_.write(kEraseLine);
    }
}

} // namespace LagAgent
