#include "agent/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <span>

#include "agent/HistoryFile.h"
#include "agent/Text.h"
#include "agent/daemon/Address.h"

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

/// Fills the options in from the arguments behind the program's name; true if there is something to
/// run.
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

// ---- What the programs have in common ------------------------------------------------------

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

void addSocket(CLI::App& app, std::string& stateDirectory, std::string& control) {
    stateDirectory = defaultStateDirectory();
    app.add_option("--state-dir", stateDirectory, "Directory in which the daemon keeps its state")
        ->type_name("DIRECTORY")
        ->capture_default_str();
    app.add_option("--control", control,
                   "Socket on which the daemon takes commands (default: 'control' in the state "
                   "directory)")
        ->type_name("SOCKET");
}

constexpr const char* kStatusHelp =
    "-json, -force and -batch are understood with one dash too.\n"
    "Exit status: 0 if every command succeeded, 1 if one failed, 2 if nothing ran.\n";

} // namespace

bool isServe(int argc, const char* const* argv) {
    return argc > 1 && std::string_view(argv[1]) == "serve";
}

std::optional<Options> readOptions(int argc, const char* const* argv, int* exitCode) {
    Options options;
    CLI::App app("Drives the LAG tables of a switch ASIC, command by command", "lag-agent");
    addTarget(app, options.target, options.traces);
    addInput(app, "-b,--batch,file", options.input);
    addPresentation(app, options.presenter);
    app.footer(std::string(kStatusHelp) +
               "The command 'help' lists the commands.\n\n"
               "'lag-agent serve' runs as a daemon that takes commands from 'lagctl'; see\n"
               "'lag-agent serve --help'. A file of that name is given with -batch.");
    if (!parse(app, std::span(argv + 1, argv + argc), exitCode)) {
        return std::nullopt;
    }
    return options;
}

std::optional<ServeOptions> readServeOptions(int argc, const char* const* argv, int* exitCode) {
    ServeOptions options;
    CLI::App app("Drives the LAG tables of a switch ASIC as a daemon, which takes commands on a "
                 "Unix socket",
                 "lag-agent serve");
    addTarget(app, options.target, options.traces);
    addSocket(app, options.stateDirectory, options.control);
    app.add_option("--chip", options.chipFile,
                   "File in which the software ASIC's chip outlives the daemon (default: 'chip' in "
                   "the state directory)")
        ->type_name("FILE");
    app.add_option("--chip-boot", options.chipBoot,
                   "With another PD library: a number that differs after every reset of the chip")
        ->type_name("NUMBER");
    app.add_flag("--log-json", options.log.json, "Log JSON documents instead of logfmt");
    app.add_option("--log-level", options.log.level, "Log nothing less important")
        ->transform(
            CLI::CheckedTransformer(std::map<std::string, LogLevel>{{"debug", LogLevel::debug},
                                                                    {"info", LogLevel::info},
                                                                    {"warning", LogLevel::warning},
                                                                    {"error", LogLevel::error}}))
        ->default_str("info");
    app.footer("The default state directory is $RUNTIME_DIRECTORY (which systemd sets), else\n"
               "$XDG_RUNTIME_DIR/lag-agent, else /run/lag-agent. It is made if it is missing.\n\n"
               "SIGTERM and SIGINT end the daemon after the command under way, and leave the chip\n"
               "as it is. It logs to standard error, and tells systemd when it is ready.\n"
               "Exit status: 0 after a signal to end, 1 after a failure, 2 if it could not start.");
    if (!parse(app, std::span(argv + 2, argv + argc), exitCode)) {
        return std::nullopt;
    }
    if (options.control.empty()) {
        options.control = controlIn(options.stateDirectory);
    }
    return options;
}

std::optional<ControlOptions> readControlOptions(int argc, const char* const* argv, int* exitCode) {
    ControlOptions options;
    std::string stateDirectory;
    std::vector<std::string> command;
    CLI::App app("Sends commands to a running 'lag-agent serve'", "lagctl");
    app.add_option("command", command,
                   "Command to carry out; without one they are read from a file, from standard "
                   "input, or at a prompt")
        ->excludes(addInput(app, "-b,--batch", options.input));
    addSocket(app, stateDirectory, options.control);
    addPresentation(app, options.presenter);
    app.footer(std::string(kStatusHelp) +
               "It is 2 too when no daemon can be reached.\n"
               "The default state directory is that of the daemon: $RUNTIME_DIRECTORY, else\n"
               "$XDG_RUNTIME_DIR/lag-agent, else /run/lag-agent.\n"
               "'lagctl help' lists the commands. 'quit' ends lagctl, never the daemon.");
    if (!parse(app, std::span(argv + 1, argv + argc), exitCode)) {
        return std::nullopt;
    }
    if (options.control.empty()) {
        options.control = controlIn(stateDirectory);
    }
    options.input.command = joined(command);
    options.input.historyFile = historyPath("lagctl");
    return options;
}

} // namespace LagAgent
