#include "agent/ctl/RemoteRunner.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <thread>

#include "agent/Text.h"
#include "agent/daemon/Address.h"

namespace LagAgent {

namespace {

constexpr std::chrono::milliseconds kRetryPause(20);

[[noreturn]] void lost(const std::string& what) {
    throw CommandError(ErrorKind::connection, what);
}

/// Connects to that address, or returns the error's number.
int tryToConnect(const sockaddr_un& address, Pello::FileDescriptor& socket) {
    // A socket of its own for each try: what one is like after a failure is not specified.
    socket = Pello::FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const bool isConnected =
        socket &&
        ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    return isConnected ? 0 : errno;
}

/// No daemon has been started there yet, or the one that was is dead.
bool mayCome(int error) {
    return error == ENOENT || error == ECONNREFUSED;
}

} // namespace

RemoteRunner::RemoteRunner(std::string control, std::chrono::seconds patience)
    : control_(std::move(control)) {
    try {
        connect(patience);
        Wire::readHello(receive());
    } catch (const CommandError& e) {
        lost("cannot reach a daemon at " + control_ + ": " + e.what());
    }
}

void RemoteRunner::connect(std::chrono::seconds patience) {
    const sockaddr_un address = addressOf(control_);
    const auto end = std::chrono::steady_clock::now() + patience;
    while (const int error = tryToConnect(address, socket_)) {
        if (!mayCome(error) || std::chrono::steady_clock::now() >= end) {
            lost(std::strerror(error));
        }
        std::this_thread::sleep_for(kRetryPause);
    }
}

Outcome RemoteRunner::run(std::string_view line) {
    const auto words = wordsOf(line);
    if (words.empty()) {
        return {};
    }
    auto answer = ask({std::string(line)});
    answer.outcome.command = joined(words);
    isOver_ = isOver_ || answer.isOver;
    return std::move(answer.outcome);
}

std::optional<Error> RemoteRunner::atEnd() {
    return isLost_ ? std::nullopt : ask({}).outcome.error;
}

Wire::Answer RemoteRunner::ask(const Wire::Request& request) {
    try {
        send(Wire::encode(request));
        return Wire::answerOf(receive());
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

void RemoteRunner::send(std::string_view text) {
    while (!text.empty()) {
        const ssize_t size = ::send(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL);
        if (size < 0 && errno != EINTR) {
            lost(std::strerror(errno));
        }
        text.remove_prefix(size > 0 ? static_cast<std::size_t>(size) : 0);
    }
}

std::string RemoteRunner::receive() {
    std::array<char, 1 << 16> bytes;
    while (!in_.hasLine()) {
        const ssize_t size = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
        if (size == 0) {
            lost("it closed the connection");
        }
        if (size < 0 && errno != EINTR) {
            lost(std::strerror(errno));
        }
        in_.add({bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0});
    }
    const auto line = in_.next();
    if (line->isTooLong) {
        lost("its answer is too long");
    }
    return line->text;
}

} // namespace LagAgent
