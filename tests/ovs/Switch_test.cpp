// What the library does beyond what every PD library has to do: over a live switch, whose daemon
// stops and starts, whose tables others write to, and which refuses.

#include "tests/pd-conformance/PdTest.h"
#include "tests/pd-conformance/Snapshot.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <string>
#include <unistd.h>

namespace pd_test {
namespace {

using testing::HasSubstr;

constexpr pipe_status kCommunicationFailed = 5;
constexpr pipe_status kInitializationError = 11;

/// Runs a command of the shell; its last argument is the address of the switch.
void run(const std::string& command) {
    ASSERT_EQ(0, std::system(command.c_str())) << command;
}
void openFlow(const std::string& command, const std::string& argument) {
    run("ovs-ofctl -O OpenFlow15 " + command + " unix:$VELMOR_OVS_MANAGEMENT '" + argument + "'");
}

/// Sets a variable of the environment for the time of its life.
class Environment {
  public:
    Environment(const char* name, const char* value) : name_(name) {
        if (const char* const before = std::getenv(name))
            before_ = before;
        ::setenv(name, value, 1);
    }
    ~Environment() { ::setenv(name_, before_.c_str(), 1); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

  private:
    const char* name_;
    std::string before_;
};

class SwitchTest : public PdTest {
  protected:
    static std::uint64_t boot() {
        std::uint64_t generation = 0;
        EXPECT_EQ(0u, velmor_asic_chip_boot(kDevice, &generation)) << velmor_asic_problem();
        return generation;
    }
    static void stopDaemon() {
        run("kill $(cat $OVS_RUNDIR/ovs-vswitchd.pid) && "
            "while [ -e $OVS_RUNDIR/ovs-vswitchd.pid ]; do sleep 0.01; done");
    }
    static void startDaemon() {
        run("ovs-vswitchd --disable-system --unixctl=$VELMOR_OVS_CONTROL --detach --no-chdir "
            "--pidfile --log-file -vconsole:off && "
            "while ! ovs-ofctl -O OpenFlow15 show unix:$VELMOR_OVS_MANAGEMENT > /dev/null 2>&1; do "
            "sleep 0.01; done");
        openFlow("add-flow", "table=0,actions=goto_table:1");
    }
};

// ---- The switch remembers

TEST_F(SwitchTest, AnotherProcessFindsWhatThisOneLeft) {
    const std::uint32_t one = member(1), two = member(2), lag = group(8);
    ASSERT_EQ(0u, join(lag, one));
    ASSERT_EQ(0u, join(lag, two));
    ASSERT_EQ(0u, setState(lag, two, P4_PD_MEMBER_INACTIVE));
    entry({0xAB12FFFF, 0xFFFF0000, 7}, one);
    entryWithGroup({0x20}, lag);
    defaultEntry(one);
    std::uint32_t physical = 0;
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setPhysicalPort(
                      kSession, kAllPipes, &physical));
    const std::string before = snapshot();
    const std::uint64_t generation = boot();

