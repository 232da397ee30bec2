#include "agent/desired/StateDatabase.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "agent/desired/ContentDigest.h"
#include "agent/desired/StateReading.h"
#include "agent/desired/StateSchema.h"
#include "agent/outcome/Errors.h"

namespace LagAgent {

namespace {

/// The statements that are kept, by their place in `kStatements`.
enum Statement : std::size_t {
    kBegin,
    kCount,
    kCommit,
    kMemberIs,
    kMemberDel,
    kGroupIs,
    kGroupDel,
    kGroupMemberIs,
    kGroupMemberDel,
    kGroupMemberDelAll,
    kEntryIs,
    kEntryDel,
    kStatementCount,
};

struct StatementText {
    const char* what;
    const char* sql;
};

/// REPLACE would delete the row that is there, and with a group its memberships.
constexpr std::array<StatementText, kStatementCount> kStatements{{
    {"begin a transaction", "BEGIN IMMEDIATE"},
    {"count the transaction", "UPDATE history SET commits = commits + 1"},
    {"end the transaction", "COMMIT"},
    {"store a member", "INSERT INTO members(id, action, port) VALUES(?1, ?2, ?3) "
                       "ON CONFLICT DO UPDATE SET action = ?2, port = ?3"},
    {"delete a member", "DELETE FROM members WHERE id = ?1"},
    {"store a group", "INSERT INTO selector_groups(id, size, initial, action) "
                      "VALUES(?1, ?2, ?3, ?4) "
                      "ON CONFLICT DO UPDATE SET size = ?2, initial = ?3, action = ?4"},
    {"delete a group", "DELETE FROM selector_groups WHERE id = ?1"},
    {"store a member of a group", "INSERT INTO group_members(group_id, member_id, active) "
                                  "VALUES(?1, ?2, ?3) "
                                  "ON CONFLICT DO UPDATE SET active = ?3"},
    {"delete a member of a group",
     "DELETE FROM group_members WHERE group_id = ?1 AND member_id = ?2"},
    {"delete a group's members", "DELETE FROM group_members WHERE group_id = ?1"},
    {"store an entry", "INSERT INTO entries(is_default, value, mask, priority, member_id, "
                       "group_id) VALUES(?1, ?2, ?3, ?4, ?5, ?6) "
                       "ON CONFLICT DO UPDATE SET member_id = ?5, group_id = ?6"},
    {"delete an entry", "DELETE FROM entries WHERE is_default = ?1 AND value = ?2 AND mask = ?3 "
                        "AND priority = ?4"},
}};

constexpr MatchKey kDefaultKey{0, 0, 0};

/// Gives a file blocks behind its end, and leaves its size; what went wrong, or 0.
int reserve(const Posix::FileDescriptor& file, off_t bytes) {
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) {
        return errno;
    }
    int result = 0;
    do {
        result = ::fallocate(file.get(), FALLOC_FL_KEEP_SIZE, status.st_size, bytes);
    } while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : errno;
}

Posix::FileDescriptor openLog(const Posix::StateDirectory& directory) {
    const std::string name = std::string(kStateFile) + "-wal";
    if (auto log = directory.open(name)) {
        return std::move(log->descriptor);
    }
    storageFailed(directory.pathOf(name), "open it", "somebody has removed it");
}

} // namespace

StateDatabase::StateDatabase(std::shared_ptr<const Posix::StateDirectory> directory,
                             const ChipScope& scope)
    : directory_(std::move(directory)), connection_(openStateDatabase(*directory_, scope)) {
    statements_.reserve(kStatements.size());
    for (const auto& [what, sql] : kStatements) {
        statements_.emplace_back(connection_, what, sql);
    }
    const History now = history();
    state_ = now.state;
    commits_ = now.commits;
}

History StateDatabase::history() const {
    return historyOf(connection_);
}

DesiredState StateDatabase::read() const {
    return readDesiredState(connection_);
}

void StateDatabase::write(std::size_t statement, std::initializer_list<SqliteValue> values) {
    try {
        if (!isInTransaction()) {
            statements_[kBegin].run();
            statements_[kCount].run();
        }
        statements_[statement].run(values);
        takeRoomForCommit();
    } catch (...) {
        rollback();
        // Should the disk be full, the log gives back what it has. When that fails, it fails.
        sqlite3_wal_checkpoint_v2(connection_.get(), nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr,
                                  nullptr);
        throw;
    }
}

