#include "agent/wire/SocketOptions.h"

#include <CLI/CLI.hpp>

#include "agent/wire/Address.h"

namespace LagAgent {

void addStateDirectory(CLI::App& app, std::string& stateDirectory) {
    stateDirectory = defaultStateDirectory();
    app.add_option("--state-dir", stateDirectory, "Directory in which the daemon keeps its state")
        ->type_name("DIRECTORY")
        ->capture_default_str();
}

void addChipFile(CLI::App& app, std::string& chipFile) {
    app.add_option("--chip", chipFile,
                   "File in which the software ASIC's chip outlives the daemon (default: 'chip' in "
                   "the state directory)")
        ->type_name("FILE");
}

void addSocket(CLI::App& app, std::string& stateDirectory, std::string& control) {
    addStateDirectory(app, stateDirectory);
    app.add_option("--control", control,
                   "Socket on which the daemon takes commands (default: 'control' in the state "
                   "directory)")
        ->type_name("SOCKET");
    app.parse_complete_callback([&] {
        if (control.empty()) {
            control = controlIn(stateDirectory);
        }
    });
}

} // namespace LagAgent
