#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/command/Agent.h"
#include "posix/FileDescriptor.h"
#include "tests/agent/crash/ChildProcess.h"
#include "tests/agent/crash/Death.h"
#include "tests/agent/crash/LineReader.h"
#include "tests/agent/crash/StatePlace.h"

namespace LagAgent::Crash {

/// What became of one order, or of the start.
struct Answer {
    /// Empty when it succeeded.
    std::string error{};
    Json result{};
};

/// What a process said before it ended.
struct LastWords {
    bool wasKilled = false;
    /// None: it ended before its start did.
    std::optional<Answer> start{};
    /// One for each command that was acknowledged.
    std::vector<Answer> answers{};
};

using MakeAgent = std::function<std::unique_ptr<Agent>()>;
/// Told of every number of commands that were acknowledged, from none on.
using HasDone = std::function<void(std::size_t)>;

/**
 * An agent over a state directory in a process of its own, which carries out command lines one
 * after the other, and acknowledges each before it looks at the next.
 */
class AgentProcess {
  public:
    /// `beforeStart` is run in the process before the agent is made.
    explicit AgentProcess(const StatePlace& place, const Death& death = {},
                          const std::function<void()>& beforeStart = {});
    /// An agent that keeps nothing, over a chip in its own memory.
    AgentProcess();

    /// Carries out one command. Throws when the process dies over it, or did not start.
    Answer ask(const std::string& line);
    /// The same, and throws when the command fails.
    Json tell(const std::string& line);

    /// Why the agent did not start; empty when it did.
    std::string startError();

    /// Orders all these, then the end, and waits for it, or for the death if that comes first.
    LastWords runOut(const std::vector<std::string>& lines);

  private:
    using Clock = std::chrono::steady_clock;

    void fork(const MakeAgent& make, const HasDone& hasDone);
    void order(const std::string& line);
    /// None: the process is over.
    std::optional<Answer> answer();
    /// Waits for the start.
    void started();

    Death death_{};
    Clock::time_point forked_{};
    Posix::FileDescriptor orders_{};
    Posix::FileDescriptor answers_{};
    std::unique_ptr<LineReader> reader_{};
    std::optional<Answer> start_{};
    std::unique_ptr<ChildProcess> child_{};
};

} // namespace LagAgent::Crash
