#include "agent/console/TerminalProgress.h"

#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "posix/FileDescriptor.h"

namespace LagAgent {
namespace {

using Duration = TerminalProgress::Duration;

/// A terminal and what is on it.
class TerminalProgressTest : public testing::Test {
  protected:
    TerminalProgressTest() {
        int controller = -1, terminal = -1;
        EXPECT_EQ(0, ::openpty(&controller, &terminal, nullptr, nullptr, nullptr));
        ::fcntl(controller, F_SETFL, O_NONBLOCK);
        controller_ = Posix::FileDescriptor(controller);
        terminal_ = Posix::FileDescriptor(terminal);
    }

    int terminal() const { return terminal_.get(); }
    std::string written() const {
        char buffer[4096];
        const ssize_t size = ::read(controller_.get(), buffer, sizeof buffer);
        return {buffer, static_cast<std::size_t>(size > 0 ? size : 0)};
    }

  private:
    Posix::FileDescriptor controller_;
    Posix::FileDescriptor terminal_;
};

TEST_F(TerminalProgressTest, IsALineThatIsGoneAtTheEnd) {
    {
        TerminalProgress progress(terminal(), Duration(0));
        progress.show("restoring members", 430, 1000);
        EXPECT_EQ("\r\x1b[Krestoring members: 43 % (430 of 1000)", written());
    }
    EXPECT_EQ("\r\x1b[K", written());
}

TEST_F(TerminalProgressTest, GivesWayOnceToOtherOutput) {
    TerminalProgress progress(terminal(), Duration(0));
    progress.hide();
    EXPECT_EQ("", written());
    progress.show("x", 1, 0);
    EXPECT_EQ("\r\x1b[Kx: 1", written());
    progress.hide();
    EXPECT_EQ("\r\x1b[K", written());
    progress.hide();
    EXPECT_EQ("", written());
}

TEST_F(TerminalProgressTest, IsNotWrittenForEveryStep) {
    TerminalProgress progress(terminal(), Duration(0));
    const auto begin = std::chrono::steady_clock::now();
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < 1000; ++i) {
        progress.show("x", i, 1000);
        bytes += written().size();
    }
    // Ten a second at most, however slow this machine is.
    const auto tenths = (std::chrono::steady_clock::now() - begin) / Duration(100);
    EXPECT_LE(bytes, 30u * static_cast<std::size_t>(tenths + 1));
}

TEST_F(TerminalProgressTest, ShowsNothingOfWhatIsShort) {
    TerminalProgress progress(terminal(), std::chrono::hours(1));
    progress.show("x", 1, 2);
    progress.hide();
    EXPECT_EQ("", written());
}

TEST(TerminalProgress, WritesNothingToAnythingElse) {
    int ends[2];
    ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC | O_NONBLOCK));
    const Posix::FileDescriptor out(ends[0]), in(ends[1]);
    {
        TerminalProgress progress(in.get(), Duration(0));
        progress.show("x", 1, 2);
    }
    char byte;
    EXPECT_EQ(-1, ::read(out.get(), &byte, 1));
}

} // namespace
} // namespace LagAgent
