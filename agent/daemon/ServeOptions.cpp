#include "agent/daemon/ServeOptions.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <ranges>

#include "agent/console/CommandLine.h"
#include "agent/terms/TargetOptions.h"
#include "agent/wire/SocketOptions.h"

namespace LagAgent {

using Programs::OptionParser;

namespace {

void addLogLevel(OptionParser& parser, LogLevel& level) {
    static const std::map<std::string, LogLevel> kLevels{{"debug", LogLevel::debug},
                                                         {"info", LogLevel::info},
                                                         {"warning", LogLevel::warning},
                                                         {"error", LogLevel::error}};
    std::vector<std::string> names;
    std::ranges::copy(kLevels | std::views::keys, std::back_inserter(names));
    parser
        .add(
            "--log-level", [&](const std::string& name) { level = kLevels.at(name); },
            "Log nothing less important: debug, info, warning or error")
        .check(OptionParser::oneOf(names), "")
        .typeName("LEVEL")
        .defaultText("info");
}

} // namespace

std::optional<ServeOptions> readServeOptions(int argc, const char* const* argv, int* exitCode) {
    ServeOptions options;
    OptionParser parser(
        "Drives the LAG tables of a switch ASIC as a daemon, which takes commands on a "
        "Unix socket",
        "lag-agent serve");
    addTarget(parser, options.target, options.traces);
    addSocket(parser, options.stateDirectory, options.control);
    addChipFile(parser, options.chipFile);
    parser
        .add("--chip-boot", options.chipBoot,
             "With another PD library: a number that differs after every reset of the chip")
        .typeName("NUMBER");
    parser.addFlag("--accept-loss", options.acceptsLoss,
                   "For this start: go on although acknowledged commands are lost, or objects "
                   "removed from the "
                   "chip that nothing explains");
    parser.addFlag("--log-json", options.log.json, "Log JSON documents instead of logfmt");
    addLogLevel(parser, options.log.level);
    parser.footer(
        "The default state directory is $RUNTIME_DIRECTORY (which systemd sets), else\n"
        "$XDG_RUNTIME_DIR/lag-agent, else /run/lag-agent. It is made if it is missing.\n\n"
        "SIGTERM and SIGINT end the daemon after the command under way, and leave the chip\n"
        "as it is. It logs to standard error, and tells systemd when it is ready.\n"
        "Exit status: 0 after a signal to end, 1 after a failure, 2 if it could not start.");
    if (!parse(parser, std::span(argv + 2, argv + argc), exitCode)) {
        return std::nullopt;
    }
    return options;
}

} // namespace LagAgent