/// A commit that finds the disk full comes too late: the chip has the change by then. So what is
/// changed goes into the log at once, and the little that the commit adds has its blocks reserved
/// behind the log's end.
void StateDatabase::takeRoomForCommit() {
    constexpr const char* kWhat = "take room for the transaction's end";
    constexpr off_t kCommitBytes = 64 * 1024; // One page, and what aligns it to the disk's sectors.
    // It returns its error without leaving it with the connection.
    if (const int status = sqlite3_db_cacheflush(connection_.get()); status != SQLITE_OK) {
        storageFailed(path(), kWhat, sqlite3_errstr(status));
    }
    if (!log_) {
        log_ = openLog(*directory_);
    }
    // A file system that reserves nothing is no reason to refuse the change.
    if (const int error = reserve(log_, kCommitBytes); error != 0 && error != EOPNOTSUPP) {
        storageFailed(path(), kWhat, std::generic_category().message(error));
    }
}

void StateDatabase::memberIs(MemberId member, const DesiredMember& desired) {
    write(kMemberIs, {member.value(), nameOf(desired.type), desired.port});
}

void StateDatabase::memberDel(MemberId member) {
    write(kMemberDel, {member.value()});
}

void StateDatabase::groupIs(GroupId group, const DesiredGroup& desired) {
    write(kGroupIs, {group.value(), desired.size, desired.initial, nameOf(desired.type)});
    write(kGroupMemberDelAll, {group.value()});
    for (const auto& [member, active] : desired.members) {
        groupMemberIs(group, MemberId(member), active);
    }
}

void StateDatabase::groupDel(GroupId group) {
    write(kGroupDel, {group.value()});
}

void StateDatabase::groupMemberIs(GroupId group, MemberId member, bool active) {
    write(kGroupMemberIs, {group.value(), member.value(), active});
}

void StateDatabase::groupMemberDel(GroupId group, MemberId member) {
    write(kGroupMemberDel, {group.value(), member.value()});
}

void StateDatabase::entryIs(const EntryName& entry, const Target& target) {
    const auto& [value, mask, priority] = entry.value_or(kDefaultKey);
    const SqliteValue id = target.id();
    const SqliteValue none;
    write(kEntryIs, {!entry, value, mask, priority, target.member() ? id : none,
                     target.member() ? none : id});
}

void StateDatabase::entryDel(const EntryName& entry) {
    const auto& [value, mask, priority] = entry.value_or(kDefaultKey);
    write(kEntryDel, {!entry, value, mask, priority});
}

void StateDatabase::commit() {
    if (!isInTransaction()) {
        return;
    }
    try {
        statements_[kCommit].run();
    } catch (...) {
        // SQLite may leave the transaction open, to be tried again.
        rollback();
        throw;
    }
    ++commits_;
    if (follower_) {
        follower_(commits_);
    }
}

void StateDatabase::commitsAre(std::uint64_t commits) {
    connection_.execute("count the commits",
                        "UPDATE history SET commits = " + std::to_string(commits));
    commits_ = commits;
}

void StateDatabase::checkpoint() noexcept {
    sqlite3_wal_checkpoint_v2(connection_.get(), nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr,
                              nullptr);
}

void StateDatabase::checkpointWithoutWaiting() noexcept {
    sqlite3_wal_checkpoint_v2(connection_.get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr,
                              nullptr);
}

SqliteConnection StateDatabase::copyInMemory() const {
    SqliteConnection copy = connection_.copyInMemory();
    giveContentDigest(copy);
    return copy;
}

void StateDatabase::backup(const std::string& path) const {
    // Made here, so that it is a new file, and nobody else's.
    const Posix::FileDescriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file) {
        storageFailed(path, "make it", std::generic_category().message(errno));
    }
    try {
        const SqliteConnection copy(path);
        connection_.copyTo(copy);
        copy.execute("finish it", "PRAGMA journal_mode=DELETE"); // whole without a log
    } catch (...) {
        ::unlink(path.c_str());
        throw;
    }
}

void StateDatabase::rollback() noexcept {
    if (isInTransaction()) {
        // It fails only where SQLite has rolled back by itself meanwhile.
        sqlite3_exec(connection_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

} // namespace LagAgent
