#include "tests/asic/AsicTest.h"
#include "tests/asic/PdOperations.h"

#include <cstring>
#include <string>
#include <vector>

namespace asic_test {
namespace {

class CallLogTest : public AsicTest {
  protected:
    static std::string line(std::uint64_t sequence) {
        const int length = velmor_asic_log_format(sequence, nullptr, 0);
        if (length < 0)
            return "(none)";
        std::vector<char> text(static_cast<std::size_t>(length) + 1);
        EXPECT_EQ(length, velmor_asic_log_format(sequence, text.data(), text.size()));
        EXPECT_EQ('\0', text.back());
        return text.data();
    }
    static std::string lastLine() { return line(velmor_asic_log_end() - 1); }
    static std::uint64_t kept() { return velmor_asic_log_end() - velmor_asic_log_begin(); }
    static void start(std::uint32_t capacity = 100) {
        ASSERT_EQ(0u, velmor_asic_log_start(capacity));
    }
};

TEST_F(CallLogTest, IsOffUntilItIsStarted) {
    member(1);
    EXPECT_EQ(0u, kept());
    EXPECT_EQ(1u, velmor_asic_log_end());
    start();
    member(1);
    EXPECT_EQ(1u, kept());
}

TEST_F(CallLogTest, ShowsACallWithArgumentsStatusAndOutputsInOneLine) {
    start();
    const std::uint32_t first = member(7);
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort("
              "sess_hdl=0, dev_tgt={0, 65535}, action_spec={7}) -> 0 mbr_hdl=1",
              lastLine());
    entry({0x10, 0xFFFFFFFF, 5}, first);
    EXPECT_EQ("p4_pd_velmor_switch_lagGroup_add_entry(sess_hdl=0, dev_tgt={0, 65535}, "
              "match_spec={0x10, 0xffffffff}, priority=5, mbr_hdl=1) -> 0 entry_hdl=2",
              lastLine());
    const std::uint32_t both = group(4);
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_create_group(sess_hdl=0, "
              "dev_tgt={0, 65535}, max_grp_size=4) -> 0 grp_hdl=3",
              lastLine());
    ASSERT_EQ(0u, join(both, first));
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group(sess_hdl=0, dev_id=0, "
              "grp_hdl=3, mbr_hdl=1) -> 0",
              lastLine());
    ASSERT_EQ(0u, setState(both, first, P4_PD_MEMBER_INACTIVE));
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set(sess_hdl=0, "
              "dev_id=0, grp_hdl=3, mbr_hdl=1, state=1) -> 0",
              lastLine());
}

TEST_F(CallLogTest, ShowsEveryOutputOfAnEntryRead) {
    const std::uint32_t handle = entry({0xAB, 0xFF, 9}, member(1));
    start();
    Arguments a;
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagGroup_get_entry(
                      kSession, kDevice, handle, true, &a.matchSpec, a.numbers.data(),
                      a.flags.data(), &a.flags[1], &a.numbers[1], &a.numbers[2], &a.flags[2]));
    EXPECT_EQ("p4_pd_velmor_switch_lagGroup_get_entry(sess_hdl=0, dev_id=0, entry_hdl=2, "
              "from_hw=true) -> 0 match_spec={0xab, 0xff} priority=9 has_mbr=true has_grp=false "
              "mbr_hdl=1 grp_hdl=0 spare=false",
              lastLine());
}

TEST_F(CallLogTest, ShowsAFailedCallWithItsStatusAndWithoutOutputs) {
    start();
    std::uint32_t out = kUntouched;
    ASSERT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, tryEntry(&out, {1}, 77));
    EXPECT_EQ("p4_pd_velmor_switch_lagGroup_add_entry(sess_hdl=0, dev_tgt={0, 65535}, "
              "match_spec={0x1, 0xffffffff}, priority=0, mbr_hdl=77) -> 6",
              lastLine());
    ASSERT_EQ(P4_PD_STATUS_INVALID_ARG, p4_pd_velmor_switch_lagGroup_table_delete(0, -1, 5));
    EXPECT_EQ("p4_pd_velmor_switch_lagGroup_table_delete(sess_hdl=0, dev_id=-1, entry_hdl=5) -> 3",
              lastLine());
}

TEST_F(CallLogTest, ShowsNullPointersAmongTheArguments) {
    start();
    ASSERT_EQ(P4_PD_STATUS_INVALID_ARG,
              p4_pd_velmor_switch_lagGroup_add_entry(0, {-2, 3}, nullptr, 1, 2, nullptr));
    EXPECT_EQ("p4_pd_velmor_switch_lagGroup_add_entry(sess_hdl=0, dev_tgt={-2, 3}, "
              "match_spec=null, priority=1, mbr_hdl=2, entry_hdl=null) -> 3",
              lastLine());
    ASSERT_EQ(P4_PD_STATUS_INVALID_ARG, p4_pd_velmor_switch_client_init(nullptr));
    EXPECT_EQ("p4_pd_velmor_switch_client_init(sess_hdl=null) -> 3", lastLine());
}

TEST_F(CallLogTest, ShowsSessions) {
    start();
    p4_pd_sess_hdl_t session = 0;
    ASSERT_EQ(0u, p4_pd_velmor_switch_client_init(&session));
    EXPECT_EQ("p4_pd_velmor_switch_client_init() -> 0 sess_hdl=1", lastLine());
    ASSERT_EQ(0u, p4_pd_velmor_switch_client_cleanup(session));
    EXPECT_EQ("p4_pd_velmor_switch_client_cleanup(sess_hdl=1) -> 0", lastLine());
}

