#include "agent/daemon/Server.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/outcome/ExitStatus.h"
#include "agent/outcome/Text.h"
#include "agent/wire/Wire.h"
#include "tests/agent/daemon/Client.h"
#include "tests/agent/daemon/Daemon.h"
#include "tests/agent/daemon/FewDescriptors.h"

namespace LagAgent {
namespace {

using testing::HasSubstr;
using testing::Not;

/// What all scripts of a server share.
struct Shared {
    int carriedOut = 0;
    int gate = -1; // 'gate' waits until there is a byte
    bool isNextRefused = false;
    std::string obstacle{};
    std::vector<Posix::FileDescriptor> descriptors{};
    std::size_t rowsMade = 0;
};

/// All descriptors that the process may have.
std::vector<Posix::FileDescriptor> allDescriptors() {
    const rlimit few{64, 64};
    ::setrlimit(RLIMIT_NOFILE, &few);
    std::vector<Posix::FileDescriptor> all;
    do {
        all.emplace_back(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0));
    } while (all.back());
    return all;
}

/// So many turns, or one for which it waits.
class FakeWork final : public Work {
  public:
    FakeWork(Shared& shared, std::size_t turns) : shared_(shared), turns_(turns) {}

    bool goOn(Reply& reply) override {
        if (char byte; turns_ == 0) {
            EXPECT_EQ(1, ::read(shared_.gate, &byte, 1));
        }
        ++shared_.rowsMade;
        if (turns_ > 1) {
            --turns_;
            return false;
        }
        reply.add("text", "done", "done");
        return true;
    }
    int waitsFor() const override { return turns_ == 0 ? shared_.gate : -1; }

  private:
    Shared& shared_;
    std::size_t turns_; // 0: it waits for the gate
};

/// Commands with which a test can see and steer what the server does.
class FakeRunner final : public CommandRunner {
  public:
    explicit FakeRunner(Shared& shared) : shared_(shared) {}

    std::vector<std::string> continuations(const std::vector<std::string>& words) override {
        std::vector<std::string> all{"after"};
        all.insert(all.end(), words.begin(), words.end());
        return all;
    }

    Outcome run(std::string_view line, WantedCalls calls) override {
        const auto words = wordsOf(line);
        const std::string word = words.empty() ? "" : words[0];
        ++lines_;
        Outcome outcome;
        outcome.command = joined(words);
        std::string text = std::to_string(++shared_.carriedOut);
        if (word == "gate") {
            char byte;
            EXPECT_EQ(1, ::read(shared_.gate, &byte, 1));
        } else if (word == "terminate") {
            ::kill(::getpid(), SIGTERM);
        } else if (word == "big") {
            text = std::string(std::stoul(words.at(1)), 'x');
        } else if (word == "rows" || word == "terminating-rows") {
            outcome.reply.add("rows", rows(std::stoul(words.at(1)), word != "rows"));
            return outcome;
        } else if (word == "work") {
            outcome.reply.workIs(std::make_shared<FakeWork>(shared_, std::stoul(words.at(1))));
            return outcome;
        } else if (word == "made") {
            text = std::to_string(shared_.rowsMade);
        } else if (word == "lines") {
            text = std::to_string(lines_);
        } else if (word == "calls") {
            text = calls == WantedCalls::all ? "all" : "none";
        } else if (word == "quit") {
            isOver_ = true;
        } else if (word == "fail") {
            outcome.error = Error{ErrorKind::refused, joined(words)};
        } else if (word == "refuse-next") {
            shared_.isNextRefused = true;
        } else if (word == "obstacle") {
            shared_.obstacle = joined(words);
            outcome.error = Error{ErrorKind::storage, "not kept"};
        } else if (word == "hoard") {
            shared_.descriptors = allDescriptors();
        } else if (word == "release") {
            shared_.descriptors.clear();
        } else if (word == "throw") {
            throw std::runtime_error("thrown");
        }
        outcome.reply.add("text", text, text);
        return outcome;
    }
    void goOn(Outcome& outcome) override {
        const auto work = outcome.reply.work();
        if (work->goOn(outcome.reply)) {
            outcome.reply.workIs(nullptr);
        }
    }
    std::optional<Error> atEnd() override {
        return Error{ErrorKind::expectation, std::to_string(lines_) + " lines"};
    }
    bool isOver() const override { return isOver_; }

