#include "agent/command/Show.h"

#include <algorithm>
#include <memory>
#include <span>
#include <variant>
#include <vector>

#include "agent/chip/EntryReadBack.h"
#include "agent/command/ChipMoment.h"
#include "agent/command/View.h"
#include "agent/outcome/Errors.h"

namespace LagAgent {

using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;

namespace {

// What is shown is what there is when the command runs. So a section copies the plain values, in
// one pass that has to be quick; what is to be read is made of them row by row, when it is sent.

using Target = Configuration::Target;

/// Ids that belong to a row: a part of all ids that were copied.
struct IdRange {
    std::size_t begin;
    std::size_t end;
};

template <class Row>
struct Copied {
    std::vector<Row> rows{};
    Ids ids{};

    Ids idsIn(IdRange range) const {
        const auto part = std::span(ids).subspan(range.begin, range.end - range.begin);
        return {part.begin(), part.end()};
    }
};

/// A table of copied rows; `cells(copied, row)` makes the cells of one.
template <class Row, class CellsOf>
Listing listingOf(std::vector<std::string> columns, Copied<Row> copied, CellsOf cells) {
    const auto shared = std::make_shared<const Copied<Row>>(std::move(copied));
    return {std::move(columns), shared->rows.size(),
            [shared, cells](std::size_t row) { return cells(*shared, shared->rows[row]); }};
}

/// The elements of a collection by rising id, `idOf(element)`. They were mostly made in that order,
/// and lie in memory as they were made, so they are best visited in it too.
template <class Element, class Collection, class IdOf>
std::vector<std::pair<std::uint32_t, const Element*>> byId(const Collection& collection,
                                                           IdOf idOf) {
    std::vector<std::pair<std::uint32_t, const Element*>> elements;
    elements.reserve(collection.size());
    for (const auto& element : collection) {
        elements.emplace_back(idOf(*element).value(), &*element);
    }
    std::ranges::sort(elements);
    return elements;
}

Cell handleOrNone(std::uint32_t handle) {
    return handle == 0 ? Cell() : Cell(handle);
}

// ---- Members and groups --------------------------------------------------------------------

struct MemberRow {
    std::uint32_t id;
    std::uint32_t handle;
    IdRange groups;
    Configuration::ActionType action;
    std::uint16_t port;
    bool isAbandoned;
};

Copied<MemberRow> copyMembers(const View& view) {
    using Entry = BfLagGroup::LagGroupActionProfileEntry;
    Copied<MemberRow> all;
    const auto& entries = view.driver.profile().entry();
    all.rows.reserve(entries.size());
    const auto& memberships = view.configuration.memberships();
    all.ids.reserve(memberships.size());
    auto membership = memberships.begin();
    for (const auto& [id, entry] :
         byId<Entry>(entries, [](const Entry& e) { return e.memberId(); })) {
        const std::size_t begin = all.ids.size();
        for (; membership != memberships.end() && membership->first <= id; ++membership) {
            all.ids.push_back(membership->second);
        }
        const auto& action = *entry->action();
        all.rows.push_back({.id = id,
                            .handle = view.driver.handles().member(RuxMemberId(id)).value(),
                            .groups = {begin, all.ids.size()},
                            .action = action.actionType(),
                            .port = action.egrL2AintfPort(),
                            .isAbandoned = view.configuration.isAbandoned(RuxMemberId(id))});
    }
    return all;
}

void showMembers(const View& view, Reply& reply) {
    reply.add("members", listingOf({"id", "action", "port", "handle", "groups", "abandoned"},
                                   copyMembers(view), [](const auto& all, const MemberRow& row) {
                                       return Cells{row.id,
                                                    nameOf(row.action),
                                                    row.port,
                                                    handleOrNone(row.handle),
                                                    all.idsIn(row.groups),
                                                    row.isAbandoned};
                                   }));
}

struct GroupRow {
    std::uint32_t id;
    std::uint32_t size;
    std::uint32_t initial;
    std::uint32_t handle;
    IdRange active;
    IdRange inactive;
    Configuration::ActionType action;
    bool isAbandoned;
};

/// Copies who is in the group, by rising id.
void copyMembersOf(const BfLagGroup::LagGroupGroup& group, GroupRow& row, Ids& ids) {
    const auto sorted = [&](std::size_t begin) {
        std::ranges::sort(std::span(ids).subspan(begin));
        return IdRange{begin, ids.size()};
    };
    const std::size_t begin = ids.size();
    Ids inactive;
    for (const auto& member : group.member()) {
        (member->active() ? ids : inactive).push_back(member->memberId().value());
    }
    row.active = sorted(begin);
    ids.insert(ids.end(), inactive.begin(), inactive.end());
    row.inactive = sorted(row.active.end);
}

Copied<GroupRow> copyGroups(const View& view) {
    using Group = BfLagGroup::LagGroupGroup;
    Copied<GroupRow> all;
    const auto& groups = view.driver.profile().group();
    all.rows.reserve(groups.size());
    for (const auto& [id, group] :
         byId<Group>(groups, [](const Group& g) { return g.groupId(); })) {
        auto& row = all.rows.emplace_back(
            GroupRow{.id = id,
                     .size = group->groupSize(),
                     .initial = group->initialMemberId(),
                     .handle = view.driver.handles().group(RuxGroupId(id)).value(),
                     .active = {},
                     .inactive = {},
                     .action = group->actionType(),
                     .isAbandoned = view.configuration.isAbandoned(RuxGroupId(id))});
        copyMembersOf(*group, row, all.ids);
    }
    return all;
}

void showGroups(const View& view, Reply& reply) {
    reply.add("groups", listingOf({"id", "size", "initial", "action", "handle", "active",
                                   "inactive", "abandoned"},
                                  copyGroups(view), [](const auto& all, const GroupRow& row) {
                                      return Cells{row.id,
                                                   row.size,
                                                   row.initial,
                                                   nameOf(row.action),
                                                   handleOrNone(row.handle),
                                                   all.idsIn(row.active),
                                                   all.idsIn(row.inactive),
                                                   row.isAbandoned};
                                  }));
}

// ---- Entries -------------------------------------------------------------------------------

struct EntryRow {
    EntryName name;
    std::uint32_t handle;
    Target target;
    std::optional<Target> readBack;
};

Copied<EntryRow> copyEntries(const View& view) {
    Copied<EntryRow> all;
    EntryReadBack readBack(view.driver);
    all.rows.reserve(view.configuration.entries().size());
    for (const auto& [name, installed] : view.configuration.entries()) {
        const auto handle = view.driver.handles().entry(installed.match).value();
        all.rows.push_back(
            {name, handle, installed.target, readBack.targetOf(handle, installed.target)});
    }
    return all;
}

template <class Value>
Cell fieldOf(const EntryName& entry, std::uint32_t MatchKey::*field) {
    return entry ? Cell(Value{(*entry).*field}) : Cell();
}

void showEntries(const View& view, Reply& reply) {
    reply.add("entries",
              listingOf({"default", "value", "mask", "priority", "target", "handle", "read back"},
                        copyEntries(view), [](const auto&, const EntryRow& row) {
                            return Cells{!row.name,
                                         fieldOf<Hex>(row.name, &MatchKey::value),
                                         fieldOf<Hex>(row.name, &MatchKey::mask),
                                         fieldOf<std::uint64_t>(row.name, &MatchKey::priority),
                                         nameOf(row.target),
                                         handleOrNone(row.handle),
                                         row.readBack ? Cell(nameOf(*row.readBack)) : Cell()};
                        }));
}

// ---- Handles and status --------------------------------------------------------------------

struct HandleRow {
    /// A member's or a group's id, or an entry's name.
    std::variant<RuxMemberId, RuxGroupId, EntryName> object;
    std::uint32_t handle;
};

/// By rising id.
template <class Map>
void copyHandles(const Map& map, std::vector<HandleRow>& rows) {
    using Id = typename Map::Key;
    const auto begin = static_cast<std::ptrdiff_t>(rows.size());
    for (const auto& node : map) {
        rows.push_back({node.key(), node.value().value()});
    }
    std::ranges::sort(rows.begin() + begin, rows.end(), {},
                      [](const HandleRow& row) { return std::get<Id>(row.object).value(); });
}

void showHandles(const View& view, Reply& reply) {
    const auto& handles = view.driver.handles();
    Copied<HandleRow> all;
    copyHandles(handles.member(), all.rows);
    copyHandles(handles.group(), all.rows);
    for (const auto& [entry, installed] : view.configuration.entries()) {
        all.rows.push_back({entry, handles.entry(installed.match).value()});
    }
    reply.add(
        "handles",
        listingOf({"object", "handle"}, std::move(all), [](const auto&, const HandleRow& row) {
            const auto name = [](const auto& object) { return nameOf(object); };
            return Cells{std::visit(name, row.object), row.handle};
        }));
}

template <class Records>
std::uint64_t attempts(const Records& records) {
    std::uint64_t sum = 0;
    for (const auto& [object, count] : records) {
        sum += count;
    }
    return sum;
}

void showStatus(const View& view, Reply& reply) {
    auto& status = view.driver.status();
    Listing listing({"objects", "known", "attempts"});
    listing.add({"entries", status.entries().size(), attempts(status.entries())});
    listing.add({"members", status.members().size(), attempts(status.members())});
    listing.add({"groups", status.groups().size(), attempts(status.groups())});
    reply.add("status", listing);
}

class ShowAsic final : public Work {
  public:
    explicit ShowAsic(const View& view) : chip_(view.chip, view.configuration) {}

