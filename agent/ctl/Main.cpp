#include <unistd.h>

#include <iostream>

#include "agent/console/TerminalProgress.h"
#include "agent/ctl/ControlOptions.h"
#include "agent/ctl/RemoteRunner.h"
#include "agent/outcome/ExitStatus.h"
#include "programs/StandardStreams.h"

using namespace LagAgent;

namespace {

int run(const ControlOptions& options) {
    Presenter presenter(options.presenter, std::cout, std::cerr);
    try {
        RemoteRunner runner(options.control, options.patience);
        TerminalProgress progress(STDERR_FILENO);
        Session session(runner, presenter, progress);
        return session.run(options.input) ? kExitGood : kExitCommandFailed;
    } catch (const std::exception& e) {
        presenter.show(errorOf(e), {"lagctl", 0});
        return kExitNotStarted;
    }
}

} // namespace

int main(int argc, char** argv) {
    Programs::occupyClosedStreams();
    int exitCode = kExitGood;
    const auto options = readControlOptions(argc, argv, &exitCode);
    return Programs::finalStatus("lagctl", options ? run(*options) : exitCode, kExitCommandFailed);
}
