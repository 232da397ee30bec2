// One chip in a file, seen by several processes.

#include "tests/asic/AttachedTest.h"

#include "asic/ChipFileLayout.h"

#include <csignal>
#include <fcntl.h>

namespace asic_test {
namespace {

constexpr std::uint64_t kKeptCalls = asic::kRingSize - 1;

std::string answerSnapshot(char) {
    return snapshot();
}

TEST_F(AttachedTest, TheStateOutlivesTheProcess) {
    const std::uint32_t first = member(1);
    const std::uint32_t second = member(2, pipe(1));
    const std::uint32_t one = group(4);
    ASSERT_EQ(0u, join(one, first));
    ASSERT_EQ(0u, setState(one, first, P4_PD_MEMBER_INACTIVE));
    entryWithGroup({0x12, 0xFF, 3}, one);
    defaultEntry(first);
    const std::string before = snapshot();
    const std::uint64_t generation = boot();
    attachAnew();
    EXPECT_EQ(before, snapshot());
    EXPECT_EQ(generation, boot());
    EXPECT_EQ(P4_PD_STATUS_IN_USE, delMember(first));
    EXPECT_EQ(0u, delMember(second));
    EXPECT_EQ(std::uint32_t{VELMOR_ASIC_DROPPED_NO_ACTIVE_MEMBER}, forward(0x12).outcome);
    EXPECT_EQ(first, forward(0x13).mbr_hdl);
}

TEST_F(AttachedTest, HandlesGoOnWhereTheyWere) {
    ASSERT_EQ(0u, delMember(member(1)));
    attachAnew();
    EXPECT_EQ(2u, member(1));
}

TEST_F(AttachedTest, SelectionIsTheSameInEveryProcess) {
    const std::uint32_t all = group(16);
    for (std::uint16_t port = 1; port <= 16; ++port)
        ASSERT_EQ(0u, join(all, member(port)));
    entryWithGroup({1}, all);
    const auto ports = [](char) {
        std::string text;
        for (std::uint32_t flow = 0; flow < 1000; ++flow)
            text += std::to_string(forward(1, flow).port) + ' ';
        return text;
    };
    OtherProcess other(onChip(ports));
    EXPECT_EQ(ports('?'), other.ask('?'));
}

TEST_F(AttachedTest, AnotherProcessSeesEachChangeAtOnce) {
    OtherProcess other(onChip(answerSnapshot));
    EXPECT_EQ(snapshot(), other.ask('?'));
    std::uint32_t handles[3]{};
    for (std::uint32_t& handle : handles) {
        handle = member(4);
        EXPECT_EQ(snapshot(), other.ask('?'));
    }
    const std::uint32_t both = group(2);
    ASSERT_EQ(0u, join(both, handles[0]));
    EXPECT_EQ(snapshot(), other.ask('?'));
    ASSERT_EQ(0u, setState(both, handles[0], P4_PD_MEMBER_INACTIVE));
    EXPECT_EQ(snapshot(), other.ask('?'));
    ASSERT_EQ(0u, delGroup(both));
    EXPECT_EQ(snapshot(), other.ask('?'));
}

TEST_F(AttachedTest, ProcessesTakeTurnsInChangingTheChip) {
    OtherProcess other(onChip([](char) { return std::to_string(member(9)); }));
    for (std::uint32_t turn = 0; turn < 20; ++turn) {
        EXPECT_EQ(2 * turn + 1, member(3));
        EXPECT_EQ(std::to_string(2 * turn + 2), other.ask('+'));
    }
    EXPECT_EQ(40u, usage().members);
}

TEST_F(AttachedTest, ProcessesThatChangeTheChipAtTheSameTimeLoseNothing) {
    constexpr std::uint32_t kEach = 10'000;
    const auto work = [&] {
        if (tryAttach() != 0)
            return 1;
        for (std::uint32_t i = 0; i < kEach; ++i) {
            std::uint32_t handle = 0;
            if (tryMember(&handle) != 0)
                return 2;
        }
        return 0;
    };
    const pid_t first = startProcess(work);
    const pid_t second = startProcess(work);
    EXPECT_EQ(0, endOf(first));
    EXPECT_EQ(0, endOf(second));
    EXPECT_EQ(2 * kEach, usage().members);
    EXPECT_EQ(2 * kEach + 1, member(1));
    EXPECT_EQ(2 * kEach + 2, velmor_asic_log_end());
}

TEST_F(AttachedTest, AProcessThatFellBehindTheRingCatchesUp) {
    OtherProcess other(onChip(answerSnapshot));
    const std::uint32_t one = member(1);
    const std::uint32_t both = group(2);
    ASSERT_EQ(0u, join(both, one));
    EXPECT_EQ(snapshot(), other.ask('?'));
    // Just behind, at the edge, and several rounds behind.
    for (const std::uint64_t calls : {kKeptCalls - 1, kKeptCalls, kKeptCalls + 1, 5 * kKeptCalls}) {
        for (std::uint64_t i = 0; i < calls; ++i)
            ASSERT_EQ(0u, setState(both, one, i % 3 == 0));
        member(2);
        EXPECT_EQ(snapshot(), other.ask('?')) << calls;
    }
    const std::string before = snapshot();
    attachAnew();
    EXPECT_EQ(before, snapshot());
}

TEST_F(AttachedTest, AReaderIsNotHeldUpByChangesThatNeverPause) {
    const std::uint32_t one = member(7);
    const std::uint32_t single = group(2);
    ASSERT_EQ(0u, join(single, one));
    entryWithGroup({1}, single);
    const pid_t writer = startProcess([&] {
        if (tryAttach() != 0)
            return 1;
        for (;;)
            static_cast<void>(setState(single, one, P4_PD_MEMBER_ACTIVE));
    });
    // Until the writer is well under way, and then for a while.
    for (int i = 0; i < 200'000;) {
        const velmor_asic_result_t result = forward(1, 5);
        ASSERT_EQ(std::uint32_t{VELMOR_ASIC_FORWARDED}, result.outcome);
        ASSERT_EQ(7, result.port);
        const bool isUnderWay = velmor_asic_log_end() > 1000;
        i += isUnderWay ? 1 : 0;
    }
    ::kill(writer, SIGKILL);
    EXPECT_EQ(-SIGKILL, endOf(writer));
}

TEST_F(AttachedTest, AnotherProcessesPowerCycleIsSeenEvenAfterNewCalls) {
    OtherProcess other(onChip([](char question) -> std::string {
        if (question == 'p')
            velmor_asic_chip_power_cycle(kDevice);
        if (question == '+')
            return std::to_string(member(3));
        return snapshot() + std::to_string(boot());
    }));
    const std::string empty = snapshot();
    member(1);
    group(3);
    const std::uint64_t before = boot();
    EXPECT_EQ(snapshot() + std::to_string(before), other.ask('?'));
    const std::string after = other.ask('p');
    EXPECT_EQ("1", other.ask('+'));
    EXPECT_NE(before, boot());
    EXPECT_EQ(1u, usage().members);
    EXPECT_EQ(0u, usage().groups);
    ASSERT_EQ(0u, delMember(1));
    EXPECT_EQ(after, empty + std::to_string(boot()));
}

TEST_F(AttachedTest, SessionsAndFaultsAreEachProcesssOwn) {
    p4_pd_sess_hdl_t session = 0;
    ASSERT_EQ(0u, p4_pd_velmor_switch_client_init(&session));
    ASSERT_EQ(0u, velmor_asic_fault_plan("p4_pd_velmor_switch_lagPortActionProfile_create_group", 1,
                                         9, VELMOR_ASIC_FAULT_ALWAYS));
    OtherProcess other(onChip([session](char) {
        std::uint32_t handle = 0;
        return std::to_string(p4_pd_velmor_switch_client_cleanup(session)) + ' ' +
               std::to_string(tryGroup(&handle, 2));
    }));
    EXPECT_EQ("8 0", other.ask('?'));
    std::uint32_t handle = kUntouched;
    EXPECT_EQ(9u, tryGroup(&handle, 2));
    EXPECT_EQ(0u, p4_pd_velmor_switch_client_cleanup(session));
}

// ---- The call log

TEST_F(AttachedTest, TheLogIsAlwaysOnAndOutlivesTheProcess) {
    member(7);
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort("
              "sess_hdl=0, dev_tgt={0, 65535}, action_spec={7}) -> 0 mbr_hdl=1",
              line(1));
    ASSERT_EQ(0u, velmor_asic_log_start(1));
    velmor_asic_log_stop();
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delMember(99));
    attachAnew();
    EXPECT_EQ(1u, velmor_asic_log_begin());
    EXPECT_EQ(3u, velmor_asic_log_end());
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_del_member(sess_hdl=0, dev_id=0, "
              "mbr_hdl=99) -> 6",
              line(2));
    velmor_asic_call_t call{};
    ASSERT_EQ(0u, velmor_asic_log_read(2, &call));
    EXPECT_EQ(2u, call.sequence);
    EXPECT_STREQ("p4_pd_velmor_switch_lagPortActionProfile_del_member", call.operation);
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, call.status);
    EXPECT_EQ("(none)", line(0));
    EXPECT_EQ("(none)", line(3));
}

