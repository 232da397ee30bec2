#include "tests/agent/crash/ChildProcess.h"

#include <csignal>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <system_error>

namespace LagAgent::Crash {

ChildProcess::ChildProcess(const std::function<int()>& body) : id_(::fork()) {
    if (id_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (id_ > 0) {
        return;
    }
    int status = 125;
    try {
        // A test that ends in whatever way leaves nobody behind.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        status = body();
    } catch (...) {
    }
    // Not through exit(): what is the test's is not for the child to tear down.
    ::_exit(status);
}

ChildProcess::~ChildProcess() {
    kill();
}

bool ChildProcess::isRunning() noexcept {
    if (!isOver_ && ::waitpid(id_, &status_, WNOHANG) != 0) {
        isOver_ = true;
    }
    return !isOver_;
}

void ChildProcess::kill() noexcept {
    if (!isOver_) {
        ::kill(id_, SIGKILL);
        wait();
    }
}

int ChildProcess::wait() noexcept {
    while (!isOver_) {
        isOver_ = ::waitpid(id_, &status_, 0) == id_ || errno != EINTR;
    }
    return status_;
}

void ChildProcess::endedIs(int status) noexcept {
    isOver_ = true;
    status_ = status;
}

} // namespace LagAgent::Crash
