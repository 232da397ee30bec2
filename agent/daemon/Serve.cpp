#include "agent/daemon/Serve.h"

#include <unistd.h>

#include "agent/daemon/AgentRunner.h"
#include "agent/daemon/Server.h"
#include "agent/daemon/StartProgress.h"

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
    for (const auto& warning : start.warnings()) {
        log.write(LogLevel::warning, "start-note", {{"message", warning}});
    }
    log.write(LogLevel::info, "reconciled",
              {{"entries", start.entries},
               {"members", start.members},
               {"groups", start.groups},
               {"findings", start.sum(start.findings)},
               {"writes", start.sum(start.writes)},
               {"orphans", start.orphansRemoved},
               {"ms", std::chrono::duration_cast<std::chrono::milliseconds>(start.total).count()}});
}

int start(const ServeOptions& options, const Log& log) {
    StartProgress progress(log);
    progress.show("taking the state directory", 0, 0);
    // First of all: from here on there is no other agent, and the socket in it is this one's.
    StateOptions state{
        .directory = std::make_shared<Pello::StateDirectory>(Kel::String(options.stateDirectory)),
        .chipFile = options.chipFile,
        .chipBoot = options.chipBoot};
    Server server(options.control, log);
    Agent& agent = startAgent(options, state, progress);
    progress.hide();
    logStart(agent.start, log);
    const auto fail = [&server](const std::string& reason) {
        server.stop(reason, kExitCommandFailed);
    };
    return server.run([&] { return std::make_unique<AgentRunner>(agent, log, fail); });
}

} // namespace

int serve(const ServeOptions& options) {
    const Log log(STDERR_FILENO, options.log);
    try {
        for (const auto& trace : options.traces) {
            Kel::traceLevelsIs(trace);
        }
        return start(options, log);
    } catch (...) {
        const Error error = currentError();
        log.write(LogLevel::error, "failed",
                  {{"kind", kindName(error.kind)}, {"message", error.text()}});
        return kExitNotStarted;
    }
}

} // namespace LagAgent
