#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/framework/Fixtures.h"

namespace {

using framework_test::messageOf;
using framework_test::TraceLog;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

/// One trace point; true when it was on.
bool trace(const Kel::TraceHandle& handle, Kel::U8 level, std::string_view text) {
    Kel::TraceBuffer buffer;
    Kel::TraceHelper* helper = Kel::TraceHelper::createIfEnabled(handle, level, buffer);
    if (!helper) {
        return false;
    }
    const Kel::EnsureTraceHelperIsDestroyed scope(*helper);
    helper->stream() << text;
    helper->trace("folder/source", 42, "function");
    return true;
}

TEST(Trace, AFacilityIsOffAtFirstAndItsPointsReachNoSink) {
    const Kel::TraceHandle handle("TestOff", false);
    int lines = 0;
    Kel::traceSinkIs([&](std::string_view) { ++lines; });
    EXPECT_STREQ(handle.name(), "TestOff");
    EXPECT_EQ(handle.level(), 0);
    EXPECT_FALSE(trace(handle, 1, "x"));
    EXPECT_FALSE(trace(handle, 255, "x"));
    EXPECT_EQ(lines, 0);
    Kel::traceSinkIs(nullptr);
}

TEST(Trace, AFacilityThatStartsOnWritesEveryLevel) {
    const Kel::TraceHandle handle("TestOn", true);
    TraceLog log("TestOnOther", 0);
    EXPECT_EQ(handle.level(), 255);
    EXPECT_TRUE(trace(handle, 255, "x"));
    EXPECT_EQ(log.lines.size(), 1u);
}

TEST(Trace, PointsUpToTheLevelOfTheFacilityWrite) {
    const Kel::TraceHandle handle("TestLevels", false);
    const Kel::TraceHandle other("TestLevelsOther", false);
    TraceLog log("TestLevels", 8);
    EXPECT_TRUE(trace(handle, 1, "one"));
    EXPECT_TRUE(trace(handle, 8, "eight"));
    EXPECT_FALSE(trace(handle, 9, "nine"));
    EXPECT_FALSE(trace(other, 1, "other"));
    EXPECT_THAT(log.lines, ElementsAre(EndsWith(" one"), EndsWith(" eight")));
    Kel::traceLevelIs("TestLevels", 9);
    EXPECT_TRUE(trace(handle, 9, "nine"));
    Kel::traceLevelIs("TestLevels", 0);
    EXPECT_FALSE(trace(handle, 1, "one"));
    EXPECT_EQ(log.lines.size(), 3u);
}

TEST(Trace, ALineHoldsTimeFacilityLevelPlaceFunctionAndText) {
    const Kel::TraceHandle handle("TestLine", false);
    TraceLog log("TestLine", 9);
    ASSERT_TRUE(trace(handle, 9, "two words"));
    EXPECT_THAT(log.lines, ElementsAre(testing::MatchesRegex(
                               "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6} "
                               "TestLine 9 folder/source:42 function two words")));
}

TEST(Trace, AStreamTakesTextAndUnsignedNumbers) {
    const Kel::TraceHandle handle("TestStream", false);
    TraceLog log("TestStream", 1);
    Kel::TraceBuffer buffer;
    Kel::TraceHelper* helper = Kel::TraceHelper::createIfEnabled(handle, 1, buffer);
    ASSERT_NE(helper, nullptr);
    {
        const Kel::EnsureTraceHelperIsDestroyed scope(*helper);
        helper->stream() << "id " << 7u << ", port " << Kel::U16{200} << ", key " << ~Kel::U64{0}
                         << std::string_view("!");
        helper->trace("s", 1, "f");
    }
    EXPECT_THAT(log.lines,
                ElementsAre(EndsWith(" s:1 f id 7, port 200, key 18446744073709551615!")));
}

TEST(Trace, ATracePointWritesItsPartsInOneCall) {
    const Kel::TraceHandle handle("TestPoint", false);
    TraceLog log("TestPoint", 2);
    Kel::tracePoint(handle, 2, "s", 4294967295u, "f", "a", 1u, std::string_view("b"));
    Kel::tracePoint(handle, 3, "s", 1, "f", "more detail than wanted");
    EXPECT_THAT(log.lines, ElementsAre(EndsWith(" TestPoint 2 s:4294967295 f a1b")));
}

TEST(Trace, EveryFacilityOfTheNameIsSwitchedNowOrWhenItIsCreated) {
    TraceLog log("TestLater", 3);
    const Kel::TraceHandle first("TestLater", false);
    const Kel::TraceHandle second("TestLater", true);
    EXPECT_EQ(first.level(), 3);
    EXPECT_EQ(second.level(), 3);
    Kel::traceLevelIs("TestLater", 5);
    EXPECT_EQ(first.level(), 5);
    EXPECT_EQ(second.level(), 5);
}

TEST(Trace, ADestroyedFacilityIsForgotten) {
    { const Kel::TraceHandle passing("TestGone", false); }
    EXPECT_NO_FATAL_FAILURE(Kel::traceLevelIs("TestGone", 1));
    const Kel::TraceHandle again("TestGone", false);
    EXPECT_EQ(again.level(), 1);
    Kel::traceLevelIs("TestGone", 0);
}

TEST(Trace, SettingsNameFacilitiesAndLevels) {
    const Kel::TraceHandle a("TestA", false);
    const Kel::TraceHandle b("TestB", false);
    Kel::traceLevelsIs("TestA=9,TestB=255");
    EXPECT_EQ(a.level(), 9);
    EXPECT_EQ(b.level(), 255);
    Kel::traceLevelsIs("TestA=0");
    EXPECT_EQ(a.level(), 0);
    EXPECT_EQ(b.level(), 255);
    Kel::traceLevelsIs("TestB=0");
}

TEST(Trace, ABadSettingIsRefusedAndChangesNothing) {
    const Kel::TraceHandle handle("TestBad", false);
    for (const std::string setting :
         {"", "TestBad", "TestBad=", "=9", "TestBad=256", "TestBad=-1", "TestBad=x", "TestBad=9x",
          "TestBad= 9", "TestBad=9,", ",TestBad=9", "TestBad=9,Other", "TestBad=9,,Other=1",
          "TestBad=9;Other=1"}) {
        EXPECT_EQ(messageOf<Kel::RangeException>([&] { Kel::traceLevelsIs(setting); }),
                  "trace levels are FACILITY=LEVEL[,FACILITY=LEVEL...], level 0 to 255, not '" +
                      setting + "'");
        EXPECT_EQ(handle.level(), 0) << setting;
    }
}

TEST(Trace, WithoutASinkALineGoesToStandardError) {
    const Kel::TraceHandle handle("TestStderr", false);
    Kel::traceLevelIs("TestStderr", 1);
    testing::internal::CaptureStderr();
    trace(handle, 1, "hello");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), EndsWith(" function hello\n"));
    Kel::traceLevelIs("TestStderr", 0);
}

