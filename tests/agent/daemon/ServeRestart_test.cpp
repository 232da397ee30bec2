#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "agent/desired/Sqlite.h"
#include "agent/outcome/Errors.h"
#include "asic/SoftwareAsic.h"
#include "posix/LockFile.h"
#include "tests/agent/daemon/Client.h"
#include "tests/agent/daemon/Daemon.h"

// What a daemon leaves for the next one, seen by clients and by another process at the chip.

namespace LagAgent {
namespace {

using testing::AllOf;
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
        return textIn(document);
    }
    nlohmann::json result(const std::string& line) const { return resultIn(answer(line)); }
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
        std::filesystem::copy_file(daemon.directory() + "/desired.db", empty_);
        good({"member add 1 action setLagPort port 1", "member add 2 action setLagPort port 2",
              "group add 10 size 4 initial 1 action setLagPort", "group member add 10 2",
              "group add 20 size 4 initial 1 action setLagPort", "group member add 20 2",
              "group member set 20 2 inactive",
              "entry set value 0x10 mask 0xffffffff priority 1 group 10",
              "entry set value 0x20 mask 0xffffffff priority 1 group 20",
              "entry set default member 2"});
    }

    /// The database before the first command.
    const std::string empty_ = daemon.folder / "empty";
};

TEST_F(ServeRestart, EverythingIsThereAfterAKillWithTheHandlesOfBefore) {
    const auto shown = result("show");
    killAndStart();
    EXPECT_EQ(shown, result("show"));
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
}

TEST_F(ServeRestart, StartIsReportedInFull) {
    killAndStart();
    const auto start = result("show start");
    EXPECT_EQ((nlohmann::json{{"entries", 3}, {"members", 2}, {"groups", 2}}), start["restored"]);
    EXPECT_EQ(nlohmann::json::array({"p4_pd_velmor_switch_lagGroup_set_property"}),
              start["factory writes"]);
    EXPECT_EQ(1, start["writes"]);
    EXPECT_THAT(start["audit"], IsEmpty());
    EXPECT_THAT(start["mended by"], IsEmpty());
    EXPECT_THAT(start["notes"], IsEmpty());
    EXPECT_GT(start["time"]["process start to reconciled"], 0.0);
}

/// The PD writes in the chip's log since that call.
std::vector<std::string> writesSince(std::uint64_t begin) {
    std::vector<std::string> writes;
    for (auto at = begin; at < velmor_asic_log_end(); ++at) {
        velmor_asic_call_t call{};
        EXPECT_EQ(0u, velmor_asic_log_read(at, &call));
        const std::string operation = call.operation;
        if (operation.find("_get_") == std::string::npos &&
            operation.find("_client_") == std::string::npos) {
            writes.push_back(operation);
        }
    }
    return writes;
}

TEST_F(ServeRestart, MakesOneWriteAndLeavesTheFilesAsTheyAreAfterAKillAndAfterAnEnd) {
    const auto contentsOf = [this] {
        std::map<std::string, std::string> all;
        for (const char* name : {"entries", "members", "groups"}) {
            std::ostringstream content;
            content << std::ifstream(daemon.directory() + "/" + name).rdbuf();
            all[name] = content.str();
        }
        return all;
    };
    attachToTheChip();
    for (const int signal : {SIGKILL, SIGTERM}) {
        daemon.signal(signal);
        daemon.exitStatus();
        const auto before = contentsOf();
        const auto begin = velmor_asic_log_end();
        daemon.startProgram();
        EXPECT_THAT(writesSince(begin), ElementsAre("p4_pd_velmor_switch_lagGroup_set_property"));
        EXPECT_TRUE(before == contentsOf());
    }
}

TEST_F(ServeRestart, DatabaseAloneIsWholeAfterAnEnd) {
    EXPECT_EQ(0, daemon.stop());
    EXPECT_EQ(0u, std::filesystem::file_size(daemon.directory() + "/desired.db-wal"));
    std::filesystem::remove(daemon.directory() + "/desired.db-wal");
    daemon.startProgram();
    EXPECT_EQ(2u, result("show groups")["groups"].size());
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
    EXPECT_EQ(
        (nlohmann::json{{"p4_pd_velmor_switch_lagPortActionProfile_del_member", 1},
                        {"p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set", 1}}),
        start["mended by"]);
    EXPECT_EQ(3, start["writes"]);
    EXPECT_EQ(2u, start["findings"].size());
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
    EXPECT_EQ(2u, result("show asic")["asic members"].size());
}

