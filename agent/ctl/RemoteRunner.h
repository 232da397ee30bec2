#pragma once

#include <chrono>
#include <string>

#include "agent/CommandRunner.h"
#include "agent/daemon/LineBuffer.h"
#include "agent/daemon/Wire.h"
#include "platform/Pello/FileDescriptor.h"

namespace LagAgent {

/// Carries out command lines on the agent of a daemon, as one script of its own. When the daemon
/// goes in the middle, that is the error of the line being carried out, and the script is over.
class RemoteRunner final : public CommandRunner {
  public:
    /// Connects, and waits until the daemon greets: one that is starting does that when it has
    /// started. For as long as `patience` it tries again while nobody listens at the socket.
    /// Throws `CommandError` (connection) that names the socket and says why.
    explicit RemoteRunner(std::string control, std::chrono::seconds patience = {});

    Outcome run(std::string_view line) override;
    std::optional<Error> atEnd() override;
    bool isOver() const noexcept override { return isOver_; }

  private:
    void connect(std::chrono::seconds patience);
    Wire::Answer ask(const Wire::Request& request);
    void send(std::string_view text);
    std::string receive();

    std::string control_;
    Pello::FileDescriptor socket_;
    LineBuffer in_{Wire::kLongestAnswer};
    bool isOver_ = false;
    bool isLost_ = false;
};

} // namespace LagAgent
