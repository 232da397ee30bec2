#pragma once

#include <memory>
#include <optional>
#include <string>

#include "agent/outcome/CommandRunner.h"
#include "agent/wire/LineBuffer.h"
#include "agent/wire/Wire.h"
#include "platform/Pello/FileDescriptor.h"

namespace LagAgent {

/**
 * A client of the daemon: its socket, what was received and not yet carried out, what it has not
 * yet taken, and its script. Nothing here waits.
 *
 * Nothing is read while a request waits, and no request is carried out while an answer waits to be
 * taken, so a client holds one request and one answer of the daemon's memory at most. Of the answer
 * that is what it is made from, and no more text than one turn writes.
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

    /// There is more of an answer to be sent now, or a request to be carried out.
    bool hasWork() const noexcept {
        return out_.empty() && !isBroken_ && (underWay_ || !answer_.isAtEnd() || in_.hasLine());
    }
    /// Goes on with the request that is under way, or with the answer; or, when there is neither,
    /// carries out the next request. Begins to answer it when that is done. What is no request is
    /// answered with an error. Returns what came of a request, but for what it has to say. A turn
    /// writes `kPiecesOfTurn` pieces, or `kBytesOfTurn` bytes and the rest of a piece.
    /// REQUIRES: `hasWork()`.
    std::optional<Outcome> takeTurn();
    /// What the request under way waits for: a descriptor that can be read when there is a turn to
    /// be taken; negative: for nothing. Until then there is nothing to be done for the client.
    int waitsFor() const { return underWay_ ? underWay_->outcome.reply.work()->waitsFor() : -1; }

    static constexpr std::size_t kPiecesOfTurn = 500;
    static constexpr std::size_t kBytesOfTurn = 1 << 16;

    /// Nothing more is read or carried out; the client may take what is left of its answer.
    void endInput();

    /// There is nothing left to do for the client, or no way to do it.
    bool isOver() const noexcept;

  private:
    /// Begins to write the answer.
    Outcome begin(Wire::Answer answer);
    void writeAnswer();
    void receive();
    void send();

    Pello::FileDescriptor socket_;
    std::unique_ptr<CommandRunner> runner_;
    LineBuffer in_;
    std::optional<Wire::Answer> underWay_; // whose command has more to do
    Pieces answer_;                        // as far as it is not in `out_`
    std::string out_;                      // what the socket has not taken yet
    std::size_t sent_ = 0;
    bool isAtEnd_ = false;  // the client sends no more
    bool isBroken_ = false; // the client is gone
};

} // namespace LagAgent