    velmor_asic_reset();
    EXPECT_EQ(before, snapshot());
    EXPECT_EQ(generation, boot());
    EXPECT_EQ(P4_PD_STATUS_IN_USE, delMember(one));
}

TEST_F(SwitchTest, HandlesAreNotUsedAgainByAnotherProcess) {
    std::uint32_t highest = 0;
    for (int i = 0; i < 600; ++i) { // more than are set aside at once
        const std::uint32_t handle = member(1);
        EXPECT_LT(highest, handle);
        highest = handle;
        ASSERT_EQ(0u, delMember(handle));
    }
    velmor_asic_reset();
    EXPECT_LT(highest, member(1));
}

TEST_F(SwitchTest, APowerCycleIsAnotherBootGenerationAndEmpty) {
    entry({1}, member(1));
    const std::uint64_t before = boot();
    ASSERT_EQ(0u, velmor_asic_chip_power_cycle(kDevice));
    EXPECT_NE(before, boot());
    EXPECT_EQ(0u, usage().entries);
    EXPECT_EQ(1u, member(1));
}

// ---- The switch goes away

TEST_F(SwitchTest, ASwitchThatIsGoneIsAStatusAndOneThatIsBackIsEmptyAndAnother) {
    const std::uint32_t one = member(1);
    const std::uint64_t before = boot();
    stopDaemon();
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(kCommunicationFailed, tryMember(&handle));
    EXPECT_EQ(kUntouched, handle);
    EXPECT_THAT(velmor_asic_problem(), HasSubstr(std::getenv("VELMOR_OVS_MANAGEMENT")));
    std::uint64_t generation = 0;
    EXPECT_EQ(kCommunicationFailed, velmor_asic_chip_boot(kDevice, &generation));

    startDaemon();
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delMember(one));
    EXPECT_NE(before, boot());
    EXPECT_NE(0u, member(1));
}

TEST_F(SwitchTest, AttachingToNoSwitchTellsWhy) {
    const Environment elsewhere("VELMOR_OVS_MANAGEMENT", "/nowhere/br.mgmt");
    velmor_asic_reset();
    EXPECT_EQ(kCommunicationFailed, velmor_asic_chip_attach(kDevice, "/no/file", nullptr));
    EXPECT_THAT(velmor_asic_attach_error(), HasSubstr("/nowhere/br.mgmt"));
    const Environment wrong("VELMOR_OVS_TABLE", "300");
    EXPECT_EQ(kInitializationError, velmor_asic_chip_attach(kDevice, "/no/file", nullptr));
    EXPECT_THAT(velmor_asic_attach_error(), HasSubstr("table: '300'"));
}

// ---- Others write to the switch

TEST_F(SwitchTest, UsageLooksAtTheSwitchAgain) {
    const std::uint32_t handle = entry({0x10}, member(1));
    openFlow("del-flows", "table=1");
    EXPECT_EQ(0u, usage().entries);
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delEntry(handle));
}

TEST_F(SwitchTest, WhatOthersMadeIsLeftOut) {
    openFlow("add-group", "group_id=5000,type=all,bucket=actions=output:1");
    openFlow("add-group", "group_id=5001,type=select,bucket=actions=output:1");
    openFlow("add-group", "group_id=5002,type=indirect,bucket=actions=output:1");
    openFlow("add-flow", "table=1,priority=3,metadata=1,actions=output:1");
    openFlow("add-flow", "table=1,priority=3,ip,cookie=0x77,actions=group:5002");
    EXPECT_EQ(0u, usage().entries);
    EXPECT_EQ(0u, usage().members);
    EXPECT_EQ(0u, usage().groups);
}

TEST_F(SwitchTest, ALostBootMarkIsAnotherBootGeneration) {
    entry({1}, member(1));
    const std::uint64_t before = boot();
    openFlow("del-flows", "table=253");
    EXPECT_NE(before, boot());
    EXPECT_EQ(0u, usage().entries);
}

TEST_F(SwitchTest, WhatTheSwitchRefusesIsAStatusAndChangesNothing) {
    const std::uint32_t last = member(1);
    openFlow("add-group", "group_id=" + std::to_string(last + 1) + ",type=all");
    const std::string before = snapshot();
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_INTERNAL_ERROR, tryMember(&handle));
    EXPECT_EQ(kUntouched, handle);
    EXPECT_THAT(velmor_asic_problem(), HasSubstr("the switch refuses"));
    EXPECT_EQ(before, snapshot());
    EXPECT_LT(last + 1, member(1));
}

// ---- What the switch cannot have

TEST_F(SwitchTest, ThereAreNoSeparatePipes) {
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryMember(&handle, 1, pipe(0)));
    EXPECT_EQ(0u, setEntryScope(P4_PD_SCOPE_ALL_PIPELINES));
    EXPECT_EQ(P4_PD_STATUS_NOT_SUPPORTED, setEntryScope(P4_PD_SCOPE_SINGLE_PIPELINE));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, setEntryScope(2));
}

