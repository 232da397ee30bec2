#include "agent/wire/Address.h"

#include <cstdlib>

#include "agent/outcome/Errors.h"

namespace LagAgent {

std::string defaultStateDirectory() {
    if (const char* directories = std::getenv("RUNTIME_DIRECTORY"); directories && *directories) {
        const std::string_view all = directories; // with colons between them
        return std::string(all.substr(0, all.find(':')));
    }
    if (const char* directory = std::getenv("XDG_RUNTIME_DIR"); directory && *directory) {
        return std::string(directory) + "/lag-agent";
    }
    return "/run/lag-agent";
}

std::string controlIn(const std::string& stateDirectory) {
    return stateDirectory + "/control";
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        throw CommandError(ErrorKind::connection,
                           "a socket cannot have the name '" + path + "': it must have 1 to " +
                               std::to_string(sizeof address.sun_path - 1) + " bytes");
    }
    path.copy(address.sun_path, path.size());
    return address;
}

} // namespace LagAgent