  private:
    /// A signal to end may come in the midst of them.
    Listing rows(std::size_t count, bool terminates) {
        return {{"row"}, count, [count, terminates, &made = shared_.rowsMade](std::size_t row) {
                    if (terminates && row == count / 2) {
                        ::kill(::getpid(), SIGTERM);
                    }
                    ++made;
                    return Cells{row};
                }};
    }

    Shared& shared_;
    int lines_ = 0;
    bool isOver_ = false;
};

class ServerTest : public testing::Test {
  protected:
    /// Of an answer that does not fit into a socket.
    static constexpr std::size_t kRows = 200'000;

    ServerTest() {
        int ends[2];
        EXPECT_EQ(0, ::pipe2(ends, O_CLOEXEC));
        const Posix::FileDescriptor gate(ends[0]);
        gate_ = Posix::FileDescriptor(ends[1]);
        daemon.start([&] {
            ::mkdir(daemon.directory().c_str(), 0700);
            const Log log(STDERR_FILENO, {.level = LogLevel::debug});
            Shared shared{.gate = gate.get()};
            Server server(daemon.control(), log);
            const int status =
                server.run([&] { return newRunner(shared); }, [&] { return shared.obstacle; });
            log.write(LogLevel::info, "rows-made",
                      {{"all", shared.rowsMade < kRows ? "no" : "yes"}});
            return status;
        });
    }

    void openGate() { EXPECT_EQ(1, ::write(gate_.get(), "!", 1)); }

    /// A client that was greeted.
    Client client() {
        Client client(daemon.control());
        EXPECT_EQ("lag-agent", client.hears()["hello"]);
        return client;
    }

    /// The server does as it should for somebody who comes now.
    void expectServes() { EXPECT_EQ("1", client().textOf("lines")); }

    Daemon daemon;

  private:
    static std::unique_ptr<CommandRunner> newRunner(Shared& shared) {
        if (std::exchange(shared.isNextRefused, false)) {
            throw std::runtime_error("no script");
        }
        return std::make_unique<FakeRunner>(shared);
    }

