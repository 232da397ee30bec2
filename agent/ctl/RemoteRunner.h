#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "agent/outcome/CommandRunner.h"
#include "agent/wire/LineBuffer.h"
#include "agent/wire/Wire.h"
#include "posix/FileDescriptor.h"

namespace LagAgent {

/// How long a daemon is waited for.
struct Patience {
    /// That it listens at the socket.
    std::chrono::seconds listening{0};
    /// That it greets, from the beginning; a daemon that is starting does so when it has started.
    std::chrono::seconds greeting{60};
    /// That it answers a request; 0: for ever.
    std::chrono::seconds answer{0};
};

/// Carries out command lines on the agent of a daemon, as one script of its own. When the daemon
/// goes in the middle, or does not answer in time, that is the error of the line being carried out,
/// and the script is over.
class RemoteRunner final : public CommandRunner {
  public:
    /// Connects, and waits until the daemon greets. Throws `CommandError` (connection) that names
    /// the socket and says why.
    explicit RemoteRunner(std::string control, Patience patience = {});

    Outcome run(std::string_view line, WantedCalls calls) override;
    /// Asks the daemon. None when it is lost, or too old to know.
    std::vector<std::string> continuations(const std::vector<std::string>& words) override;
    std::optional<Error> atEnd() override;
    bool isOver() const noexcept override { return isOver_; }

  private:
    using Clock = std::chrono::steady_clock;
    using End = std::optional<Clock::time_point>; // none: never

    void connect(Clock::time_point begin);
    Wire::Answer ask(const Wire::Request& request);
    void send(std::string_view text, const End& end);
    std::string receive(const End& end);
    void await(short events, const End& end) const;

    std::string control_;
    Patience patience_;
    Posix::FileDescriptor socket_;
    LineBuffer in_{Wire::kLongestAnswer};
    bool isOver_ = false;
    bool isLost_ = false;
};

} // namespace LagAgent
