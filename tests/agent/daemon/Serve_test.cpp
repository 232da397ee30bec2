#include "agent/daemon/Serve.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "asic/SoftwareAsic.h"
#include "tests/agent/Process.h"
#include "tests/agent/daemon/Client.h"
#include "tests/agent/daemon/Daemon.h"

namespace LagAgent {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class Serve : public testing::Test {
  protected:
    Client client() {
        Client client(daemon.control());
        EXPECT_EQ("lag-agent", client.hears()["hello"]);
        return client;
    }

    Daemon daemon;
};

TEST_F(Serve, TellsTheManagerHowItStartsThatItIsReadyAndThatItStops) {
    daemon.startProgram();
    std::vector<std::string> expected;
    for (const char* phase : {"taking the state directory", "loading the driver", "desired state",
                              "chip", "tables", "factories", "audit", "mending", "model"}) {
        expected.push_back(std::string("STATUS=Starting: ") + phase +
                           "\nEXTEND_TIMEOUT_USEC=30000000\nWATCHDOG=1");
    }
    expected.push_back("READY=1\nSTATUS=Taking commands");
    EXPECT_EQ(expected, daemon.said);
    EXPECT_EQ(0, daemon.stop());
    EXPECT_EQ("STOPPING=1\nSTATUS=Stopping", daemon.manager.hears());
}

TEST_F(Serve, KeepsItsStateDirectoryAndSocketToItsUser) {
    const mode_t mask = ::umask(0);
    daemon.startProgram();
    ::umask(mask);
    struct stat file {};
    ASSERT_EQ(0, ::stat(daemon.directory().c_str(), &file));
    EXPECT_EQ(S_IFDIR | 0700u, file.st_mode);
    ASSERT_EQ(0, ::stat(daemon.control().c_str(), &file));
    EXPECT_EQ(S_IFSOCK | 0600u, file.st_mode);
}

TEST_F(Serve, StateOutlivesItsClients) {
    daemon.startProgram();
    client().textOf("member add 1 action setLagPort port 7");
    EXPECT_THAT(client().textOf("show members"), HasSubstr("setLagPort  7"));
}

TEST_F(Serve, ScriptStateIsEachClientsOwn) {
    daemon.startProgram();
    auto one = client(), two = client();
    one.run("expect error there is no member 9");
    EXPECT_EQ("{}", one.hears().dump());
    two.run("member add 1 action setLagPort port 1");
    EXPECT_FALSE(two.hears().contains("error"));
    two.run("expect calls 1");
    EXPECT_EQ("{}", two.hears().dump());
    one.run("member del 9");
    EXPECT_EQ("there is no member 9: add it with 'member add' first",
              one.hears()["expectedError"]["message"]);
    one.run("expect calls 0");
    EXPECT_EQ("{}", one.hears().dump());
}

TEST_F(Serve, SecondDaemonOnTheSameSocketIsRefused) {
    daemon.startProgram();
    const auto second = runProgram("serve --state-dir " + (daemon.folder / "other") +
                                   " --control " + daemon.control());
    EXPECT_EQ(2, second.status);
    EXPECT_THAT(second.err, HasSubstr("level=error event=failed kind=start message=\"cannot take "
                                      "commands at " +
                                      daemon.control() + ": process " +
                                      std::to_string(daemon.pid()) + " takes commands there\"\n"));
    EXPECT_THAT(client().textOf("show members"), StartsWith("members:"));
}

TEST_F(Serve, SecondDaemonOnTheSameStateDirectoryIsRefused) {
    daemon.startProgram();
    const auto second = runProgram("serve --state-dir " + daemon.directory() + " --control " +
                                   (daemon.folder / "elsewhere"));
    EXPECT_EQ(2, second.status);
    EXPECT_THAT(second.err, HasSubstr("level=error event=failed kind=storage message=\"" +
                                      daemon.directory() + ": in use by another agent, process " +
                                      std::to_string(daemon.pid()) + "\"\n"));
    EXPECT_THAT(client().textOf("show members"), StartsWith("members:"));
}

TEST_F(Serve, StaleSocketIsReplaced) {
    daemon.startProgram();
    daemon.signal(SIGKILL);
    EXPECT_EQ(-1, daemon.exitStatus());
    ASSERT_TRUE(std::filesystem::exists(daemon.control()));
    daemon.startProgram();
    EXPECT_THAT(client().textOf("show members"), StartsWith("members:"));
}

TEST_F(Serve, SocketCanBeElsewhere) {
    const std::string control = daemon.folder / "elsewhere";
    daemon.startProgram("--control " + control);
    EXPECT_FALSE(std::filesystem::exists(daemon.control()));
    EXPECT_EQ("lag-agent", Client(control).hears()["hello"]);
    EXPECT_EQ(0, daemon.stop());
    EXPECT_FALSE(std::filesystem::exists(control));
}

TEST_F(Serve, StartThatFailsIsStatusTwoAndALineOfTheLog) {
    const std::string directory = " --state-dir " + daemon.directory();
    for (const auto& [arguments, message] : std::vector<std::pair<std::string, std::string>>{
             {"--pd /nonexistent.so" + directory, "cannot open the PD library: /nonexistent.so"},
             {"--chip /nonexistent/chip" + directory, "/nonexistent/chip.agent: cannot open it: "},
             {"--trace nonsense" + directory, "event=failed"},
             {"--state-dir /nonexistent/state",
              "/nonexistent/state: cannot create the directory: No such file or directory"},
             {"--state-dir /dev/null", "/dev/null: refused: it is a link or no directory"},
             {"--control /nonexistent/control" + directory,
              "/nonexistent/control.lock: cannot open it: No such"},
             {"--nonsense", "--nonsense"},
             {"--log-level loud", "--log-level"},
             {"a-file", "a-file"}}) {
        const auto run = runProgram("serve " + arguments);
        EXPECT_EQ(2, run.status) << arguments;
        EXPECT_THAT(run.err, HasSubstr(message)) << arguments;
        EXPECT_FALSE(std::filesystem::exists(daemon.control())) << arguments;
    }
}

TEST_F(Serve, ClosedStandardStreamsAreNotOtherFiles) {
    daemon.startProgram("<&- >&- 2>&-");
    EXPECT_EQ("", client().textOf("nonsense"));
    EXPECT_EQ(0, daemon.stop());
    int files = 0;
    for (const auto& file : std::filesystem::directory_iterator(daemon.directory())) {
        std::ostringstream text;
        text << std::ifstream(file.path()).rdbuf();
        EXPECT_THAT(text.str(), testing::Not(HasSubstr("event="))) << file.path();
        ++files;
    }
    EXPECT_LT(1, files);
}

TEST_F(Serve, HelpSucceeds) {
    const auto run = runProgram("serve --help");
    EXPECT_EQ(0, run.status);
    EXPECT_THAT(run.out, AllOf(HasSubstr("--state-dir"), HasSubstr("SIGTERM")));
}

TEST_F(Serve, EndLeavesTheChipAsItIs) {
    // The child looks at the chip when serve() has returned, in the process that has it.
    const std::string control = daemon.control();
    daemon.start([&] {
        void* library = ::dlopen(PD_VELMOR_SWITCH_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        const auto mark = [library](const char* name) {
            return reinterpret_cast<std::uint64_t (*)()>(::dlsym(library, name))();
        };
        const int status = serve({.target = {.pdPath = PD_VELMOR_SWITCH_LIBRARY},
                                  .stateDirectory = daemon.directory(),
                                  .control = control});
        std::ofstream(daemon.folder / "calls")
            << mark("velmor_asic_log_end") - mark("velmor_asic_log_begin");
        return status;
    });
    auto one = client();
    one.textOf("member add 1 action setLagPort port 1");
    one.textOf("group add 10 size 4 initial 1 action setLagPort");
    one.textOf("entry set value 5 mask 0xff group 10");
    one.run("show calls");
    const std::size_t calls = resultIn(one.hears())["calls"].size();
    EXPECT_GE(calls, 4u);
    EXPECT_EQ(0, daemon.stop());
    std::size_t callsAtEnd = 0;
    std::ifstream(daemon.folder / "calls") >> callsAtEnd;
    EXPECT_EQ(calls, callsAtEnd);
}

/// The chip refuses each start for a reason that passes by itself.
class ServeRefused : public Serve {
  protected:
    static constexpr std::uint32_t kTryAgain = 10;

    void run(const std::function<void(std::chrono::milliseconds)>& pause) {
        daemon.run([this, pause] {
            velmor_asic_fault_plan("p4_pd_velmor_switch_lagGroup_set_property", 1, kTryAgain,
                                   VELMOR_ASIC_FAULT_ALWAYS);
            return serve({.target = {.pdPath = PD_VELMOR_SWITCH_LIBRARY},
                          .stateDirectory = daemon.directory(),
                          .control = daemon.control(),
                          .pause = pause});
        });
    }
};

TEST_F(ServeRefused, MinuteOfItIsAFailureAfterWhichAnotherStartMaySucceed) {
    run([](std::chrono::milliseconds) {}); // each counts as if it had been waited for
    EXPECT_EQ(1, daemon.exitStatus());
    EXPECT_THAT(daemon.log(), AllOf(HasSubstr("event=failed kind=start"),
                                    HasSubstr("the chip forwards on as it is"),
                                    HasSubstr("The chip has refused for a minute")));
}

TEST_F(ServeRefused, SignalToEndEndsTheStart) {
    run({});
    while (daemon.log().find("the chip refuses for now, and is asked again") == std::string::npos) {
    }
    EXPECT_EQ(0, daemon.stop());
    EXPECT_THAT(daemon.log(), HasSubstr("event=stop reason=SIGTERM"));
}

TEST_F(Serve, RefusedPdCallIsAWarning) {
    daemon.startProgram();
    auto one = client();
    one.textOf("fault lagPortActionProfile_add_member_with_setLagPort nth 1 status 9 once");
    one.run("member add 1 action setLagPort port 1");
    EXPECT_EQ("table", one.hears()["error"]["kind"]);
    EXPECT_EQ(0, daemon.stop());
    EXPECT_THAT(
        daemon.log(),
        HasSubstr("level=warning event=pd-call-refused client=1 command=\"member add 1 action "
                  "setLagPort port 1\" "
                  "function=p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort "
                  "status=9 message="));
}

TEST_F(Serve, ReaderOfItsLogThatStopsDoesNotHoldItUp) {
    int ends[2];
    ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC));
    const Posix::FileDescriptor reader(ends[0]), writer(ends[1]);
    const std::string all(static_cast<std::size_t>(::fcntl(ends[0], F_GETPIPE_SZ)), '.');
    ASSERT_EQ(static_cast<ssize_t>(all.size()), ::write(writer.get(), all.data(), all.size()));
    const std::string directory = daemon.directory();
    daemon.start([&] {
        ::dup2(writer.get(), STDERR_FILENO);
        return ::execl(LAG_AGENT, "lag-agent", "serve", "--state-dir", directory.c_str(), nullptr);
    });
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ("", client().textOf("nonsense"));
    }
    EXPECT_EQ(0, daemon.stop());
}

TEST_F(Serve, ReaderOfItsLogThatIsGoneDoesNotEndIt) {
    int ends[2];
    ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC));
    ::close(ends[0]);
    const Posix::FileDescriptor writer(ends[1]);
    const std::string directory = daemon.directory();
    daemon.start([&] {
        ::dup2(writer.get(), STDERR_FILENO);
        return ::execl(LAG_AGENT, "lag-agent", "serve", "--state-dir", directory.c_str(), nullptr);
    });
    EXPECT_EQ("", client().textOf("nonsense"));
    EXPECT_EQ(0, daemon.stop());
}

TEST_F(Serve, LogCanBeJson) {
    daemon.startProgram("--log-json");
    client().textOf("nonsense \"\n\u00ff\"");
    EXPECT_EQ(0, daemon.stop());
    std::istringstream lines(daemon.log());
    std::vector<std::string> events;
    for (std::string line; std::getline(lines, line);) {
        events.push_back(nlohmann::json::parse(line).at("event"));
    }
    EXPECT_THAT(events,
                ElementsAre("start", "start", "start", "start", "start", "start", "start", "start",
                            "start", "reconciled", "ready", "command-failed", "stop"));
}

} // namespace
} // namespace LagAgent