    Posix::FileDescriptor gate_;
};

TEST_F(ServerTest, GreetsAndAnswers) {
    Client client(daemon.control());
    EXPECT_EQ(nlohmann::json::parse(Wire::hello()), client.hears());
    client.run("some command");
    EXPECT_EQ(nlohmann::json::parse(R"({"parts":[{"name":"text","value":"1","text":"1"}]})"),
              client.hears());
    client.run("fail so");
    EXPECT_EQ(nlohmann::json::parse(R"({"parts":[{"name":"text","value":"2","text":"2"}],)"
                                    R"("error":{"kind":"refused","message":"fail so"}})"),
              client.hears());
}

TEST_F(ServerTest, PdCallsAreMadeReadableForTheRequestsThatWantThem) {
    auto one = client();
    one.say("{\"run\":\"calls\",\"calls\":true}\n");
    EXPECT_EQ("all", textIn(one.hears()));
    EXPECT_EQ("none", one.textOf("calls"));
}

TEST_F(ServerTest, TellsWhatMayFollowTheWordsOfALine) {
    Client client(daemon.control());
    client.hears();
    client.say("{\"complete\":\"show  me\"}\n");
    EXPECT_EQ(nlohmann::json({"after", "show", "me"}), client.hears()["continuations"]);
}

TEST_F(ServerTest, EveryClientHasAScriptOfItsOwn) {
    auto one = client(), two = client();
    EXPECT_EQ("1", one.textOf("lines"));
    EXPECT_EQ("2", one.textOf("lines"));
    EXPECT_EQ("1", two.textOf("lines"));
    one.say("{\"end\":true}\n");
    EXPECT_EQ("2 lines", one.hears()["error"]["message"]);
    two.say("{\"end\":true}\n");
    EXPECT_EQ("1 lines", two.hears()["error"]["message"]);
}

TEST_F(ServerTest, QuitEndsTheScriptAndNotTheServer) {
    auto one = client();
    one.run("quit");
    EXPECT_EQ(true, one.hears()["over"]);
    expectServes();
}

TEST_F(ServerTest, RequestsSentAtOnceAreAnsweredInOrder) {
    auto one = client();
    for (int i = 0; i < 100; ++i) {
        one.run("command");
    }
    for (int i = 1; i <= 100; ++i) {
        EXPECT_EQ(std::to_string(i), textIn(one.hears()));
    }
}

TEST_F(ServerTest, ClientsTakeTurns) {
    auto one = client(), two = client();
    one.run("gate");
    for (int i = 0; i < 10; ++i) {
        one.run("command");
    }
    two.run("command");
    two.run("command");
    openGate();
    for (int i = 0; i < 10; ++i) {
        one.hears();
    }
    const int lastOfOne = std::stoi(textIn(one.hears()));
    two.hears();
    const int lastOfTwo = std::stoi(textIn(two.hears()));
    EXPECT_LT(lastOfTwo, lastOfOne);
    EXPECT_EQ(13, lastOfOne);
}

TEST_F(ServerTest, GarbageIsAnsweredWithAnErrorAndTheClientGoesOn) {
    auto one = client();
    for (const char* garbage : {"", "show members", "{\"run\":", "[1,2]", "\xff\xfe\x01", "{}"}) {
        one.say(std::string(garbage) + "\n");
        EXPECT_EQ("connection", one.hears()["error"]["kind"]) << garbage;
    }
    EXPECT_EQ("1", one.textOf("lines"));
}

TEST_F(ServerTest, RequestThatIsTooLongIsAnsweredWithAnErrorAndTheClientGoesOn) {
    auto one = client();
    one.run(std::string(3'000'000, 'x'));
    EXPECT_EQ("a request may have 65536 bytes at most", one.hears()["error"]["message"]);
    EXPECT_EQ("1", one.textOf("lines"));
}

TEST_F(ServerTest, LineThatNeverEndsDisturbsNobody) {
    auto endless = client();
    endless.say(std::string(3'000'000, 'x'));
    expectServes();
    endless.say(std::string(3'000'000, 'x') + "\n");
    EXPECT_EQ("connection", endless.hears()["error"]["kind"]);
}

TEST_F(ServerTest, AnswerThatIsNotTakenDisturbsNobodyAndIsKept) {
    auto slow = client();
    slow.run("big 2000000");
    for (int i = 0; i < 100; ++i) {
        slow.run("command");
    }
    auto other = client();
    EXPECT_EQ("1", other.textOf("lines"));
    EXPECT_EQ("3", other.textOf("fail")); // nothing was carried out behind the answer not taken
    EXPECT_EQ(2'000'000u, textIn(slow.hears()).size());
    EXPECT_EQ("4", textIn(slow.hears()));
}

TEST_F(ServerTest, ClientThatDiesDisturbsNobody) {
    auto one = client();
    one.say("{\"run\":\"half a li");
    one.hangUp();
    auto two = client();
    two.run("big 2000000");
    two.hangUp();
    auto three = client();
    three.run("command");
    three.hangUp();
    client().hangUp();
    expectServes();
}

TEST_F(ServerTest, ClientThatSaysNoMoreStillGetsItsAnswers) {
    auto one = client();
    one.run("big 1000000");
    one.run("lines");
    one.sayNoMore();
    EXPECT_EQ(1'000'000u, textIn(one.hears()).size());
    EXPECT_EQ("2", textIn(one.hears()));
    EXPECT_TRUE(one.hears().is_null());
}

TEST_F(ServerTest, FailureInsideIsTheEndOfOneConnection) {
    auto one = client();
    one.run("throw");
    EXPECT_TRUE(one.hears().is_null());
    expectServes();
    EXPECT_THAT(daemon.log(),
                HasSubstr("level=error event=internal-error client=1 message=thrown"));
}

TEST_F(ServerTest, ClientThatCannotBeServedIsToldSoAndNothingElseEnds) {
    auto one = client();
    one.textOf("refuse-next");
    Client refused(daemon.control());
    EXPECT_EQ("the daemon cannot serve another client: no script",
              refused.hears()["error"]["message"]);
    EXPECT_TRUE(refused.hears().is_null());
    EXPECT_EQ("2", one.textOf("lines"));
    expectServes();
    EXPECT_THAT(daemon.log(),
                HasSubstr("level=error event=internal-error client=2 message=\"no script\"\n"));
}

TEST_F(ServerTest, ObstacleEndsTheServerWhenItsRequestIsAnswered) {
    auto one = client(), two = client();
    one.run("obstacle on the disk");
    const auto answer = one.hears();
    EXPECT_EQ("1", textIn(answer));
    EXPECT_EQ("not kept", answer["error"]["message"]);
    EXPECT_TRUE(one.hears().is_null());
    EXPECT_TRUE(two.hears().is_null());
    EXPECT_EQ(kExitDaemonFailed, daemon.exitStatus());
    const std::string log = daemon.log();
    EXPECT_THAT(log, HasSubstr("level=warning event=command-failed client=1 command=\"obstacle on "
                               "the disk\" kind=storage message=\"not kept\"\n"));
    const auto failed = log.find("level=error event=failed kind=storage message=\"obstacle on the "
                                 "disk\"\n");
    const auto stop = log.find("level=info event=stop reason=\"obstacle on the disk\"\n");
    EXPECT_LT(failed, stop);
    EXPECT_NE(std::string::npos, stop);
}

TEST_F(ServerTest, ThereAreSoManyClientsAndNoMore) {
    std::vector<Client> clients;
    for (std::size_t i = 0; i < Server::kMostClients; ++i) {
        clients.push_back(client());
    }
    Client refused(daemon.control());
    EXPECT_EQ("the daemon has 64 clients already: end one of them first",
              refused.hears()["error"]["message"]);
    EXPECT_TRUE(refused.hears().is_null());
    EXPECT_EQ("1", clients.back().textOf("lines"));
    clients.pop_back();
    // The server may see the new client before it sees that the other went.
    bool isGreeted = false;
    for (int i = 0; i < 10'000 && !isGreeted; ++i) {
        isGreeted = Client(daemon.control()).hears().contains("hello");
    }
    EXPECT_TRUE(isGreeted);
}

TEST_F(ServerTest, ClientThatComesWhenDescriptorsHaveRunOutIsServedWhenThereAreSome) {
    if (!kCanRunOutOfDescriptors) {
        GTEST_SKIP() << "the sanitizer needs descriptors itself";
    }
    auto one = client(), two = client();
    one.textOf("hoard");
    two.hangUp(); // the one descriptor is not for clients
    Client late(daemon.control());
    for (int i = 0; i < 10'000 && daemon.log().find("event=cannot-accept") == std::string::npos;
         ++i) {
        EXPECT_NE("", one.textOf("command"));
    }
    EXPECT_THAT(daemon.log(), HasSubstr("level=error event=cannot-accept message=\"Too many open "
                                        "files\"\n"));
    one.textOf("release");
    EXPECT_EQ("lag-agent", late.hears()["hello"]);
    EXPECT_EQ("1", late.textOf("lines"));
    EXPECT_EQ(0, daemon.stop());
}

TEST_F(ServerTest, AnotherUserIsTurnedAway) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can be somebody else";
    }
    ASSERT_EQ(0, ::chmod(daemon.control().c_str(), 0666));
    ASSERT_EQ(0, ::chmod(daemon.directory().c_str(), 0755));
    ASSERT_EQ(0, ::chmod((daemon.folder / "").c_str(), 0755));
    Child other([&] {
        const int nobody = 65534;
        if (::setgid(nobody) != 0 || ::setuid(nobody) != 0) {
            return 1;
        }
        Client client(daemon.control());
        const std::string request = "{\"run\":\"command\"}\n"; // the server may be gone already
        ::send(client.fd(), request.data(), request.size(), MSG_NOSIGNAL);
        const auto answer = client.hears();
        return answer["error"]["message"] == "the daemon takes no commands from user 65534: only "
                                             "from its own user and from root" &&
                       client.hears().is_null()
                   ? 0
                   : 2;
    });
    EXPECT_EQ(0, other.exitStatus());
    EXPECT_THAT(daemon.log(), HasSubstr("level=warning event=client-refused"));
    EXPECT_EQ("1", client().textOf("command")); // that of the other was not carried out
}

