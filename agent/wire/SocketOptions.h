#pragma once

#include <string>

#include "programs/OptionParser.h"

namespace LagAgent {

/// Adds the option for the daemon's state directory.
void addStateDirectory(Programs::OptionParser& parser, std::string& stateDirectory);

/// Adds the option for the file of the software ASIC's chip; empty: it was not given.
void addChipFile(Programs::OptionParser& parser, std::string& chipFile);

/// Adds the options that say where the daemon is: its state directory, and the socket, which is in
/// it unless it is named. Both have to be there until the line is parsed.
void addSocket(Programs::OptionParser& parser, std::string& stateDirectory, std::string& control);

} // namespace LagAgent
