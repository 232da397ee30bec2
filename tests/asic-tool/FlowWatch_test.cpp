#include "asic-tool/FlowWatch.h"

#include "tests/asic/AsicTest.h"

#include <stdexcept>

namespace asic_test {
namespace {

using asic_tool::FlowWatch;

class FlowWatchTest : public AsicTest {
  protected:
    static void send(FlowWatch& watch, int flows) {
        for (int i = 0; i < flows; ++i)
            watch.send();
    }
    /// Flows of value 1 leave through the ports 11 and 12.
    void SetUp() override {
        AsicTest::SetUp();
        both_ = group(2);
        first_ = member(11);
        second_ = member(12);
        ASSERT_EQ(0u, join(both_, first_));
        ASSERT_EQ(0u, join(both_, second_));
        entry_ = entryWithGroup({1}, both_);
    }

    std::uint32_t both_ = 0;
    std::uint32_t first_ = 0;
    std::uint32_t second_ = 0;
    std::uint32_t entry_ = 0;
};

TEST_F(FlowWatchTest, CountsLookupsSinceTheLastReport) {
    FlowWatch watch(kDevice, 0, {{1, {11, 12}}});
    send(watch, 100);
    const FlowWatch::Counts counts = watch.take();
    EXPECT_EQ(100u, counts.lookups);
    EXPECT_EQ(0u, counts.noPort);
    EXPECT_EQ(0u, counts.wrongPort);
    EXPECT_LT(0, counts.longest.count());
    EXPECT_EQ(0u, watch.take().lookups);
    EXPECT_EQ(0, watch.take().longest.count());
    EXPECT_FALSE(watch.firstFailure());
}

TEST_F(FlowWatchTest, APortThatIsNotExpectedIsWrong) {
    FlowWatch watch(kDevice, 0, {{1, {11}}});
    ASSERT_EQ(0u, setState(both_, second_, P4_PD_MEMBER_INACTIVE));
    send(watch, 50);
    EXPECT_EQ(0u, watch.take().wrongPort);
    ASSERT_EQ(0u, setState(both_, second_, P4_PD_MEMBER_ACTIVE));
    ASSERT_EQ(0u, setState(both_, first_, P4_PD_MEMBER_INACTIVE));
    send(watch, 50);
    const FlowWatch::Counts counts = watch.take();
    EXPECT_EQ(50u, counts.wrongPort);
    EXPECT_EQ(0u, counts.noPort);
    ASSERT_TRUE(watch.firstFailure());
    EXPECT_EQ("value 1 hash 50 outcome forwarded port 12 entry 4 group 1 member 3",
              asic_tool::toText(*watch.firstFailure()));
}

TEST_F(FlowWatchTest, ThePortOfAnInactiveMemberIsCountedApartFromWrongOnes) {
    FlowWatch watch(kDevice, 0, {{1, {11}, {13, 12}}, {1, {11}, {13}}});
    ASSERT_EQ(0u, setState(both_, second_, P4_PD_MEMBER_INACTIVE));
    send(watch, 20);
    EXPECT_EQ(0u, watch.take().inactive);
    EXPECT_FALSE(watch.firstFailure());
    ASSERT_EQ(0u, setState(both_, second_, P4_PD_MEMBER_ACTIVE));
    ASSERT_EQ(0u, setState(both_, first_, P4_PD_MEMBER_INACTIVE));
    send(watch, 20);
    const FlowWatch::Counts counts = watch.take();
    EXPECT_EQ(20u, counts.lookups);
    EXPECT_EQ(0u, counts.noPort);
    EXPECT_EQ(10u, counts.inactive);
    EXPECT_EQ(10u, counts.wrongPort);
    EXPECT_EQ(0u, watch.take().inactive);
    ASSERT_TRUE(watch.firstFailure());
    EXPECT_EQ("value 1 hash 10 outcome forwarded port 12 entry 4 group 1 member 3",
              asic_tool::toText(*watch.firstFailure()));
}

TEST_F(FlowWatchTest, MissesDropsAndActionsWithoutPortHaveNoPort) {
    FlowWatch watch(kDevice, 0, {{1, {11, 12}}, {2, {11}}, {3, {11}}});
    std::uint32_t tunnel = 0;
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo(
                      kSession, kAllPipes, &tunnel));
    entry({3}, tunnel);
    send(watch, 30);
    EXPECT_EQ(20u, watch.take().noPort);
    EXPECT_EQ("value 2 hash 0 outcome miss port 0 entry 0 group 0 member 0",
              asic_tool::toText(*watch.firstFailure()));
    ASSERT_EQ(0u, setState(both_, first_, P4_PD_MEMBER_INACTIVE));
    ASSERT_EQ(0u, setState(both_, second_, P4_PD_MEMBER_INACTIVE));
    send(watch, 30);
    const FlowWatch::Counts counts = watch.take();
    EXPECT_EQ(30u, counts.lookups);
    EXPECT_EQ(30u, counts.noPort);
    EXPECT_EQ(0u, counts.wrongPort);
    // The first one stays.
    EXPECT_EQ(2u, watch.firstFailure()->value);
}

TEST_F(FlowWatchTest, FlowHashesRiseSoThatEveryPortIsMet) {
    FlowWatch onlyFirst(kDevice, 0, {{1, {11}}});
    FlowWatch onlySecond(kDevice, 0, {{1, {12}}});
    send(onlyFirst, 1000);
    send(onlySecond, 1000);
    EXPECT_EQ(1000u, onlyFirst.take().wrongPort + onlySecond.take().wrongPort);
    EXPECT_TRUE(onlyFirst.firstFailure() && onlySecond.firstFailure());
}

TEST_F(FlowWatchTest, AChipThatCannotBeAskedIsAnErrorAndNotALoss) {
    FlowWatch watch(7, 0, {{1, {11}}});
    EXPECT_THROW(watch.send(), std::runtime_error);
    EXPECT_EQ(0u, watch.take().lookups);
    EXPECT_FALSE(watch.firstFailure());
}

} // namespace
} // namespace asic_test
