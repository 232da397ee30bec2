#pragma once

#include <sys/types.h>

#include <functional>

namespace LagAgent::Crash {

/// A process forked from the test's, which is killed and waited for at the end at the latest.
class ChildProcess {
  public:
    /// Runs `body` in the child, which ends without returning: with the status that `body` returns,
    /// or 125 after an exception.
    explicit ChildProcess(const std::function<int()>& body);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t id() const noexcept { return id_; }
    bool isRunning() noexcept;
    void kill() noexcept;
    /// Waits for the end, however it comes; the status is that of `waitpid`.
    int wait() noexcept;
    /// Somebody else has waited for it and got this status.
    void endedIs(int status) noexcept;

  private:
    pid_t id_;
    bool isOver_ = false;
    int status_ = 0;
};

} // namespace LagAgent::Crash
