#include <unistd.h>

#include <chrono>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/Process.h"
#include "tests/agent/daemon/Client.h"
#include "tests/agent/daemon/Daemon.h"

namespace LagAgent {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kFailingScript = "member add 1 action setLagPort\n\nmember del 2\nshow\n";

class Lagctl : public testing::Test {
  protected:
    Lagctl() { daemon.startProgram(); }

    Finished lagctl(const std::string& arguments, const std::string& input = "") const {
        return runCommandLine(LAGCTL " --state-dir " + daemon.directory() + " " + arguments, input);
    }

    Daemon daemon;
};

TEST_F(Lagctl, CarriesOutACommand) {
    EXPECT_EQ(0, lagctl("member add 1 action setLagPort port 7").status);
    const auto run = lagctl("show members");
    EXPECT_EQ(0, run.status);
    EXPECT_THAT(run.out, HasSubstr("setLagPort  7"));
    EXPECT_THAT(run.err, IsEmpty());
}

TEST_F(Lagctl, CommandThatFailsIsStatusOne) {
    const auto run = lagctl("member del 1");
    EXPECT_EQ(1, run.status);
    EXPECT_EQ("error: there is no member 1: add it with 'member add' first\n", run.err);
    EXPECT_EQ("{\"command\":\"member del 1\",\"ok\":false,\"error\":{\"kind\":\"refused\",\"message"
              "\":\"there is no member 1: add it with 'member add' first\"}}\n",
              lagctl("-json member del 1").out);
    EXPECT_EQ(1, lagctl("expect error anything").status);
}

TEST_F(Lagctl, FindsTheSocketByItsName) {
    const auto run = runCommandLine(LAGCTL " --control " + daemon.control() + " show members");
    EXPECT_EQ("members:\n  none\n", run.out);
}

TEST_F(Lagctl, ReadsCommandsFromAPipe) {
    const auto run = lagctl("", kFailingScript);
    EXPECT_EQ(1, run.status);
    EXPECT_EQ("stdin:3: there is no member 2: add it with 'member add' first\n", run.err);
    EXPECT_THAT(run.out, IsEmpty());
    const auto forced = lagctl("-force", "member del 1\n" + std::string(kFailingScript));
    EXPECT_EQ(1, forced.status);
    EXPECT_THAT(forced.err, HasSubstr("stdin:4: "));
    EXPECT_THAT(forced.out, HasSubstr("setLagPort"));
}

TEST_F(Lagctl, QuitEndsItAndNotTheDaemon) {
    EXPECT_EQ(0, lagctl("", "quit\nnonsense\n").status);
    EXPECT_EQ(0, lagctl("quit").status);
    EXPECT_EQ(0, lagctl("show").status);
}

TEST_F(Lagctl, AnnouncedErrorThatNeverComesIsAnError) {
    const auto run = lagctl("", "expect error anything\n");
    EXPECT_EQ(1, run.status);
    EXPECT_EQ("stdin:1: expected an error with 'anything', but there is no more command\n",
              run.err);
}

TEST_F(Lagctl, WhateverIsSentComesBackAsLocally) {
    const std::string noise = "\xff\xfe \x01\n\"quoted\"\n{}\nshow \xc3\xa4\n" +
                              std::string(5000, 'x') + "\nexpect error \xff\nmember del 7\n";
    for (const char* options : {"-force", "-force -json", "-force --calls"}) {
        const auto local = runProgram(options, noise);
        const auto remote = lagctl(options, noise);
        EXPECT_EQ(local.out, remote.out) << options;
        EXPECT_EQ(local.err, remote.err) << options;
        EXPECT_EQ(1, remote.status);
    }
}

TEST_F(Lagctl, LineThatIsTooLongForARequestIsAnErrorOfThatLine) {
    const auto run =
        lagctl("-force", "show members " + std::string(100'000, 'x') + "\nshow members");
    EXPECT_EQ(1, run.status);
    EXPECT_EQ("stdin:1: a request may have 65536 bytes at most\n", run.err);
    EXPECT_EQ("members:\n  none\n", run.out);
}

TEST_F(Lagctl, QuietAndCallsAreAsLocally) {
    EXPECT_THAT(lagctl("--quiet show").out, IsEmpty());
    EXPECT_THAT(lagctl("--calls member add 1 action setLagPort port 3").out,
                StartsWith("> member add 1 action setLagPort port 3\n    p4_pd_velmor_switch_"
                           "lagPortActionProfile_add_member_with_setLagPort(sess_hdl="));
}

TEST_F(Lagctl, ResultThatIsLostIsAFailure) {
    const std::string program = LAGCTL " --state-dir " + daemon.directory() + " ";
    const auto shell = [&](const std::string& command, const std::string& input = "") {
        return runCommandLine("sh -c '" + program + command + "'", input);
    };
    const std::string lost = "lagctl: cannot write to standard output: results are lost\n";
    for (const char* command : {"show", "-json show", "--help", "--version"}) {
        for (const char* out : {" > /dev/full", " >&-"}) {
            const auto run = shell(std::string(command) + out);
            EXPECT_EQ(1, run.status) << command << out;
            EXPECT_EQ(lost, run.err) << command << out;
        }
    }
    // It is an error of the script too.
    EXPECT_EQ(1, shell("> /dev/full", "show\nmember add 1 action setLagPort port 1\n").status);
    EXPECT_EQ("members:\n  none\n", lagctl("show members").out);
    // What has no result loses none.
    EXPECT_EQ(0, shell("member add 1 action setLagPort port 1 >&-").status);
    EXPECT_THAT(lagctl("show members").out, HasSubstr("setLagPort"));
}

TEST_F(Lagctl, DaemonThatIsStoppedIsNotWaitedForLongerThanToldTo) {
    daemon.signal(SIGSTOP);
    const auto run = lagctl("--wait 1 show");
    EXPECT_EQ(2, run.status);
    EXPECT_EQ("lagctl: cannot reach a daemon at " + daemon.control() + ": process " +
                  std::to_string(daemon.pid()) +
                  " does not answer in time: it is busy, starting or stopped\n",
              run.err);
    daemon.signal(SIGCONT);
    EXPECT_EQ(0, lagctl("--wait 60 --timeout 60 show").status);
}

TEST_F(Lagctl, WrongArgumentsAreStatusTwo) {
    for (const char* arguments :
         {"--nonsense", "-batch /nonexistent.cmds", "-batch x show", "-batch /tmp", "--pd x show",
          "--wait -1 show", "--wait soon show", "--wait 86401 show", "--timeout 0 show"}) {
        const auto run = lagctl(arguments);
        EXPECT_EQ(2, run.status) << arguments;
        EXPECT_NE("", run.err) << arguments;
    }
}

TEST_F(Lagctl, DaemonThatGoesInTheMiddleIsAnErrorOfTheLine) {
    // The daemon is told to end when the first line was answered, and gone before the second.
    const std::string out = daemon.folder / "out";
    const std::string script = "(echo show members; while [ ! -s " + out +
                               " ]; do sleep 0.05; done; kill -TERM " +
                               std::to_string(daemon.pid()) + "; while [ -e " + daemon.control() +
                               " ]; do sleep 0.05; done; echo show groups; echo show)";
    const auto run = runCommandLine("{ " + script + " | " LAGCTL " -force --state-dir " +
                                    daemon.directory() + " > " + out + "; }");
    EXPECT_EQ(1, run.status);
    EXPECT_THAT(run.err, StartsWith("stdin:2: lost the daemon at " + daemon.control() +
                                    " before it answered, so this may have been carried out or "
                                    "not: "));
    EXPECT_EQ(run.err.size() - 1, run.err.find('\n')); // and of no other
}

TEST(LagctlAlone, NoDaemonIsStatusTwoAndTheSocketAndTheReason) {
    const TestDirectory folder;
    const std::string control = folder / "control";
    const auto run = runCommandLine(LAGCTL " --state-dir " + (folder / "") + " show");
    EXPECT_EQ(2, run.status);
    EXPECT_THAT(run.err, EndsWith("control: No such file or directory\n"));
    EXPECT_THAT(run.err, StartsWith("lagctl: cannot reach a daemon at " + (folder / "")));
    std::ofstream(control) << "no socket";
    const auto refused = runCommandLine(LAGCTL " -json --control " + control + " show");
    EXPECT_EQ(2, refused.status);
    EXPECT_EQ(
        "{\"ok\":false,\"error\":{\"kind\":\"connection\",\"message\":\"cannot reach a daemon "
        "at " +
            control + ": Connection refused\"}}\n",
        refused.out);
    EXPECT_EQ(2, runCommandLine(LAGCTL " --control " + std::string(200, 'x') + " show").status);
}

TEST(LagctlAlone, WaitsForADaemonThatIsYetToCome) {
    Daemon daemon;
    const std::string out = daemon.folder / "out";
    const std::string command =
        "exec " LAGCTL " --wait 60 --state-dir " + daemon.directory() + " show members > " + out;
    Child early([&] { return ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr); });
    ::usleep(300'000); // long enough to find nobody
    daemon.startProgram();
    EXPECT_EQ(0, early.exitStatus());
    std::ostringstream text;
    text << std::ifstream(out).rdbuf();
    EXPECT_EQ("members:\n  none\n", text.str());
}

TEST(LagctlAlone, WaitsNoLongerThanItIsTold) {
    using Clock = std::chrono::steady_clock;
    const TestDirectory folder;
    const auto begin = Clock::now();
    const auto run = runCommandLine(LAGCTL " --wait 1 --state-dir " + (folder / "") + " show");
    EXPECT_LE(std::chrono::seconds(1), Clock::now() - begin);
    EXPECT_EQ(2, run.status);
    EXPECT_THAT(run.err, EndsWith("control: No such file or directory\n"));
    // Nobody comes to a socket that cannot be.
    const auto never =
        runCommandLine(LAGCTL " --wait 3600 --control " + std::string(200, 'x') + " show");
    EXPECT_EQ(2, never.status);
}

TEST(LagctlAlone, LooksWhereADaemonOfTheSameEnvironmentIs) {
    const TestDirectory folder;
    const auto run =
        runCommandLine("RUNTIME_DIRECTORY=" + (folder / "of-a-service") + " " LAGCTL " show");
    EXPECT_THAT(run.err, HasSubstr((folder / "of-a-service") + "/control: "));
}

TEST(LagctlAlone, HelpAndVersionSucceed) {
    EXPECT_THAT(runCommandLine(LAGCTL " --help").out,
                AllOf(HasSubstr("'quit' ends lagctl"), HasSubstr("--wait SECONDS"),
                      HasSubstr("60 seconds for it to")));
    EXPECT_EQ("lagctl 1.0.0\n", runCommandLine(LAGCTL " --version").out);
}

/// Examples, over a daemon that is as fresh as a local agent.
class Example : public testing::TestWithParam<const char*> {};

TEST_P(Example, SaysTheSameOverTheSocketAsLocally) {
    for (const char* options : {"", "--calls", "--quiet", "-json", "-json --calls"}) {
        Daemon daemon;
        daemon.startProgram();
        const std::string arguments =
            std::string(" ") + options + " -batch " EXAMPLES "/" + GetParam() + ".cmds";
        const auto local = runCommandLine(LAG_AGENT + arguments);
        const auto remote = runCommandLine(LAGCTL " --state-dir " + daemon.directory() + arguments);
        EXPECT_EQ(0, remote.status) << options;
        EXPECT_EQ(local.out, remote.out) << options;
        EXPECT_EQ(local.err, remote.err) << options;
    }
}

INSTANTIATE_TEST_SUITE_P(Lagctl, Example,
                         testing::Values("two-port-lag", "default-entry", "refused-orders",
                                         "faults"));

} // namespace
} // namespace LagAgent
