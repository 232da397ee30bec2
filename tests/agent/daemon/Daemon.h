#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <vector>

#include "agent/wire/Address.h"
#include "tests/agent/daemon/Child.h"
#include "tests/agent/daemon/TestDirectory.h"

namespace LagAgent {

/// Hears what a daemon tells systemd.
class Manager {
  public:
    explicit Manager(const std::string& path)
        : path_(path), socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_un address = addressOf(path);
        EXPECT_EQ(
            0, ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
    }

    const std::string& path() const { return path_; }

    /// The next message; empty when there is none for a minute.
    std::string hears() const {
        pollfd waiting{socket_.get(), POLLIN, 0};
        char buffer[4096];
        const bool isReadable = ::poll(&waiting, 1, 60'000) == 1;
        const ssize_t size = isReadable ? ::recv(socket_.get(), buffer, sizeof buffer, 0) : 0;
        return {buffer, static_cast<std::size_t>(size > 0 ? size : 0)};
    }

    /// All messages up to the first that begins so; fails when it does not come.
    std::vector<std::string> hearsUpTo(const std::string& beginning) const {
        std::vector<std::string> messages;
        do {
            messages.push_back(hears());
            if (messages.back().empty()) {
                ADD_FAILURE() << "the daemon never says " << beginning;
                break;
            }
        } while (!messages.back().starts_with(beginning));
        return messages;
    }

  private:
    std::string path_;
    Pello::FileDescriptor socket_;
};

/// A daemon with a state directory of the test's own, in a child.
class Daemon {
  public:
    /// Runs the work, which is to serve at `control()`, in a child whose standard error goes to a
    /// file; waits until it is ready.
    void start(const std::function<int()>& work) {
        run(work);
        said = manager.hearsUpTo("READY=1");
    }
    /// The same without waiting.
    void run(const std::function<int()>& work) {
        child_ = Child([&] {
            const int log = ::open(logPath().c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
            ::dup2(log, STDERR_FILENO);
            ::setenv("NOTIFY_SOCKET", manager.path().c_str(), 1);
            return work();
        });
    }
    /// Runs the agent's program with these arguments, and waits until it is ready.
    void startProgram(const std::string& arguments = "") {
        runProgram(arguments);
        said = manager.hearsUpTo("READY=1");
    }
    /// The same without waiting.
    void runProgram(const std::string& arguments = "") { runProgramIn(directory(), arguments); }
    void runProgramIn(const std::string& state, const std::string& arguments) {
        const std::string command =
            "exec " LAG_AGENT " serve --state-dir " + state + " " + arguments;
        run([command] { return ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr); });
    }

    std::string directory() const { return folder / "state"; }
    std::string control() const { return controlIn(directory()); }
    std::string logPath() const { return folder / "log"; }
    std::string log() const {
        std::ostringstream text;
        text << std::ifstream(logPath()).rdbuf();
        return text.str();
    }

    void signal(int number) const { child_.signal(number); }
    pid_t pid() const { return child_.pid(); }
    int exitStatus() { return child_.exitStatus(); }
    int stop() {
        signal(SIGTERM);
        return exitStatus();
    }

    TestDirectory folder;
    Manager manager{folder / "notify"};
    /// What it said until it was ready.
    std::vector<std::string> said;

  private:
    Child child_;
};

} // namespace LagAgent
