#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

namespace LagAgent {

/// Fails as storage does: throws `CommandError` (storage) that names the file, what could not be
/// done with it, and why.
[[noreturn]] void storageFailed(const std::string& path, const std::string& what,
                                const std::string& reason);
/// The same for a file that is there, and is not what it must be: "PATH: refused: REASON".
[[noreturn]] void storageRefused(const std::string& path, const std::string& reason);

/**
 * Owns a connection to an SQLite database. Every failure is `CommandError` (storage) with SQLite's
 * message. One thread at a time; statements go before their connection.
 */
class SqliteConnection {
  public:
    /// Opens a database that is there, for reading and writing; a file that is a link is refused,
    /// folders may be. An empty path stands for a database in memory.
    explicit SqliteConnection(const std::string& path) : SqliteConnection(path, false) {}
    /// The same for reading alone.
    static SqliteConnection toRead(const std::string& path) { return {path, true}; }

    sqlite3* get() const noexcept { return connection_.get(); }
    const std::string& path() const noexcept { return path_; }
    bool isInTransaction() const noexcept { return sqlite3_get_autocommit(get()) == 0; }

    /// Switches one of SQLite's options of a connection (SQLITE_DBCONFIG_...).
    void optionIs(int option, bool isOn) const;
    /// Runs statements that have neither parameters nor rows of interest.
    void execute(const char* what, const std::string& sql) const;
    /// Throws what SQLite has to say about its latest failure.
    [[noreturn]] void fail(const std::string& what) const;

    /// Makes `to`, whatever it has, a copy of this database as it is now, with SQLite's own online
    /// backup.
    void copyTo(const SqliteConnection& to) const;
    /// A copy in memory, which may be used in another thread. It bears this database's path, for
    /// messages.
    SqliteConnection copyInMemory() const;

  private:
    SqliteConnection(const std::string& path, bool isToRead);

    struct Close {
        void operator()(sqlite3* connection) const noexcept { sqlite3_close(connection); }
    };
    std::string path_;
    std::unique_ptr<sqlite3, Close> connection_;
};

/// A value in a row, or for a parameter: NULL, a number or a text.
using SqliteValue = std::variant<std::monostate, std::int64_t, std::string_view>;

/// The row that a statement has come to. Its texts live until the visitor returns.
class SqliteRow {
  public:
    explicit SqliteRow(sqlite3_stmt* statement) : statement_(statement) {}

    bool isNull(int column) const;
    std::int64_t number(int column) const { return sqlite3_column_int64(statement_, column); }
    std::string text(int column) const;

  private:
    sqlite3_stmt* statement_;
};

/// Owns a prepared statement, which can be run again and again.
class SqliteStatement {
  public:
    /// `what` is what it does, for messages: "store a member". The connection must outlive it, at
    /// the place where it is.
    SqliteStatement(const SqliteConnection& connection, const char* what, const std::string& sql);

    using Visitor = std::function<void(const SqliteRow&)>;
    /// Runs it to its end with these values for its parameters, and shows each row.
    /// REQUIRES: as many values as parameters.
    void run(std::initializer_list<SqliteValue> values = {}, const Visitor& visit = {}) const;

  private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
    };
    void bind(int parameter, const SqliteValue& value) const;

    const SqliteConnection& connection_;
    const char* what_;
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

} // namespace LagAgent
