#pragma once

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace LagAgent {

/// A program at a terminal, and somebody who types.
class TerminalTest : public testing::Test {
  protected:
    /// Starts the program, with these variables added to its environment.
    void start(std::vector<std::string> arguments,
               const std::map<std::string, std::string>& environment = {}) {
        struct winsize size {};
        size.ws_row = 40;
        size.ws_col = 200;
        child_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (child_ == 0) {
            setenv("TERM", "xterm", 1);
            setenv("HOME", "/nonexistent", 1);
            for (const auto& [name, value] : environment) {
                setenv(name.c_str(), value.c_str(), 1);
            }
            std::vector<char*> argv;
            for (auto& argument : arguments) {
                argv.push_back(argument.data());
            }
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
    }
    ~TerminalTest() override {
        if (child_ > 0) {
            kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
        close(terminal_);
    }

    void type(const std::string& keys) {
        ASSERT_EQ(static_cast<ssize_t>(keys.size()), write(terminal_, keys.data(), keys.size()));
    }

    /// Reads on until the text has appeared since the latest `awaits`; fails after a while.
    void awaits(const std::string& text) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        std::size_t found;
        while ((found = screen_.find(text, seen_)) == std::string::npos) {
            pollfd waiting{terminal_, POLLIN, 0};
            char buffer[4096];
            const bool isReadable = poll(&waiting, 1, 200) > 0;
            const ssize_t size = isReadable ? read(terminal_, buffer, sizeof buffer) : 0;
            if (size > 0) {
                screen_.append(buffer, static_cast<std::size_t>(size));
            }
            ASSERT_TRUE(size >= 0 && std::chrono::steady_clock::now() < end)
                << "no '" << text << "' in: " << screen_.substr(seen_);
        }
        seen_ = found + text.size();
    }

    /// Waits for the prompt, and until the editor reads: it shows the prompt just before it takes
    /// the terminal out of line mode, in which a Ctrl-D typed too early would be lost.
    void awaitsPrompt() {
        ASSERT_NO_FATAL_FAILURE(awaits("lag> "));
        termios mode{};
        for (int i = 0; i < 6000; ++i) {
            ASSERT_EQ(tcgetattr(terminal_, &mode), 0);
            if ((mode.c_lflag & ICANON) == 0) {
                return;
            }
            usleep(10'000);
        }
        FAIL() << "the terminal stays in line mode";
    }

    /// The status with which the program ends; -1 when it does not end by itself.
    int exitStatus() {
        char buffer[4096];
        pollfd waiting{terminal_, POLLIN, 0};
        ssize_t size = 1;
        while (size > 0) {
            if (poll(&waiting, 1, 60'000) <= 0) {
                return -1;
            }
            size = read(terminal_, buffer, sizeof buffer);
        }
        int status = 0;
        waitpid(std::exchange(child_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    static constexpr const char* kUp = "\x1b[A";
    static constexpr const char* kLeft = "\x1b[D";

  private:
    pid_t child_ = -1;
    int terminal_ = -1;
    std::string screen_;
    std::size_t seen_ = 0;
};

} // namespace LagAgent
