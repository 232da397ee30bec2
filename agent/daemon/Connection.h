#pragma once

#include <memory>
#include <string>

#include "agent/CommandRunner.h"
#include "agent/daemon/LineBuffer.h"
#include "platform/Pello/FileDescriptor.h"

namespace LagAgent {

/**
 * A client of the daemon: its socket, what was received and not yet carried out, what it has not
 * yet taken, and its script. Nothing here waits.
 *
 * Nothing is read while a request waits, and no request is carried out while an answer waits to be
 * taken, so a client holds one request and one answer of the daemon's memory at most.
 */
class Connection {
  public:
    /// Greets the client.
    Connection(Pello::FileDescriptor socket, std::unique_ptr<CommandRunner> runner);

    int fd() const noexcept { return socket_.get(); }

    /// What to wait for, in epoll's terms.
    std::uint32_t events() const noexcept;
    /// Reads and writes what epoll found possible.
    void serve(std::uint32_t events);

    /// There is a request to be carried out now.
    bool hasRequest() const noexcept { return in_.hasLine() && out_.empty() && !isBroken_; }
    /// Carries out the next request and answers it; what is no request is answered with an error.
    /// REQUIRES: `hasRequest()`.
    Outcome answer();

    /// Nothing more is read or carried out; the client may take what is left of its answer.
    void endInput();

    /// There is nothing left to do for the client, or no way to do it.
    bool isOver() const noexcept;

  private:
    void receive();
    void send();

    Pello::FileDescriptor socket_;
    std::unique_ptr<CommandRunner> runner_;
    LineBuffer in_;
    std::string out_;
    std::size_t sent_ = 0;
    bool isAtEnd_ = false;  // the client sends no more
    bool isBroken_ = false; // the client is gone
};

} // namespace LagAgent