TEST_F(CallLogTest, ShowsAFaultLikeAnyOtherStatus) {
    start();
    ASSERT_EQ(0u, velmor_asic_fault_plan("p4_pd_velmor_switch_lagPortActionProfile_del_member", 1,
                                         25, VELMOR_ASIC_FAULT_ONCE));
    EXPECT_EQ(25u, delMember(4));
    EXPECT_EQ("p4_pd_velmor_switch_lagPortActionProfile_del_member(sess_hdl=0, dev_id=0, "
              "mbr_hdl=4) -> 25",
              lastLine());
}

TEST_F(CallLogTest, LeavesOutTheReadBackForToolsAndTheDataPath) {
    start();
    for (const PdOperation& operation : pdOperations()) {
        const std::uint64_t before = kept();
        Arguments arguments;
        operation.call({}, arguments);
        const std::string name = operation.name;
        const bool isForTools = name == "p4_pd_velmor_switch_get_usage" ||
                                (name.find("_get") != std::string::npos &&
                                 name != "p4_pd_velmor_switch_lagGroup_get_entry");
        EXPECT_EQ(before + (isForTools ? 0 : 1), kept()) << name;
        if (!isForTools) {
            EXPECT_EQ(0u, lastLine().find(name + "(")) << lastLine();
        }
    }
    const std::uint64_t before = kept();
    forward(1);
    EXPECT_EQ(before, kept());
}

TEST_F(CallLogTest, ReadsACallAsAStruct) {
    start();
    member(1);
    EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, delGroup(9));
    velmor_asic_call_t call{};
    ASSERT_EQ(0u, velmor_asic_log_read(2, &call));
    EXPECT_EQ(2u, call.sequence);
    EXPECT_STREQ("p4_pd_velmor_switch_lagPortActionProfile_del_group", call.operation);
    EXPECT_EQ(6u, call.status);
    for (const std::uint64_t unknown : {UINT64_C(0), UINT64_C(3), UINT64_MAX}) {
        EXPECT_EQ(P4_PD_STATUS_OBJ_NOT_FOUND, velmor_asic_log_read(unknown, &call));
        EXPECT_GT(0, velmor_asic_log_format(unknown, nullptr, 0));
    }
    EXPECT_EQ(2u, call.sequence);
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_log_read(1, nullptr));
}

TEST_F(CallLogTest, FormatsIntoASmallBufferLikeSnprintf) {
    start();
    member(1);
    const std::string whole = lastLine();
    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(static_cast<int>(whole.size()), velmor_asic_log_format(1, buffer, 6));
    EXPECT_STREQ("p4_pd", buffer);
    EXPECT_EQ('x', buffer[6]);
}

TEST_F(CallLogTest, AFullRingDropsTheOldestCall) {
    start(3);
    for (std::uint16_t port = 1; port <= 5; ++port) {
        member(port);
        EXPECT_EQ(port < 3u ? port : 3u, kept());
    }
    EXPECT_EQ(3u, velmor_asic_log_begin());
    EXPECT_EQ(6u, velmor_asic_log_end());
    EXPECT_EQ("(none)", line(2));
    for (std::uint64_t sequence = 3; sequence <= 5; ++sequence)
        EXPECT_NE(std::string::npos,
                  line(sequence).find("action_spec={" + std::to_string(sequence) + "}"));
}

TEST_F(CallLogTest, SequenceNumbersGoOnOverStopClearAndStart) {
    start(2);
    member(1);
    velmor_asic_log_stop();
    member(2);
    EXPECT_EQ(1u, kept());
    EXPECT_NE("(none)", line(1)); // readable after the stop
    start(5);
    EXPECT_EQ(0u, kept());
    member(3);
    EXPECT_EQ(2u, velmor_asic_log_begin());
    EXPECT_EQ(3u, velmor_asic_log_end());
    velmor_asic_log_clear();
    EXPECT_EQ(0u, kept());
    EXPECT_EQ("(none)", line(2));
    member(4);
    EXPECT_EQ(3u, velmor_asic_log_begin());
    EXPECT_EQ(4u, velmor_asic_log_end());
    for (std::uint16_t port = 5; port <= 9; ++port)
        member(port);
    EXPECT_EQ(5u, kept()); // the ring fills again to its capacity
}

TEST_F(CallLogTest, RefusesACapacityOutOfRangeAndKeepsWhatItHas) {
    start(3);
    member(1);
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_log_start(0));
    EXPECT_EQ(P4_PD_STATUS_INVALID_ARG, velmor_asic_log_start(VELMOR_ASIC_LOG_MAX_CAPACITY + 1));
    EXPECT_EQ(1u, kept());
    member(2);
    EXPECT_EQ(2u, kept());
}

TEST_F(CallLogTest, ResetStartsTheNumbersOver) {
    start(3);
    member(1);
    velmor_asic_reset();
    EXPECT_EQ(1u, velmor_asic_log_begin());
    EXPECT_EQ(1u, velmor_asic_log_end());
    member(1);
    EXPECT_EQ(0u, kept());
}

} // namespace
} // namespace asic_test
