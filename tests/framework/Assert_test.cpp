#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "framework/Assert.h"

namespace {

class AssertDeathTest : public testing::Test {
  protected:
    AssertDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(AssertDeathTest, WritesTheFormOfTheCLibraryAndAborts) {
    EXPECT_EXIT(
        Kel::assertFail("handle != 0", "bf_velmor_switch/kel/BfLagGroup/BfLagGroup", 1234,
                        "void f(int)"),
        testing::KilledBySignal(SIGABRT),
        "^framework_test: bf_velmor_switch/kel/BfLagGroup/BfLagGroup:1234: void f\\(int\\): "
        "Assertion `handle != 0' failed\\.\n$");
}

TEST_F(AssertDeathTest, FlushesWhatTheProcessHasWritten) {
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            setvbuf(stdout, nullptr, _IOFBF, 4096);
            std::fputs("last words\n", stdout);
            Kel::assertFail("x", "s", 1, "f");
        },
        testing::KilledBySignal(SIGABRT), "last words");
}

TEST_F(AssertDeathTest, AConditionThatHoldsDoesNothing) {
    Kel::assertThat(true, "never seen");
}

TEST_F(AssertDeathTest, ABrokenConditionNamesTheCallersPlace) {
    EXPECT_EXIT(Kel::assertThat(1 > 2, "1 > 2"), testing::KilledBySignal(SIGABRT),
                "^framework_test: .*/tests/framework/Assert_test\\.cpp:[0-9]+: .*: "
                "Assertion `1 > 2' failed\\.\n$");
}

} // namespace
