#include "agent/daemon/Serve.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "agent/Interpreter.h"
#include "agent/daemon/Server.h"
#include "agent/daemon/StartProgress.h"

namespace LagAgent {

namespace {

/// The directory of this user, made if it is missing; those above it must be there.
void requireDirectory(const std::string& path) {
    struct stat directory {};
    const bool isThere = ::mkdir(path.c_str(), S_IRWXU) == 0 || errno == EEXIST;
    if (!isThere || ::stat(path.c_str(), &directory) != 0) {
        throw CommandError(ErrorKind::start,
                           "cannot use the state directory " + path + ": " + std::strerror(errno));
    }
    if (!S_ISDIR(directory.st_mode)) {
        throw CommandError(ErrorKind::start, "the state directory " + path + " is no directory");
    }
}

/// Makes the agent, which then lives as long as the process. It is never destroyed: what its
/// destructors would take down is what the traffic goes through.
Agent& startAgent(const ServeOptions& options, Progress& progress) {
    static Agent* agent = nullptr; // reachable to the end
    if (!options.chipFile.empty()) {
        throw CommandError(ErrorKind::unsupported, "cannot attach " + options.chipFile +
                                                       ": this agent has a chip of its own");
    }
    progress.show("loading the driver", 0, 0);
    agent = new Agent(options.target);
    return *agent;
}

} // namespace

int serve(const ServeOptions& options) {
    const Log log(STDERR_FILENO, options.log);
    int failed = kExitNotStarted;
    try {
        for (const auto& trace : options.traces) {
            Kel::traceLevelsIs(trace);
        }
        StartProgress progress(log);
        progress.show("taking the control socket", 0, 0);
        requireDirectory(options.stateDirectory);
        Server server(options.control, log);
        Agent& agent = startAgent(options, progress);
        progress.hide();
        failed = kExitDaemonFailed;
        return server.run([&] { return std::make_unique<Interpreter>(agent); });
    } catch (...) {
        const Error error = currentError();
        log.write(LogLevel::error, "failed",
                  {{"kind", kindName(error.kind)}, {"message", error.text()}});
        return failed;
    }
}

} // namespace LagAgent
