#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "asic/SoftwareAsic.h"
#include "tests/agent/daemon/Client.h"
#include "tests/agent/daemon/Daemon.h"

// What a daemon leaves for the next one, seen by clients and by another process at the chip.

namespace LagAgent {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A daemon, its client, and this process at its chip.
class DaemonAndChip : public testing::Test {
  protected:
    ~DaemonAndChip() override { velmor_asic_reset(); }

    void killAndStart() {
        daemon.signal(SIGKILL);
        EXPECT_EQ(-1, daemon.exitStatus());
        daemon.startProgram();
    }

    nlohmann::json answer(const std::string& line) const {
        Client client(daemon.control());
        EXPECT_EQ("lag-agent", client.hears()["hello"]);
        client.run(line);
        return client.hears();
    }
    std::string text(const std::string& line) const {
        const auto document = answer(line);
        EXPECT_FALSE(document.contains("error")) << document;
        return document.value("text", "");
    }
    nlohmann::json result(const std::string& line) const { return answer(line)["result"]; }
    void good(std::initializer_list<const char*> lines) const {
        for (const char* line : lines) {
            EXPECT_EQ("", text(line)) << line;
        }
    }

    /// The port that a flow of that value gets from the chip; 0 for none.
    std::uint16_t port(std::uint32_t value) const {
        velmor_asic_result_t fate{};
        EXPECT_EQ(0u, velmor_asic_forward(0, P4_PD_ALL_PIPES, value, 7, &fate));
        return fate.outcome == VELMOR_ASIC_FORWARDED ? fate.port : 0;
    }
    void attachToTheChip(const velmor_asic_chip_config_t* config = nullptr) const {
        ASSERT_EQ(0u, velmor_asic_chip_attach(0, (daemon.directory() + "/chip").c_str(), config))
            << velmor_asic_attach_error();
    }

    Daemon daemon;
};

class ServeRestart : public DaemonAndChip {
  protected:
    ServeRestart() {
        daemon.startProgram();
        good({"member add 1 action setLagPort port 1", "member add 2 action setLagPort port 2",
              "group add 10 size 4 initial 1 action setLagPort", "group member add 10 2",
              "group add 20 size 4 initial 1 action setLagPort", "group member add 20 2",
              "group member set 20 2 inactive",
              "entry set value 0x10 mask 0xffffffff priority 1 group 10",
              "entry set value 0x20 mask 0xffffffff priority 1 group 20",
              "entry set default member 2"});
    }
};

TEST_F(ServeRestart, EverythingIsThereAfterAKill) {
    const auto shown = result("show");
    killAndStart();
    auto now = result("show");
    for (auto* document : {&now, const_cast<nlohmann::json*>(&shown)}) {
        for (auto& group : (*document)["groups"]) {
            group.erase("handle"); // groups are made anew
        }
    }
    EXPECT_EQ(shown, now);
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
}

TEST_F(ServeRestart, StartIsReportedInFull) {
    killAndStart();
    const auto start = result("show start");
    EXPECT_EQ((nlohmann::json{{"entries", 3}, {"members", 2}, {"groups", 2}}), start["restored"]);
    EXPECT_EQ(nlohmann::json::array({"p4_pd_velmor_switch_lagGroup_set_property"}),
              start["factory writes"]);
    EXPECT_THAT(start["audit"], IsEmpty());
    EXPECT_EQ((nlohmann::json{{"lagGroup_modify_entry_with_selector", 2},
                              {"lagGroup_set_default_entry", 1},
                              {"lagPortActionProfile_add_member_to_group", 4},
                              {"lagPortActionProfile_create_group", 2},
                              {"lagPortActionProfile_del_group", 2},
                              {"lagPortActionProfile_group_member_state_set", 1},
                              {"lagPortActionProfile_modify_member_with_setLagPort", 2}}),
              start["replay"]);
    EXPECT_EQ(0, start["orphans removed"]);
    EXPECT_THAT(start["notes"], IsEmpty());
    EXPECT_GT(start["time"]["process start to reconciled"], 0.0);
}

TEST_F(ServeRestart, AuditForetellsTheWritesOfTheNextStart) {
    const auto foretold = result("audit")["writes"];
    nlohmann::json counts;
    for (const auto& row : foretold) {
        counts[row["operation"].get<std::string>()] = row["count"];
    }
    const auto steps = result("audit steps")["steps"].size();
    attachToTheChip();
    daemon.signal(SIGKILL);
    EXPECT_EQ(-1, daemon.exitStatus());
    const auto begin = velmor_asic_log_end();
    daemon.startProgram();
    EXPECT_EQ(counts, result("show start")["replay"]);

    // The call log has them, and no other write but the factories' one.
    std::size_t writes = 0;
    for (auto at = begin; at < velmor_asic_log_end(); ++at) {
        velmor_asic_call_t call{};
        ASSERT_EQ(0u, velmor_asic_log_read(at, &call));
        const std::string operation = call.operation;
        writes += operation.find("_get_") == std::string::npos &&
                  operation.find("_client_") == std::string::npos;
    }
    EXPECT_EQ(steps + 1, writes);
}

TEST_F(ServeRestart, ChipForwardsWhileTheDaemonIsDeadAndAfter) {
    attachToTheChip();
    const auto before = port(0x10);
    EXPECT_THAT(before, testing::AnyOf(1, 2));
    daemon.signal(SIGKILL);
    EXPECT_EQ(-1, daemon.exitStatus());
    EXPECT_EQ(before, port(0x10));
    EXPECT_EQ(1, port(0x20)); // member 2 is inactive there
    EXPECT_EQ(2, port(0x30)); // the default entry
    daemon.startProgram();
    EXPECT_EQ(before, port(0x10));
    EXPECT_EQ(1, port(0x20));
    EXPECT_EQ(2, port(0x30));
}

TEST_F(ServeRestart, TerminatedDaemonLeavesTheChipAsItIs) {
    attachToTheChip();
    const auto begin = velmor_asic_log_end();
    EXPECT_EQ(0, daemon.stop());
    std::vector<std::string> calls;
    for (auto at = begin; at < velmor_asic_log_end(); ++at) {
        velmor_asic_call_t call{};
        ASSERT_EQ(0u, velmor_asic_log_read(at, &call));
        calls.push_back(call.operation);
    }
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_EQ(1, port(0x20));
    daemon.startProgram();
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
}

TEST_F(ServeRestart, DefaultEntryCanBeDeletedAfterARestart) {
    killAndStart();
    EXPECT_EQ("", text("entry del default"));
    attachToTheChip();
    EXPECT_EQ(0, port(0x30));
    killAndStart();
    EXPECT_THAT(result("show entries")["entries"].size(), 2u);
    EXPECT_EQ(0, port(0x30));
}

TEST_F(ServeRestart, PowerCycledChipIsFilledAgainAndTheOldRecordsAreNotBelieved) {
    EXPECT_EQ(0, daemon.stop());
    attachToTheChip();
    EXPECT_EQ(0u, velmor_asic_chip_power_cycle(0));
    EXPECT_EQ(0, port(0x20));
    daemon.startProgram();
    EXPECT_EQ(1, port(0x20));
    const auto start = result("show start");
    EXPECT_EQ((nlohmann::json{{"entries", 0}, {"members", 0}, {"groups", 0}}), start["restored"]);
    ASSERT_EQ(3u, start["notes"].size());
    EXPECT_THAT(start["notes"][0].get<std::string>(), HasSubstr("boot"));
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
}

TEST_F(ServeRestart, ChangesOfAKilledDaemonThatWereNotAskedForAreUndone) {
    EXPECT_EQ(0, daemon.stop());
    attachToTheChip();
    // As if a command had been cut short after its PD calls: a member more, and a port down.
    p4_pd_velmor_switch_setLagPort_action_spec_t spec{.action_egrL2AintfPort = 9};
    const p4_pd_dev_target_t all{0, P4_PD_ALL_PIPES};
    std::uint32_t member = 0, group = 0, first = 0;
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort(0, all, &spec,
                                                                                      &member));
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle(0, all, &group));
    ASSERT_EQ(0u,
              p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member(0, 0, group, &first));
    ASSERT_EQ(0u, p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set(
                      0, 0, group, first, P4_PD_MEMBER_INACTIVE));
    daemon.startProgram();
    const auto start = result("show start");
    EXPECT_EQ((nlohmann::json{{"orphan", 1}, {"wrong state", 1}}), start["audit"]);
    EXPECT_EQ(1, start["orphans removed"]);
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
    EXPECT_EQ(2u, result("show asic")["asic members"].size());
}

