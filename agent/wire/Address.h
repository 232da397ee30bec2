#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <string>

namespace LagAgent {

/// The state directory where none is named, for the daemon and for its clients: the first of
/// $RUNTIME_DIRECTORY, $XDG_RUNTIME_DIR/lag-agent, /run/lag-agent of which the environment knows.
std::string defaultStateDirectory();

/// The daemon's socket in its state directory.
std::string controlIn(const std::string& stateDirectory);

/// Throws `CommandError` (connection) when the path is empty, or too long for an address.
sockaddr_un addressOf(const std::string& path);

} // namespace LagAgent
