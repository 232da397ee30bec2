#pragma once

#include <string>

namespace CLI {
class App;
} // namespace CLI

namespace LagAgent {

/// Adds the option for the daemon's state directory.
void addStateDirectory(CLI::App& app, std::string& stateDirectory);

/// Adds the option for the file of the software ASIC's chip; empty: it was not given.
void addChipFile(CLI::App& app, std::string& chipFile);

/// Adds the options that say where the daemon is: its state directory, and the socket, which is in
/// it unless it is named. Both have to be there until the line is parsed.
void addSocket(CLI::App& app, std::string& stateDirectory, std::string& control);

} // namespace LagAgent
