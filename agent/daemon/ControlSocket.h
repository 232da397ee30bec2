#pragma once

#include <optional>
#include <string>

#include "agent/wire/Peer.h"
#include "posix/FileDescriptor.h"
#include "posix/LockFile.h"

namespace LagAgent {

/**
 * The socket on which a daemon takes commands, listening from when this object is made. Clients
 * that connect before they are accepted wait.
 *
 * A lock on the file "PATH.lock" makes one process at a time the socket's owner, whatever ends it.
 * The owner replaces the socket of a dead daemon, and nothing else: a socket at which somebody
 * listens, or a file that is no socket, is an error.
 */
class ControlSocket {
  public:
    /// Throws `CommandError` (start) that says what is in the way.
    explicit ControlSocket(std::string path);
    ~ControlSocket() { close(); }
    ControlSocket(const ControlSocket&) = delete;
    ControlSocket& operator=(const ControlSocket&) = delete;

    const std::string& path() const noexcept { return path_; }
    int fd() const noexcept { return socket_.get(); }

    /// Stops to listen, and removes the socket from its folder.
    void close() noexcept;

  private:
    void lock();
    void removeStale() const;
    void listen();

    std::string path_;
    std::optional<Posix::LockFile> lock_;
    Posix::FileDescriptor socket_;
};

/// Only root and the daemon's own user give commands.
constexpr bool mayCommand(const Peer& peer, uid_t daemonUser) {
    return peer.user == 0 || peer.user == daemonUser;
}

} // namespace LagAgent