/// What a daemon says that does not start, or does not go on.
class ServeHarm : public ServeRestart {
  protected:
    std::string failure() {
        const std::string log = daemon.log();
        const auto at = log.rfind("event=failed");
        return at == std::string::npos ? "" : log.substr(at);
    }
    void expectEnd(const std::string& why) {
        const auto said = answer("member add 9 action setLagPort port 9");
        EXPECT_EQ("storage", said["error"]["kind"]);
        EXPECT_THAT(said["error"]["message"].get<std::string>(), HasSubstr(why));
        EXPECT_EQ(1, daemon.exitStatus());
        EXPECT_THAT(failure(), HasSubstr(why));
    }
};

TEST_F(ServeHarm, ChipThatIsPowerCycledUnderItEndsItAndTheNextStartFillsTheChipAgain) {
    attachToTheChip();
    EXPECT_EQ(0u, velmor_asic_chip_power_cycle(0));
    const auto begin = velmor_asic_log_end();
    expectEnd("the chip has lost its state");
    EXPECT_THAT(writesSince(begin), IsEmpty());
    daemon.startProgram();
    EXPECT_EQ(1, port(0x20));
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
}

TEST_F(ServeHarm, FileThatIsRemovedUnderItEndsIt) {
    for (const char* name : {"members", "desired.db-wal"}) {
        std::filesystem::remove(daemon.directory() + "/" + name);
        expectEnd(std::string(name) + " was removed or replaced");
        daemon.startProgram();
        EXPECT_EQ(2u, result("show groups")["groups"].size());
        EXPECT_THAT(result("audit")["findings"], IsEmpty());
    }
}

TEST_F(ServeHarm, FileThatIsCutShortUnderItEndsIt) {
    for (const char* name : {"members", "desired.db-shm", "desired.db"}) {
        const std::string path = daemon.directory() + "/" + name;
        const std::string kept = daemon.folder / "kept";
        std::filesystem::copy_file(path, kept, std::filesystem::copy_options::overwrite_existing);
        std::filesystem::resize_file(path, 0);
        expectEnd(std::string(name) + " was cut short");
        std::filesystem::copy_file(kept, path, std::filesystem::copy_options::overwrite_existing);
        daemon.startProgram();
        EXPECT_EQ(2u, result("show groups")["groups"].size());
        EXPECT_THAT(result("audit")["findings"], IsEmpty());
    }
}

TEST_F(ServeHarm, TableThatIsOverwrittenUnderItEndsIt) {
    const std::string path = daemon.directory() + "/members", kept = daemon.folder / "kept";
    std::filesystem::copy_file(path, kept);
    good({"member add 3 action setLagPort port 3"});
    std::filesystem::copy_file(kept, path, std::filesystem::copy_options::overwrite_existing);
    expectEnd("a table of records was overwritten");
    daemon.startProgram();
    EXPECT_EQ(3u, result("show members")["members"].size());
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
}

TEST_F(ServeHarm, LostLogIsRefusedWithBothNumbersUntilItIsAccepted) {
    daemon.signal(SIGKILL);
    EXPECT_EQ(-1, daemon.exitStatus());
    // As it is when no checkpoint has come in between.
    std::filesystem::copy_file(empty_, daemon.directory() + "/desired.db",
                               std::filesystem::copy_options::overwrite_existing);
    std::filesystem::remove(daemon.directory() + "/desired.db-wal");
    daemon.runProgram();
    EXPECT_EQ(2, daemon.exitStatus());
    EXPECT_THAT(failure(), HasSubstr("it is at commit 0, the records know of commit 10"));
    attachToTheChip();
    EXPECT_EQ(1, port(0x20));
    daemon.startProgram("--accept-loss");
    EXPECT_EQ(0, port(0x20));
    EXPECT_THAT(result("show groups")["groups"], IsEmpty());
}

TEST_F(ServeHarm, DatabaseThatWasGivenUpIsOlderThanWhatCameAfter) {
    EXPECT_EQ(0, daemon.stop());
    const std::string path = daemon.directory() + "/desired.db", givenUp = daemon.folder / "kept";
    const auto overwrite = std::filesystem::copy_options::overwrite_existing;
    std::filesystem::copy_file(path, givenUp);
    std::filesystem::copy_file(empty_, path, overwrite);
    daemon.startProgram("--accept-loss");
    good({"member add 50 action setLagPort port 50"});
    EXPECT_EQ(0, daemon.stop());
    std::filesystem::copy_file(givenUp, path, overwrite);
    daemon.runProgram();
    EXPECT_EQ(2, daemon.exitStatus());
    EXPECT_THAT(failure(), HasSubstr("it is at commit 10, the records know of commit 11"));
}

