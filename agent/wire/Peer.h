#pragma once

#include <sys/types.h>

namespace LagAgent {

/// Who is at the other end of a socket.
struct Peer {
    pid_t process = 0;
    uid_t user = static_cast<uid_t>(-1); // nobody
};

/// Nobody, when the kernel does not know.
Peer peerOf(int socket);

} // namespace LagAgent
