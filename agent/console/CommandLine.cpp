#include "agent/console/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>

#include "agent/outcome/ExitStatus.h"

namespace LagAgent {

namespace {

/// The arguments in the order in which the parser wants them, the last first, where long options
/// that are customary with one dash have got their second one.
std::vector<std::string> arguments(std::span<const char* const> argv) {
    constexpr std::array kOneDash{"-json", "-force", "-batch"};
    std::vector<std::string> result(argv.begin(), argv.end());
    for (auto& argument : result) {
        if (std::ranges::find(kOneDash, argument.substr(0, argument.find('='))) != kOneDash.end()) {
            argument.insert(0, "-");
        }
    }
    std::ranges::reverse(result);
    return result;
}

} // namespace

CLI::Option* addInput(CLI::App& app, const char* names, Input& input) {
    app.add_flag("--force", input.isForced, "Go on after an error");
    return app.add_option(names, input.batch, "File of commands; '-' is standard input");
}

void addPresentation(CLI::App& app, PresenterOptions& presenter) {
    app.add_flag("--json", presenter.json, "Write one JSON document a line");
    app.add_flag("-v,--verbose,--calls", presenter.calls,
                 "Show each command with the PD calls that it made");
    app.add_flag("-q,--quiet", presenter.quiet, "Show errors only");
}

bool parse(CLI::App& app, std::span<const char* const> argv, int* exitCode) {
    app.set_version_flag("--version", app.get_name() + " " LAG_AGENT_VERSION);
    try {
        app.parse(arguments(argv));
        return true;
    } catch (const CLI::ParseError& e) {
        *exitCode = app.exit(e) == 0 ? kExitGood : kExitNotStarted;
        return false;
    }
}

} // namespace LagAgent
