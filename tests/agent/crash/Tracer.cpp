#include "tests/agent/crash/Tracer.h"

#include <csignal>
#include <sys/ptrace.h>
#include <sys/wait.h>

#include <system_error>

namespace LagAgent::Crash {

namespace {

/// What the tracer tells its own stops from signals by.
constexpr int kSystemCallStop = SIGTRAP | 0x80;

/// The signal of the next stop; 0: the child is over.
int nextStop(ChildProcess& child) {
    int status = 0;
    while (::waitpid(child.id(), &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "waitpid");
        }
    }
    if (WIFSTOPPED(status)) {
        return WSTOPSIG(status);
    }
    child.endedIs(status);
    return 0;
}

void go(const ChildProcess& child, int signal) {
    // A child that was killed meanwhile says so at the next wait.
    ::ptrace(PTRACE_SYSCALL, child.id(), nullptr, static_cast<long>(signal));
}

} // namespace

void killAtSystemCall(ChildProcess& child, std::uint64_t at) {
    if (nextStop(child) == 0) {
        return;
    }
    ::ptrace(PTRACE_SETOPTIONS, child.id(), nullptr,
             static_cast<long>(PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL));
    go(child, 0);
    std::uint64_t count = 0;
    while (const int signal = nextStop(child)) {
        if (signal != kSystemCallStop) {
            go(child, signal);
        } else if (++count == at) {
            child.kill();
            return;
        } else {
            go(child, 0);
        }
    }
}

} // namespace LagAgent::Crash