/// Runs in a process of its own, where tracing starts anew under the given environment.
class TraceEnvironment : public testing::Test {
  protected:
    TraceEnvironment() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    ~TraceEnvironment() override { unsetenv("KEL_TRACE"); }
};

/// Writes the levels of two facilities to standard error and ends the process.
[[noreturn]] void showLevels() {
    const Kel::TraceHandle a("EnvA", false);
    const Kel::TraceHandle b("EnvB", true);
    std::fprintf(stderr, "levels %u %u", a.level(), b.level());
    std::exit(0);
}

TEST_F(TraceEnvironment, SwitchesTheFacilitiesThatItNames) {
    setenv("KEL_TRACE", "EnvA=9,EnvB=2", 1);
    EXPECT_EXIT(showLevels(), testing::ExitedWithCode(0), "^levels 9 2$");
}

TEST_F(TraceEnvironment, LeavesTheOthersAsTheyStart) {
    setenv("KEL_TRACE", "EnvA=1", 1);
    EXPECT_EXIT(showLevels(), testing::ExitedWithCode(0), "^levels 1 255$");
}

TEST_F(TraceEnvironment, EmptyChangesNothing) {
    setenv("KEL_TRACE", "", 1);
    EXPECT_EXIT(showLevels(), testing::ExitedWithCode(0), "^levels 0 255$");
}

TEST_F(TraceEnvironment, MalformedIsReportedAndIgnored) {
    setenv("KEL_TRACE", "EnvA=9,EnvB", 1);
    EXPECT_EXIT(showLevels(), testing::ExitedWithCode(0),
                "^KEL_TRACE: not of the form FACILITY=LEVEL\\[,...\\]: EnvA=9,EnvB\n"
                "levels 0 255$");
}

} // namespace