TEST_F(AttachedTest, TheLogNumbersTheCallsOfAllProcesses) {
    member(1);
    EXPECT_EQ("2", OtherProcess(onChip([](char) { return std::to_string(member(2)); })).ask('+'));
    member(3);
    EXPECT_EQ(4u, velmor_asic_log_end());
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort("
              "sess_hdl=0, dev_tgt={0, 65535}, action_spec={2}) -> 0 mbr_hdl=2",
              line(2));
}

TEST_F(AttachedTest, TheLogHasCallsAboutNoDeviceAndAboutOthersWithoutEffectOnTheChip) {
    ASSERT_EQ(0u, velmor_asic_chip_create(1, nullptr));
    p4_pd_sess_hdl_t session = 0;
    ASSERT_EQ(0u, p4_pd_velmor_switch_client_init(&session));
    EXPECT_EQ(1u, member(1, {1, P4_PD_ALL_PIPES}));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, p4_pd_velmor_switch_lagGroup_table_delete(kSession, 77, 1));
    EXPECT_EQ(4u, velmor_asic_log_end());
    const std::string before = snapshot();
    attachAnew();
    EXPECT_EQ(before, snapshot());
    EXPECT_EQ(0u, usage().members);
    EXPECT_EQ("p4_pd_velmor_switch_client_init() -> 0 sess_hdl=1", line(1));
}

