#include "agent/restart/Mending.h"

#include "agent/restart/HandleKeeper.h"
#include "agent/terms/ActionNames.h"

namespace LagAgent {

using Kind = Finding::Kind;
using RuxTable::RuxMemberId;

namespace {

std::string actionText(const ChipMember& member) {
    const std::string name =
        member.action < actionNames().size() ? actionNames()[member.action] : "an unknown action";
    return "it has " + name +
           (member.action == P4_PD_ACTION_setLagPort ? " port " + std::to_string(member.port) : "");
}

/// Entries that take room on the chip: all but the default entry.
template <class Entries>
std::size_t keyed(const Entries& entries) {
    return entries.size() - entries.count(std::nullopt);
}

} // namespace

Mending::Mending(const DesiredState& desired, Identified& identified, ChipWriter& writer,
                 HandleKeeper* handles)
    : desired_(desired), identified_(identified), writer_(writer), handles_(handles) {}

std::string Mending::obstacle() const {
    const auto& usage = chip().usage;
    const struct {
        const char* kind;
        std::size_t desired;
        std::size_t capacity;
    } kinds[]{
        {"members", desired_.members.size(), usage.member_capacity},
        {"groups", desired_.groups.size(), usage.group_capacity},
        {"entries", keyed(desired_.entries), usage.entry_capacity},
    };
    for (const auto& [kind, desired, capacity] : kinds) {
        if (desired > capacity) {
            return "the chip has room for " + std::to_string(capacity) + " " + kind + ", and " +
                   std::to_string(desired) + " are desired";
        }
    }
    for (const auto& [id, group] : desired_.groups) {
        if (group.size > usage.group_size_limit) {
            return "the chip's groups take " + std::to_string(usage.group_size_limit) +
                   " members, and group " + std::to_string(id) + " is for " +
                   std::to_string(group.size);
        }
    }
    return {};
}

void Mending::run() {
    findDifferences();
    stopUnwanted();
    setMembers();
    mendGroups();
    repointEntries();
    addEntries();
    removeEntries();
    removeGroups();
    removeMembers(membersInUse());
}

std::size_t Mending::add(Kind kind, std::string object, std::string detail) {
    identified_.findings.push_back({kind, std::move(object), std::move(detail)});
    return identified_.findings.size() - 1;
}

// ---- Members -----------------------------------------------------------------------------------

void Mending::setMembers() {
    for (const std::uint32_t id : identified_.differingMembers) {
        const ChipHandle handle = identified_.members.at(id);
        const std::string name = nameOf(RuxMemberId(id));
        writer_.findingIs(add(Kind::wrongAction, name, actionText(chip().members.at(handle))));
        writer_.memberSet(handle, onChip(desired_.members.at(id)), name);
    }
    makeRoomForMembers();
    for (const auto& [id, finding] : identified_.missingMembers) {
        writer_.findingIs(finding);
        const ChipHandle handle =
            writer_.memberAdd(onChip(desired_.members.at(id)), nameOf(RuxMemberId(id)));
        identified_.members.emplace(id, handle);
        if (handles_) {
            handles_->memberIs(id, handle);
        }
    }
    identified_.missingMembers.clear();
}

/// Where new members have no room, unwanted ones go first that nothing refers to.
void Mending::makeRoomForMembers() {
    const auto& usage = chip().usage;
    if (usage.members + identified_.missingMembers.size() <= usage.member_capacity) {
        return;
    }
    removeEntries();
    removeGroups();
    auto used = membersInUse();
    for (const auto& [handle, entry] : chip().entries) {
        if (!entry.target.isGroup) {
            used.insert(entry.target.handle);
        }
    }
    removeMembers(used);
}

std::set<ChipHandle> Mending::membersInUse() const {
    std::set<ChipHandle> used;
    if (!identified_.unwantedMembers.empty()) {
        for (const auto& [handle, group] : chip().groups) {
            for (const auto& [member, isActive] : group.members) {
                used.insert(member);
            }
        }
    }
    return used;
}

void Mending::removeMembers(const std::set<ChipHandle>& used) {
    std::erase_if(identified_.unwantedMembers, [&](const Removal& member) {
        if (used.contains(member.handle)) {
            return false;
        }
        writer_.findingIs(member.finding);
        writer_.memberDel(member.handle, chipName("member", member.handle));
        if (handles_) {
            handles_->memberDel(member);
        }
        return true;
    });
}

// ---- Entries -----------------------------------------------------------------------------------

/// REQUIRES: what the entry is to point at is on the chip.
ChipTarget Mending::targetOf(const EntryName& name) const {
    const auto& target = desired_.entries.at(name);
    return target.member() ? ChipTarget{identified_.members.at(target.id()), false}
                           : ChipTarget{identified_.groups.at(target.id()), true};
}

/// Those that are to point at what is on the chip.
void Mending::repointEntries() {
    for (auto& [name, handle] : identified_.entries) {
        const auto& target = desired_.entries.at(name);
        if (!target.member() && !identified_.groups.contains(target.id())) {
            continue;
        }
        const ChipTarget wanted = targetOf(name);
        const ChipTarget is = chip().entries.at(handle).target;
        if (is == wanted) {
            continue;
        }
        writer_.findingIs(
            add(Kind::wrongTarget, nameOf(name),
                "it points at " + chipName(is.isGroup ? "group" : "member", is.handle)));
        point(name, handle);
    }
}

void Mending::addEntries() {
    makeRoomForEntries();
    for (const auto& [name, finding] : identified_.missingEntries) {
        writer_.findingIs(finding);
        const ChipHandle handle = writer_.entryAdd(name, targetOf(name), nameOf(name));
        identified_.entries.emplace(name, handle);
        if (handles_) {
            handles_->entryIs(name, handle);
        }
    }
}

/// Lets an entry that is there point at what it should.
void Mending::point(const EntryName& name, ChipHandle& handle) {
    if (name) {
        writer_.entrySet(handle, targetOf(name), nameOf(name));
        return;
    }
    // There is no way to repoint the default entry: it is set anew, and may get another handle.
    handle = writer_.entryAdd(name, targetOf(name), nameOf(name));
    if (handles_) {
        handles_->entryIs(name, handle);
    }
}

/// Unwanted entries go before the new ones come only where these would have no room.
void Mending::makeRoomForEntries() {
    const auto& usage = chip().usage;
    if (usage.entries + keyed(identified_.missingEntries) > usage.entry_capacity) {
        removeEntries();
    }
}

void Mending::removeEntries() {
    for (const Removal& entry : identified_.unwantedEntries) {
        const auto found = chip().entries.find(entry.handle);
        // The default entry may have been set anew meanwhile, and another entry is it now.
        if (found != chip().entries.end()) {
            writer_.findingIs(entry.finding);
            writer_.entryDel(entry.handle, nameOf(found->second.name));
        }
        if (handles_) {
            handles_->entryDel(entry);
        }
    }
    identified_.unwantedEntries.clear();
}

// ---- Groups that nobody wants ------------------------------------------------------------------

void Mending::removeGroups() {
    std::erase_if(identified_.unwantedGroups, [this](const Removal& group) {
        if (chip().isPointedAt(group.handle)) {
            return false;
        }
        writer_.findingIs(group.finding);
        writer_.groupDel(group.handle, chipName("group", group.handle));
        if (handles_) {
            handles_->groupDel(group);
        }
        return true;
    });
}

} // namespace LagAgent
