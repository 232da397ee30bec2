#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/daemon/Log.h"
#include "agent/terms/Target.h"

namespace LagAgent {

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
    /// Start also where that loses what was acknowledged, or removes what nothing explains.
    bool acceptsLoss = false;
    /// Waits before the chip is asked again for what it refuses for a while; empty: a signal to
    /// end ends the wait, and the start.
    std::function<void(std::chrono::milliseconds)> pause{};
    LogOptions log{};
    std::vector<std::string> traces{};
};

/// Reads a command line of `lag-agent serve`; as `readOptions`.
std::optional<ServeOptions> readServeOptions(int argc, const char* const* argv, int* exitCode);

} // namespace LagAgent
