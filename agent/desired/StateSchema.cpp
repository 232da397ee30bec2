#include "agent/desired/StateSchema.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <span>
#include <system_error>

#include "agent/desired/ContentDigest.h"
#include "agent/desired/MendingNote.h"
#include "agent/desired/StateReading.h"
#include "agent/desired/WalIndexRoom.h"
#include "agent/outcome/Errors.h"

namespace LagAgent {

namespace {

using Posix::FileDescriptor;
using Posix::StateDirectory;

/// What SQLite keeps beside a database.
constexpr std::array kCompanions{"-wal", "-shm", "-journal"};

// ---- The schema ----------------------------------------------------------------------------

/// Everything in the database. A database in which this text reads differently is refused, so each
/// change of it, of a blank even, is a new `kStateVersion`, and what is new in it comes last.
///
/// Actions are there by their name in the command language. A group's initial member is no
/// reference: it may have left the group, and have been deleted.
constexpr std::array kSchema{
    // What all the rest is about; pipe 65535 stands for all. One row, there from the beginning.
    "CREATE TABLE chip("
    "id INTEGER PRIMARY KEY CHECK(id = 1), "
    "device INTEGER NOT NULL CHECK(device BETWEEN 0 AND 255), "
    "pipe INTEGER NOT NULL CHECK(pipe BETWEEN 0 AND 65535)"
    ") STRICT",

    "CREATE TABLE members("
    "id INTEGER PRIMARY KEY, "
    "action TEXT NOT NULL, "
    "port INTEGER NOT NULL"
    ") STRICT",

    "CREATE TABLE selector_groups("
    "id INTEGER PRIMARY KEY, "
    "size INTEGER NOT NULL, "
    "initial INTEGER NOT NULL, "
    "action TEXT NOT NULL"
    ") STRICT",

    "CREATE TABLE group_members("
    "group_id INTEGER NOT NULL REFERENCES selector_groups(id) ON DELETE CASCADE, "
    "member_id INTEGER NOT NULL REFERENCES members(id), "
    "active INTEGER NOT NULL, "
    "PRIMARY KEY(group_id, member_id)"
    ") STRICT, WITHOUT ROWID",

    // The default entry is the one with is_default 1 and 0 for its key. Of member_id and group_id
    // one is NULL.
    "CREATE TABLE entries("
    "is_default INTEGER NOT NULL, "
    "value INTEGER NOT NULL, "
    "mask INTEGER NOT NULL, "
    "priority INTEGER NOT NULL, "
    "member_id INTEGER REFERENCES members(id), "
    "group_id INTEGER REFERENCES selector_groups(id), "
    "PRIMARY KEY(is_default, value, mask, priority)"
    ") STRICT, WITHOUT ROWID",

    // Deleting a member or a group asks who refers to it.
    "CREATE INDEX group_members_of_member ON group_members(member_id)",
    "CREATE INDEX entries_of_member ON entries(member_id)",
    "CREATE INDEX entries_of_group ON entries(group_id)",

    // Since version 2. Which desired state it is, by a number that no other one has, how many
    // transactions have changed it (the tables of records keep 48 bits of that), and the digest of
    // all rows but this one and the chip's. One row, there from the beginning.
    "CREATE TABLE history("
    "id INTEGER PRIMARY KEY CHECK(id = 1), "
    "state INTEGER NOT NULL CHECK(state > 0), "
    "commits INTEGER NOT NULL CHECK(commits BETWEEN 0 AND 281474976710655), "
    "digest INTEGER NOT NULL"
    ") STRICT",
};

/// How many of these a database of version 1 has.
constexpr std::size_t kSchemaOfVersion1 = 8;

/// All statements that make a database of a version.
std::vector<std::string> schemaOf(std::uint32_t version) {
    if (version == 1) {
        return {kSchema.begin(), kSchema.begin() + kSchemaOfVersion1};
    }
    std::vector<std::string> schema(kSchema.begin(), kSchema.end());
    for (std::string& trigger : digestTriggers()) {
        schema.push_back(std::move(trigger));
    }
    return schema;
}

/// What SQLite takes for random comes from the system.
std::string newHistory(int commits, std::int64_t digest) {
    return "INSERT INTO history VALUES(1, 1 + abs(random() % 9007199254740991), " +
           std::to_string(commits) + ", " + std::to_string(digest) + ");";
}

// ---- Making it -----------------------------------------------------------------------------

/// The bytes of a database.
struct Image {
    struct Free {
        void operator()(unsigned char* bytes) const noexcept { sqlite3_free(bytes); }
    };
    std::unique_ptr<unsigned char, Free> bytes;
    std::size_t size = 0;
};

Image imageOf(const SqliteConnection& memory, const std::string& path) {
    sqlite3_int64 size = 0;
    Image image{decltype(Image::bytes)(sqlite3_serialize(memory.get(), "main", &size, 0))};
    if (!image.bytes) {
        storageFailed(path, "make it", "out of memory");
    }
    image.size = static_cast<std::size_t>(size);
    return image;
}

Image emptyDatabase(const std::string& path, const ChipScope& scope) {
    const SqliteConnection memory("");
    std::string script = "PRAGMA application_id=" + std::to_string(kStateApplicationId) +
                         "; PRAGMA user_version=" + std::to_string(kStateVersion) + ";";
    for (const std::string& statement : schemaOf(kStateVersion)) {
        script += statement + ";";
    }
    script += "INSERT INTO chip VALUES(1, " + std::to_string(scope.device) + ", " +
              std::to_string(scope.pipe) + ");" + newHistory(0, 0);
    memory.execute("make the tables", script);
    return imageOf(memory, path);
}

void writeAll(const FileDescriptor& file, std::span<const unsigned char> bytes,
              const std::string& path) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(file.get(), bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            storageFailed(path, "write it", std::generic_category().message(errno));
        }
        bytes = bytes.subspan(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    // Its name must not reach the disk before its bytes.
    if (::fsync(file.get()) != 0) {
        storageFailed(path, "write it", std::generic_category().message(errno));
    }
}

/// Under the private name that `publish` expects.
void writeImage(const StateDirectory& directory, const std::string& path, const Image& image) {
    writeAll(directory.create(kStateFile, image.size), {image.bytes.get(), image.size}, path);
}

void makeDatabase(const StateDirectory& directory, const std::string& path, const Image& image) {
    writeImage(directory, path, image);
    directory.publish(kStateFile);
}

// ---- Checking it ---------------------------------------------------------------------------

void checkIdentity(const std::string& path, std::uint32_t application, std::uint32_t version) {
    if (application != kStateApplicationId) {
        storageRefused(path, "it is another application's database");
    }
    if (version == 0 || version > kStateVersion) {
        storageRefused(path, "it is of version " + std::to_string(version) +
                                 ", and this agent keeps version " + std::to_string(kStateVersion));
    }
}

std::uint32_t bigEndian(const unsigned char* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | std::uint32_t{bytes[3]};
}

/// Looks at the file without SQLite, which would take a log beside it for its own and go to work.
void checkHeader(const std::string& path, const FileDescriptor& file) {
    // SQLite's documented format: the text, and two numbers among others.
    constexpr char kMagic[16] = "SQLite format 3";
    constexpr std::size_t kVersionAt = 60;
    constexpr std::size_t kApplicationAt = 68;
    unsigned char header[100];
    const ssize_t size = ::pread(file.get(), header, sizeof header, 0);
    if (size < 0) {
        storageFailed(path, "read it", std::generic_category().message(errno));
    }
    if (size != sizeof header || std::memcmp(header, kMagic, sizeof kMagic) != 0) {
        storageRefused(path, "it is not a database");
    }
    checkIdentity(path, bigEndian(header + kApplicationAt), bigEndian(header + kVersionAt));
}

/// True when the file is there and an agent's; throws when it is anything else. Nothing holds it
/// open afterwards: closing it would drop the locks that SQLite has by then.
bool isDatabaseThere(const StateDirectory& directory, const std::string& path) {
    const auto file = directory.open(kStateFile);
    if (file) {
        checkHeader(path, file->descriptor);
    }
    for (const char* companion : kCompanions) {
        const std::string name = std::string(kStateFile) + companion;
        if (directory.open(name) && !file) {
            storageRefused(
                directory.pathOf(name),
                "the database that it belongs to is not there: put that back, or move this "
                "away");
        }
    }
    return file.has_value();
}

std::uint32_t pragma(const SqliteConnection& database, const std::string& name) {
    std::int64_t value = 0;
    SqliteStatement(database, "read its header", "PRAGMA " + name)
        .run({}, [&](const SqliteRow& row) { value = row.number(0); });
    return static_cast<std::uint32_t>(value);
}

void checkSchema(const SqliteConnection& database, std::uint32_t version) {
    const auto schema = schemaOf(version);
    std::set<std::string> expected(schema.begin(), schema.end());
    SqliteStatement(database, "read its schema",
                    "SELECT sql FROM sqlite_schema WHERE sql IS NOT NULL")
        .run({}, [&](const SqliteRow& row) {
            if (expected.erase(row.text(0)) == 0) {
                storageRefused(database.path(),
                               "its schema has what this agent does not know: " + row.text(0));
            }
        });
    if (!expected.empty()) {
        storageRefused(database.path(), "its schema lacks: " + *expected.begin());
    }
}

/// REQUIRES: nothing was written to it. Its version, if it is one of ours as we made it.
std::uint32_t checkedVersion(const SqliteConnection& database) {
    const std::uint32_t version = pragma(database, "user_version");
    checkIdentity(database.path(), pragma(database, "application_id"), version);
    checkSchema(database, version);
    return version;
}

/// Which chip it is of, as people read it.
std::string scopeOf(const SqliteConnection& database) {
    std::string scope = "nothing, its table chip being empty";
    SqliteStatement(database, "read which chip it is of", "SELECT device, pipe FROM chip")
        .run({}, [&](const SqliteRow& row) { scope = scopeName(row.number(0), row.number(1)); });
    return scope;
}

void checkScope(const SqliteConnection& database, const ChipScope& scope) {
    const std::string found = scopeOf(database);
    const std::string wanted = scopeName(scope.device, scope.pipe);
    if (found != wanted) {
        storageRefused(database.path(), "it is of " + found + "; this start is for " + wanted);
    }
}

// ---- Opening it ----------------------------------------------------------------------------

std::string databaseIn(const StateDirectory& directory) {
    return directory.pathOf(kStateFile);
}

/// All of the log goes to the disk at each commit.
void writeAheadIs(const SqliteConnection& database) {
    constexpr const char* kWhat = "switch to a write-ahead log";
    std::string mode;
    SqliteStatement(database, kWhat, "PRAGMA journal_mode=WAL").run({}, [&](const SqliteRow& row) {
        mode = row.text(0);
    });
    if (mode != "wal") {
        storageFailed(database.path(), kWhat, "the mode stays " + mode);
    }
    database.execute("write in full", "PRAGMA synchronous=FULL");
}

/// One transaction: an older agent finds its own version until it is done.
void convert(const SqliteConnection& database) {
    std::string script = "BEGIN IMMEDIATE;";
    const auto schema = schemaOf(kStateVersion);
    for (std::size_t at = kSchemaOfVersion1; at < schema.size(); ++at) {
        script += schema[at] + ";";
    }
    script += newHistory(1, contentDigest(database)); // somebody has used it
    script += "PRAGMA user_version=" + std::to_string(kStateVersion) + ";COMMIT";
    database.execute("convert it from version 1", script);
}

SqliteConnection openChecked(const std::string& path, const ChipScope& scope) {
    SqliteConnection database(path);
    giveWalIndexRoom(database.get());
    giveContentDigest(database);
    // Closing a refused database must not write its log into it.
    database.optionIs(SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, true);
    database.optionIs(SQLITE_DBCONFIG_DEFENSIVE, true);
    database.optionIs(SQLITE_DBCONFIG_TRUSTED_SCHEMA, false);
    database.optionIs(SQLITE_DBCONFIG_ENABLE_FKEY, true);
    // Again, since the log may hold a newer header than the file.
    const std::uint32_t version = checkedVersion(database);
    checkScope(database, scope);
    if (sqlite3_db_readonly(database.get(), "main") != 0) {
        storageRefused(path, "it can be read only");
    }
    database.optionIs(SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, false);
    writeAheadIs(database);
    if (version == 1) {
        convert(database);
    }
    return database;
}

} // namespace

bool isStateDatabaseThere(const StateDirectory& directory) {
    return isDatabaseThere(directory, databaseIn(directory));
}

std::vector<std::string> setLogAside(const StateDirectory& directory) {
    std::vector<std::string> kept;
    for (const char* companion : kCompanions) {
        const std::string name = std::string(kStateFile) + companion;
        if (!directory.identityOf(kStateFile) && directory.identityOf(name)) {
            kept.emplace_back(directory.moveDamaged(name));
        }
    }
    return kept;
}

History historyOf(const SqliteConnection& database) {
    std::optional<History> history;
    SqliteStatement(database, "read its history", "SELECT state, commits, digest FROM history")
        .run({}, [&](const SqliteRow& row) {
            history = {static_cast<std::uint64_t>(row.number(0)),
                       static_cast<std::uint64_t>(row.number(1)), row.number(2)};
        });
    if (!history) {
        storageRefused(database.path(), "its table history is empty");
    }
    return *history;
}

namespace {

/// The database that is to be replaced becomes whole without its log. One that cannot be used stays
/// as it is: that is what a copy is for. Throws where the copy is of another chip.
void settleOld(const std::string& path, const std::string& scope) {
    std::optional<SqliteConnection> old;
    std::string found;
    try {
        old.emplace(path);
        giveWalIndexRoom(old->get());
        old->optionIs(SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, true);
        checkedVersion(*old);
        found = scopeOf(*old);
    } catch (const CommandError&) {
        return;
    }
    if (found != scope) {
        storageRefused(path, "it is of " + found + "; the copy is of " + scope);
    }
    old->execute("write its log into it", "PRAGMA wal_checkpoint(TRUNCATE)");
}

/// Its log would be written into the next database of the name.
void removeOld(const StateDirectory& directory) {
    for (const char* companion : kCompanions) {
        const std::string name = directory.pathOf(std::string(kStateFile) + companion);
        if (::unlink(name.c_str()) != 0 && errno != ENOENT) {
            storageFailed(name, "remove it", std::generic_category().message(errno));
        }
    }
}

} // namespace

RestoredState
restoreStateDatabase(const StateDirectory& directory, const std::string& copy,
                     const std::function<std::uint64_t(std::uint64_t state)>& latestCommit) {
    // A pipe would be waited for.
    if (std::error_code error; !std::filesystem::is_regular_file(copy, error)) {
        storageRefused(copy, error ? error.message() : "it is no regular file");
    }
    const auto source = SqliteConnection::toRead(copy);
    const std::uint32_t version = checkedVersion(source);
    const SqliteConnection memory = source.copyInMemory();
    giveContentDigest(memory);
    if (version == 1) {
        convert(memory);
    }
    History history = historyOf(memory);
    RestoredState restored{readDesiredState(memory), history.commits};
    history.commits = restored.latest = std::max(history.commits, latestCommit(history.state));
    memory.execute("count the commits",
                   "UPDATE history SET commits = " + std::to_string(restored.latest));
    const std::string path = databaseIn(directory);
    writeImage(directory, path, imageOf(memory, path));
    settleOld(path, scopeOf(memory));
    // From here on nothing is likely to fail: the note of an earlier restore holds until then.
    noteMending(directory, history);
    setLogAside(directory);
    removeOld(directory);
    directory.publish(kStateFile);
    return restored;
}

SqliteConnection openStateDatabase(const StateDirectory& directory, const ChipScope& scope) {
    const std::string path = databaseIn(directory);
    if (!isDatabaseThere(directory, path)) {
        makeDatabase(directory, path, emptyDatabase(path, scope));
    }
    return openChecked(path, scope);
}

} // namespace LagAgent
