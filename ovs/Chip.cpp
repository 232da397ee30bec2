#include "ovs/Chip.h"

#include <utility>

#include "ovs/Mapping.h"

namespace ovs {

using openflow::Bytes;
using openflow::FlowCommand;
using openflow::flowMod;
using openflow::GroupCommand;
using openflow::groupMod;

namespace {

Bytes removal(Handle group) {
    return groupMod(GroupCommand::remove, {.id = group});
}

} // namespace

// ---- Members

Status Chip::addMember(const Action& action, Handle* member) {
    if (tables().members.size() >= kMemberCapacity) {
        return P4_PD_STATUS_NO_SPACE;
    }
    std::vector<Bytes> messages;
    const Handle handle = link_.takeHandle(messages);
    if (handle == kNoHandle) {
        return P4_PD_STATUS_NO_SYS_RESOURCES;
    }
    messages.push_back(
        groupMod(GroupCommand::add, toGroup(link_.settings().table, handle, action)));
    link_.change(std::move(messages),
                 [&](Tables& tables) { tables.members.emplace(handle, Member{action}); });
    *member = handle;
    return P4_PD_STATUS_SUCCESS;
}

Status Chip::modifyMember(Handle member, const Action& action) {
    if (!find(tables().members, member)) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    link_.change({groupMod(GroupCommand::modify, toGroup(link_.settings().table, member, action))},
                 [&](Tables& tables) { find(tables.members, member)->action = action; });
    return P4_PD_STATUS_SUCCESS;
}

Status Chip::deleteMember(Handle member) {
    const Member* const record = find(tables().members, member);
    if (!record) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    if (record->users != 0) {
        return P4_PD_STATUS_IN_USE;
    }
    link_.change({removal(member)}, [&](Tables& tables) { tables.members.erase(member); });
    return P4_PD_STATUS_SUCCESS;
}

// ---- Selector groups

Status Chip::createGroup(std::uint16_t maxSize, Handle* group) {
    if (maxSize == 0 || maxSize > kGroupSizeLimit) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    if (tables().groups.size() >= kGroupCapacity) {
        return P4_PD_STATUS_NO_SPACE;
    }
    std::vector<Bytes> messages;
    const Handle handle = link_.takeHandle(messages);
    if (handle == kNoHandle) {
        return P4_PD_STATUS_NO_SYS_RESOURCES;
    }
    const Group record{.maxSize = maxSize};
    messages.push_back(groupMod(GroupCommand::add, toGroup(handle, record)));
    link_.change(std::move(messages),
                 [&](Tables& tables) { tables.groups.emplace(handle, record); });
    *group = handle;
    return P4_PD_STATUS_SUCCESS;
}

Status Chip::deleteGroup(Handle group) {
    const Group* const record = find(tables().groups, group);
    if (!record) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    if (record->users != 0) {
        return P4_PD_STATUS_IN_USE;
    }
    link_.change({removal(group)}, [&](Tables& tables) {
        for (const auto& [member, isActive] : record->members) {
            --find(tables.members, member)->users;
        }
        tables.groups.erase(group);
    });
    return P4_PD_STATUS_SUCCESS;
}

void Chip::writeMembers(Handle group, const Group& wanted) {
    link_.change({groupMod(GroupCommand::modify, toGroup(group, wanted))}, [&](Tables& tables) {
        Group& record = *find(tables.groups, group);
        for (const auto& [member, isActive] : record.members) {
            --find(tables.members, member)->users;
        }
        for (const auto& [member, isActive] : wanted.members) {
            ++find(tables.members, member)->users;
        }
        record.members = wanted.members;
    });
}

Status Chip::addToGroup(Handle group, Handle member) {
    const Tables& now = tables();
    const Group* const record = find(now.groups, group);
    if (!record || !find(now.members, member)) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    if (record->members.contains(member)) {
        return P4_PD_STATUS_ALREADY_EXISTS;
    }
    if (record->members.size() >= record->maxSize) {
        return P4_PD_STATUS_NO_SPACE;
    }
    Group wanted = *record;
    wanted.members.emplace(member, true);
    writeMembers(group, wanted);
    return P4_PD_STATUS_SUCCESS;
}

Status Chip::removeFromGroup(Handle group, Handle member) {
    const Group* const record = find(tables().groups, group);
    if (!record || !record->members.contains(member)) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    Group wanted = *record;
    wanted.members.erase(member);
    writeMembers(group, wanted);
    return P4_PD_STATUS_SUCCESS;
}

Status Chip::setMemberState(Handle group, Handle member, std::uint32_t state) {
    if (state != P4_PD_MEMBER_ACTIVE && state != P4_PD_MEMBER_INACTIVE) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    const Group* const record = find(tables().groups, group);
    if (!record || !record->members.contains(member)) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    Group wanted = *record;
    wanted.members[member] = state == P4_PD_MEMBER_ACTIVE;
    writeMembers(group, wanted);
    return P4_PD_STATUS_SUCCESS;
}

// ---- Match table

Status Chip::setProperty(std::uint32_t property, std::uint32_t value) {
    if (property != P4_PD_PROPERTY_ENTRY_SCOPE) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    switch (value) {
    case P4_PD_SCOPE_ALL_PIPELINES:
        return P4_PD_STATUS_SUCCESS;
    case P4_PD_SCOPE_SINGLE_PIPELINE:
        return P4_PD_STATUS_NOT_SUPPORTED;
    default:
        return P4_PD_STATUS_INVALID_ARG;
    }
}

Status Chip::insert(Entry entry, bool isDefault, Handle* out) {
    std::vector<Bytes> messages;
    const Handle handle = link_.takeHandle(messages);
    if (handle == kNoHandle) {
        return P4_PD_STATUS_NO_SYS_RESOURCES;
    }
    messages.push_back(
        flowMod(FlowCommand::add, toFlow(link_.settings().table, handle, entry, isDefault)));
    link_.change(std::move(messages), [&](Tables& tables) {
        (isDefault ? tables.defaults : tables.entries).emplace(handle, entry);
        ++tables.users(entry.target);
    });
    *out = handle;
    return P4_PD_STATUS_SUCCESS;
}

Status Chip::addEntry(const Key& key, Target target, Handle* entry) {
    const Tables& now = tables();
    if (!now.has(target)) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    if (key.priority > kLastPriority) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    if (now.findKey(key) != kNoHandle) {
        return P4_PD_STATUS_ALREADY_EXISTS;
    }
    if (now.entries.size() >= kEntryCapacity) {
        return P4_PD_STATUS_NO_SPACE;
    }
    // Which of two flows of one priority a packet meets, the switch does not say.
    if (now.overlapsEqual(key)) {
        return P4_PD_STATUS_NOT_SUPPORTED;
    }
    return insert({.key = key, .target = target}, false, entry);
}

Status Chip::repoint(Handle entry, Target target) {
    const Tables& now = tables();
    const Entry* const record = now.findEntry(entry);
    if (!record || !now.has(target)) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    const Entry wanted{.key = record->key, .target = target};
    const bool isDefault = now.defaults.contains(entry);
    link_.change({flowMod(FlowCommand::modifyStrict,
                          toFlow(link_.settings().table, entry, wanted, isDefault))},
                 [&](Tables& tables) { tables.pointTo(*tables.findEntry(entry), target); });
    return P4_PD_STATUS_SUCCESS;
}

Status Chip::deleteEntry(Handle entry) {
    const Tables& now = tables();
    if (find(now.defaults, entry)) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    const Entry* const record = find(now.entries, entry);
    if (!record) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    link_.change(
        {flowMod(FlowCommand::removeStrict, toFlow(link_.settings().table, entry, *record, false))},
        [&](Tables& tables) {
            --tables.users(record->target);
            tables.entries.erase(entry);
        });
    return P4_PD_STATUS_SUCCESS;
}

Status Chip::setDefault(Target target, Handle* entry) {
    const Tables& now = tables();
    if (!now.has(target)) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    const Handle present = after(now.defaults, kNoHandle);
    if (present == kNoHandle) {
        return insert({.key = {}, .target = target}, true, entry);
    }
    const Status status = repoint(present, target);
    if (status == P4_PD_STATUS_SUCCESS) {
        *entry = present;
    }
    return status;
}

Status Chip::resetDefault() {
    const Tables& now = tables();
    const Handle present = after(now.defaults, kNoHandle);
    if (present == kNoHandle) {
        return P4_PD_STATUS_SUCCESS;
    }
    const Entry& record = now.defaults.at(present);
    link_.change(
        {flowMod(FlowCommand::removeStrict, toFlow(link_.settings().table, present, record, true))},
        [&](Tables& tables) {
            --tables.users(record.target);
            tables.defaults.erase(present);
        });
    return P4_PD_STATUS_SUCCESS;
}

// ---- Counters

Counts Chip::counts() {
    const Tables& now = tables();
    Counts counts;
    for (const openflow::Flow& flow : link_.flows()) {
        if (const auto entry = static_cast<Handle>(flow.cookie); now.findEntry(entry)) {
            counts.entries.emplace(entry, flow.counters);
        }
    }
    for (const openflow::GroupCounters& group : link_.groupCounters()) {
        if (now.members.contains(group.group)) {
            counts.members.emplace(group.group, group.counters);
        }
    }
    for (const openflow::PortCounters& port : link_.portCounters()) {
        counts.ports.emplace(port.port, port);
    }
    return counts;
}

} // namespace ovs
