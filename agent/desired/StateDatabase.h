#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "agent/desired/StateSchema.h"

namespace LagAgent {

/**
 * The desired state on disk: what the agent was asked for and did, in the SQLite database
 * "desired.db" of its state directory. It survives the process, however that ends, and the machine.
 *
 * The first write opens a transaction; it and those that follow are on disk when `commit` has
 * returned, all or none, and are forgotten by `rollback`, by a write or `commit` that fails, and by
 * the process's end. `read` sees them already.
 *
 * Keeps the directory, and with it the lock that makes this process its only agent. All failures
 * are `CommandError` (storage): the path, what was being done, and why not. A write takes the room
 * on the disk that the commit needs, so that a full disk is the write's failure. One thread at a
 * time; no use in a child of the process.
 */
class StateDatabase {
  public:
    using MemberId = RuxTable::RuxMemberId;
    using GroupId = RuxTable::RuxGroupId;
    using Target = DesiredState::Target;

    /// Opens the database, or makes an empty one; a file that is not an agent's of this version, or
    /// of another scope, is refused as it is (see `openStateDatabase`). REQUIRES: a directory.
    StateDatabase(std::shared_ptr<const Pello::StateDirectory> directory, const ChipScope& scope);
    StateDatabase(const StateDatabase&) = delete;
    StateDatabase& operator=(const StateDatabase&) = delete;

    const std::string& path() const noexcept { return connection_.path(); }

    /// The whole state; a database that cannot be right is refused, saying what is wrong.
    DesiredState read() const;

    // Each puts in what is not there and replaces what is. What refers to something else needs it
    // there, and nothing that is referred to goes: memberships of their member and group, entries
    // of their target.

    void memberIs(MemberId member, const DesiredMember& desired);
    /// The group with these members, and no others.
    void groupIs(GroupId group, const DesiredGroup& desired);
    void groupMemberIs(GroupId group, MemberId member, bool active);
    void entryIs(const EntryName& entry, const Target& target);

    // Deleting what is not there is no failure, but the desired result.

    void memberDel(MemberId member);
    /// With its memberships.
    void groupDel(GroupId group);
    void groupMemberDel(GroupId group, MemberId member);
    void entryDel(const EntryName& entry);

    /// Ends the transaction, if there is one: it is on disk. When it throws, the state is as before
    /// the transaction.
    void commit();
    /// Forgets the transaction, if there is one.
    void rollback() noexcept;
    /// Called at the end of each transaction with its number, once it is on disk.
    void onCommit(std::function<void(std::uint64_t commit)> follower) {
        follower_ = std::move(follower);
    }

    /// The number that tells this desired state from all others.
    std::uint64_t state() const noexcept { return state_; }
    /// How many transactions it has had.
    std::uint64_t commits() const noexcept { return commits_; }

    /// All of that, and the digest of the content.
    History history() const;

    /// Counts as this commit from now on, so that a later file which was given up for this one is
    /// older than what is acknowledged from here on.
    void commitsAre(std::uint64_t commits);

    /// Writes the log into the database, so that the file alone is whole. A failure leaves it for
    /// the next time.
    void checkpoint() noexcept;
    /// The same without waiting for another program that reads the database.
    void checkpointWithoutWaiting() noexcept;
    /// What `readDesiredState` can read, in another thread too.
    SqliteConnection copyInMemory() const;
    /// Writes a copy of the database as it is now, with mode 0600, to a new file. Throws where
    /// there is a file already.
    void backup(const std::string& path) const;

    bool isInTransaction() const noexcept { return connection_.isInTransaction(); }

  private:
    void write(std::size_t statement, std::initializer_list<SqliteValue> values);
    void takeRoomForCommit();

    std::shared_ptr<const Pello::StateDirectory> directory_;
    SqliteConnection connection_;
    /// SQLite's write-ahead log, from the first write on; SQLite has no locks on it to lose.
    Pello::FileDescriptor log_;
    std::vector<SqliteStatement> statements_;
    std::uint64_t state_ = 0;
    std::uint64_t commits_ = 0;
    std::function<void(std::uint64_t)> follower_{};
};

} // namespace LagAgent
