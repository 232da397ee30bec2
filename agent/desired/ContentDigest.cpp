#include "agent/desired/ContentDigest.h"

#include <array>
#include <span>

namespace LagAgent {

namespace {

struct DigestedTable {
    std::string name;
    std::vector<std::string> columns;
};

const std::array<DigestedTable, 4>& digestedTables() {
    static const std::array<DigestedTable, 4> tables{{
        {"members", {"id", "action", "port"}},
        {"selector_groups", {"id", "size", "initial", "action"}},
        {"group_members", {"group_id", "member_id", "active"}},
        {"entries", {"is_default", "value", "mask", "priority", "member_id", "group_id"}},
    }};
    return tables;
}

/// 64-bit FNV-1a of a row's values, each with its kind.
class RowDigest {
  public:
    void add(std::monostate) { add(std::string_view("n")); }
    void add(std::int64_t number) {
        byte('i');
        for (int shift = 0; shift < 64; shift += 8) {
            byte(static_cast<unsigned char>(static_cast<std::uint64_t>(number) >> shift));
        }
    }
    void add(std::string_view text) {
        byte('t');
        for (const char c : text) {
            byte(static_cast<unsigned char>(c));
        }
        byte(0);
    }
    std::uint64_t value() const noexcept { return value_; }

  private:
    void byte(unsigned char byte) noexcept { value_ = (value_ ^ byte) * 0x100000001b3; }

    std::uint64_t value_ = 0xcbf29ce484222325;
};

/// content_digest(digest, table, value...): the digest with the row in it, if it was not, and
/// without it if it was.
void toggleRow(sqlite3_context* context, int count, sqlite3_value** values) {
    RowDigest row;
    for (sqlite3_value* value : std::span(values + 1, values + count)) {
        switch (sqlite3_value_type(value)) {
        case SQLITE_INTEGER:
            row.add(std::int64_t{sqlite3_value_int64(value)});
            break;
        case SQLITE_NULL:
            row.add(std::monostate());
            break;
        default: {
            const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
            row.add(std::string_view(text ? text : "",
                                     static_cast<std::size_t>(sqlite3_value_bytes(value))));
        }
        }
    }
    const auto digest = static_cast<std::uint64_t>(sqlite3_value_int64(values[0])) ^ row.value();
    sqlite3_result_int64(context, static_cast<sqlite3_int64>(digest));
}

/// "content_digest(DIGEST, 'members', OLD.id, OLD.action, OLD.port)".
std::string toggled(const std::string& digest, const DigestedTable& table, const char* row) {
    std::string call = "content_digest(" + digest + ", '" + table.name + "'";
    for (const std::string& column : table.columns) {
        call += std::string(", ") + row + column;
    }
    return call + ")";
}

} // namespace

void giveContentDigest(const SqliteConnection& database) {
    if (sqlite3_create_function_v2(database.get(), "content_digest", -1,
                                   SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS, nullptr,
                                   toggleRow, nullptr, nullptr, nullptr) != SQLITE_OK) {
        database.fail("prepare the digest of its content");
    }
}

std::vector<std::string> digestTriggers() {
    std::vector<std::string> triggers;
    for (const DigestedTable& table : digestedTables()) {
        const auto add = [&](const std::string& event, const std::string& digest) {
            triggers.push_back("CREATE TRIGGER " + table.name + "_" + event + " AFTER " + event +
                               " ON " + table.name +
                               " BEGIN UPDATE history SET digest = " + digest + "; END");
        };
        const std::string without = toggled("digest", table, "OLD.");
        add("INSERT", toggled("digest", table, "NEW."));
        add("UPDATE", toggled(without, table, "NEW."));
        add("DELETE", without);
    }
    return triggers;
}

std::int64_t contentDigest(const SqliteConnection& database) {
    std::int64_t digest = 0;
    for (const DigestedTable& table : digestedTables()) {
        SqliteStatement(database, "read it",
                        "SELECT " + toggled("0", table, "") + " FROM " + table.name)
            .run({}, [&](const SqliteRow& row) { digest ^= row.number(0); });
    }
    return digest;
}

} // namespace LagAgent