/// A chip with room for one group.
class ServeFullChip : public DaemonAndChip {
  protected:
    ServeFullChip() {
        std::filesystem::create_directory(daemon.directory());
        std::filesystem::permissions(daemon.directory(), std::filesystem::perms::owner_all);
        velmor_asic_chip_config_t config{};
        velmor_asic_chip_config_default(&config);
        config.group_capacity = 1;
        attachToTheChip(&config);
        daemon.startProgram();
        good({"member add 1 action setLagPort port 1", "member add 2 action setLagPort port 2",
              "member add 9 action setLagPort port 9",
              "group add 10 size 4 initial 1 action setLagPort", "group member add 10 2",
              "entry set value 0x10 mask 0xffffffff priority 1 group 10",
              "entry set default member 9"});
    }
};

TEST_F(ServeFullChip, GroupGivesWayToOneOfItsMembersAndIsNamed) {
    good({"group member set 10 1 inactive"});
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
    killAndStart();
    EXPECT_EQ(2, port(0x10));
    const auto start = result("show start");
    EXPECT_EQ(1, start["missing groups"]);
    EXPECT_EQ(nlohmann::json::array({10}), start["touched groups"]);
    EXPECT_THAT(daemon.log(),
                HasSubstr("level=warning event=start-note message=\"the chip lacks room for even "
                          "one group more: meanwhile all flows of group 10 are on one of its "
                          "members\"\n"));
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
}

TEST_F(ServeFullChip, FlowsOfAGroupWithoutActiveMemberGetNoPortWhileItGivesWay) {
    good({"group member set 10 1 inactive", "group member set 10 2 inactive"});
    EXPECT_EQ(0, port(0x10));
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
    const auto begin = velmor_asic_log_end();
    killAndStart();
    EXPECT_EQ(0, port(0x10));
    EXPECT_EQ(9, port(0x11));
    EXPECT_THAT(result("show start")["touched groups"], IsEmpty());
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
    EXPECT_EQ(3u, result("show asic")["asic members"].size());
    // The entry was never away, which would have sent its flows to the default entry's port.
    for (auto at = begin; at < velmor_asic_log_end(); ++at) {
        velmor_asic_call_t call{};
        ASSERT_EQ(0u, velmor_asic_log_read(at, &call));
        EXPECT_THAT(call.operation, testing::Not(HasSubstr("table_delete")));
        EXPECT_THAT(call.operation, testing::Not(HasSubstr("add_entry")));
    }
    good({"group member set 10 1 active"});
    EXPECT_EQ(1, port(0x10));
}

} // namespace
} // namespace LagAgent