TEST_F(ServerTest, SignalToEndLetsTheRequestUnderWayFinishAndNoOther) {
    auto one = client(), two = client();
    one.run("gate");
    one.run("terminate");
    one.run("command");
    for (int i = 0; i < 10; ++i) {
        two.run("command");
    }
    openGate();
    EXPECT_TRUE(one.hears().contains("parts"));
    const auto last = std::stoi(textIn(one.hears()));
    EXPECT_TRUE(one.hears().is_null());
    int answersOfTwo = 0; // before, in its turns
    for (auto answer = two.hears(); !answer.is_null(); answer = two.hears()) {
        EXPECT_LT(std::stoi(textIn(answer)), last);
        ++answersOfTwo;
    }
    EXPECT_EQ(last, 2 + answersOfTwo);
    EXPECT_LT(answersOfTwo, 10);
    EXPECT_EQ(0, daemon.exitStatus());
    EXPECT_FALSE(std::filesystem::exists(daemon.control()));
    EXPECT_THAT(daemon.log(), HasSubstr("event=stop reason=SIGTERM\n"));
    EXPECT_EQ("STOPPING=1\nSTATUS=Stopping", daemon.manager.hears());
}

TEST_F(ServerTest, AnswerUnderWayIsTakenToItsEnd) {
    auto one = client();
    one.run("gate");
    one.run("big 2000000");
    openGate();
    EXPECT_EQ("1", textIn(one.hears()));
    // The answer does not fit into the socket, so it is under way when its first byte is here.
    char byte;
    ASSERT_EQ(1, ::recv(one.fd(), &byte, 1, MSG_PEEK));
    daemon.signal(SIGINT);
    EXPECT_EQ("STOPPING=1\nSTATUS=Stopping", daemon.manager.hears());
    EXPECT_EQ(2'000'000u, textIn(one.hears()).size());
    EXPECT_EQ(0, daemon.exitStatus());
}

