#include "tests/agent/crash/AgentProcess.h"

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <system_error>
#include <thread>

#include "agent/command/Interpreter.h"
#include "agent/terms/CurrentError.h"
#include "tests/agent/crash/AsicLibrary.h"
#include "tests/agent/crash/Tracer.h"

namespace LagAgent::Crash {

namespace {

using Posix::FileDescriptor;

struct PipeEnds {
    FileDescriptor read;
    FileDescriptor write;

    PipeEnds() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        read = FileDescriptor(ends[0]);
        write = FileDescriptor(ends[1]);
    }
};

Target asicTarget() {
    return {.pdPath = PD_VELMOR_SWITCH_LIBRARY};
}

void acknowledge(int answers, const std::optional<Error>& error, const Json& result) {
    writeLine(answers,
              Json{{"error", error ? error->text() : std::string()}, {"result", result}}.dump());
}

/// The agent's life, from start to 'quit'.
int serve(int orders, int answers, const MakeAgent& make, const HasDone& hasDone) {
    try {
        const std::unique_ptr<Agent> agent = make();
        acknowledge(answers, std::nullopt, Json::object());
        std::size_t done = 0;
        hasDone(done);
        Interpreter interpreter(*agent);
        LineReader lines(orders);
        while (const auto line = lines.next()) {
            const Outcome outcome = interpreter.run(*line, WantedCalls::none);
            if (interpreter.isOver()) {
                return 0;
            }
            acknowledge(answers, outcome.error, outcome.reply.json());
            hasDone(++done);
        }
        return 1;
    } catch (...) {
        // The first answer is about the start, and nothing else throws.
        acknowledge(answers, currentError(), Json::object());
        return 2;
    }
}

} // namespace

AgentProcess::AgentProcess(const StatePlace& place, const Death& death,
                           const std::function<void()>& beforeStart)
    : death_(death) {
    const auto reaper = std::make_shared<Reaper>(death);
    fork(
        [&place, &beforeStart, reaper] {
            if (beforeStart) {
                beforeStart();
            }
            reaper->starts();
            return std::make_unique<Agent>(
                asicTarget(),
                StateOptions{.directory =
                                 std::make_shared<const Posix::StateDirectory>(place.directory()),
                             .pause = [](std::chrono::milliseconds) {},
                             .beforeStore = [reaper] { reaper->tableStore(); }},
                nullptr);
        },
        [reaper](std::size_t commands) { reaper->hasDone(commands); });
}

AgentProcess::AgentProcess() {
    fork([] { return std::make_unique<Agent>(asicTarget()); }, [](std::size_t) {});
}

void AgentProcess::fork(const MakeAgent& make, const HasDone& hasDone) {
    // A process that dies before it has read all its orders is what this is about.
    std::signal(SIGPIPE, SIG_IGN);
    // Loaded here, so that not every agent needs to.
    asicFunction<decltype(::velmor_asic_reset)>("velmor_asic_reset");
    PipeEnds orders, answers;
    forked_ = Clock::now();
    child_ = std::make_unique<ChildProcess>([&] {
        orders.write = FileDescriptor();
        answers.read = FileDescriptor();
        return serve(orders.read.get(), answers.write.get(), make, hasDone);
    });
    orders_ = std::move(orders.write);
    answers_ = std::move(answers.read);
    reader_ = std::make_unique<LineReader>(answers_.get());
}

void AgentProcess::order(const std::string& line) {
    writeLine(orders_.get(), line);
}

std::optional<Answer> AgentProcess::answer() {
    const auto line = reader_->next();
    if (!line) {
        return std::nullopt;
    }
    const Json json = Json::parse(*line);
    return Answer{json.at("error"), json.at("result")};
}

void AgentProcess::started() {
    if (!start_) {
        start_ = answer();
    }
    if (!start_) {
        throw std::runtime_error("the agent's process ended while it started");
    }
}

std::string AgentProcess::startError() {
    started();
    return start_->error;
}

Answer AgentProcess::ask(const std::string& line) {
    if (const auto error = startError(); !error.empty()) {
        throw std::runtime_error("the agent did not start: " + error);
    }
    order(line);
    const auto said = answer();
    if (!said) {
        throw std::runtime_error("the agent's process ended over: " + line);
    }
    return *said;
}

Json AgentProcess::tell(const std::string& line) {
    const Answer said = ask(line);
    if (!said.error.empty()) {
        throw std::runtime_error(line + ": " + said.error);
    }
    return said.result;
}

LastWords AgentProcess::runOut(const std::vector<std::string>& lines) {
    for (const auto& line : lines) {
        order(line);
    }
    order("quit");
    if (death_.way == Death::Way::systemCall) {
        killAtSystemCall(*child_, death_.at);
    } else if (death_.way == Death::Way::atTime) {
        std::this_thread::sleep_until(forked_ + death_.time);
        child_->kill();
    }
    LastWords words;
    words.start = start_ ? start_ : answer();
    while (auto said = words.start ? answer() : std::nullopt) {
        words.answers.push_back(std::move(*said));
    }
    const int status = child_->wait();
    words.wasKilled = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    if (!words.wasKilled && !WIFEXITED(status)) {
        throw std::runtime_error("the agent's process ended by itself, status " +
                                 std::to_string(status));
    }
    return words;
}

} // namespace LagAgent::Crash
