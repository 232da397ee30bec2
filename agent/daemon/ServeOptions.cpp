#include "agent/daemon/ServeOptions.h"

#include <CLI/CLI.hpp>
#include <map>

#include "agent/console/CommandLine.h"
#include "agent/terms/TargetOptions.h"
#include "agent/wire/SocketOptions.h"

namespace LagAgent {

namespace {

void addLogLevel(CLI::App& app, LogLevel& level) {
    static const std::map<std::string, LogLevel> kLevels{{"debug", LogLevel::debug},
                                                         {"info", LogLevel::info},
                                                         {"warning", LogLevel::warning},
                                                         {"error", LogLevel::error}};
    app.add_option_function<std::string>(
           "--log-level", [&](const std::string& name) { level = kLevels.at(name); },
           "Log nothing less important: debug, info, warning or error")
        ->check(CLI::IsMember(kLevels).description(""))
        ->type_name("LEVEL")
        ->default_str("info");
}

} // namespace

std::optional<ServeOptions> readServeOptions(int argc, const char* const* argv, int* exitCode) {
    ServeOptions options;
    CLI::App app("Drives the LAG tables of a switch ASIC as a daemon, which takes commands on a "
                 "Unix socket",
                 "lag-agent serve");
    addTarget(app, options.target, options.traces);
    addSocket(app, options.stateDirectory, options.control);
    addChipFile(app, options.chipFile);
    app.add_option("--chip-boot", options.chipBoot,
                   "With another PD library: a number that differs after every reset of the chip")
        ->type_name("NUMBER");
    app.add_flag("--accept-loss", options.acceptsLoss,
                 "Start once although acknowledged commands are lost, or objects removed from the "
                 "chip that nothing explains");
    app.add_flag("--log-json", options.log.json, "Log JSON documents instead of logfmt");
    addLogLevel(app, options.log.level);
    app.footer("The default state directory is $RUNTIME_DIRECTORY (which systemd sets), else\n"
               "$XDG_RUNTIME_DIR/lag-agent, else /run/lag-agent. It is made if it is missing.\n\n"
               "SIGTERM and SIGINT end the daemon after the command under way, and leave the chip\n"
               "as it is. It logs to standard error, and tells systemd when it is ready.\n"
               "Exit status: 0 after a signal to end, 1 after a failure, 2 if it could not start.");
    if (!parse(app, std::span(argv + 2, argv + argc), exitCode)) {
        return std::nullopt;
    }
    return options;
}

} // namespace LagAgent
