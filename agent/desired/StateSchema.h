#pragma once

#include <functional>
#include <string>
#include <vector>

#include "agent/desired/Sqlite.h"
#include "agent/terms/ChipScope.h"
#include "agent/terms/DesiredState.h"
#include "posix/StateDirectory.h"

namespace LagAgent {

/// The file's name in the state directory. SQLite keeps "desired.db-wal" and "desired.db-shm"
/// beside it while it is open, and for as long as nobody has opened it after a crash.
inline constexpr const char* kStateFile = "desired.db";

/// What the file's header carries: whose it is ("LAGd"), and the version of the schema.
inline constexpr std::uint32_t kStateApplicationId = 0x4C414764;
inline constexpr std::uint32_t kStateVersion = 2;

/// Whether there is a database to open. Looks without changing anything, and throws as
/// `openStateDatabase` does where it sees already that the file must not be used. REQUIRES: this
/// process does not have it open.
bool isStateDatabaseThere(const Posix::StateDirectory& directory);

/// Moves what SQLite has left beside a database that is gone out of the way; the names under which
/// it is kept. Does nothing where there is a database.
std::vector<std::string> setLogAside(const Posix::StateDirectory& directory);

/**
 * Opens the database of the desired state; makes an empty one of this scope when there is none,
 * which is there whole or not at all, and converts one of an older version. What comes back is on
 * disk when a transaction has ended (write-ahead log, synchronous=FULL), and keeps the references
 * between tables.
 *
 * Throws `Posix::StateException` or `CommandError` (storage) and changes nothing in a file that is
 * not an agent's of this version: a link, one of another user or with another mode than 0600 (the
 * log and its index likewise), no database, another application's, a newer version's, one with
 * another schema, one of another scope.
 */
SqliteConnection openStateDatabase(const Posix::StateDirectory& directory, const ChipScope& scope);

/// The row that tells a content of a database from all others.
struct History {
    /// The number of the desired state, and of its latest commit.
    std::uint64_t state = 0;
    std::uint64_t commits = 0;
    /// Of all rows, as the triggers keep it (see `ContentDigest`).
    std::int64_t digest = 0;
};

/// Throws `CommandError` (storage) when it is not there.
History historyOf(const SqliteConnection& database);

/// A database that came back.
struct RestoredState {
    DesiredState state{};
    /// The copy's own latest commit, and the latest that is known of: as that it counts.
    std::uint64_t commit = 0;
    std::uint64_t latest = 0;
};

/**
 * Lets a copy of a desired state, from `StateDatabase::backup`, take the place of the database.
 * `latestCommit(state)` tells what is known of that desired state: the restored one counts as that
 * commit, so that records are believed, and what they have beyond it is removed by the next start,
 * which finds a note that it may (see `MendingNote`). Throws as `openStateDatabase`, with the
 * database that was there in its place, when the copy is no whole desired state of this version or
 * an older one, or of another chip.
 */
RestoredState
restoreStateDatabase(const Posix::StateDirectory& directory, const std::string& copy,
                     const std::function<std::uint64_t(std::uint64_t state)>& latestCommit);

} // namespace LagAgent