TEST_F(SwitchTest, PrioritiesHave16BitsAndEqualOnesDoNotOverlap) {
    const std::uint32_t one = member(1);
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(0u, tryEntry(&handle, {1, 0xFF, 65534}, one));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, tryEntry(&handle, {2, 0xFF, 65535}, one));
    EXPECT_EQ(P4_PD_STATUS_NOT_SUPPORTED, tryEntry(&handle, {1, 0xFFFF, 65534}, one));
    EXPECT_EQ(0u, tryEntry(&handle, {1, 0xFFFF, 65533}, one));
    EXPECT_EQ(0u, tryEntry(&handle, {2, 0xFFFF, 65534}, one));
}

TEST_F(SwitchTest, TheOtherActionsDropOrGoOnToTheNextTable) {
    std::uint32_t dropping = 0, physical = 0;
    ASSERT_EQ(0u,
              p4_pd_velmor_switch_lagPortActionProfile_add_member_with_invalidateUcastEgressPort(
                  kSession, kAllPipes, &dropping));
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setPhysicalPort(
                      kSession, kAllPipes, &physical));
    entry({0x10}, dropping);
    entry({0x11}, physical);
    openFlow("add-flow", "table=2,cookie=0x222,actions=drop");
    const auto goesOn = [](const std::string& metadata) {
        return std::system(("ovs-appctl -t $VELMOR_OVS_CONTROL ofproto/trace lag0 in_port=local,"
                            "metadata=" +
                            metadata + ",ip | grep -q 'cookie 0x222'")
                               .c_str()) == 0;
    };
    EXPECT_FALSE(goesOn("0x10"));
    EXPECT_TRUE(goesOn("0x11"));
    openFlow("del-flows", "table=2");
}

TEST_F(SwitchTest, PortsThatTheSwitchCannotHaveReadBack) {
    for (const std::uint16_t port : {0, 1, 0xFEFF, 0xFF00, 0xFFFF})
        entry({port}, member(port));
    velmor_asic_reset();
    for (const std::uint16_t port : {0, 1, 0xFEFF, 0xFF00, 0xFFFF})
        EXPECT_EQ(port, forward(port).port);
}

// ---- Counters

TEST_F(SwitchTest, CountsThePacketsOfEntriesAndMembers) {
    const std::uint32_t one = member(1), lag = group(2), matched = entryWithGroup({0x10}, lag);
    ASSERT_EQ(0u, join(lag, one));
    velmor_asic_counters_t counters{};
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, velmor_asic_entry_counters(kDevice, matched, &counters));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_entry_counters(kDevice, matched, nullptr));
    // One packet of 60 bytes, five times over, as if it had come in with that metadata.
    for (int i = 0; i < 5; ++i)
        openFlow("packet-out",
                 "in_port=local packet=0200000000010200000000020800450000140000000040110000"
                 "0a0000010a0000020000000000000000000000000000000000000000 "
                 "actions=load:0x10->OXM_OF_METADATA[],resubmit(,1)");
    const auto packets = [&](auto read, std::uint32_t handle) {
        EXPECT_EQ(0u, velmor_asic_counters_read(kDevice));
        EXPECT_EQ(0u, read(kDevice, handle, &counters));
        return counters.packets;
    };
    for (int i = 0; i < 1000 && packets(velmor_asic_entry_counters, matched) < 5; ++i)
        ::usleep(10'000);
    EXPECT_EQ(5u, packets(velmor_asic_entry_counters, matched));
    EXPECT_EQ(5u * 54, counters.bytes);
    EXPECT_EQ(5u, packets(velmor_asic_member_counters, one));
    velmor_asic_counters_t sent{};
    EXPECT_EQ(0u, velmor_asic_port_counters(kDevice, 0xFFFFFFFE, &counters, &sent));
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND,
              velmor_asic_port_counters(kDevice, 999, &counters, &sent));
}

} // namespace
} // namespace pd_test
