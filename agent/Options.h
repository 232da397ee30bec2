#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/Driver.h"
#include "agent/Presenter.h"

namespace LagAgent {

/// What the command line asks for.
struct Options {
    Target target{};
    PresenterOptions presenter{};
    /// The file of commands; empty for standard input.
    std::string batch{};
    bool isForced = false;
    std::vector<std::string> traces{};
};

inline constexpr int kExitGood = 0;
inline constexpr int kExitCommandFailed = 1;
inline constexpr int kExitNotStarted = 2;

/// Reads the command line. Empty when there is nothing to run (help, version, or a mistake that has
/// been shown); then `*exitCode` is what to exit with.
std::optional<Options> readOptions(int argc, const char* const* argv, int* exitCode);

} // namespace LagAgent
