#include "agent/desired/StateSchema.h"

#include "tests/agent/desired/StateFiles.h"

namespace LagAgent {
namespace {

using table_files::contentIs;
using table_files::contentOf;
using testing::HasSubstr;
using testing::StartsWith;
namespace fs = std::filesystem;

class StateSchemaTest : public testing::Test {
  protected:
    StateSchemaTest() {
        StateDatabase database(place_.open(), kScope);
        write(database, someState());
        database.commit();
    }

    /// What opening it says; the file, and whatever is there beside it, must stay as they are.
    std::string refusal() {
        const auto before = contents();
        const std::string error =
            storageErrorOf([&] { const StateDatabase refused(place_.open(), kScope); });
        EXPECT_TRUE(before == contents()) << "a file was changed";
        return error;
    }
    std::string refused(const std::string& reason) const {
        return file_.string() + ": refused: " + reason;
    }
    std::map<std::string, std::string> contents() const {
        std::map<std::string, std::string> all;
        for (const auto& file : fs::directory_iterator(place_.state())) {
            const std::string name = file.path().filename();
            // Looking may leave an index and an empty log.
            const bool isEmptyLog = name == "desired.db-wal" && fs::is_empty(file.path());
            if (name != "lock" && name != "desired.db-shm" && !isEmptyLog) {
                all[name] = contentOf(file.path());
            }
        }
        return all;
    }

