#include "ovs/UnixSocket.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace ovs {

namespace {

// A switch that is busy with thousands of flows answers within a second; one that takes longer than
// this hangs.
constexpr timeval kPatience{.tv_sec = 10, .tv_usec = 0};

} // namespace

UnixSocket::UnixSocket(std::string path)
    : path_(std::move(path)), fd_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (fd_ < 0) {
        failed("cannot make a socket for", std::strerror(errno));
    }
    try {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path_.empty() || path_.size() >= sizeof address.sun_path) {
            failed("cannot connect to", "a path of a socket has 1 to 107 bytes");
        }
        path_.copy(address.sun_path, path_.size());
        // The limit on sending is the one on connecting to a full queue, too.
        ::setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience);
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
        if (::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            failed("cannot connect to", std::strerror(errno));
        }
    } catch (...) {
        ::close(fd_);
        throw;
    }
}

UnixSocket::~UnixSocket() {
    ::close(fd_);
}

void UnixSocket::failed(const char* what, const char* why) const {
    throw NoSwitch(std::string(what) + " " + path_ + ": " + why);
}

void UnixSocket::send(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const auto sent = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(sent));
        } else if (errno != EINTR) {
            failed("cannot write to", errno == EAGAIN ? "no answer" : std::strerror(errno));
        }
    }
}

std::size_t UnixSocket::receiveSome(std::span<std::uint8_t> room) {
    for (;;) {
        const auto received = ::recv(fd_, room.data(), room.size(), 0);
        if (received > 0) {
            return static_cast<std::size_t>(received);
        }
        if (received == 0) {
            failed("cannot read from", "the other side has closed the connection");
        }
        if (errno != EINTR) {
            failed("cannot read from", errno == EAGAIN ? "no answer" : std::strerror(errno));
        }
    }
}

void UnixSocket::receive(std::span<std::uint8_t> room) {
    while (!room.empty()) {
        room = room.subspan(receiveSome(room));
    }
}

bool UnixSocket::hasInput() const noexcept {
    pollfd wait{.fd = fd_, .events = POLLIN, .revents = 0};
    return ::poll(&wait, 1, 0) > 0;
}

} // namespace ovs
