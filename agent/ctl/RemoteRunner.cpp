#include "agent/ctl/RemoteRunner.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <thread>

#include "agent/outcome/Text.h"
#include "agent/wire/Address.h"
#include "agent/wire/Peer.h"

namespace LagAgent {

namespace {

constexpr std::chrono::milliseconds kRetryPause(20);

/// Connects to that address, or returns the error's number.
int tryToConnect(const sockaddr_un& address, Posix::FileDescriptor& socket) {
    // A socket of its own for each try: what one is like after a failure is not specified.
    socket =
        Posix::FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const bool isConnected =
        socket &&
        ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    return isConnected ? 0 : errno;
}

} // namespace

RemoteRunner::RemoteRunner(std::string control, Patience patience)
    : control_(std::move(control)), patience_(patience) {
    const auto begin = Clock::now();
    try {
        connect(begin);
        Wire::readHello(receive(begin + patience_.greeting));
    } catch (const CommandError& e) {
        throw CommandError(ErrorKind::connection,
                           "cannot reach a daemon at " + control_ + ": " + e.what());
    }
}

void RemoteRunner::connect(Clock::time_point begin) {
    const sockaddr_un address = addressOf(control_);
    while (const int error = tryToConnect(address, socket_)) {
        // No daemon has been started there yet, or the one that was is dead.
        const bool mayCome = error == ENOENT || error == ECONNREFUSED;
        const bool isCrowded = error == EAGAIN;
        const auto patience = mayCome     ? patience_.listening
                              : isCrowded ? patience_.greeting
                                          : std::chrono::seconds();
        if (Clock::now() >= begin + patience) {
            throw CommandError(ErrorKind::connection, isCrowded
                                                          ? "too many clients are waiting there"
                                                          : std::strerror(error));
        }
        std::this_thread::sleep_for(kRetryPause);
    }
}

Outcome RemoteRunner::run(std::string_view line, WantedCalls calls) {
    const auto words = wordsOf(line);
    if (words.empty()) {
        return {};
    }
    auto answer = ask({.line = std::string(line), .calls = calls});
    answer.outcome.command = joined(words);
    isOver_ = isOver_ || answer.isOver;
    return std::move(answer.outcome);
}

std::vector<std::string> RemoteRunner::continuations(const std::vector<std::string>& words) {
    if (isLost_) {
        return {};
    }
    return ask({.begun = joined(words)}).continuations;
}

std::optional<Error> RemoteRunner::atEnd() {
    return isLost_ ? std::nullopt : ask({}).outcome.error;
}

Wire::Answer RemoteRunner::ask(const Wire::Request& request) {
    try {
        End end;
        if (patience_.answer.count() != 0) {
            end = Clock::now() + patience_.answer;
        }
        send(Wire::encode(request), end);
        return Wire::answerOf(receive(end));
    } catch (const CommandError& e) {
        isLost_ = isOver_ = true;
        Wire::Answer none;
        none.outcome.error =
            Error{ErrorKind::connection, "lost the daemon at " + control_ +
                                             " before it answered, so this may have been carried "
                                             "out or not: " +
                                             e.what()};
        return none;
    }
}

/// Until the socket can be used so.
void RemoteRunner::await(short events, const End& end) const {
    using std::chrono::milliseconds;
    pollfd waiting{socket_.get(), events, 0};
    int timeout = -1;
    do {
        if (end) {
            const auto left = std::chrono::ceil<milliseconds>(*end - Clock::now());
            timeout = static_cast<int>(std::max(left, milliseconds(0)).count());
        }
        const int ready = ::poll(&waiting, 1, timeout);
        if (ready > 0) {
            return;
        }
        if (ready == 0) {
            throw CommandError(ErrorKind::connection,
                               "process " + std::to_string(peerOf(socket_.get()).process) +
                                   " does not answer in time: it is busy, starting or stopped");
        }
    } while (errno == EINTR);
    throw CommandError(ErrorKind::connection, std::strerror(errno));
}

void RemoteRunner::send(std::string_view text, const End& end) {
    while (!text.empty()) {
        await(POLLOUT, end);
        const ssize_t size = ::send(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL);
        if (size < 0 && errno != EINTR && errno != EAGAIN) {
            throw CommandError(ErrorKind::connection, std::strerror(errno));
        }
        text.remove_prefix(size > 0 ? static_cast<std::size_t>(size) : 0);
    }
}

std::string RemoteRunner::receive(const End& end) {
    std::array<char, 1 << 16> bytes;
    while (!in_.hasLine()) {
        await(POLLIN, end);
        const ssize_t size = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
        if (size == 0) {
            throw CommandError(ErrorKind::connection, "it closed the connection");
        }
        if (size < 0 && errno != EINTR && errno != EAGAIN) {
            throw CommandError(ErrorKind::connection, std::strerror(errno));
        }
        in_.add({bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0});
    }
    const auto line = in_.next();
    if (line->isTooLong) {
        throw CommandError(ErrorKind::connection, "its answer is too long");
    }
    return line->text;
}

} // namespace LagAgent
