#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <utility>

namespace LagAgent {

/// A process of the test's, killed when this object goes.
class Child {
  public:
    Child() = default;
    /// Runs the function in the child, which exits with what that returns.
    explicit Child(const std::function<int()>& work) : pid_(::fork()) {
        if (pid_ == 0) {
            ::alarm(300); // whatever becomes of the test
            ::_exit(work());
        }
    }
    Child(Child&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
    Child& operator=(Child&& other) noexcept {
        std::swap(pid_, other.pid_);
        return *this;
    }
    ~Child() {
        signal(SIGKILL);
        exitStatus();
    }

    pid_t pid() const { return pid_; }
    void signal(int number) const {
        if (pid_ > 0) {
            ::kill(pid_, number);
        }
    }

    /// Waits for its end; -1 when a signal ended it, or there is no child.
    int exitStatus() {
        int status = 0;
        const pid_t pid = std::exchange(pid_, -1);
        if (pid <= 0 || ::waitpid(pid, &status, 0) != pid) {
            return -1;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    pid_t pid_ = -1;
};

} // namespace LagAgent
