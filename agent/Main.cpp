#include <unistd.h>

#include <iostream>

#include "agent/Options.h"
#include "agent/command/Interpreter.h"
#include "agent/console/TerminalProgress.h"
#include "agent/daemon/Restore.h"
#include "agent/daemon/Serve.h"
#include "agent/terms/CurrentError.h"
#include "programs/StandardStreams.h"

using namespace LagAgent;

namespace {

int run(const Options& options) {
    Presenter presenter(options.presenter, std::cout, std::cerr);
    try {
        for (const auto& trace : options.traces) {
            Kel::traceLevelsIs(trace);
        }
        Agent agent(options.target);
        Interpreter interpreter(agent);
        TerminalProgress progress(STDERR_FILENO);
        Session session(interpreter, presenter, progress);
        return session.run(options.input) ? kExitGood : kExitCommandFailed;
    } catch (...) {
        presenter.show(currentError(), {"lag-agent", 0});
        return kExitNotStarted;
    }
}

int run(int argc, char** argv) {
    int exitCode = kExitGood;
    if (isServe(argc, argv)) {
        const auto options = readServeOptions(argc, argv, &exitCode);
        return options ? serve(*options) : exitCode;
    }
    if (isRestore(argc, argv)) {
        const auto options = readRestoreOptions(argc, argv, &exitCode);
        return options ? restoreState(*options) : exitCode;
    }
    const auto options = readOptions(argc, argv, &exitCode);
    return options ? run(*options) : exitCode;
}

} // namespace

int main(int argc, char** argv) {
    Programs::occupyClosedStreams();
    return Programs::finalStatus("lag-agent", run(argc, argv), kExitCommandFailed);
}