TEST_F(ServeHarm, OldDatabaseBesideANewLogIsRefused) {
    const std::string path = daemon.directory() + "/desired.db";
    EXPECT_EQ(0, daemon.stop());
    daemon.startProgram();
    good({"member set 1 action setLagPort port 5"});
    daemon.signal(SIGKILL);
    EXPECT_EQ(-1, daemon.exitStatus());
    std::filesystem::copy_file(empty_, path, std::filesystem::copy_options::overwrite_existing);
    daemon.runProgram();
    EXPECT_EQ(2, daemon.exitStatus());
    attachToTheChip();
    EXPECT_EQ(5, port(0x20));
}

TEST_F(ServeHarm, MemoriesThatAreOldTogetherAreRefusedByWhatStandsBesideTheChip) {
    EXPECT_EQ(0, daemon.stop());
    const std::string kept = daemon.folder / "old";
    std::filesystem::create_directory(kept);
    for (const char* name : {"desired.db", "entries", "members", "groups"}) {
        std::filesystem::copy_file(daemon.directory() + "/" + name, kept + "/" + name);
    }
    daemon.startProgram();
    EXPECT_THAT(result("show start")["notes"], IsEmpty());
    good({"member set 1 action setLagPort port 5", "group member set 10 2 inactive"});
    EXPECT_EQ(0, daemon.stop());
    for (const char* name : {"desired.db", "entries", "members", "groups"}) {
        std::filesystem::copy_file(kept + "/" + name, daemon.directory() + "/" + name,
                                   std::filesystem::copy_options::overwrite_existing);
    }
    daemon.runProgram();
    EXPECT_EQ(2, daemon.exitStatus());
    EXPECT_THAT(failure(), HasSubstr("it is at commit 10, " + daemon.directory() +
                                     "/chip.agent knows of commit 12; put the latest file back"));
    // As it was before there was such a mark.
    std::filesystem::remove(daemon.directory() + "/chip.agent");
    daemon.startProgram();
    EXPECT_EQ(3, result("show start")["writes"]);
    EXPECT_THAT(result("show start")["notes"].dump(),
                AllOf(HasSubstr("2 objects on the chip were other than desired"),
                      HasSubstr("chip.agent does not tell the commit")));
}

TEST_F(ServeHarm, ForeignStateDirectoryOverAPopulatedChipIsRefused) {
    EXPECT_EQ(0, daemon.stop());
    const std::string chip = daemon.directory() + "/chip";
    daemon.runProgramIn(daemon.folder / "other", "--chip " + chip);
    EXPECT_EQ(2, daemon.exitStatus());
    EXPECT_THAT(failure(),
                HasSubstr("it would remove from the chip more than a command that was cut "
                          "short has left there: chip entry 5 (entry value 0x10 "));
    attachToTheChip();
    EXPECT_EQ(1, port(0x20));
    daemon.startProgram();
    EXPECT_EQ(1, result("show start")["writes"]);
}

/// Copies that are made while commands are carried out.
class ServeBackup : public DaemonAndChip {
  protected:
    ServeBackup() { daemon.startProgram(); }

    int restore(const std::string& copy, const std::string& before = "") const {
        const std::string command = before + "exec " LAG_AGENT " restore " + copy +
                                    " --state-dir " + daemon.directory() + " > " + said_ + " 2>&1";
        return ::system(command.c_str());
    }
    std::string said() const {
        std::ostringstream text;
        text << std::ifstream(said_).rdbuf();
        return text.str();
    }
    std::vector<std::uint32_t> memberIds() const {
        std::vector<std::uint32_t> ids;
        const auto shown = result("show members");
        for (const auto& row : shown["members"]) {
            ids.push_back(row["id"]);
        }
        return ids;
    }

    const std::string copy_ = daemon.folder / "copy";
    const std::string said_ = daemon.folder / "said";
};

