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

CLI::Validator isPipe() {
    return {[](std::string& text) -> std::string {
                if (text == "all") {
                    text = std::to_string(BfLagGroup::LagGroupTableHelper::kAllPipes);
                    return {};
                }
                return CLI::Range(0, BfLagGroup::LagGroupTableHelper::kAllPipes - 1)(text);
            },
            "N|all"};
}

} // namespace

void addTarget(CLI::App& app, Target& target, std::vector<std::string>& traces) {
    app.add_option("--pd", target.pdPath,
                   "PD library to drive (default: the software ASIC beside this program)");
    app.add_option_function<int>(
           "--device", [&](int device) { target.device = static_cast<std::uint8_t>(device); },
           "Device to drive")
        ->check(CLI::Range(0, 255))
        ->default_str("0");
    app.add_option("--pipe", target.pipe, "Pipe to drive (default: all)")->transform(isPipe());
    app.add_option("--trace", traces, "Trace a facility up to a level")
        ->type_name("FACILITY=LEVEL")
        ->expected(1);
}

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
