#pragma once

#include <optional>
#include <string>

namespace LagAgent {

/// What the command line of `lag-agent restore` asks for.
struct RestoreOptions {
    std::string copy{};
    std::string stateDirectory{};
    /// The file of the software ASIC's chip; empty: "chip" in the state directory.
    std::string chipFile{};
};

/// Reads a command line of `lag-agent restore`; as `readOptions`.
std::optional<RestoreOptions> readRestoreOptions(int argc, const char* const* argv, int* exitCode);

/// Lets the copy that `backup` made take the place of the state directory's database. No daemon
/// runs there, and none can start meanwhile. What comes of it is said on standard output, what goes
/// wrong on standard error; returns the exit status.
int restoreState(const RestoreOptions& options);

} // namespace LagAgent