TEST_F(ServeBackup, RoundTripUnderLoadGivesTheStateOfAMoment) {
    constexpr std::uint32_t kMembers = 400;
    Client load(daemon.control()), other(daemon.control());
    load.hears();
    other.hears();
    // The daemon takes a command of each in turn.
    for (std::uint32_t id = 1; id <= kMembers; ++id) {
        load.run("member add " + std::to_string(id) + " action setLagPort port 1");
    }
    for (std::uint32_t id = 1; id <= kMembers / 4; ++id) {
        EXPECT_FALSE(load.hears().contains("error"));
    }
    other.run("backup " + copy_);
    EXPECT_EQ(nlohmann::json::object(), other.hears());
    for (std::uint32_t id = kMembers / 4; id < kMembers; ++id) {
        EXPECT_FALSE(load.hears().contains("error"));
    }
    EXPECT_EQ(kMembers, memberIds().size());
    EXPECT_NE(0, restore(copy_));
    EXPECT_THAT(said(), HasSubstr("in use by another agent"));
    EXPECT_EQ(0, daemon.stop());
    EXPECT_EQ(0, restore(copy_)) << said();
    daemon.startProgram();
    const auto ids = memberIds();
    EXPECT_GE(ids.size(), kMembers / 4);
    EXPECT_LE(ids.size(), kMembers);
    for (std::uint32_t at = 0; at < ids.size(); ++at) {
        EXPECT_EQ(at + 1, ids[at]);
    }
    const auto givenUp = kMembers - ids.size();
    EXPECT_THAT(said(), HasSubstr("given up: " + std::to_string(givenUp) + " commits"));
    EXPECT_EQ(givenUp + 1, result("show start")["writes"]);
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
}

TEST_F(ServeBackup, NeitherReplacesAFileNorTakesAPlaceThatDependsOnTheDaemon) {
    good({("backup " + copy_).c_str()});
    const auto again = answer("backup " + copy_)["error"];
    EXPECT_EQ("storage", again["kind"]);
    EXPECT_EQ(copy_ + ": cannot make it: File exists", again["message"]);
    EXPECT_EQ("refused", answer("backup copy")["error"]["kind"]);
    EXPECT_EQ("refused", answer("backup " + copy_ + '\0' + "2")["error"]["kind"]);
}

TEST_F(ServeBackup, CopyMayBeBelowALinkedFolder) {
    const std::string link = daemon.folder / "link";
    std::filesystem::create_directory(daemon.folder / "folder");
    std::filesystem::create_directory_symlink(daemon.folder / "folder", link);
    good({"member add 1 action setLagPort port 1", ("backup " + link + "/copy").c_str(),
          "member add 2 action setLagPort port 2"});
    EXPECT_EQ(0, daemon.stop());
    EXPECT_EQ(0, restore(link + "/copy")) << said();
    daemon.startProgram();
    EXPECT_THAT(memberIds(), ElementsAre(1));
}

TEST_F(ServeBackup, WhatIsNoWholeCopyIsRefusedAndTheStateStays) {
    good({"member add 1 action setLagPort port 1", ("backup " + copy_).c_str()});
    EXPECT_EQ(0, daemon.stop());
    std::filesystem::resize_file(copy_, std::filesystem::file_size(copy_) / 2);
    for (const std::string& wrong : {copy_, daemon.folder / "none", said_}) {
        EXPECT_NE(0, restore(wrong)) << wrong;
    }
    daemon.startProgram();
    EXPECT_THAT(memberIds(), ElementsAre(1));
}

TEST_F(ServeRestart, TheDatabaseFileAloneIsWholeWhenNoCommandHasComeForAWhile) {
    const std::string alone = daemon.folder / "alone", file = daemon.directory() + "/desired.db";
    const auto entriesAlone = [&] {
        std::int64_t entries = 0;
        try {
            std::filesystem::copy_file(file, alone,
                                       std::filesystem::copy_options::overwrite_existing);
            const SqliteConnection copy(alone);
            SqliteStatement(copy, "count the entries", "SELECT count(*) FROM entries")
                .run({}, [&](const SqliteRow& row) { entries = row.number(0); });
        } catch (const CommandError&) {
            return std::int64_t{-1}; // copied in the middle of it
        }
        return entries;
    };
    while (entriesAlone() != 3) {
    }
    const auto shown = result("show");
    daemon.signal(SIGKILL);
    EXPECT_EQ(-1, daemon.exitStatus());
    std::filesystem::remove(file + "-wal");
    daemon.startProgram();
    EXPECT_EQ(shown, result("show"));
    EXPECT_EQ(1, result("show start")["writes"]);
}

TEST_F(ServeBackup, CopyForWhichThereIsNoRoomLeavesEverythingThatWasAcknowledged) {
    good({"member add 1 action setLagPort port 1", ("backup " + copy_).c_str(),
          "member add 2 action setLagPort port 2"});
    daemon.signal(SIGKILL);
    EXPECT_EQ(-1, daemon.exitStatus());
    EXPECT_NE(0, restore(copy_, "ulimit -f 4; trap '' XFSZ; "));
    daemon.startProgram();
    EXPECT_THAT(memberIds(), ElementsAre(1, 2));
}

