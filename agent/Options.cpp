#include "agent/Options.h"

#include <CLI/CLI.hpp>

#include "agent/console/CommandLine.h"
#include "agent/terms/TargetOptions.h"

namespace LagAgent {

bool isServe(int argc, const char* const* argv) {
    return argc > 1 && std::string_view(argv[1]) == "serve";
}

bool isRestore(int argc, const char* const* argv) {
    return argc > 1 && std::string_view(argv[1]) == "restore";
}

std::optional<Options> readOptions(int argc, const char* const* argv, int* exitCode) {
    Options options;
    CLI::App app("Drives the LAG tables of a switch ASIC, command by command", "lag-agent");
    addTarget(app, options.target, options.traces);
    addInput(app, "-b,--batch,file", options.input);
    addPresentation(app, options.presenter);
    app.footer(
        std::string(kStatusHelp) +
        "The command 'help' lists the commands.\n\n"
        "'lag-agent serve' runs as a daemon that takes commands from 'lagctl'; see\n"
        "'lag-agent serve --help'. 'lag-agent restore FILE' puts a copy of its state back. Files\n"
        "of these names are given with -batch.");
    if (!parse(app, std::span(argv + 1, argv + argc), exitCode)) {
        return std::nullopt;
    }
    return options;
}

} // namespace LagAgent
