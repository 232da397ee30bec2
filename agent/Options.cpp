#include "agent/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>

namespace LagAgent {

namespace {

/// The arguments in the order in which the parser wants them, the last first, where long options
/// that are customary with one dash have got their second one.
std::vector<std::string> arguments(int argc, const char* const* argv) {
    constexpr std::array kOneDash{"-json", "-force", "-batch"};
    std::vector<std::string> result(argv + 1, argv + argc);
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

std::optional<Options> readOptions(int argc, const char* const* argv, int* exitCode) {
    Options options;
    int device = 0;
    CLI::App app("Drives the LAG tables of a switch ASIC, command by command", "lag-agent");
    app.add_option("--pd", options.target.pdPath,
                   "PD library to drive (default: the software ASIC beside this program)");
    app.add_option("--device", device, "Device to drive")
        ->check(CLI::Range(0, 255))
        ->capture_default_str();
    app.add_option("--pipe", options.target.pipe, "Pipe to drive (default: all)")
        ->transform(isPipe());
    app.add_option("-b,--batch,file", options.batch, "File of commands; '-' is standard input");
    app.add_flag("--json", options.presenter.json, "Write one JSON document a line");
    app.add_flag("--force", options.isForced, "Go on after an error");
    app.add_flag("-v,--verbose,--calls", options.presenter.calls,
                 "Show each command with the PD calls that it made");
    app.add_flag("-q,--quiet", options.presenter.quiet, "Show errors only");
    app.add_option("--trace", options.traces, "Trace a facility up to a level")
        ->type_name("FACILITY=LEVEL")
        ->expected(1);
    app.set_version_flag("--version", "lag-agent " LAG_AGENT_VERSION);
    app.footer("-json, -force and -batch are understood with one dash too.\n"
               "Exit status: 0 if every command succeeded, 1 if one failed, 2 if nothing ran.\n"
               "The command 'help' lists the commands.");
    try {
        app.parse(arguments(argc, argv));
    } catch (const CLI::ParseError& e) {
        *exitCode = app.exit(e) == 0 ? kExitGood : kExitNotStarted;
        return std::nullopt;
    }
    options.target.device = static_cast<std::uint8_t>(device);
    return options;
}

} // namespace LagAgent
