#include "agent/restart/Retry.h"

#include <algorithm>
#include <array>
#include <thread>

#include "agent/terms/CurrentError.h"

namespace LagAgent {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongestPause(5000);
constexpr milliseconds kPatience(60'000);

/// Pipeline manager not ready, communication failed, try again later, table locked, idle time
/// update in progress, device locked.
constexpr std::array<std::uint32_t, 6> kPassing{1, 5, 10, 13, 20, 21};

bool mayPass(const Error& error) {
    return error.status && std::ranges::find(kPassing, *error.status) != kPassing.end();
}

} // namespace

Retry::Retry(Note note, Pause pause)
    : note_(std::move(note)), pause_(pause ? std::move(pause) : [](milliseconds time) {
          std::this_thread::sleep_for(time);
      }) {}

/// REQUIRES: called in a handler.
void Retry::waitOrThrow() {
    const Error error = currentError();
    if (!error.status) {
        throw;
    }
    const std::string text =
        error.text() + "; the chip forwards on as it is, and the next start goes on from here. ";
    if (!mayPass(error)) {
        throw CommandError(
            ErrorKind::start,
            text + "Remove what the chip's status tells of, then start the agent again");
    }
    if (waited_ >= kPatience) {
        throw ChipNotReady(ErrorKind::start,
                           text + "The chip has refused for a minute: see whether its SDK is well, "
                                  "then start the agent again");
    }
    if (waited_ == milliseconds::zero()) {
        note_("the chip refuses for now, and is asked again: " + error.text());
    }
    pause_(next_);
    waited_ += next_;
    next_ = std::min(next_ * 2, kLongestPause);
}

} // namespace LagAgent
