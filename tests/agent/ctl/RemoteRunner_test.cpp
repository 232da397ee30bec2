#include "agent/ctl/RemoteRunner.h"

#include <poll.h>
#include <sys/socket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/daemon/ControlSocket.h"
#include "agent/wire/Address.h"
#include "tests/agent/daemon/Child.h"
#include "tests/agent/daemon/FewDescriptors.h"
#include "tests/agent/daemon/TestDirectory.h"

namespace LagAgent {
namespace {

using testing::EndsWith;

/// Clients of a daemon that says what the test wants it to say.
class RemoteRunnerTest : public testing::Test {
  protected:
    /// The daemon greets with `greeting`, and answers the first request with `answer`.
    void daemonSays(const std::string& greeting, const std::string& answer = "") {
        daemon_ = Child();
        // Made here, so that the client can connect; the child accepts.
        socket_ = nullptr;
        socket_ = std::make_unique<ControlSocket>(control);
        daemon_ = Child([=, this] {
            pollfd waiting{socket_->fd(), POLLIN, 0};
            ::poll(&waiting, 1, 60'000);
            const Posix::FileDescriptor client(::accept(socket_->fd(), nullptr, nullptr));
            say(client, greeting);
            char request[1000];
            if (!answer.empty() && ::recv(client.get(), request, sizeof request, 0) > 0) {
                say(client, answer);
            }
            if (isSilent) {
                ::pause();
            }
            ::_exit(0); // without a destructor, which would remove the socket
            return 0;
        });
    }

    std::string objection(Patience patience = {}) const {
        try {
            const RemoteRunner runner(control, patience);
        } catch (const CommandError& e) {
            EXPECT_EQ(ErrorKind::connection, e.kind());
            return e.what();
        }
        return "";
    }

    /// The daemon says no more, and stays.
    bool isSilent = false;

    TestDirectory folder;
    const std::string control = folder / "control";

  private:
    static void say(const Posix::FileDescriptor& client, const std::string& text) {
        ::send(client.get(), text.data(), text.size(), MSG_NOSIGNAL);
    }

    std::unique_ptr<ControlSocket> socket_;
    Child daemon_;
};

TEST_F(RemoteRunnerTest, DaemonThatDoesNotGreetIsNone) {
    daemonSays("");
    EXPECT_EQ("cannot reach a daemon at " + control + ": it closed the connection", objection());
    daemonSays("hello\n");
    EXPECT_EQ("cannot reach a daemon at " + control + ": what was received is no JSON object",
              objection());
    daemonSays("{\"hello\":\"lag-agent\",\"protocol\":1}\n");
    EXPECT_THAT(objection(),
                EndsWith(": the daemon speaks protocol 1, and this program protocol 2: use "
                         "lagctl and lag-agent of one version"));
    daemonSays("{\"error\":{\"kind\":\"connection\",\"message\":\"too many\"}}\n");
    EXPECT_THAT(objection(), EndsWith(": too many"));
}

TEST_F(RemoteRunnerTest, DescriptorsThatHaveRunOutAreTheReason) {
    if (!kCanRunOutOfDescriptors) {
        GTEST_SKIP() << "the sanitizer needs descriptors itself";
    }
    daemonSays(Wire::hello());
    EXPECT_EQ("cannot reach a daemon at " + control + ": Too many open files",
              complaintWithDescriptorsBelow(3, [this] { RemoteRunner runner(control); }));
}

TEST_F(RemoteRunnerTest, AnswerThatMakesNoSenseEndsTheScript) {
    for (const char* answer : {"nonsense\n", "{\"parts\":5}\n", "{\"parts\":[\"half"}) {
        daemonSays(Wire::hello(), answer);
        RemoteRunner runner(control);
        const auto outcome = runner.run("  show   members # all ", WantedCalls::none);
        EXPECT_EQ("show members", outcome.command);
        ASSERT_TRUE(outcome.error) << answer;
        EXPECT_EQ(ErrorKind::connection, outcome.error->kind);
        EXPECT_TRUE(runner.isOver());
        EXPECT_FALSE(runner.atEnd()); // it was told once
    }
}

TEST_F(RemoteRunnerTest, AnswerThatDoesNotComeInTimeEndsTheScript) {
    isSilent = true;
    for (const char* answer : {"", "{\"parts\":[\"half"}) {
        daemonSays(Wire::hello(), answer);
        RemoteRunner runner(control, {.answer = std::chrono::seconds(1)});
        const auto outcome = runner.run("show", WantedCalls::none);
        ASSERT_TRUE(outcome.error);
        EXPECT_EQ("lost the daemon at " + control +
                      " before it answered, so this may have been carried out or not: process " +
                      std::to_string(::getpid()) +
                      " does not answer in time: it is busy, starting or stopped",
                  outcome.error->message);
        EXPECT_TRUE(runner.isOver());
    }
}

TEST_F(RemoteRunnerTest, SocketThatTakesNoMoreClientsIsNotWaitedForLongerThanToldTo) {
    const Posix::FileDescriptor crowded(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = addressOf(control);
    const auto* const place = reinterpret_cast<const sockaddr*>(&address);
    ASSERT_EQ(0, ::bind(crowded.get(), place, sizeof address));
    ASSERT_EQ(0, ::listen(crowded.get(), 0));
    const Posix::FileDescriptor first(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(0, ::connect(first.get(), place, sizeof address));
    EXPECT_EQ("cannot reach a daemon at " + control + ": too many clients are waiting there",
              objection({.greeting = std::chrono::seconds(1)}));
}

TEST_F(RemoteRunnerTest, EmptyLineIsNotSent) {
    daemonSays(Wire::hello(), R"({"parts":[{"name":"said","value":1,"text":"answer"}]})"
                              "\n");
    RemoteRunner runner(control);
    EXPECT_EQ("", runner.run("  # nothing", WantedCalls::none).command);
    EXPECT_EQ("answer", runner.run("show", WantedCalls::none).reply.text());
}

} // namespace
} // namespace LagAgent