TEST_F(ServeBackup, CopyOfAnotherChipIsRefused) {
    good({("backup " + copy_).c_str(), "member add 1 action setLagPort port 1"});
    EXPECT_EQ(0, daemon.stop());
    SqliteConnection(copy_).execute("be of another chip", "UPDATE chip SET device = 1");
    EXPECT_NE(0, restore(copy_));
    EXPECT_THAT(said(), HasSubstr("it is of device 0, all pipes; the copy is of device 1, all "
                                  "pipes"));
    daemon.startProgram();
    EXPECT_THAT(memberIds(), ElementsAre(1));
}

TEST_F(ServeBackup, RestoreThatIsRefusedLeavesTheOneBeforeItAsItWas) {
    good({("backup " + copy_).c_str(), "member add 1 action setLagPort port 1",
          "member add 2 action setLagPort port 2"});
    EXPECT_EQ(0, daemon.stop());
    EXPECT_EQ(0, restore(copy_)) << said();
    const std::string other = daemon.folder / "other";
    std::filesystem::copy(copy_, other);
    SqliteConnection(other).execute("be of another chip", "UPDATE chip SET device = 1");
    EXPECT_NE(0, restore(other));
    daemon.startProgram();
    EXPECT_THAT(memberIds(), ElementsAre());
}

TEST_F(ServeBackup, IsNotRestoredWhereThereIsNoStateDirectory) {
    good({("backup " + copy_).c_str()});
    EXPECT_EQ(0, daemon.stop());
    const std::string elsewhere = daemon.folder / "elsewhere";
    const std::string command =
        LAG_AGENT " restore " + copy_ + " --state-dir " + elsewhere + " > " + said_ + " 2>&1";
    EXPECT_NE(0, ::system(command.c_str()));
    EXPECT_EQ("lag-agent restore: there is no state directory " + elsewhere +
                  ": name the daemon's with --state-dir\n",
              said());
    EXPECT_FALSE(std::filesystem::exists(elsewhere));
}

TEST_F(ServeBackup, RestoredStateCountsAsTheLatestThatTheChipKnowsOf) {
    good({"member add 1 action setLagPort port 1", ("backup " + copy_).c_str(),
          "member add 2 action setLagPort port 2", "member add 3 action setLagPort port 3"});
    EXPECT_EQ(0, daemon.stop());
    for (const char* table : {"entries", "members", "groups"}) {
        std::filesystem::remove(daemon.directory() + "/" + table);
    }
    EXPECT_EQ(0, restore(copy_)) << said();
    EXPECT_THAT(said(), HasSubstr("of commit 1; given up: 2 commits"));
    daemon.startProgram();
    EXPECT_THAT(memberIds(), ElementsAre(1));
    EXPECT_EQ(3, result("show start")["writes"]);
}

TEST_F(ServeBackup, ChipOfAnotherAgentIsNoPlaceForARestoredState) {
    good({("backup " + copy_).c_str()});
    EXPECT_EQ(0, daemon.stop());
    const std::string chip = daemon.directory() + "/chip";
    const Posix::LockFile other(chip + ".agent", chip);
    EXPECT_NE(0, restore(copy_));
    EXPECT_THAT(said(), HasSubstr(chip + ": in use by another agent, process "));
}

TEST_F(ServeBackup, PipeIsNoCopy) {
    EXPECT_EQ(0, daemon.stop());
    ASSERT_EQ(0, ::mkfifo(copy_.c_str(), 0600));
    EXPECT_NE(0, restore(copy_));
    EXPECT_THAT(said(), HasSubstr("refused: it is no regular file"));
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

TEST_F(ServeFullChip, StartsWithOneWriteAndEveryFlowKeepsItsPort) {
    const auto ports = [this] {
        std::vector<std::uint16_t> all;
        for (std::uint32_t hash = 0; hash < 64; ++hash) {
            velmor_asic_result_t fate{};
            EXPECT_EQ(0u, velmor_asic_forward(0, P4_PD_ALL_PIPES, 0x10, hash * 0x9e3779b9u, &fate));
            all.push_back(fate.port);
        }
        return all;
    };
    const auto begin = velmor_asic_log_end();
    const auto before = ports();
    killAndStart();
    EXPECT_EQ(before, ports());
    EXPECT_THAT(writesSince(begin), ElementsAre("p4_pd_velmor_switch_lagGroup_set_property"));
    EXPECT_THAT(result("audit")["findings"], IsEmpty());
}

} // namespace
} // namespace LagAgent
