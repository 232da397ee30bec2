#include "agent/wire/Peer.h"

#include <sys/socket.h>

namespace LagAgent {

Peer peerOf(int socket) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        return {};
    }
    return {credentials.pid, credentials.uid};
}

} // namespace LagAgent
