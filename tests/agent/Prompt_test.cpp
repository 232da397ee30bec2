#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace LagAgent {
namespace {

/// The agent's program at a terminal, and somebody who types.
class Prompt : public testing::Test {
  protected:
    Prompt() {
        struct winsize size {};
        size.ws_row = 40;
        size.ws_col = 200;
        child_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (child_ == 0) {
            setenv("TERM", "xterm", 1);
            setenv("HOME", "/nonexistent", 1);
            execl(LAG_AGENT, LAG_AGENT, static_cast<char*>(nullptr));
            _exit(127);
        }
    }
    ~Prompt() override {
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
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
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
        for (int i = 0; i < 2000; ++i) {
            ASSERT_EQ(tcgetattr(terminal_, &mode), 0);
            if ((mode.c_lflag & ICANON) == 0) {
                return;
            }
            usleep(10'000);
        }
        FAIL() << "the terminal stays in line mode";
    }

    /// The status with which the agent ends; -1 when it does not end by itself.
    int exitStatus() {
        char buffer[4096];
        pollfd waiting{terminal_, POLLIN, 0};
        ssize_t size = 1;
        while (size > 0) {
            if (poll(&waiting, 1, 20'000) <= 0) {
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

TEST_F(Prompt, CarriesOutWhatIsTyped) {
    awaitsPrompt();
    type("member add 1 action setLagPort port 7\r");
    awaitsPrompt();
    type("show members\r");
    awaits("setLagPort  7");
    awaitsPrompt();
    type("quit\r");
    EXPECT_EQ(0, exitStatus());
}

TEST_F(Prompt, LineCanBeEdited) {
    awaitsPrompt();
    type(std::string("show memberz") + "\x7f" + "s\r"); // backspace
    awaits("members:");
    awaitsPrompt();
    type(std::string("how groups") + "\x01" + "s\r"); // to the beginning of the line
    awaits("groups:");
    awaitsPrompt();
    type(std::string("show entrie") + kLeft + kLeft + "\x05" + "s\r"); // back, and to the end
    awaits("entries:");
    awaitsPrompt();
    type("\x04");
    EXPECT_EQ(0, exitStatus());
}

TEST_F(Prompt, TabCompletesTheWord) {
    awaitsPrompt();
    type("sho\tmem\t\r");
    awaits("members:");
    awaitsPrompt();
    type("member add 1 act\tsetT\t\r");
    awaitsPrompt();
    type("show members\r");
    awaits("setTunnelInfo");
    awaitsPrompt();
    type("\x04");
    EXPECT_EQ(0, exitStatus());
}

TEST_F(Prompt, HistoryBringsALineBack) {
    awaitsPrompt();
    type("show groups\r");
    awaits("groups:");
    awaitsPrompt();
    type("show members\r");
    awaits("members:");
    awaitsPrompt();
    type(std::string(kUp) + kUp + "\r");
    awaits("groups:");
    awaitsPrompt();
    type("\x04");
    EXPECT_EQ(0, exitStatus());
}

TEST_F(Prompt, ErrorDoesNotEndIt) {
    awaitsPrompt();
    type("mebmer add 1\r");
    awaits("error: unknown command 'mebmer' (did you mean 'member'?)");
    awaitsPrompt();
    type("member del 1\r");
    awaits("error: there is no member 1");
    awaitsPrompt();
    type("\x04");
    EXPECT_EQ(1, exitStatus());
}

} // namespace
} // namespace LagAgent
