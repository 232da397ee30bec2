// The program itself, beside a process that drives the chip.

#include "tests/asic/AsicTest.h"
#include "tests/asic/ChipFiles.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <gmock/gmock.h>
#include <sstream>
#include <string>

namespace asic_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

struct Finished {
    int status;
    std::string out;
    std::string err;
};

std::string slurp(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class VelmorAsicTest : public AsicTest {
  protected:
    void attach() {
        ASSERT_EQ(0u, velmor_asic_chip_attach(kDevice, path_.c_str(), nullptr))
            << velmor_asic_attach_error();
    }
    /// FILE in the arguments stands for the chip's.
    std::string commandLine(std::string arguments) const {
        if (const auto at = arguments.find("FILE"); at != std::string::npos)
            arguments.replace(at, 4, path_);
        return VELMOR_ASIC " " + arguments;
    }
    Finished run(const std::string& arguments, const std::string& input = "") const {
        const std::string base = directory_.file("run");
        std::ofstream(base + ".in") << input;
        const int status = std::system(
            (commandLine(arguments) + " < " + base + ".in > " + base + ".out 2> " + base + ".err")
                .c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(base + ".out"),
                slurp(base + ".err")};
    }
    /// Flows of value 5 leave through ports 11 and 12.
    void fill() {
        attach();
        const std::uint32_t both = group(4);
        for (const std::uint16_t port : {11, 12})
            ASSERT_EQ(0u, join(both, member(port)));
        ASSERT_EQ(0u, setState(both, 3, P4_PD_MEMBER_INACTIVE));
        entryWithGroup({5, 0xFF, 7}, both);
        defaultEntry(2);
    }

    Directory directory_;
    std::string path_ = directory_.file();
};

/// The program with its standard input and output in hand.
class Running {
  public:
    explicit Running(const std::string& command) {
        int input[2];
        int output[2];
        if (::pipe(input) != 0 || ::pipe(output) != 0)
            std::abort();
        pid_ = ::fork();
        if (pid_ == 0) {
            ::dup2(input[0], 0);
            ::dup2(output[1], 1);
            for (const int end : {input[0], input[1], output[0], output[1]})
                ::close(end);
            ::execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
            ::_exit(127);
        }
        ::close(input[0]);
        ::close(output[1]);
        input_ = input[1];
        output_ = ::fdopen(output[0], "r");
    }
    ~Running() {
        closeInput();
        std::fclose(output_);
        if (pid_ > 0)
            endOf(pid_);
    }
    std::string report() {
        static_cast<void>(::write(input_, "\n", 1) == 1);
        std::array<char, 256> line{};
        return std::fgets(line.data(), line.size(), output_) ? line.data() : "(end)";
    }
    void closeInput() {
        if (input_ >= 0)
            ::close(input_);
        input_ = -1;
    }
    void signal(int number) const { ::kill(pid_, number); }
    int end() {
        const int status = endOf(pid_);
        pid_ = 0;
        return status;
    }

  private:
    pid_t pid_ = 0;
    int input_ = -1;
    std::FILE* output_ = nullptr;
};

TEST_F(VelmorAsicTest, ResultThatIsLostIsAFailure) {
    fill();
    for (const char* arguments : {"show FILE", "calls FILE", "--help", "--version"}) {
        for (const char* out : {" > /dev/full", " >&-"}) {
            const std::string error = directory_.file("err");
            const int status = std::system((commandLine(arguments) + out + " 2> " + error).c_str());
            EXPECT_EQ(2, WEXITSTATUS(status)) << arguments << out;
            EXPECT_EQ("velmor-asic: cannot write to standard output: results are lost\n",
                      slurp(error));
        }
    }
}

TEST_F(VelmorAsicTest, ShowsWhatTheChipHoldsWithoutLeavingACall) {
    fill();
    std::uint64_t generation = 0;
    ASSERT_EQ(0u, velmor_asic_chip_boot(kDevice, &generation));
    const std::uint64_t calls = velmor_asic_log_end();
    const std::string boot = std::to_string(generation);
    const Finished text = run("show FILE");
    EXPECT_EQ(0, text.status);
    EXPECT_EQ("boot " + boot +
                  "\n"
                  "pipe all:  entries 1 of 4096  members 2 of 65536  groups 1 of 4096\n"
                  "  member 2  setLagPort 11\n"
                  "  member 3  setLagPort 12\n"
                  "  group 1  size 4  active 2  inactive 3\n"
                  "  entry 4  value 0x5 mask 0xff priority 7  to group 1\n"
                  "  entry 5  default  to member 2\n",
              text.out);
    const Finished json = run("show FILE --json");
    EXPECT_EQ(0, json.status);
    EXPECT_THAT(json.out, StartsWith("{\"boot\":" + boot + ",\"scopes\":[{\"pipe\":0,"));
    EXPECT_THAT(json.out,
                HasSubstr("{\"pipe\":\"all\",\"usage\":{\"entries\":{\"used\":1,\"capacity\":4096},"
                          "\"members\":{\"used\":2,\"capacity\":65536},"
                          "\"groups\":{\"used\":1,\"capacity\":4096}},"
                          "\"members\":[{\"handle\":2,\"action\":\"setLagPort\",\"port\":11},"
                          "{\"handle\":3,\"action\":\"setLagPort\",\"port\":12}],"
                          "\"groups\":[{\"handle\":1,\"size\":4,\"active\":[2],\"inactive\":[3]}],"
                          "\"entries\":[{\"handle\":4,\"default\":false,\"value\":5,\"mask\":255,"
                          "\"priority\":7,\"group\":1},{\"handle\":5,\"default\":true,\"value\":0,"
                          "\"mask\":0,\"priority\":0,\"member\":2}]}"));
    EXPECT_EQ(calls, velmor_asic_log_end());
}

TEST_F(VelmorAsicTest, ShowsTheLatestCalls) {
    attach();
    member(7);
    ASSERT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delMember(9));
    const std::string second = "p4_pd_velmor_switch_lagPortActionProfile_del_member(sess_hdl=0, "
                               "dev_id=0, mbr_hdl=9) -> 6";
    EXPECT_EQ("2  " + second + "\n", run("calls FILE --last 1").out);
    EXPECT_EQ("1  p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort("
              "sess_hdl=0, dev_tgt={0, 65535}, action_spec={7}) -> 0 mbr_hdl=1\n2  " +
                  second + "\n",
              run("calls FILE").out);
    EXPECT_EQ("[{\"sequence\":2,\"operation\":"
              "\"p4_pd_velmor_switch_lagPortActionProfile_del_member\",\"status\":6,\"call\":\"" +
                  second + "\"}]\n",
              run("calls FILE --last 1 --json").out);
    EXPECT_EQ("", run("calls FILE --last 0").out);
}

