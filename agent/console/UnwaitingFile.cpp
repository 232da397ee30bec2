#include "agent/console/UnwaitingFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>

namespace LagAgent {

namespace {

bool hasRoom(int fd) noexcept {
    pollfd waiting{fd, POLLOUT, 0};
    return ::poll(&waiting, 1, 0) == 1 && (waiting.revents & POLLOUT) != 0;
}

} // namespace

UnwaitingFile::UnwaitingFile(int fd) : fd_(fd) {
    struct stat file {};
    if (::fstat(fd, &file) != 0) {
        return; // writing will fail
    }
    if (S_ISSOCK(file.st_mode)) {
        kind_ = Kind::socket;
    } else if (S_ISFIFO(file.st_mode) || ::isatty(fd)) {
        const std::string path = "/proc/self/fd/" + std::to_string(fd);
        own_ = Posix::FileDescriptor(
            ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        kind_ = own_ ? Kind::own : Kind::polled;
    }
}

ssize_t UnwaitingFile::writeSome(std::string_view bytes) const noexcept {
    switch (kind_) {
    case Kind::socket:
        return ::send(fd_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    case Kind::own:
        return ::write(own_.get(), bytes.data(), bytes.size());
    case Kind::polled:
        bytes = bytes.substr(0, hasRoom(fd_) ? PIPE_BUF : 0);
        break;
    case Kind::file:
        break;
    }
    return ::write(fd_, bytes.data(), bytes.size());
}

std::size_t UnwaitingFile::write(std::string_view bytes) const noexcept {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t size = writeSome(bytes.substr(done));
        if (size > 0) {
            done += static_cast<std::size_t>(size);
        } else if (size == 0 || errno != EINTR) {
            break;
        }
    }
    return done;
}

} // namespace LagAgent
