#include "agent/daemon/Connection.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

#include "agent/outcome/Text.h"

namespace LagAgent {

namespace {

/// The request in a line. Throws `CommandError` when there is none.
Wire::Request requestIn(const LineBuffer::Line& line) {
    if (line.isTooLong) {
        throw CommandError(ErrorKind::connection, "a request may have " +
                                                      std::to_string(Wire::kLongestRequest) +
                                                      " bytes at most");
    }
    return Wire::requestOf(line.text);
}

Wire::Answer carryOut(CommandRunner& runner, const LineBuffer::Line& line) {
    Wire::Answer answer;
    try {
        const auto request = requestIn(line);
        if (request.line) {
            answer.outcome = runner.run(*request.line, request.calls);
        } else if (request.begun) {
            answer.continuations = runner.continuations(wordsOf(*request.begun));
        } else {
            answer.outcome.error = runner.atEnd();
        }
    } catch (const CommandError& e) {
        answer.outcome.error = errorOf(e);
    }
    return answer;
}

} // namespace

Connection::Connection(Posix::FileDescriptor socket, std::unique_ptr<CommandRunner> runner)
    : socket_(std::move(socket)), runner_(std::move(runner)), in_(Wire::kLongestRequest),
      out_(Wire::hello()) {
    send();
}

std::uint32_t Connection::events() const noexcept {
    std::uint32_t events = 0;
    if (!isAtEnd_ && !in_.hasLine()) {
        events |= EPOLLIN;
    }
    if (!out_.empty()) {
        events |= EPOLLOUT;
    }
    return events;
}

void Connection::serve(std::uint32_t events) {
    // Errors and hang-ups are found by trying what is wanted; a request that is here is carried out
    // even if its client is gone.
    const std::uint32_t wanted = this->events();
    const bool isTroubled = (events & (EPOLLERR | EPOLLHUP)) != 0;
    if ((wanted & EPOLLOUT) && (isTroubled || (events & EPOLLOUT))) {
        send();
    }
    if ((wanted & EPOLLIN) && (isTroubled || (events & EPOLLIN))) {
        receive();
    }
}

void Connection::receive() {
    std::array<char, 1 << 16> bytes;
    const ssize_t size = ::recv(fd(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (size > 0) {
        in_.add({bytes.data(), static_cast<std::size_t>(size)});
    } else if (size == 0) {
        isAtEnd_ = true;
    } else if (errno != EAGAIN && errno != EINTR) {
        isBroken_ = true;
    }
}

void Connection::send() {
    const ssize_t size =
        ::send(fd(), out_.data() + sent_, out_.size() - sent_, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (size >= 0) {
        sent_ += static_cast<std::size_t>(size);
    } else if (errno != EAGAIN && errno != EINTR) {
        isBroken_ = true;
    }
    if (sent_ == out_.size()) {
        out_ = {};
        sent_ = 0;
    }
}

std::optional<Outcome> Connection::takeTurn() {
    std::optional<Outcome> summary;
    if (answer_.isAtEnd()) {
        if (underWay_) {
            runner_->goOn(underWay_->outcome);
        } else {
            underWay_ = carryOut(*runner_, *in_.next());
        }
        if (underWay_->outcome.isUnderWay()) {
            return std::nullopt;
        }
        summary = begin(*std::exchange(underWay_, std::nullopt));
    }
    writeAnswer();
    send();
    return summary;
}

Outcome Connection::begin(Wire::Answer answer) {
    answer.isOver = runner_->isOver();
    const Outcome& outcome = answer.outcome;
    Outcome summary{
        .command = outcome.command, .error = outcome.error, .expectedError = outcome.expectedError};
    answer_ = Wire::encode(std::move(answer));
    return summary;
}

void Connection::writeAnswer() {
    for (std::size_t i = 0; i < kPiecesOfTurn && out_.size() < kBytesOfTurn && !answer_.isAtEnd();
         ++i) {
        answer_.writeNext(out_);
    }
    if (answer_.isAtEnd()) {
        answer_ = {}; // and with it what it was made from
    }
}

void Connection::endInput() {
    isAtEnd_ = true;
    in_ = LineBuffer(0);
}

bool Connection::isOver() const noexcept {
    return isBroken_ ||
           (isAtEnd_ && !in_.hasLine() && !underWay_ && answer_.isAtEnd() && out_.empty());
}

} // namespace LagAgent
