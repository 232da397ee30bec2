// A connection to the management socket of an OpenFlow switch.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "ovs/OpenFlow.h"
#include "ovs/UnixSocket.h"

namespace ovs {

/// The switch has refused a request. What was asked for before it in the same commit holds.
class Refused : public std::runtime_error {
  public:
    explicit Refused(const openflow::Error& error)
        : runtime_error("the switch refuses: " + error.text()), isNoRoom_(error.isNoRoom()) {}

    [[nodiscard]] bool isNoRoom() const noexcept { return isNoRoom_; }

  private:
    bool isNoRoom_;
};

/// One request at a time: it is sent, and its answer awaited. Whatever throws anything but Refused
/// leaves a connection that is of no more use.
class Connection {
  public:
    /// Connects and agrees on the version. Throws NoSwitch, openflow::Malformed.
    explicit Connection(const std::string& path);

    /// Whether the switch still holds the other end. Answers what it asked meanwhile.
    [[nodiscard]] bool isAlive() noexcept;

    /// Returns when the switch has carried out all messages, in their order. Throws Refused for the
    /// first that it refuses, NoSwitch, openflow::Malformed.
    void commit(std::vector<openflow::Bytes> messages);

    /// The bodies of the answer to a multipart request. Throws as commit does.
    [[nodiscard]] std::vector<openflow::Bytes> ask(openflow::Bytes request);

  private:
    struct Message {
        openflow::Head head;
        openflow::Bytes body;
    };

    std::uint32_t send(openflow::Bytes message);
    /// The next message; none if it was the switch's own request, which is answered then.
    std::optional<Message> receiveOne();
    Message receive();

    UnixSocket socket_;
    std::uint32_t nextXid_ = 1;
};

} // namespace ovs