    bool goOn(Reply& reply) override {
        const bool isAll = chip_.goOn();
        if (isAll) {
            show(chip_.take(), reply);
        }
        return isAll;
    }

  private:
    ChipMoment chip_;
};

void showAsic(const View& view, Reply& reply) {
    reply.workIs(std::make_shared<ShowAsic>(view));
}

void showCalls(const View& view, Reply& reply) {
    if (!view.asic.isPresent()) {
        throw CommandError(ErrorKind::unsupported, "the PD library keeps no log of its calls");
    }
    const auto calls =
        std::make_shared<const std::vector<PdCallRecord>>(view.asic.calls(0, view.asic.nextCall()));
    Listing listing({"sequence", "operation", "status", "call"}, calls->size(),
                    [calls](std::size_t i) {
                        const PdCallRecord& call = (*calls)[i];
                        return Cells{call.sequence, call.operation, call.status, call.text};
                    });
    listing.linesAre({0, 3});
    reply.add("calls", std::move(listing));
}

void showStart(const View& view, Reply& reply) {
    if (!view.start) {
        throw CommandError(ErrorKind::unsupported, kKeepsNothing);
    }
    view.start->show(reply);
}

struct Section {
    std::string_view name;
    void (*show)(const View& view, Reply& reply);
};

constexpr Section kSections[]{
    {"members", showMembers}, {"groups", showGroups}, {"entries", showEntries},
    {"handles", showHandles}, {"status", showStatus}, {"asic", showAsic},
    {"calls", showCalls},     {"start", showStart},
};

} // namespace

void show(const View& view, std::string_view section, Reply& reply) {
    std::ranges::find(kSections, section, &Section::name)->show(view, reply);
}

} // namespace LagAgent
