#include "agent/ctl/ControlOptions.h"

#include <CLI/CLI.hpp>

#include "agent/console/CommandLine.h"
#include "agent/console/HistoryFile.h"
#include "agent/outcome/Text.h"
#include "agent/wire/SocketOptions.h"

namespace LagAgent {

namespace {

void addPatience(CLI::App& app, Patience& patience) {
    const auto add = [&](const char* name, const char* description, auto apply) {
        app.add_option_function<int>(
               name, [=](int seconds) { apply(std::chrono::seconds(seconds)); }, description)
            ->check(CLI::Range(1, 86400))
            ->type_name("SECONDS");
    };
    add("--wait",
        "Wait so long in all for a daemon to listen and to greet (default: not at all for one to "
        "listen, 60 seconds for it to greet)",
        [&](auto seconds) { patience.listening = patience.greeting = seconds; });
    add("--timeout", "Give an answer up after so long (default: never)",
        [&](auto seconds) { patience.answer = seconds; });
}

} // namespace

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
    addPatience(app, options.patience);
    addPresentation(app, options.presenter);
    app.footer(std::string(kStatusHelp) +
               "It is 2 too when no daemon can be reached.\n"
               "The default state directory is that of the daemon: $RUNTIME_DIRECTORY, else\n"
               "$XDG_RUNTIME_DIR/lag-agent, else /run/lag-agent.\n"
               "'lagctl help' lists the commands. 'quit' ends lagctl, never the daemon.");
    if (!parse(app, std::span(argv + 1, argv + argc), exitCode)) {
        return std::nullopt;
    }
    options.input.command = joined(command);
    options.input.historyFile = historyPath("lagctl");
    return options;
}

} // namespace LagAgent
