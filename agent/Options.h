#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/Driver.h"
#include "agent/Presenter.h"
#include "agent/Session.h"
#include "agent/daemon/Log.h"

namespace LagAgent {

/// What the command line of `lag-agent` asks for.
struct Options {
    Target target{};
    PresenterOptions presenter{};
    Input input{};
    std::vector<std::string> traces{};
};

/// What the command line of `lag-agent serve` asks for.
struct ServeOptions {
    Target target{};
    std::string stateDirectory{};
    /// The socket on which commands are taken.
    std::string control{};
    /// The file in which the software ASIC's chip outlives the daemon; empty: "chip" in the state
    /// directory.
    std::string chipFile{};
    /// The boot generation of a chip whose PD library cannot tell it.
    std::uint64_t chipBoot = 0;
    LogOptions log{};
    std::vector<std::string> traces{};
};

/// What the command line of `lagctl` asks for.
struct ControlOptions {
    std::string control{};
    PresenterOptions presenter{};
    Input input{};
};

inline constexpr int kExitGood = 0;
inline constexpr int kExitCommandFailed = 1;
inline constexpr int kExitNotStarted = 2;

/// Whether the command line is one of `lag-agent serve`.
bool isServe(int argc, const char* const* argv);

/// Read a command line. Empty when there is nothing to run (help, version, or a mistake that has
/// been shown); then `*exitCode` is what to exit with.
std::optional<Options> readOptions(int argc, const char* const* argv, int* exitCode);
std::optional<ServeOptions> readServeOptions(int argc, const char* const* argv, int* exitCode);
std::optional<ControlOptions> readControlOptions(int argc, const char* const* argv, int* exitCode);

} // namespace LagAgent