TEST_F(AttachedTest, TheLogLeavesOutReadBackAndKeepsTheLatest) {
    static_cast<void>(usage());
    static_cast<void>(snapshot());
    EXPECT_EQ(1u, velmor_asic_log_end());
    for (std::uint64_t i = 0; i < kKeptCalls; ++i)
        ASSERT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delMember(5));
    EXPECT_EQ(1u, velmor_asic_log_begin());
    EXPECT_NE("(none)", line(1));
    ASSERT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delMember(5));
    EXPECT_EQ(2u, velmor_asic_log_begin());
    EXPECT_EQ("(none)", line(1));
    EXPECT_NE("(none)", line(2));
    EXPECT_EQ(kKeptCalls + 2, velmor_asic_log_end());
}

TEST_F(AttachedTest, ClearingTheLogHidesItFromThisProcessAlone) {
    member(1);
    velmor_asic_log_clear();
    EXPECT_EQ(2u, velmor_asic_log_begin());
    EXPECT_EQ("(none)", line(1));
    member(1);
    EXPECT_NE("(none)", line(2));
    OtherProcess other(onChip([](char) { return std::to_string(velmor_asic_log_begin()); }));
    EXPECT_EQ("1", other.ask('?'));
}

TEST_F(AttachedTest, EntriesReadAreLoggedWithTheirOutputs) {
    const std::uint32_t handle = entry({0xAB, 0xFF, 9}, member(1));
    p4_pd_velmor_switch_lagGroup_match_spec_t spec{};
    std::uint32_t priority = 0;
    std::uint32_t of[2]{};
    bool has[3]{};
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagGroup_get_entry(kSession, kDevice, handle, true, &spec,
                                                         &priority, &has[0], &has[1], &of[0],
                                                         &of[1], &has[2]));
    EXPECT_EQ("p4_pd_velmor_switch_lagGroup_get_entry(sess_hdl=0, dev_id=0, entry_hdl=2, "
              "from_hw=true) -> 0 match_spec={0xab, 0xff} priority=9 has_mbr=true has_grp=false "
              "mbr_hdl=1 grp_hdl=0 spare=false",
              line(3));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, p4_pd_velmor_switch_client_init(nullptr));
    EXPECT_EQ("p4_pd_velmor_switch_client_init(sess_hdl=null) -> 3", line(4));
}

// ---- Steps

TEST_F(AttachedTest, StepsTellTheOperationInItsOrder) {
    std::vector<std::string> steps;
    const auto hook = [](std::uint32_t step, const char* operation, void* context) {
        auto& all = *static_cast<std::vector<std::string>*>(context);
        const std::string text = "BSE"[step] + std::string(" ") + (operation ? operation : "-");
        if (all.empty() || all.back() != text)
            all.push_back(text);
    };
    velmor_asic_step_hook(hook, &steps);
    member(1);
    static_cast<void>(usage());
    ASSERT_EQ(0u, velmor_asic_chip_power_cycle(kDevice));
    velmor_asic_step_hook(nullptr, nullptr);
    member(1);
    const std::string add = "p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort";
    const std::string read = "p4_pd_velmor_switch_get_usage";
    EXPECT_EQ((std::vector<std::string>{"B " + add, "S " + add, "E " + add, "B " + read,
                                        "E " + read, "S -"}),
              steps);
}

TEST_F(AttachedTest, ChipsInMemoryHaveStepsWithoutStores) {
    velmor_asic_reset();
    std::vector<std::uint32_t> steps;
    velmor_asic_step_hook(
        [](std::uint32_t step, const char*, void* context) {
            static_cast<std::vector<std::uint32_t>*>(context)->push_back(step);
        },
        &steps);
    member(1);
    EXPECT_EQ((std::vector<std::uint32_t>{VELMOR_ASIC_STEP_CALL_BEGIN, VELMOR_ASIC_STEP_CALL_END}),
              steps);
    velmor_asic_reset();
    member(1);
    EXPECT_EQ(2u, steps.size());
}

} // namespace
} // namespace asic_test
