#pragma once

#include <sqlite3.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/desired/ContentDigest.h"
#include "agent/desired/StateDatabase.h"
#include "agent/outcome/Errors.h"
#include "agent/terms/CurrentError.h"
#include "tests/agent/Actions.h"
#include "tests/mapped-tables/TableFiles.h"

namespace LagAgent {

/// The one that a database is of where the test is not about it.
inline constexpr ChipScope kScope{};

/// The message of the storage error that a call throws; empty when it throws none.
template <class Call>
std::string storageErrorOf(Call call) {
    try {
        call();
    } catch (...) {
        const Error error = currentError();
        EXPECT_EQ(ErrorKind::storage, error.kind);
        return error.message;
    }
    return {};
}

/// Runs SQL as a person would, behind the agent's back.
inline void byHand(sqlite3* connection, const std::string& sql) {
    char* message = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, &message))
        << sql << ": " << message;
    sqlite3_free(message);
}
/// Its digest follows.
inline void byHand(const std::filesystem::path& file, const std::string& sql) {
    const SqliteConnection connection(file);
    giveContentDigest(connection);
    byHand(connection.get(), sql);
}

/// While it lives, knows the connection that was opened last in this process.
class LatestConnection {
  public:
    LatestConnection() { sqlite3_auto_extension(reinterpret_cast<void (*)()>(&remember)); }
    ~LatestConnection() { sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(&remember)); }
    LatestConnection(const LatestConnection&) = delete;
    LatestConnection& operator=(const LatestConnection&) = delete;

    sqlite3* get() const { return latest_; }

  private:
    static int remember(sqlite3* connection, const char**, const sqlite3_api_routines*) {
        latest_ = connection;
        return SQLITE_OK;
    }
    static inline sqlite3* latest_ = nullptr;
};

/// From now on the connection's transactions fail at their end.
inline void refuseCommits(sqlite3* connection) {
    sqlite3_commit_hook(
        connection, [](void*) { return 1; }, nullptr);
}

/// One of everything: members 1, 2 and the last id, group 10 of members 1 and 2, an entry for the
/// group, the default entry for the last member.
inline DesiredState someState() {
    return {.members = {{1, {kSetLagPort, 11}},
                        {2, {kSetLagPort, 0xFFFF}},
                        {0xFFFFFFFF, {kSetTunnelInfo, 0}}},
            .groups = {{10, {8, 1, kSetLagPort, {{1, true}, {2, false}}}}},
            .entries = {{MatchKey{0xFFFFFFFF, 0xFF, 7}, {10, false}},
                        {EntryName(), {0xFFFFFFFF, true}}}};
}

inline void write(StateDatabase& database, const DesiredState& state) {
    for (const auto& [id, member] : state.members) {
        database.memberIs(RuxTable::RuxMemberId(id), member);
    }
    for (const auto& [id, group] : state.groups) {
        database.groupIs(RuxTable::RuxGroupId(id), group);
    }
    for (const auto& [entry, target] : state.entries) {
        database.entryIs(entry, target);
    }
}

} // namespace LagAgent
