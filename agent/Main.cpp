#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>

#include "agent/Options.h"
#include "agent/Session.h"

using namespace LagAgent;

namespace {

void openBatch(std::ifstream& file, const std::string& name) {
    file.open(name);
    if (!file || std::filesystem::is_directory(name)) {
        throw CommandError(ErrorKind::start, "cannot open " + name);
    }
}

bool runCommands(const Options& options, Session& session) {
    if (!options.batch.empty() && options.batch != "-") {
        std::ifstream file;
        openBatch(file, options.batch);
        return session.runBatch(file, options.batch, options.isForced);
    }
    if (options.batch.empty() && isatty(STDIN_FILENO)) {
        return session.runPrompt();
    }
    return session.runBatch(std::cin, "stdin", options.isForced);
}

int run(const Options& options) {
    Presenter presenter(options.presenter, std::cout, std::cerr);
    try {
        for (const auto& trace : options.traces) {
            Kel::traceLevelsIs(trace);
        }
        Agent agent(options.target);
        Interpreter interpreter(agent);
        Session session(interpreter, presenter);
        return runCommands(options, session) ? kExitGood : kExitCommandFailed;
    } catch (...) {
        presenter.show(currentError(), {"lag-agent", 0});
        return kExitNotStarted;
    }
}

} // namespace

int main(int argc, char** argv) {
    int exitCode = kExitGood;
    const auto options = readOptions(argc, argv, &exitCode);
    return options ? run(*options) : exitCode;
}