    table_files::Place place_;
    const fs::path file_ = place_.file("desired.db");
};

TEST_F(StateSchemaTest, TheFileIsPrivateWhateverTheUmask) {
    const table_files::Place place;
    EXPECT_EQ(0, table_files::statusOfChild([&] {
                  ::umask(0);
                  StateDatabase database(place.open(), kScope);
                  write(database, someState());
                  database.commit();
                  for (const char* name : {"desired.db", "desired.db-wal", "desired.db-shm"}) {
                      const auto mode = fs::status(place.file(name)).permissions();
                      if (mode != (fs::perms::owner_read | fs::perms::owner_write)) {
                          return 1;
                      }
                  }
                  return 0;
              }));
}

TEST_F(StateSchemaTest, ADirectoryMayBeReachedThroughALink) {
    fs::create_directory_symlink(place_.root(), place_.root() / "link");
    const auto directory =
        std::make_shared<const Posix::StateDirectory>((place_.root() / "link" / "state").c_str());
    EXPECT_EQ(someState(), StateDatabase(directory, kScope).read());
}

TEST_F(StateSchemaTest, AnotherModeOfTheLogIsSetBack) {
    byHand(file_, "PRAGMA journal_mode=DELETE");
    StateDatabase database(place_.open(), kScope);
    EXPECT_EQ(someState(), database.read());
    database.memberIs(RuxTable::RuxMemberId(5), {kSetLagPort, 5});
    EXPECT_TRUE(fs::exists(place_.file("desired.db-wal")));
}

TEST_F(StateSchemaTest, AnotherApplicationsDatabaseIsRefused) {
    byHand(file_, "PRAGMA application_id=1");
    EXPECT_EQ(refused("it is another application's database"), refusal());
}

TEST_F(StateSchemaTest, ADatabaseOfNobodyIsRefused) {
    table_files::contentIs(file_, "");
    byHand(file_, "CREATE TABLE t(a)");
    fs::permissions(file_, fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(refused("it is another application's database"), refusal());
}

TEST_F(StateSchemaTest, OtherVersionsAreRefused) {
    byHand(file_, "PRAGMA user_version=3");
    EXPECT_EQ(refused("it is of version 3, and this agent keeps version 2"), refusal());
    byHand(file_, "PRAGMA user_version=0");
    EXPECT_EQ(refused("it is of version 0, and this agent keeps version 2"), refusal());
}

TEST_F(StateSchemaTest, Version1IsConvertedWithAllThatItHas) {
    for (const char* table : {"members", "selector_groups", "group_members", "entries"}) {
        for (const char* event : {"INSERT", "UPDATE", "DELETE"}) {
            byHand(file_, std::string("DROP TRIGGER ") + table + "_" + event);
        }
    }
    byHand(file_, "DROP TABLE history; PRAGMA user_version=1; DELETE FROM entries; "
                  "DELETE FROM group_members; "
                  "DELETE FROM selector_groups; DELETE FROM members; "
                  "INSERT INTO members VALUES(7, 'setLagPort', 3)");
    {
        const StateDatabase database(place_.open(), kScope);
        EXPECT_EQ((DesiredState{.members = {{7, {kSetLagPort, 3}}}}), database.read());
        EXPECT_EQ(1u, database.commits());
        EXPECT_NE(0u, database.state());
    }
    EXPECT_EQ("", refusal());
}

TEST_F(StateSchemaTest, Version1WithAnotherSchemaIsRefusedUnchanged) {
    byHand(file_, "PRAGMA user_version=1");
    EXPECT_THAT(refusal(), testing::HasSubstr("its schema has what this agent does not know: "
                                              "CREATE TABLE history"));
}

TEST_F(StateSchemaTest, ANewerVersionIsSeenInTheLogToo) {
    // Whoever wrote it was killed before the log went into the file.
    table_files::statusOfChild([&] {
        sqlite3* connection = nullptr;
        sqlite3_open(file_.c_str(), &connection);
        sqlite3_exec(connection, "PRAGMA user_version=3", nullptr, nullptr, nullptr);
        return 0;
    });
    ASSERT_TRUE(fs::exists(place_.file("desired.db-wal")));
    EXPECT_EQ(refused("it is of version 3, and this agent keeps version 2"), refusal());
}

TEST_F(StateSchemaTest, AnotherSchemaIsRefused) {
    byHand(file_, "CREATE TRIGGER surprise AFTER INSERT ON members BEGIN "
                  "DELETE FROM members; END");
    EXPECT_THAT(refusal(), StartsWith(refused("its schema has what this agent does not know: "
                                              "CREATE TRIGGER surprise")));
    byHand(file_, "DROP TRIGGER surprise; DROP INDEX entries_of_group");
    EXPECT_EQ(refused("its schema lacks: CREATE INDEX entries_of_group ON entries(group_id)"),
              refusal());
    byHand(file_, "ALTER TABLE members ADD COLUMN speed INTEGER");
    EXPECT_THAT(refusal(), HasSubstr("what this agent does not know: CREATE TABLE members("));
}

TEST_F(StateSchemaTest, GarbageIsRefused) {
    for (const std::string& garbage :
         {std::string(), std::string("SQLite format 3"), std::string(8192, '\0'),
          std::string(5000, 'x'), contentOf(file_).substr(0, 99)}) {
        contentIs(file_, garbage);
        EXPECT_EQ(refused("it is not a database"), refusal());
    }
}

TEST_F(StateSchemaTest, ADamagedHeaderIsRefused) {
    std::string bytes = contentOf(file_);
    bytes.replace(100, 8, 8, '\xFF'); // where the schema begins
    contentIs(file_, bytes);
    EXPECT_THAT(refusal(), HasSubstr("database disk image is malformed"));
}

TEST_F(StateSchemaTest, LinksAreRefused) {
    const fs::path elsewhere = place_.root() / "elsewhere.db";
    fs::rename(file_, elsewhere);
    fs::create_symlink(elsewhere, file_);
    EXPECT_EQ(refused("it is a symbolic link"), refusal());
    fs::remove(file_);
    fs::create_hard_link(elsewhere, file_);
    EXPECT_EQ(refused("it has 2 links, not 1"), refusal());
}

TEST_F(StateSchemaTest, AFileThatOthersMayTouchIsRefused) {
    fs::permissions(file_, fs::perms::group_read, fs::perm_options::add);
    EXPECT_EQ(refused("its mode is 0640, not 0600"), refusal());
}

TEST_F(StateSchemaTest, AFolderInItsPlaceIsRefused) {
    fs::remove(file_);
    fs::create_directory(file_);
    EXPECT_EQ(refused("it is not a regular file"),
              storageErrorOf([&] { const StateDatabase refused(place_.open(), kScope); }));
}

TEST_F(StateSchemaTest, ItsLogIsCheckedLikeTheFile) {
    for (const char* suffix : {"-wal", "-shm", "-journal"}) {
        const fs::path log = file_.string() + suffix;
        fs::create_symlink("/etc/hostname", log);
        EXPECT_EQ(log.string() + ": refused: it is a symbolic link", refusal());
        fs::remove(log);
        contentIs(log, "");
        fs::permissions(log, fs::perms::all);
        EXPECT_EQ(log.string() + ": refused: its mode is 0777, not 0600", refusal());
        fs::remove(log);
    }
}

TEST_F(StateSchemaTest, ALogWithoutItsDatabaseIsRefused) {
    fs::remove(file_);
    const fs::path log = place_.file("desired.db-wal");
    contentIs(log, "what somebody did");
    fs::permissions(log, fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_THAT(refusal(), StartsWith(log.string() + ": refused: the database that it belongs to "
                                                     "is not there"));
    EXPECT_FALSE(fs::exists(file_));
}

TEST_F(StateSchemaTest, AnAgentKilledWhileMakingItLeavesNothingInTheWay) {
    fs::rename(file_, place_.file(".desired.db.new"));
    EXPECT_EQ(DesiredState(), StateDatabase(place_.open(), kScope).read());
}

} // namespace
} // namespace LagAgent
