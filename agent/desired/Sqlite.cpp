#include "agent/desired/Sqlite.h"

#include <filesystem>
#include <system_error>

#include "agent/outcome/Errors.h"

namespace LagAgent {

namespace {

/// How long another program, a person's perhaps, may keep the agent from writing.
constexpr int kBusyMilliseconds = 2000;

/// The file itself must be no link. SQLite follows none at all, so those on the way to it are
/// followed here.
std::string toOpen(const std::string& path) {
    if (path.empty()) {
        return ":memory:";
    }
    std::error_code error;
    const std::filesystem::path file = std::filesystem::absolute(path);
    const auto folder = std::filesystem::canonical(file.parent_path(), error);
    if (error) {
        storageFailed(path, "open it", error.message());
    }
    return folder / file.filename();
}

/// Makes a statement ready to be run again, whatever has come of this run.
class Reset {
  public:
    explicit Reset(sqlite3_stmt* statement) : statement_(statement) {}
    ~Reset() {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    }
    Reset(const Reset&) = delete;
    Reset& operator=(const Reset&) = delete;

  private:
    sqlite3_stmt* statement_;
};

} // namespace

void storageFailed(const std::string& path, const std::string& what, const std::string& reason) {
    throw CommandError(ErrorKind::storage, path + ": cannot " + what + ": " + reason);
}

void storageRefused(const std::string& path, const std::string& reason) {
    throw CommandError(ErrorKind::storage, path + ": refused: " + reason);
}

SqliteConnection::SqliteConnection(const std::string& path, bool isToRead)
    : path_(path.empty() ? ":memory:" : path) {
    sqlite3* opened = nullptr;
    const int mode = isToRead ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    const int status = sqlite3_open_v2(toOpen(path).c_str(), &opened,
                                       mode | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_NOMUTEX, nullptr);
    // There is a connection to close, and to ask for the message, even when opening has failed.
    connection_.reset(opened);
    if (status != SQLITE_OK) {
        fail("open it");
    }
    sqlite3_extended_result_codes(opened, 1);
    sqlite3_busy_timeout(opened, kBusyMilliseconds);
}

void SqliteConnection::optionIs(int option, bool isOn) const {
    if (sqlite3_db_config(get(), option, isOn ? 1 : 0, nullptr) != SQLITE_OK) {
        fail("set an option of the connection");
    }
}

void SqliteConnection::execute(const char* what, const std::string& sql) const {
    if (sqlite3_exec(get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail(what);
    }
}

void SqliteConnection::fail(const std::string& what) const {
    std::string reason = sqlite3_errmsg(get());
    const int kind = sqlite3_errcode(get()) & 0xFF;
    const int error = get() ? sqlite3_system_errno(get()) : 0;
    if (error != 0 && (kind == SQLITE_IOERR || kind == SQLITE_CANTOPEN)) {
        reason += " (" + std::generic_category().message(error) + ")";
    }
    if (kind == SQLITE_BUSY) {
        reason += " by another program";
    }
    storageFailed(path_, what, reason);
}

void SqliteConnection::copyTo(const SqliteConnection& to) const {
    sqlite3_backup* const backup = sqlite3_backup_init(to.get(), "main", get(), "main");
    if (backup) {
        sqlite3_backup_step(backup, -1);
    }
    // Returns what the step failed with, if it did, and leaves it as the error of `to`.
    if (!backup || sqlite3_backup_finish(backup) != SQLITE_OK) {
        to.fail("copy " + path_ + " there");
    }
}

SqliteConnection SqliteConnection::copyInMemory() const {
    SqliteConnection copy("");
    copyTo(copy);
    copy.path_ = path_;
    return copy;
}

bool SqliteRow::isNull(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::string SqliteRow::text(int column) const {
    // First the text, then its size: the first may convert what the second counts.
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
    return text ? std::string(text, size) : std::string();
}

SqliteStatement::SqliteStatement(const SqliteConnection& connection, const char* what,
                                 const std::string& sql)
    : connection_(connection), what_(what) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v3(connection.get(), sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &prepared,
                           nullptr) != SQLITE_OK) {
        connection.fail(what);
    }
    statement_.reset(prepared);
}

void SqliteStatement::run(std::initializer_list<SqliteValue> values, const Visitor& visit) const {
    const Reset reset(statement_.get());
    int parameter = 0;
    for (const auto& value : values) {
        bind(++parameter, value);
    }
    int status = SQLITE_ROW;
    while ((status = sqlite3_step(statement_.get())) == SQLITE_ROW) {
        if (visit) {
            visit(SqliteRow(statement_.get()));
        }
    }
    if (status != SQLITE_DONE) {
        connection_.fail(what_);
    }
}

void SqliteStatement::bind(int parameter, const SqliteValue& value) const {
    int status = SQLITE_OK; // A parameter without a value is NULL.
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        status = sqlite3_bind_int64(statement_.get(), parameter, *number);
    } else if (const auto* text = std::get_if<std::string_view>(&value)) {
        status = sqlite3_bind_text64(statement_.get(), parameter, text->data(), text->size(),
                                     SQLITE_TRANSIENT, SQLITE_UTF8);
    }
    if (status != SQLITE_OK) {
        connection_.fail(what_);
    }
}

} // namespace LagAgent
