#include "agent/console/UnwaitingFile.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/agent/daemon/Child.h"

namespace LagAgent {
namespace {

struct Ends {
    Posix::FileDescriptor reader;
    Posix::FileDescriptor writer;
};
Ends endsOf(int made, int reader, int writer) {
    EXPECT_EQ(0, made);
    return {Posix::FileDescriptor(reader), Posix::FileDescriptor(writer)};
}

Ends newPipe() {
    int ends[2];
    const int made = ::pipe2(ends, O_CLOEXEC);
    return endsOf(made, ends[0], ends[1]);
}
Ends newSocket() {
    int ends[2];
    const int made = ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends);
    return endsOf(made, ends[0], ends[1]);
}
Ends newTerminal() {
    int controller = -1, terminal = -1;
    termios raw{};
    ::cfmakeraw(&raw);
    const int made = ::openpty(&controller, &terminal, nullptr, &raw, nullptr);
    return endsOf(made, controller, terminal);
}

/// Writes until nothing more is taken; what was.
std::string filled(const UnwaitingFile& file) {
    std::string all;
    for (int i = 0;; ++i) {
        const std::string line = "line " + std::to_string(i) + "\n";
        const std::size_t size = file.write(line);
        if (size == 0 || i == 1'000'000) {
            EXPECT_EQ(0u, size) << "never full";
            return all;
        }
        all += line.substr(0, size);
    }
}

/// Reads so many bytes.
std::string taken(int fd, std::size_t size) {
    std::string all;
    while (all.size() < size) {
        pollfd waiting{fd, POLLIN, 0};
        char buffer[4096];
        const ssize_t part =
            ::poll(&waiting, 1, 60'000) == 1 ? ::read(fd, buffer, sizeof buffer) : 0;
        if (part <= 0) {
            return all + "(end)";
        }
        all.append(buffer, static_cast<std::size_t>(part));
    }
    return all;
}

void expectNeverWaits(const Ends& ends) {
    const UnwaitingFile file(ends.writer.get());
    const std::string first = filled(file);
    EXPECT_EQ(first, taken(ends.reader.get(), first.size()));
    EXPECT_EQ(5u, file.write("again"));
    EXPECT_EQ("again", taken(ends.reader.get(), 5));
    EXPECT_EQ(0, ::fcntl(ends.writer.get(), F_GETFL) & O_NONBLOCK); // it is not ours alone
}

TEST(UnwaitingFile, DoesNotWaitForTheReaderOfAPipe) {
    expectNeverWaits(newPipe());
}

TEST(UnwaitingFile, DoesNotWaitForTheReaderOfASocket) {
    expectNeverWaits(newSocket());
}

TEST(UnwaitingFile, DoesNotWaitForATerminal) {
    expectNeverWaits(newTerminal());
}

TEST(UnwaitingFile, DoesNotWaitForAPipeThatItMayNotOpen) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can be somebody else";
    }
    const Ends ends = newPipe();
    Child other([&] {
        const int nobody = 65534;
        if (::setgid(nobody) != 0 || ::setuid(nobody) != 0) {
            return 1;
        }
        expectNeverWaits(ends);
        return ::testing::Test::HasFailure() ? 2 : 0;
    });
    EXPECT_EQ(0, other.exitStatus());
}

TEST(UnwaitingFile, WritesToAFileBehindWhatOthersWrote) {
    const std::string path = ::testing::TempDir() + "unwaiting-" + std::to_string(::getpid());
    const Posix::FileDescriptor fd(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    ::unlink(path.c_str());
    const UnwaitingFile file(fd.get());
    EXPECT_EQ(5u, ::write(fd.get(), "first", 5));
    EXPECT_EQ(6u, file.write("second"));
    EXPECT_EQ(5u, ::write(fd.get(), "third", 5));
    EXPECT_EQ(0, ::lseek(fd.get(), 0, SEEK_SET));
    EXPECT_EQ("firstsecondthird", taken(fd.get(), 16));
}

TEST(UnwaitingFile, TakesNothingWhereNothingCanBeWritten) {
    EXPECT_EQ(0u, UnwaitingFile(-1).write("x"));
    const Posix::FileDescriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(0u, UnwaitingFile(full.get()).write("x"));
}

} // namespace
} // namespace LagAgent