TEST_F(VelmorAsicTest, PowerCyclesTheChipUnderTheProcessThatDrivesIt) {
    fill();
    std::uint64_t before = 0;
    std::uint64_t after = 0;
    ASSERT_EQ(0u, velmor_asic_chip_boot(kDevice, &before));
    EXPECT_EQ(0, run("power-cycle FILE").status);
    ASSERT_EQ(0u, velmor_asic_chip_boot(kDevice, &after));
    EXPECT_NE(before, after);
    EXPECT_EQ(0u, usage().members);
    EXPECT_EQ(1u, member(1));
}

TEST_F(VelmorAsicTest, WatchesFlowsWhileTheDriverLivesAndAfterItIsKilled) {
    fill();
    velmor_asic_reset();
    Running watch(commandLine("watch FILE --expect 5=11,12 --expect 6=11"));
    const std::string clean =
        "lookups [1-9][0-9]*  no port 0  wrong port 0  inactive 0  longest [0-9]+ us\n";
    EXPECT_THAT(watch.report(), MatchesRegex(clean));
    const pid_t driver = startProcess([&]() -> int {
        attach();
        for (std::uint32_t state = P4_PD_MEMBER_ACTIVE;; state ^= 1)
            static_cast<void>(setState(1, 3, state));
    });
    for (int i = 0; i < 20; ++i)
        EXPECT_THAT(watch.report(), MatchesRegex(clean));
    ::kill(driver, SIGKILL);
    EXPECT_EQ(-SIGKILL, endOf(driver));
    EXPECT_THAT(watch.report(), MatchesRegex(clean));
    watch.closeInput();
    EXPECT_EQ(0, watch.end());
}

TEST_F(VelmorAsicTest, WatchTellsTheFirstLossAndExitsWithOne) {
    fill();
    const std::string errors = directory_.file("errors");
    Running watch(commandLine("watch FILE --expect 5=11 --json 2> " + errors));
    EXPECT_THAT(watch.report(),
                MatchesRegex("\\{\"lookups\":[0-9]+,\"no port\":0,"
                             "\"wrong port\":0,\"inactive\":0,\"longest us\":[0-9]+\\}\n"));
    ASSERT_EQ(0u, setState(1, 2, P4_PD_MEMBER_INACTIVE));
    static_cast<void>(watch.report());
    ASSERT_EQ(0u, setState(1, 3, P4_PD_MEMBER_ACTIVE));
    static_cast<void>(watch.report());
    EXPECT_THAT(watch.report(), HasSubstr("\"no port\":0,\"wrong port\":"));
    watch.signal(SIGTERM);
    EXPECT_EQ(1, watch.end());
    EXPECT_THAT(slurp(errors),
                MatchesRegex("value 5 hash [0-9]+ outcome dropped: no active member port 0 "
                             "entry 4 group 1 member 0\n"));
}

