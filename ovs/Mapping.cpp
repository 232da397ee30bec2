#include "ovs/Mapping.h"

#include <algorithm>
#include <variant>

namespace ovs {

namespace {

constexpr std::uint16_t kLastPort = 0xFEFF;
constexpr unsigned kActionShift = 16;
constexpr unsigned kUnmaskedShift = 32;

std::vector<openflow::Action> actionsOf(std::uint8_t table, const Action& action) {
    switch (action.id) {
    case P4_PD_ACTION_setLagPort:
        if (isPort(action.port)) {
            return {openflow::Output{action.port}};
        }
        return {};
    case P4_PD_ACTION_invalidateUcastEgressPort:
        return {};
    default:
        return {openflow::ToTable{static_cast<std::uint8_t>(table + 1)}};
    }
}

std::optional<Action> actionOf(std::uint8_t table, const openflow::Group& group) {
    if (group.type != openflow::GroupType::indirect || group.buckets.size() != 1) {
        return std::nullopt;
    }
    const std::uint32_t word = group.buckets.front().id;
    const Action action{word >> kActionShift, static_cast<std::uint16_t>(word)};
    const bool isOurs =
        action.id <= P4_PD_ACTION_setTunnelInfo && toGroup(table, group.id, action) == group;
    return isOurs ? std::optional(action) : std::nullopt;
}

std::optional<Group> groupOf(const openflow::Group& group,
                             const std::map<Handle, Member>& members) {
    if (group.type != openflow::GroupType::select || !group.hashBasis ||
        *group.hashBasis > UINT16_MAX) {
        return std::nullopt;
    }
    Group record{.maxSize = static_cast<std::uint16_t>(*group.hashBasis)};
    for (const openflow::Bucket& bucket : group.buckets) {
        if (members.contains(bucket.id)) {
            record.members.emplace(bucket.id, !bucket.watchGroup);
        }
    }
    return record;
}

std::optional<Target> targetOf(const openflow::Flow& flow, const Tables& tables) {
    const auto* const to =
        flow.actions.size() == 1 ? std::get_if<openflow::ToGroup>(&flow.actions[0]) : nullptr;
    if (!to) {
        return std::nullopt;
    }
    for (const bool isGroup : {false, true}) {
        if (const Target target{to->group, isGroup}; tables.has(target)) {
            return target;
        }
    }
    return std::nullopt;
}

void addEntry(const openflow::Flow& flow, Tables& tables) {
    const auto target = targetOf(flow, tables);
    const auto handle = static_cast<Handle>(flow.cookie);
    if (!target || handle == kNoHandle || flow.hasOtherMatches || flow.mask > UINT32_MAX) {
        return;
    }
    const bool isDefault = flow.priority == 0;
    Entry entry{.key = {}, .target = *target};
    if (!isDefault) {
        entry.key = {static_cast<std::uint32_t>(flow.value | flow.cookie >> kUnmaskedShift),
                     static_cast<std::uint32_t>(flow.mask), flow.priority - 1u};
    }
    auto& entries = isDefault ? tables.defaults : tables.entries;
    if (entries.emplace(handle, entry).second) {
        ++tables.users(*target);
    }
}

} // namespace

bool isPort(std::uint16_t port) noexcept {
    return port >= 1 && port <= kLastPort;
}

openflow::Group toGroup(std::uint8_t table, Handle member, const Action& action) {
    return {.id = member,
            .type = openflow::GroupType::indirect,
            .buckets = {{.id = action.id << kActionShift | action.port,
                         .actions = actionsOf(table, action)}}};
}

openflow::Group toGroup(Handle group, const Group& record) {
    openflow::Group wire{
        .id = group, .type = openflow::GroupType::select, .hashBasis = record.maxSize};
    for (const auto& [member, isActive] : record.members) {
        wire.buckets.push_back({.id = member,
                                .actions = {openflow::ToGroup{member}},
                                .watchGroup = isActive ? std::nullopt : std::optional(kDeadGroup)});
    }
    return wire;
}

openflow::Group deadGroup() {
    return {.id = kDeadGroup, .type = openflow::GroupType::select};
}

openflow::Flow toFlow(std::uint8_t table, Handle entry, const Entry& record, bool isDefault) {
    const auto& [value, mask, priority] = record.key;
    openflow::Flow flow{
        .table = table, .cookie = entry, .actions = {openflow::ToGroup{record.target.handle}}};
    if (isDefault) {
        return flow;
    }
    flow.priority = static_cast<std::uint16_t>(priority + 1);
    flow.cookie |= std::uint64_t{value & ~mask} << kUnmaskedShift;
    flow.value = value & mask;
    flow.mask = mask;
    return flow;
}

openflow::Flow toFlow(Mark mark, std::uint64_t number) {
    return {.table = kMarkTable, .priority = static_cast<std::uint16_t>(mark), .cookie = number};
}

std::optional<std::uint64_t> numberOf(Mark mark, const std::vector<openflow::Flow>& marks) {
    const auto found =
        std::ranges::find(marks, static_cast<std::uint16_t>(mark), &openflow::Flow::priority);
    return found == marks.end() ? std::nullopt : std::optional(found->cookie);
}

Tables toTables(std::uint8_t table, const std::vector<openflow::Group>& groups,
                const std::vector<openflow::Flow>& flows) {
    Tables tables;
    for (const openflow::Group& group : groups) {
        if (const auto action = actionOf(table, group)) {
            tables.members.emplace(group.id, Member{*action});
        }
    }
    for (const openflow::Group& group : groups) {
        const auto record = groupOf(group, tables.members);
        if (!record) {
            continue;
        }
        tables.groups.emplace(group.id, *record);
        for (const auto& [member, isActive] : record->members) {
            ++tables.users({member, false});
        }
    }
    for (const openflow::Flow& flow : flows) {
        addEntry(flow, tables);
    }
    return tables;
}

} // namespace ovs
