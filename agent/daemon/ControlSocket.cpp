#include "agent/daemon/ControlSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "agent/outcome/Errors.h"
#include "agent/wire/Address.h"
#include "posix/StateException.h"

namespace LagAgent {

namespace {

[[noreturn]] void cannotListen(const std::string& path, const std::string& why) {
    throw CommandError(ErrorKind::start, "cannot take commands at " + path + ": " + why);
}

/// For the socket of that path.
Posix::FileDescriptor newSocket(const std::string& path) {
    Posix::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) {
        cannotListen(path, std::strerror(errno));
    }
    return socket;
}

int connectTo(const Posix::FileDescriptor& socket, const std::string& path) {
    const sockaddr_un address = addressOf(path);
    return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

std::string listenerAt(const Posix::FileDescriptor& socket) {
    return "process " + std::to_string(peerOf(socket.get()).process) + " takes commands there";
}

} // namespace

ControlSocket::ControlSocket(std::string path) : path_(std::move(path)) {
    addressOf(path_); // throws before anything is made
    lock();
    removeStale();
    listen();
}

void ControlSocket::lock() {
    try {
        lock_.emplace(path_ + ".lock", path_);
    } catch (const Posix::StateException& e) {
        const auto socket = newSocket(path_);
        if (connectTo(socket, path_) == 0) {
            cannotListen(path_, listenerAt(socket));
        }
        cannotListen(path_, e.what());
    }
}

void ControlSocket::removeStale() const {
    struct stat file {};
    if (::lstat(path_.c_str(), &file) != 0) {
        return;
    }
    if (!S_ISSOCK(file.st_mode)) {
        cannotListen(path_, "there is a file that is no socket");
    }
    const auto socket = newSocket(path_);
    if (connectTo(socket, path_) == 0) {
        cannotListen(path_, listenerAt(socket));
    }
    if (errno != ECONNREFUSED) {
        cannotListen(path_, std::string("somebody's socket is there: ") + std::strerror(errno));
    }
    ::unlink(path_.c_str());
}

void ControlSocket::listen() {
    auto socket = newSocket(path_);
    const sockaddr_un address = addressOf(path_);
    const mode_t mask = ::umask(S_IRWXG | S_IRWXO | S_IXUSR); // mode 0600
    const int bound =
        ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    const int error = errno;
    ::umask(mask);
    if (bound != 0) {
        cannotListen(path_, std::strerror(error));
    }
    socket_ = std::move(socket);
    if (::listen(socket_.get(), SOMAXCONN) != 0) {
        const int refused = errno;
        close();
        cannotListen(path_, std::strerror(refused));
    }
}

void ControlSocket::close() noexcept {
    if (socket_) {
        ::unlink(path_.c_str()); // while the lock is held
        socket_ = Posix::FileDescriptor();
    }
}

} // namespace LagAgent