TEST_F(VelmorAsicTest, WatchTellsAFlowToAnInactiveMemberAndExitsWithOne) {
    fill();
    const std::string errors = directory_.file("errors");
    Running watch(commandLine("watch FILE --expect 5=11 --inactive 5=12 2> " + errors));
    EXPECT_THAT(watch.report(), HasSubstr("  no port 0  wrong port 0  inactive 0  longest "));
    ASSERT_EQ(0u, setState(1, 3, P4_PD_MEMBER_ACTIVE));
    static_cast<void>(watch.report());
    EXPECT_THAT(watch.report(), MatchesRegex("lookups [0-9]+  no port 0  wrong port 0  "
                                             "inactive [1-9][0-9]*  longest [0-9]+ us\n"));
    watch.closeInput();
    EXPECT_EQ(1, watch.end());
    EXPECT_THAT(slurp(errors), MatchesRegex("value 5 hash [0-9]+ outcome forwarded port 12 "
                                            "entry 4 group 1 member 3\n"));
}

TEST_F(VelmorAsicTest, CreatesAnEmptyChipOfTheWantedSize) {
    const std::string all =
        "create FILE --entries 1 --members 2 --groups 3 --group-size 4 --pipes 5";
    const Finished created = run(all);
    EXPECT_EQ(0, created.status);
    EXPECT_EQ("", created.out + created.err);
    EXPECT_THAT(run("show FILE").out,
                EndsWith("pipe all:  entries 0 of 1  members 0 of 2  groups 0 of 3\n"));
    attach();
    EXPECT_EQ(1u, member(7, {kDevice, 4}));
    std::uint32_t handle = 0;
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryMember(&handle, 7, {kDevice, 5}));
    EXPECT_EQ(2u, group(4));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryGroup(&handle, 5));
    const Finished again = run(all);
    EXPECT_EQ(2, again.status);
    EXPECT_EQ("velmor-asic: " + path_ + ": exists already\n", again.err);
    EXPECT_EQ(1u, usage({kDevice, 4}).members);
}

TEST_F(VelmorAsicTest, WatchWaitsForTheFile) {
    Running watch(commandLine("watch FILE --expect 5=11 --wait"));
    EXPECT_EQ("lookups 0  no port 0  wrong port 0  inactive 0  longest 0 us\n", watch.report());
    EXPECT_FALSE(std::filesystem::exists(path_));
    // The file appears with its tables.
    velmor_asic_reset();
    const std::string made = path_;
    path_ = directory_.file("made");
    fill();
    velmor_asic_reset();
    std::filesystem::rename(path_, made);
    std::string report;
    while (report.empty() || report.starts_with("lookups 0 "))
        report = watch.report();
    EXPECT_THAT(report, HasSubstr("  no port 0  wrong port 0  inactive 0  "));
    watch.signal(SIGTERM);
    EXPECT_EQ(0, watch.end());
}

TEST_F(VelmorAsicTest, WatchReportsOnceForEachLineAlsoTheLast) {
    fill();
    const Finished watch = run("watch FILE --expect 5=11", "a\n\nlast");
    EXPECT_EQ(0, watch.status);
    EXPECT_EQ(3, std::count(watch.out.begin(), watch.out.end(), '\n'));
}

TEST_F(VelmorAsicTest, WhatCannotBeDoneExitsWithTwo) {
    for (const char* const arguments :
         {"show FILE", "calls FILE", "power-cycle FILE", "watch FILE --expect 1=1"}) {
        const Finished finished = run(arguments);
        EXPECT_EQ(2, finished.status) << arguments;
        EXPECT_EQ("velmor-asic: " + path_ + ": there is no such file\n", finished.err);
    }
    EXPECT_FALSE(std::filesystem::exists(path_));
    for (const char* const arguments :
         {"", "show", "watch FILE", "watch FILE --expect 1", "calls FILE --last x", "dance FILE"})
        EXPECT_EQ(2, run(arguments).status) << arguments;
    std::ofstream(path_) << "text";
    std::filesystem::permissions(path_, std::filesystem::perms::owner_read |
                                            std::filesystem::perms::owner_write);
    EXPECT_THAT(run("show FILE").err, HasSubstr("is no chip file, or cut off: it has 4 bytes"));
    EXPECT_EQ(0, run("--help").status);
    EXPECT_THAT(run("--version").out, StartsWith("velmor-asic "));
}

} // namespace
} // namespace asic_test
