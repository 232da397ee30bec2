#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "agent/outcome/Errors.h"

namespace LagAgent {

/// The chip has refused to be driven for too long, for a reason that passes by itself: another
/// start may well succeed.
class ChipNotReady : public CommandError {
    using CommandError::CommandError;
};

/**
 * Lets a start wait for a chip that refuses PD calls for a reason that passes by itself (it is not
 * ready, locked, or says to try again). The pauses grow from a tenth of a second to five seconds;
 * after a minute of them the start fails.
 */
class Retry {
  public:
    using Note = std::function<void(std::string)>;
    using Pause = std::function<void(std::chrono::milliseconds)>;

    /// `note` is told of the first refusal. Without a `pause` the thread sleeps.
    Retry(Note note, Pause pause);

    /// Runs the work until it succeeds. A PD call that is refused for good throws `CommandError`
    /// (start) that says what to do, one that is refused for too long `ChipNotReady`; anything else
    /// passes.
    template <class Work>
    auto run(Work&& work) {
        for (;;) {
            try {
                return work();
            } catch (const CommandError&) {
                throw;
            } catch (...) {
                waitOrThrow();
            }
        }
    }

  private:
    void waitOrThrow();

    Note note_;
    Pause pause_;
    std::chrono::milliseconds next_{100};
    std::chrono::milliseconds waited_{};
};

} // namespace LagAgent
