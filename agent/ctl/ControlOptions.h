#pragma once

#include <optional>
#include <string>

#include "agent/console/Presenter.h"
#include "agent/console/Session.h"
#include "agent/ctl/RemoteRunner.h"

namespace LagAgent {

/// What the command line of `lagctl` asks for.
struct ControlOptions {
    std::string control{};
    Patience patience{};
    PresenterOptions presenter{};
    Input input{};
};

/// Reads a command line; as `readOptions`.
std::optional<ControlOptions> readControlOptions(int argc, const char* const* argv, int* exitCode);

} // namespace LagAgent
