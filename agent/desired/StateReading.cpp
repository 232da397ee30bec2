#include "agent/desired/StateReading.h"

#include <algorithm>

#include "agent/desired/ContentDigest.h"
#include "agent/desired/StateSchema.h"
#include "agent/terms/ActionNames.h"

namespace LagAgent {

namespace {

using ActionType = BfLagGroup::LagGroupActionProfileType;

/// What a number in a row may be.
struct Range {
    const char* name;
    std::uint32_t least;
    std::uint32_t most;
};

// What the model takes. The command language may take less; a stored state is read all the same.
constexpr Range kId{"id", 0, UINT32_MAX};
constexpr Range kPort{"port", 0, UINT16_MAX};
constexpr Range kSize{"size", 1, UINT16_MAX};

/// The state, as one table after the other adds to it. The tables that others refer to come first.
class Reader {
  public:
    explicit Reader(const SqliteConnection& database) : database_(database) {}

    DesiredState read() {
        checkFile();
        rows("SELECT id, action, port FROM members", &Reader::addMember);
        rows("SELECT id, size, initial, action FROM selector_groups", &Reader::addGroup);
        rows("SELECT group_id, member_id, active FROM group_members", &Reader::addGroupMember);
        rows("SELECT is_default, value, mask, priority, member_id, group_id FROM entries",
             &Reader::addEntry);
        checkGroups();
        checkDigest();
        return std::move(state_);
    }

  private:
    void rows(const char* sql, void (Reader::*add)(const SqliteRow&)) {
        SqliteStatement(database_, "read it", sql).run({}, [&](const SqliteRow& row) {
            (this->*add)(row);
        });
    }

    [[noreturn]] void wrong(const std::string& what) const {
        storageRefused(database_.path(), what);
    }

    std::uint32_t number(const SqliteRow& row, int column, const std::string& owner,
                         const Range& range) const {
        const std::int64_t value = row.number(column);
        if (value < range.least || value > range.most) {
            wrong("the " + std::string(range.name) + " of " + owner + ", " + std::to_string(value) +
                  ", is out of range (" + std::to_string(range.least) + " to " +
                  std::to_string(range.most) + ")");
        }
        return static_cast<std::uint32_t>(value);
    }

    ActionType action(const SqliteRow& row, int column, const std::string& owner) const {
        const auto& names = actionNames();
        const auto found = std::ranges::find(names, row.text(column));
        if (found == names.end()) {
            wrong("the action of " + owner + ", '" + row.text(column) + "', is unknown");
        }
        return static_cast<ActionType>(found - names.begin());
    }

    /// "member 7", as it stands in the row, in range or not.
    static std::string named(const char* kind, const SqliteRow& row, int column) {
        return std::string(kind) + " " + std::to_string(row.number(column));
    }

    /// The pages, and that the columns hold what they are declared to.
    void checkFile() {
        SqliteStatement(database_, "check it", "PRAGMA quick_check(1)")
            .run({}, [&](const SqliteRow& row) {
                if (row.text(0) != "ok") {
                    wrong("it is damaged: " + row.text(0));
                }
            });
    }

    void checkDigest() {
        if (historyOf(database_).digest != contentDigest(database_)) {
            wrong("its content is not what was committed: it is damaged, or the file and its log "
                  "are of different times; put both back as they were at one time, or a backup "
                  "with 'lag-agent restore'");
        }
    }

    void addMember(const SqliteRow& row) {
        const std::string name = named("member", row, 0);
        const std::uint32_t id = number(row, 0, name, kId);
        const ActionType type = action(row, 1, name);
        const auto port = static_cast<std::uint16_t>(number(row, 2, name, kPort));
        state_.members.emplace(id, DesiredMember{type, port});
    }

    void addGroup(const SqliteRow& row) {
        const std::string name = named("group", row, 0);
        const std::uint32_t id = number(row, 0, name, kId);
        const std::uint32_t size = number(row, 1, name, kSize);
        const std::uint32_t initial = number(row, 2, name, {"initial member", 0, UINT32_MAX});
        state_.groups.emplace(id, DesiredGroup{size, initial, action(row, 3, name), {}});
    }

    void addGroupMember(const SqliteRow& row) {
        const std::string group = named("group", row, 0);
        const std::string name = named("member", row, 1) + " in " + group;
        const auto found = state_.groups.find(number(row, 0, group, kId));
        if (found == state_.groups.end()) {
            wrong("there is " + name + ", but no " + group);
        }
        const std::uint32_t id = number(row, 1, name, kId);
        const auto member = state_.members.find(id);
        if (member == state_.members.end()) {
            wrong("there is " + name + ", but no member " + std::to_string(id));
        }
        if (member->second.type != found->second.type) {
            wrong(name + " carries " + nameOf(member->second.type) + ", but the group takes " +
                  nameOf(found->second.type) + " only");
        }
        found->second.members.emplace(id, number(row, 2, name, {"active", 0, 1}) == 1);
    }

    EntryName entryName(const SqliteRow& row) const {
        const bool isDefault = number(row, 0, "an entry", {"is_default", 0, 1}) == 1;
        const std::string owner = isDefault ? "the default entry" : "an entry";
        const std::uint32_t most = isDefault ? 0 : UINT32_MAX;
        const MatchKey key{number(row, 1, owner, {"value", 0, most}),
                           number(row, 2, owner, {"mask", 0, most}),
                           number(row, 3, owner, {"priority", 0, most})};
        return isDefault ? EntryName() : key;
    }

    void addEntry(const SqliteRow& row) {
        const EntryName entry = entryName(row);
        const std::string name = "the " + nameOf(entry);
        if (row.isNull(4) == row.isNull(5)) {
            wrong(name + " points at " +
                  (row.isNull(4) ? "nothing" : "a member and a group at once"));
        }
        const bool isMember = row.isNull(5);
        const DesiredState::Target target(
            number(row, isMember ? 4 : 5, name, {"target", 0, UINT32_MAX}), isMember);
        if (isMember ? !state_.members.contains(target.id())
                     : !state_.groups.contains(target.id())) {
            wrong(name + " points at " + nameOf(target) + ", which is not there");
        }
        state_.entries.emplace(entry, target);
    }

    void checkGroups() const {
        for (const auto& [id, group] : state_.groups) {
            if (group.members.empty()) {
                wrong("group " + std::to_string(id) + " has no members");
            }
            if (group.members.size() > group.size) {
                wrong("group " + std::to_string(id) + " has " +
                      std::to_string(group.members.size()) + " members, and is for " +
                      std::to_string(group.size));
            }
        }
    }

    const SqliteConnection& database_;
    DesiredState state_;
};

} // namespace

DesiredState readDesiredState(const SqliteConnection& database) {
    return Reader(database).read();
}

} // namespace LagAgent
