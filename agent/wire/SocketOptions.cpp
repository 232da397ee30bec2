#include "agent/wire/SocketOptions.h"

#include "agent/wire/Address.h"

namespace LagAgent {

void addStateDirectory(Programs::OptionParser& parser, std::string& stateDirectory) {
    stateDirectory = defaultStateDirectory();
    parser.add("--state-dir", stateDirectory, "Directory in which the daemon keeps its state")
        .typeName("DIRECTORY")
        .defaultFromValue();
}

void addChipFile(Programs::OptionParser& parser, std::string& chipFile) {
    parser
        .add("--chip", chipFile,
             "File in which the software ASIC's chip outlives the daemon (default: 'chip' in "
             "the state directory)")
        .typeName("FILE");
}

void addSocket(Programs::OptionParser& parser, std::string& stateDirectory, std::string& control) {
    addStateDirectory(parser, stateDirectory);
    parser
        .add("--control", control,
             "Socket on which the daemon takes commands (default: 'control' in the state "
             "directory)")
        .typeName("SOCKET");
    parser.whenRead([&] {
        if (control.empty()) {
            control = controlIn(stateDirectory);
        }
    });
}

} // namespace LagAgent
