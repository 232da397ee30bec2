#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/chip/Driver.h"
#include "agent/console/Presenter.h"
#include "agent/console/Session.h"
#include "agent/outcome/ExitStatus.h"

namespace LagAgent {

/// What the command line of `lag-agent` asks for.
struct Options {
    Target target{};
    PresenterOptions presenter{};
    Input input{};
    std::vector<std::string> traces{};
};

/// Whether the command line is one of `lag-agent serve`.
bool isServe(int argc, const char* const* argv);
/// The same for `lag-agent restore`.
bool isRestore(int argc, const char* const* argv);

/// Reads a command line. Empty when there is nothing to run (help, version, or a mistake that has
/// been shown); then `*exitCode` is what to exit with.
std::optional<Options> readOptions(int argc, const char* const* argv, int* exitCode);

} // namespace LagAgent
