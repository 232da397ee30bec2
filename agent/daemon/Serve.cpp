#include "agent/daemon/Serve.h"

#include <unistd.h>

#include <csignal>

#include "agent/daemon/AgentRunner.h"
#include "agent/daemon/Server.h"
#include "agent/daemon/StartProgress.h"
#include "agent/restart/Retry.h"
#include "agent/terms/CurrentError.h"

namespace LagAgent {

namespace {

/// Makes the agent, which then lives as long as the process. It is never destroyed: what its
/// destructors would take down is what the traffic goes through.
Agent& startAgent(const ServeOptions& options, const StateOptions& state, Progress& progress) {
    static Agent* agent = nullptr; // reachable to the end
    progress.show("loading the driver", 0, 0);
    agent = new Agent(options.target, state, &progress);
    return *agent;
}

void logStart(const StartReport& start, const Log& log) {
    using std::chrono::milliseconds;
    log.write(LogLevel::info, "reconciled",
              {{"entries", start.entries},
               {"members", start.members},
               {"groups", start.groups},
               {"findings", start.findings.size()},
               {"writes", start.writesInAll()},
               {"ms", std::chrono::duration_cast<milliseconds>(start.total).count()}});
}

/// Ends a start.
struct ToldToEnd {
    int signal;
};

/// SIGTERM and SIGINT are blocked until the server runs; while the chip refuses to be driven, one
/// of them ends the start.
void pauseUnlessTold(std::chrono::milliseconds time) {
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGTERM);
    ::sigaddset(&signals, SIGINT);
    const timespec patience{time.count() / 1000, time.count() % 1000 * 1'000'000};
    if (const int signal = ::sigtimedwait(&signals, nullptr, &patience); signal > 0) {
        throw ToldToEnd{signal};
    }
}

/// Having them makes this process the directory's only agent.
StateOptions takeState(const ServeOptions& options, const Log& log) {
    return {.directory = std::make_shared<const Posix::StateDirectory>(options.stateDirectory),
            .chipFile = options.chipFile,
            .chipBoot = options.chipBoot,
            .acceptsLoss = options.acceptsLoss,
            .onNote =
                [&log](const std::string& note) {
                    log.write(LogLevel::warning, "start-note", {{"message", note}});
                },
            .pause = options.pause ? options.pause : pauseUnlessTold};
}

/// The chip has changed, and the desired state could not follow, or what the agent relies on has
/// changed behind its back. The next start puts either right.
std::string obstacleOf(const Agent& agent) {
    return agent.configuration().isOutOfStep() ? "the desired state could not be kept"
                                               : agent.harm();
}

/// REQUIRES: called in a handler.
void logFailed(const Log& log) {
    const Error error = currentError();
    log.write(LogLevel::error, "failed",
              {{"kind", kindName(error.kind)}, {"message", error.text()}});
}

} // namespace

int serve(const ServeOptions& options) {
    std::signal(SIGPIPE, SIG_IGN); // of the log, as of clients
    std::signal(SIGXFSZ, SIG_IGN); // a limit of files is an error of the write that meets it
    const Log log(STDERR_FILENO, options.log);
    int failed = kExitNotStarted;
    try {
        for (const auto& trace : options.traces) {
            Kel::traceLevelsIs(trace);
        }
        StartProgress progress(log);
        progress.show("taking the state directory", 0, 0);
        // First of all: from here on no other agent is here, and the socket in it is this one's.
        const StateOptions state = takeState(options, log);
        Server server(options.control, log);
        Agent& agent = startAgent(options, state, progress);
        progress.hide();
        logStart(agent.start(), log);
        failed = kExitDaemonFailed;
        StateDatabase& database = agent.requiredState().database();
        const int status = server.run([&] { return std::make_unique<AgentRunner>(agent, log); },
                                      [&] { return obstacleOf(agent); },
                                      [&] { database.checkpointWithoutWaiting(); });
        if (obstacleOf(agent).empty()) {
            database.checkpoint();
        }
        return status;
    } catch (const ToldToEnd& told) {
        log.write(LogLevel::info, "stop",
                  {{"reason", told.signal == SIGTERM ? "SIGTERM" : "SIGINT"}});
        return kExitGood;
    } catch (const ChipNotReady&) {
        logFailed(log);
        return kExitDaemonFailed; // another start may succeed
    } catch (...) {
        logFailed(log);
        return failed;
    }
}

} // namespace LagAgent
