#include "agent/daemon/ControlSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/outcome/Errors.h"
#include "agent/wire/Address.h"
#include "posix/LockFile.h"
#include "tests/agent/daemon/Child.h"
#include "tests/agent/daemon/Client.h"
#include "tests/agent/daemon/FewDescriptors.h"
#include "tests/agent/daemon/TestDirectory.h"

namespace LagAgent {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class ControlSocketTest : public testing::Test {
  protected:
    /// The error with which a socket cannot be made; empty when it can.
    std::string complaint() const { return complaint(path); }
    static std::string complaint(const std::string& name) {
        try {
            const ControlSocket socket(name);
        } catch (const CommandError& e) {
            return e.what();
        }
        return "";
    }

    /// A process that has the socket and dies without a word.
    void leaveStaleSocket() const {
        Child dead([&] {
            const ControlSocket socket(path);
            return ::raise(SIGKILL);
        });
        EXPECT_EQ(-1, dead.exitStatus());
        EXPECT_TRUE(std::filesystem::is_socket(path));
    }

    TestDirectory folder;
    const std::string path = folder / "control";
};

TEST_F(ControlSocketTest, IsForItsUserAloneAndGoesWithItsOwner) {
    const mode_t mask = ::umask(0);
    {
        const ControlSocket socket(path);
        struct stat file {};
        ASSERT_EQ(0, ::stat(path.c_str(), &file));
        EXPECT_EQ(S_IFSOCK | 0600u, file.st_mode);
        EXPECT_EQ(0u, ::umask(0)); // as it was
    }
    ::umask(mask);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(ControlSocketTest, ClientsCanConnectBeforeAnybodyAccepts) {
    const ControlSocket socket(path);
    Client client(path);
    EXPECT_EQ(::getpid(), peerOf(client.fd()).process);
    EXPECT_EQ(::geteuid(), peerOf(client.fd()).user);
}

TEST_F(ControlSocketTest, OfADeadDaemonIsReplaced) {
    leaveStaleSocket();
    EXPECT_EQ("", complaint());
}

TEST_F(ControlSocketTest, OfALivingDaemonIsNot) {
    const ControlSocket socket(path);
    EXPECT_EQ("cannot take commands at " + path + ": process " + std::to_string(::getpid()) +
                  " takes commands there",
              complaint());
    const Client client(path); // it is as it was
}

TEST_F(ControlSocketTest, OfADaemonThatHasNotGotItYetIsLeftToIt) {
    leaveStaleSocket();
    const Posix::LockFile lock(path + ".lock", "the test");
    EXPECT_EQ("cannot take commands at " + path + ": " + path +
                  ": in use by another agent, process " + std::to_string(::getpid()),
              complaint());
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(ControlSocketTest, OfAnotherProgramThatListensIsNotReplaced) {
    const Posix::FileDescriptor other(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = addressOf(path);
    ASSERT_EQ(0, ::bind(other.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
    ASSERT_EQ(0, ::listen(other.get(), 1));
    EXPECT_THAT(complaint(), EndsWith(" takes commands there"));
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(ControlSocketTest, FileThatIsNoSocketIsLeftAlone) {
    std::ofstream(path) << "precious";
    EXPECT_THAT(complaint(), EndsWith(": there is a file that is no socket"));
    std::string text;
    std::ifstream(path) >> text;
    EXPECT_EQ("precious", text);
}

TEST_F(ControlSocketTest, LockThatAnotherUserCouldHaveMadeIsRefused) {
    const std::string lock = path + ".lock";
    const std::string refused = "cannot take commands at " + path + ": " + lock + ": refused: ";
    std::ofstream(folder / "other") << "precious";
    ASSERT_EQ(0, ::chmod((folder / "other").c_str(), 0600));
    ASSERT_EQ(0, ::link((folder / "other").c_str(), lock.c_str()));
    EXPECT_EQ(refused + "it has 2 links, not 1", complaint());
    ::unlink(lock.c_str());
    ASSERT_EQ(0, ::mkfifo(lock.c_str(), 0600));
    EXPECT_EQ(refused + "it is not a regular file", complaint());
    ::unlink(lock.c_str());
    std::ofstream(lock) << "";
    ASSERT_EQ(0, ::chmod(lock.c_str(), 0660));
    EXPECT_EQ(refused + "its mode is 0660, not 0600", complaint());
    ASSERT_EQ(0, ::chmod(lock.c_str(), 0600));
    EXPECT_EQ("", complaint());
    std::string text;
    std::ifstream(folder / "other") >> text;
    EXPECT_EQ("precious", text);
}

TEST_F(ControlSocketTest, FolderThatIsMissingIsAnError) {
    EXPECT_THAT(complaint(folder / "none/control"), EndsWith("No such file or directory"));
}

TEST_F(ControlSocketTest, NameThatNoSocketCanHaveIsAnError) {
    EXPECT_THAT(complaint(""), HasSubstr("it must have 1 to 107 bytes"));
    EXPECT_THAT(complaint(folder / std::string(107, 'x')), HasSubstr("1 to 107 bytes"));
}

TEST_F(ControlSocketTest, DescriptorsThatHaveRunOutAreTheReason) {
    if (!kCanRunOutOfDescriptors) {
        GTEST_SKIP() << "the sanitizer needs descriptors itself";
    }
    const int next = ::dup(STDERR_FILENO);
    ::close(next);
    // One more, which the lock takes.
    EXPECT_EQ("cannot take commands at " + path + ": Too many open files",
              complaintWithDescriptorsBelow(static_cast<rlim_t>(next) + 1,
                                            [this] { ControlSocket socket(path); }));
}

TEST(ControlPeer, IsRootOrTheDaemonsUser) {
    EXPECT_TRUE(mayCommand({.process = 1, .user = 0}, 1000));
    EXPECT_TRUE(mayCommand({.process = 1, .user = 1000}, 1000));
    EXPECT_FALSE(mayCommand({.process = 1, .user = 1001}, 1000));
    EXPECT_FALSE(mayCommand({.process = 1, .user = 1000}, 0));
    EXPECT_FALSE(mayCommand(peerOf(-1), 1000)); // nobody knows who
    EXPECT_FALSE(mayCommand({}, 1000));
}

TEST(DefaultStateDirectory, IsTheFirstThatTheEnvironmentKnows) {
    ::setenv("RUNTIME_DIRECTORY", "/run/first:/run/second", 1);
    ::setenv("XDG_RUNTIME_DIR", "/run/user/7", 1);
    EXPECT_EQ("/run/first", defaultStateDirectory());
    ::unsetenv("RUNTIME_DIRECTORY");
    EXPECT_EQ("/run/user/7/lag-agent", defaultStateDirectory());
    ::setenv("XDG_RUNTIME_DIR", "", 1);
    EXPECT_EQ("/run/lag-agent", defaultStateDirectory());
    EXPECT_EQ("/run/lag-agent/control", controlIn(defaultStateDirectory()));
    ::unsetenv("XDG_RUNTIME_DIR");
}

} // namespace
} // namespace LagAgent
