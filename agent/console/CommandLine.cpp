#include "agent/console/CommandLine.h"

#include <algorithm>
#include <array>

#include "agent/outcome/ExitStatus.h"

namespace LagAgent {

using Programs::OptionParser;

namespace {

/// The arguments, where long options that are customary with one dash have got their second one.
std::vector<std::string> arguments(std::span<const char* const> argv) {
    constexpr std::array kOneDash{"-json", "-force", "-batch"};
    std::vector<std::string> result(argv.begin(), argv.end());
    for (auto& argument : result) {
        if (std::ranges::find(kOneDash, argument.substr(0, argument.find('='))) != kOneDash.end()) {
            argument.insert(0, "-");
        }
    }
    return result;
}

} // namespace

OptionParser::Option addInput(OptionParser& parser, const char* names, Input& input) {
    parser.addFlag("--force", input.isForced, "Go on after an error");
    return parser.add(names, input.batch, "File of commands; '-' is standard input");
}

void addPresentation(OptionParser& parser, PresenterOptions& presenter) {
    parser.addFlag("--json", presenter.json, "Write one JSON document a line");
    parser.addFlag("-v,--verbose,--calls", presenter.calls,
                   "Show each command with the PD calls that it made");
    parser.addFlag("-q,--quiet", presenter.quiet, "Show errors only");
}

bool parse(OptionParser& parser, std::span<const char* const> argv, int* exitCode) {
    return parser.parse(arguments(argv), LAG_AGENT_VERSION, kExitNotStarted, exitCode);
}

} // namespace LagAgent
