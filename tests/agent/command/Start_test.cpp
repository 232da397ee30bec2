#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/Process.h"

namespace LagAgent {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kFailingScript = "member add 1 action setLagPort\n\nmember del 2\nshow\n";

TEST(Start, FindsTheSoftwareAsicBesideTheProgram) {
    const auto run =
        runProgram("", "member add 1 action setLagPort port 3\nexpect asic members 1\n");
    EXPECT_EQ(0, run.status);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_THAT(run.err, IsEmpty());
}

TEST(Start, StopsAtTheFirstErrorAndNamesItsPlace) {
    const auto run = runProgram("", kFailingScript);
    EXPECT_EQ(1, run.status);
    EXPECT_EQ("stdin:3: there is no member 2: add it with 'member add' first\n", run.err);
    EXPECT_THAT(run.out, IsEmpty());
}

TEST(Start, GoesOnAfterAnErrorWhenForced) {
    for (const char* option : {"-force", "--force"}) {
        const auto run = runProgram(option, kFailingScript);
        EXPECT_EQ(1, run.status);
        EXPECT_THAT(run.err, HasSubstr("stdin:3: "));
        EXPECT_THAT(run.out, HasSubstr("setLagPort"));
    }
}

TEST(Start, ReadsABatchFileHoweverItIsGiven) {
    for (const char* option : {"-b ", "-batch ", "--batch ", "--batch=", ""}) {
        EXPECT_EQ(0, runProgram(std::string(option) + EXAMPLES "/default-entry.cmds").status)
            << option;
    }
    const auto missing = runProgram("-batch /nonexistent.cmds");
    EXPECT_EQ(2, missing.status);
    EXPECT_THAT(missing.err, HasSubstr("cannot open /nonexistent.cmds"));
    EXPECT_EQ(2, runProgram("-batch /tmp").status);
}

TEST(Start, PdLibraryThatCannotBeOpenedIsAnError) {
    const auto run = runProgram("--pd /nonexistent.so");
    EXPECT_EQ(2, run.status);
    EXPECT_THAT(run.err, HasSubstr("cannot open the PD library: /nonexistent.so"));
}

TEST(Start, PdLibraryThatLacksOperationsIsAnError) {
    const auto run = runProgram("--pd libm.so.6");
    EXPECT_EQ(2, run.status);
    EXPECT_THAT(run.err, HasSubstr("libm.so.6 is no PD library of velmor_switch: it lacks"));
    EXPECT_THAT(run.err, HasSubstr("p4_pd_velmor_switch_lagGroup_add_entry"));
}

TEST(Start, UnknownDeviceIsTheChipsRefusal) {
    const auto run = runProgram("--device 7");
    EXPECT_EQ(2, run.status);
    EXPECT_EQ("lag-agent: BfTable::BfTableException: p4_pd_velmor_switch_lagGroup_set_property() "
              "failed: Invalid arguments (status 3)\n",
              run.err);
}

TEST(Start, OnePipeIsDrivenAlone) {
    const auto run = runProgram(
        "--pipe 1 --calls", "member add 1 action setLagPort port 3\nentry set default member 1\n"
                            "flows value 1 count 10\nexpect only port 3\n");
    EXPECT_EQ(0, run.status) << run.err;
    EXPECT_THAT(run.out, HasSubstr("dev_tgt={0, 1}"));
    EXPECT_EQ(0, runProgram("--pipe all", "show").status);
}

TEST(Start, WrongArgumentsAreErrors) {
    for (const char* arguments : {"--device 256", "--device x", "--pipe 65535", "--pipe -1",
                                  "--pipe some", "--nonsense", "--trace nonsense", "a b"}) {
        const auto run = runProgram(arguments);
        EXPECT_EQ(2, run.status) << arguments;
        EXPECT_THAT(run.err, Not(IsEmpty())) << arguments;
    }
}

TEST(Start, HelpAndVersionSucceed) {
    EXPECT_EQ(0, runProgram("--help").status);
    EXPECT_THAT(runProgram("--version").out, HasSubstr("lag-agent 1.0.0"));
}

TEST(Start, TracesGoToStandardError) {
    const auto run = runProgram("--trace BfLagGroup=9", "member add 1 action setLagPort");
    EXPECT_EQ(0, run.status);
    EXPECT_THAT(run.err, HasSubstr("handleActionProfileAdd"));
}

TEST(Start, CallsAreShownWithArgumentsAndStatus) {
    const auto run = runProgram("--calls", "member add 1 action setLagPort port 3");
    EXPECT_THAT(run.out,
                HasSubstr("> member add 1 action setLagPort port 3\n    p4_pd_velmor_switch_"
                          "lagPortActionProfile_add_member_with_setLagPort(sess_hdl="));
    EXPECT_THAT(run.out, HasSubstr(" -> 0 mbr_hdl=1\n"));
}

TEST(Start, QuietShowsErrorsOnly) {
    const auto run = runProgram("--quiet", "show\nhelp\nnonsense\n");
    EXPECT_EQ(1, run.status);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_THAT(run.err, HasSubstr("stdin:3: "));
}

TEST(Start, ResultThatIsLostIsAFailureAndEndsTheScript) {
    for (const char* arguments : {"", "-json", "--help", "--version", "serve --help"}) {
        for (const char* out : {" > /dev/full", " >&-"}) {
            const auto run = runCommandLine(
                std::string("sh -c '" LAG_AGENT " ") + arguments + out + "'", "show\nnonsense\n");
            EXPECT_EQ(1, run.status) << arguments << out;
            EXPECT_EQ("lag-agent: cannot write to standard output: results are lost\n", run.err);
        }
    }
}

TEST(Start, ClosedStandardInputIsAFailure) {
    const auto closed = runCommandLine("( " LAG_AGENT " <&- )");
    EXPECT_EQ(1, closed.status);
    EXPECT_EQ("stdin: cannot be read\n", closed.err);
}

TEST(Start, QuitEndsTheCommands) {
    EXPECT_EQ(0, runProgram("", "quit\nnonsense\n").status);
}

TEST(Start, AnnouncedErrorThatNeverComesIsAnError) {
    EXPECT_EQ(1, runProgram("", "expect error anything\n").status);
}

} // namespace
} // namespace LagAgent