TEST_F(ServerTest, LongAnswerIsMadeBetweenTheCommandsOfOthers) {
    auto one = client(), two = client();
    one.run("gate");
    one.run("rows 100000");
    for (int i = 0; i < 10; ++i) {
        two.run("made");
    }
    openGate();
    std::size_t before = 0;
    for (int i = 0; i < 10; ++i) {
        const auto made = std::stoul(textIn(two.hears()));
        // One turn while a request is read, if it has not been, and one before it has its own.
        EXPECT_LE(made, before + 2 * Connection::kPiecesOfTurn);
        before = made;
    }
    EXPECT_LT(0u, before);
    EXPECT_LT(before, 100'000u);
    one.hears(); // the gate's: one of the others may have come before it
    const auto answer = one.hears();
    ASSERT_EQ(100'000u, answer["parts"][0]["rows"].size());
    EXPECT_EQ(nlohmann::json::array({99'999}), answer["parts"][0]["rows"][99'999]);
}

TEST_F(ServerTest, LongAnswerIsMadeNoFasterThanItIsTaken) {
    auto slow = client(), other = client();
    slow.run("rows " + std::to_string(kRows));
    slow.run("command");
    // The server is done with as much as the socket takes when others get the same answer twice.
    std::string made, before;
    do {
        before = std::exchange(made, other.textOf("made"));
    } while (made == "0" || made != before);
    EXPECT_GT(kRows, std::stoul(made));
    slow.hangUp();
    while (daemon.log().find("event=client-gone client=1") == std::string::npos) {
        expectServes();
    }
    EXPECT_EQ(made, other.textOf("made"));
}

TEST_F(ServerTest, LongWorkIsDoneBetweenTheCommandsOfOthers) {
    auto one = client(), two = client();
    one.run("gate");
    one.run("work 1000");
    for (int i = 0; i < 10; ++i) {
        two.run("made");
    }
    openGate();
    std::size_t before = 0;
    for (int i = 0; i < 10; ++i) {
        const auto made = std::stoul(textIn(two.hears()));
        // One turn while a request is read, if it has not been, and one before it has its own.
        EXPECT_LE(made, before + 2);
        before = made;
    }
    EXPECT_LT(0u, before);
    one.hears(); // the gate's
    EXPECT_EQ("done", textIn(one.hears()));
    EXPECT_EQ("1000", two.textOf("made"));
}

TEST_F(ServerTest, WorkThatWaitsHoldsUpNobody) {
    auto one = client(), two = client();
    one.run("work 0");
    one.run("lines");
    expectServes();
    EXPECT_EQ("0", two.textOf("made"));
    openGate();
    EXPECT_EQ("done", textIn(one.hears()));
    EXPECT_EQ("2", textIn(one.hears()));
}

TEST_F(ServerTest, ClientThatHangsUpWhileItsWorkWaitsGoesWhenThatIsDone) {
    auto one = client();
    one.run("work 0");
    one.hangUp();
    expectServes();
    openGate();
    while (daemon.log().find("event=client-gone client=1") == std::string::npos) {
        expectServes();
    }
}

TEST_F(ServerTest, SignalToEndLetsWorkThatWaitsFinish) {
    auto one = client();
    one.run("work 0");
    expectServes();
    daemon.signal(SIGTERM);
    EXPECT_EQ("STOPPING=1\nSTATUS=Stopping", daemon.manager.hears());
    openGate();
    EXPECT_EQ("done", textIn(one.hears()));
    EXPECT_TRUE(one.hears().is_null());
    EXPECT_EQ(0, daemon.exitStatus());
}

TEST_F(ServerTest, SignalEndsTheServerWhileALongAnswerIsUnderWay) {
    auto one = client(), two = client();
    one.run("rows " + std::to_string(kRows));
    char byte;
    ASSERT_EQ(1, ::recv(one.fd(), &byte, 1, MSG_PEEK));
    daemon.signal(SIGTERM);
    EXPECT_EQ("STOPPING=1\nSTATUS=Stopping", daemon.manager.hears());
    EXPECT_TRUE(two.hears().is_null());
    one.hangUp();
    EXPECT_EQ(0, daemon.exitStatus());
    EXPECT_THAT(daemon.log(), HasSubstr("event=rows-made all=no\n"));
}

TEST_F(ServerTest, LongAnswerUnderWayIsMadeAndTakenToItsEnd) {
    auto one = client();
    one.run("rows 30000");
    one.run("command");
    char byte;
    ASSERT_EQ(1, ::recv(one.fd(), &byte, 1, MSG_PEEK));
    daemon.signal(SIGTERM);
    EXPECT_EQ("STOPPING=1\nSTATUS=Stopping", daemon.manager.hears());
    EXPECT_EQ(30'000u, resultIn(one.hears())["rows"].size());
    EXPECT_TRUE(one.hears().is_null());
    EXPECT_EQ(0, daemon.exitStatus());
}

TEST_F(ServerTest, LongAnswerThatWaitsForItsTurnWhenTheSignalComesIsMadeToItsEndToo) {
    auto one = client();
    one.run("terminating-rows 3000"); // which the socket takes, turn by turn
    EXPECT_EQ(3000u, resultIn(one.hears())["rows"].size());
    EXPECT_EQ(0, daemon.exitStatus());
}

TEST_F(ServerTest, ClientThatNeverTakesItsAnswerDoesNotHoldUpTheEnd) {
    auto one = client();
    one.run("big 2000000");
    char byte;
    ASSERT_EQ(1, ::recv(one.fd(), &byte, 1, MSG_PEEK));
    EXPECT_EQ(0, daemon.stop());
}

TEST(ServerWatchdog, IsFedByTheLoop) {
    Daemon daemon;
    daemon.start([&] {
        ::mkdir(daemon.directory().c_str(), 0700);
        ::setenv("WATCHDOG_USEC", "200000", 1);
        const Log log(STDERR_FILENO, {});
        return Server(daemon.control(), log).run([] { return nullptr; });
    });
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ("WATCHDOG=1", daemon.manager.hears());
    }
    EXPECT_EQ(0, daemon.stop());
}

TEST(ServerLog, SaysHowMuchIsMissingAsSoonAsItCan) {
    int ends[2];
    ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC));
    const Posix::FileDescriptor reader(ends[0]), writer(ends[1]);
    Daemon daemon;
    daemon.start([&] {
        ::mkdir(daemon.directory().c_str(), 0700);
        const Log log(writer.get(), {});
        return Server(daemon.control(), log).run([]() -> std::unique_ptr<CommandRunner> {
            throw std::runtime_error("no script");
        });
    });
    const auto come = [&] { EXPECT_TRUE(Client(daemon.control()).hears().contains("error")); };
    for (int i = 0; i < 2000; ++i) {
        come();
    }
    std::string text;
    pollfd waiting{reader.get(), POLLIN, 0};
    while (text.find("event=log-dropped events=") == std::string::npos &&
           ::poll(&waiting, 1, 60'000) == 1) {
        char buffer[1 << 16];
        const ssize_t size = ::read(reader.get(), buffer, sizeof buffer);
        ASSERT_LT(0, size);
        text.append(buffer, static_cast<std::size_t>(size));
    }
    EXPECT_THAT(text, testing::ContainsRegex("level=warning event=log-dropped events=[0-9]+\n"));
    EXPECT_EQ(0, daemon.stop());
}

TEST_F(ServerTest, HangUpOfATerminalIsNothing) {
    daemon.signal(SIGHUP);
    daemon.signal(SIGPIPE);
    expectServes();
    EXPECT_EQ(0, daemon.stop());
}

TEST_F(ServerTest, LogSaysWhoCameAndWhatFailed) {
    auto one = client();
    one.run("fail \x1b[2J");
    one.hears();
    one.hangUp();
    EXPECT_EQ(0, daemon.stop());
    const std::string log = daemon.log();
    EXPECT_THAT(log, HasSubstr("level=info event=ready socket=" + daemon.control() + "\n"));
    EXPECT_THAT(log, HasSubstr("level=debug event=client-connected client=1 pid=" +
                               std::to_string(::getpid()) + " uid=" + std::to_string(::getuid()) +
                               "\n"));
    EXPECT_THAT(log, HasSubstr("level=info event=command-failed client=1 command=\"fail "
                               "\\x1b[2J\" kind=refused message=\"fail \\x1b[2J\"\n"));
    EXPECT_THAT(log, HasSubstr("level=debug event=client-gone client=1\n"));
}

} // namespace
} // namespace LagAgent
