#include "agent/restart/Identification.h"

#include <algorithm>
#include <cstdio>

#include "agent/restart/Removals.h"

namespace LagAgent {

using Kind = Finding::Kind;
using Removal = Identified::Removal;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;

ChipMember onChip(const DesiredMember& member) {
    const auto action = static_cast<std::uint32_t>(member.type);
    return {action, action == P4_PD_ACTION_setLagPort ? member.port : std::uint16_t{0}};
}

std::map<ChipHandle, WantedMember> wantedMembers(const DesiredGroup& group,
                                                 const Identified& identified) {
    std::map<ChipHandle, WantedMember> wanted;
    for (const auto& [id, isActive] : group.members) {
        if (const auto member = identified.members.find(id); member != identified.members.end()) {
            wanted.emplace(member->second, WantedMember{id, isActive});
        }
    }
    return wanted;
}

bool isAsDesired(const DesiredGroup& desired, const ChipGroup& group,
                 const Identified& identified) {
    if (group.size != static_cast<std::uint16_t>(desired.size) ||
        group.members.size() != desired.members.size()) {
        return false;
    }
    return std::ranges::all_of(desired.members, [&](const auto& member) {
        const auto handle = identified.members.find(member.first);
        if (handle == identified.members.end()) {
            return false;
        }
        const auto found = group.members.find(handle->second);
        return found != group.members.end() && found->second == member.second;
    });
}

namespace {

std::string keyText(Glimt::EntryKey key) {
    char text[32];
    std::snprintf(text, sizeof text, "key %#llx", static_cast<unsigned long long>(key));
    return text;
}

std::string handleText(ChipHandle handle) {
    return "handle " + std::to_string(handle);
}

class Search {
  public:
    explicit Search(const Situation& situation)
        : records_(situation.records), chip_(situation.chip), desired_(situation.desired) {
        found_.members.reserve(desired_.members.size());
        found_.groups.reserve(desired_.groups.size());
    }

    Identified run() {
        noteRecords();
        takeRecorded(
            records_.members, chip_.members, desired_.members, found_.forgottenMembers,
            [](auto id) { return nameOf(RuxMemberId(id)); },
            [this](auto id, auto handle, const ChipMember& is, const DesiredMember& wanted) {
                found_.members.emplace(id, handle);
                if (is != onChip(wanted)) {
                    found_.differingMembers.push_back(id);
                }
            });
        takeRecorded(
            records_.groups, chip_.groups, desired_.groups, found_.forgottenGroups,
            [](auto id) { return nameOf(RuxGroupId(id)); },
            [this](auto id, auto handle, const auto&, const auto&) {
                found_.groups.emplace(id, handle);
            });
        takeRecordedEntries();
        collectTaken();
        adoptEntries();
        adoptGroupsByEntries();
        distrustGroups();
        distrustMembers();
        adoptMembers();
        adoptGroupsByMembers();
        noteMissing();
        listUnwanted(chip_, recorded_, found_);
        return std::move(found_);
    }

  private:
    std::size_t add(Kind kind, std::string object, std::string detail) {
        found_.findings.push_back({kind, std::move(object), std::move(detail)});
        return found_.findings.size() - 1;
    }

    void noteRecords() {
        for (const auto& corruption : records_.corruptions) {
            add(Kind::corruptTable, corruption, "read in part");
        }
        for (const auto& reservation : records_.reservations) {
            add(Kind::reservation, keyText(reservation.key),
                reservation.isAnonymous
                    ? "member or group " + std::to_string(static_cast<Kel::U32>(reservation.key))
                    : "match entry");
        }
    }

    // ---- What is recorded

    /// Records and desired state are both in the order of their ids, so one walk goes over both.
    template <class OnChip, class Desired, class Name, class Take>
    void takeRecorded(const std::map<std::uint32_t, ChipHandle>& recorded, const OnChip& onChip,
                      const Desired& desired, std::vector<std::uint32_t>& forgotten, Name name,
                      Take take) {
        auto wanted = desired.begin();
        for (const auto& [id, handle] : recorded) {
            while (wanted != desired.end() && wanted->first < id) {
                ++wanted;
            }
            const auto object = onChip.find(handle);
            if (object == onChip.end()) {
                add(Kind::unknownHandle, name(id),
                    handleText(handle) + ": the chip does not know it");
                forgotten.push_back(id);
            } else if (wanted != desired.end() && wanted->first == id) {
                take(id, handle, object->second, wanted->second);
            }
        }
    }

    void takeRecordedEntries() {
        for (const auto& record : records_.entries) {
            const auto found = chip_.entries.find(record.handle);
            if (found != chip_.entries.end() && found->second.name == record.name) {
                recorded_.entries.emplace(record.handle, record.key);
                if (desired_.entries.contains(record.name)) {
                    found_.entries.emplace(record.name, record.handle);
                }
                continue;
            }
            const std::string why =
                found == chip_.entries.end()
                    ? ": the chip does not know it"
                    : ": the chip has the " + nameOf(found->second.name) + " under it";
            add(Kind::unknownHandle, nameOf(record.name), handleText(record.handle) + why);
            found_.forgottenEntries.push_back(record.key);
        }
    }

    /// What is recorded is nobody else's to adopt, but a group whose id is not desired any more.
    void collectTaken() {
        recorded_.members.reserve(records_.members.size());
        recorded_.groups.reserve(records_.groups.size());
        takenGroups_.reserve(records_.groups.size());
        for (const auto& [id, handle] : records_.members) {
            recorded_.members.emplace(handle, id);
        }
        takenMembers_ = recorded_.members;
        for (const auto& [id, handle] : records_.groups) {
            recorded_.groups.emplace(handle, id);
            if (desired_.groups.contains(id)) {
                takenGroups_.emplace(handle, id);
            }
        }
    }

    // ---- What the chip contradicts

    /// The record stands for something else than was recorded.
    template <class Found>
    void distrust(std::uint32_t id, Found& found,
                  std::unordered_map<ChipHandle, std::uint32_t>& taken,
                  std::vector<std::uint32_t>& forgotten, const std::string& name) {
        const ChipHandle handle = found.at(id);
        add(Kind::unknownHandle, name,
            handleText(handle) + ": the chip has something else under it");
        forgotten.push_back(id);
        taken.erase(handle);
        found.erase(id);
    }

    void distrustGroups() {
        const std::set<std::uint32_t> confirmed = groupsConfirmedByEntries();
        for (const auto& [id, desired] : desired_.groups) {
            const auto found = found_.groups.find(id);
            if (found == found_.groups.end() || confirmed.contains(id)) {
                continue;
            }
            const auto& members = chip_.groups.at(found->second).members;
            const auto isCommon = [&](const auto& member) {
                const auto handle = found_.members.find(member.first);
                // Of one that is not recorded nobody can tell.
                return handle == found_.members.end() || members.contains(handle->second);
            };
            if (!members.empty() && std::ranges::none_of(desired.members, isCommon)) {
                distrust(id, found_.groups, takenGroups_, found_.forgottenGroups,
                         nameOf(RuxGroupId(id)));
            }
        }
    }

    /// Ids of groups whose entries point where they should.
    std::set<std::uint32_t> groupsConfirmedByEntries() const {
        std::set<std::uint32_t> confirmed;
        for (const auto& [name, handle] : found_.entries) {
            const auto& desired = desired_.entries.at(name);
            const auto group = found_.groups.find(desired.id());
            if (!desired.member() && group != found_.groups.end() &&
                chip_.entries.at(handle).target == ChipTarget{group->second, true}) {
                confirmed.insert(desired.id());
            }
        }
        return confirmed;
    }

    void distrustMembers() {
        std::map<ChipHandle, std::uint32_t> suspects;
        for (const std::uint32_t id : found_.differingMembers) {
            suspects.emplace(found_.members.at(id), id);
        }
        if (suspects.empty()) {
            return;
        }
        for (const auto& [id, group] : found_.groups) {
            for (const auto& [handle, isActive] : chip_.groups.at(group).members) {
                const auto suspect = suspects.find(handle);
                if (suspect != suspects.end() &&
                    !desired_.groups.at(id).members.contains(suspect->second)) {
                    distrust(suspect->second, found_.members, takenMembers_,
                             found_.forgottenMembers, nameOf(RuxMemberId(suspect->second)));
                    std::erase(found_.differingMembers, suspect->second);
                    suspects.erase(suspect);
                }
            }
        }
    }

    // ---- What nobody recorded

    void foundUnrecorded(const std::string& name, const char* kind, ChipHandle handle) {
        add(Kind::unrecorded, name, chipName(kind, handle) + " serves");
    }

    void adoptEntries() {
        for (const auto& [handle, entry] : chip_.entries) {
            if (!recorded_.entries.contains(handle) && desired_.entries.contains(entry.name) &&
                found_.entries.emplace(entry.name, handle).second) {
                foundUnrecorded(nameOf(entry.name), "entry", handle);
            }
        }
    }

    bool isFreeGroup(ChipHandle group) const {
        return chip_.groups.contains(group) && !takenGroups_.contains(group);
    }

    void adoptGroup(std::uint32_t id, ChipHandle group) {
        if (const auto replaced = found_.groups.find(id);
            replaced != found_.groups.end() && !recorded_.groups.contains(replaced->second)) {
            takenGroups_.erase(replaced->second);
        }
        found_.groups.insert_or_assign(id, group);
        takenGroups_.emplace(group, id);
        if (const auto record = recorded_.groups.find(group); record != recorded_.groups.end()) {
            found_.forgottenGroups.push_back(record->second);
        }
        foundUnrecorded(nameOf(RuxGroupId(id)), "group", group);
    }

    void adoptGroupsByEntries() {
        for (const auto& [name, handle] : found_.entries) {
            const auto& desired = desired_.entries.at(name);
            const auto& target = chip_.entries.at(handle).target;
            if (!desired.member() && target.isGroup && isFreeGroup(target.handle) &&
                !found_.groups.contains(desired.id())) {
                adoptGroup(desired.id(), target.handle);
            }
        }
    }

    /// True if the chip's member was free and does what is desired.
    bool adoptMember(std::uint32_t id, ChipHandle handle) {
        const auto member = chip_.members.find(handle);
        if (member == chip_.members.end() || member->second != onChip(desired_.members.at(id)) ||
            !takenMembers_.emplace(handle, id).second) {
            return false;
        }
        found_.members.emplace(id, handle);
        foundUnrecorded(nameOf(RuxMemberId(id)), "member", handle);
        return true;
    }

    /// First those whose place tells which of several alike they are.
    void adoptMembers() {
        if (found_.members.size() == desired_.members.size()) {
            return;
        }
        for (const auto& [id, group] : desired_.groups) {
            if (const auto found = found_.groups.find(id); found != found_.groups.end()) {
                adoptMembersOf(group, chip_.groups.at(found->second));
            }
        }
        for (const auto& [name, handle] : found_.entries) {
            const auto& desired = desired_.entries.at(name);
            const auto& target = chip_.entries.at(handle).target;
            if (desired.member() && !target.isGroup && !found_.members.contains(desired.id())) {
                adoptMember(desired.id(), target.handle);
            }
        }
        adoptMembersAnywhere();
    }

    void adoptMembersOf(const DesiredGroup& desired, const ChipGroup& group) {
        for (const auto& [id, isActive] : desired.members) {
            if (found_.members.contains(id)) {
                continue;
            }
            std::ranges::find_if(group.members,
                                 [&](const auto& member) { return adoptMember(id, member.first); });
        }
    }

    void adoptMembersAnywhere() {
        std::multimap<std::pair<std::uint32_t, std::uint16_t>, ChipHandle> free;
        for (const auto& [handle, member] : chip_.members) {
            if (!takenMembers_.contains(handle)) {
                free.emplace(std::pair(member.action, member.port), handle);
            }
        }
        for (const auto& [id, member] : desired_.members) {
            const auto [action, port] = onChip(member);
            const auto found = free.find({action, port});
            if (!found_.members.contains(id) && found != free.end()) {
                adoptMember(id, found->second);
                free.erase(found);
            }
        }
    }

    /// Groups that no entry tells: by what they hold. One that is as desired is preferred to a
    /// recorded one that is not, which a start cut short has left behind it.
    void adoptGroupsByMembers() {
        std::map<std::set<ChipHandle>, std::vector<ChipHandle>> free;
        for (const auto& [handle, group] : chip_.groups) {
            if (isFreeGroup(handle)) {
                free[keysOf(group.members)].push_back(handle);
            }
        }
        if (free.empty()) {
            return;
        }
        std::vector<std::uint32_t> differing;
        for (const auto& [id, desired] : desired_.groups) {
            const auto found = found_.groups.find(id);
            const bool isFound = found != found_.groups.end();
            if (isFound && isAsDesired(desired, chip_.groups.at(found->second), found_)) {
                continue;
            }
            const auto alike = free.find(keysOf(wantedMembers(desired, found_)));
            const auto isBetter = [&, id = id](ChipHandle handle) {
                return isFreeGroup(handle) &&
                       (!isFound || (!recorded_.groups.contains(handle) &&
                                     isAsDesired(desired, chip_.groups.at(handle), found_)));
            };
            if (alike != free.end() && !desired.members.empty()) {
                const auto better = std::ranges::find_if(alike->second, isBetter);
                if (better != alike->second.end()) {
                    adoptGroup(id, *better);
                    continue;
                }
            }
            differing.push_back(id);
        }
        findHalfMade(differing);
    }

    template <class Map>
    static std::set<ChipHandle> keysOf(const Map& map) {
        std::set<ChipHandle> keys;
        for (const auto& [key, value] : map) {
            keys.insert(keys.end(), key);
        }
        return keys;
    }

    /// For each, a group of the right size at which nothing points and in which nobody is who does
    /// not belong there.
    void findHalfMade(const std::vector<std::uint32_t>& differing) {
        std::set<ChipHandle> pointedAt;
        for (const auto& [handle, entry] : chip_.entries) {
            if (entry.target.isGroup) {
                pointedAt.insert(entry.target.handle);
            }
        }
        std::map<std::uint16_t, std::vector<ChipHandle>> free; // by size
        for (const auto& [handle, group] : chip_.groups) {
            if (isFreeGroup(handle) && !recorded_.groups.contains(handle) &&
                !pointedAt.contains(handle)) {
                free[group.size].push_back(handle);
            }
        }
        for (const std::uint32_t id : differing) {
            const DesiredGroup& desired = desired_.groups.at(id);
            findHalfMade(id, desired, free[static_cast<std::uint16_t>(desired.size)]);
        }
    }

    void findHalfMade(std::uint32_t id, const DesiredGroup& desired,
                      std::vector<ChipHandle>& free) {
        const auto wanted = wantedMembers(desired, found_);
        const auto isWanted = [&](const auto& member) { return wanted.contains(member.first); };
        const auto found = std::ranges::find_if(free, [&](ChipHandle handle) {
            return std::ranges::all_of(chip_.groups.at(handle).members, isWanted);
        });
        if (found != free.end()) {
            takenGroups_.emplace(*found, id);
            found_.halfMadeGroups.emplace(
                id, Removal{*found, 0,
                            add(Kind::groupTwice, chipName("group", *found),
                                "was to take the place of " + nameOf(RuxGroupId(id)))});
            free.erase(found);
        }
    }

    // ---- What is left

    void noteMissing() {
        note(desired_.members, found_.members, found_.missingMembers,
             [](auto id) { return nameOf(RuxMemberId(id)); });
        note(desired_.groups, found_.groups, found_.missingGroups,
             [](auto id) { return nameOf(RuxGroupId(id)); });
        note(desired_.entries, found_.entries, found_.missingEntries,
             [](const EntryName& name) { return nameOf(name); });
    }

    template <class Desired, class Found, class Missing, class Name>
    void note(const Desired& desired, const Found& found, Missing& missing, Name name) {
        if (desired.size() == found.size()) {
            return;
        }
        for (const auto& [key, value] : desired) {
            if (!found.contains(key)) {
                missing.emplace_hint(missing.end(), key,
                                     add(Kind::missing, name(key), "not on the chip"));
            }
        }
    }

    const Records& records_;
    const ChipState& chip_;
    const DesiredState& desired_;
    Identified found_;
    RecordedHandles recorded_;
    /// Handles that stand for an id already, or must not stand for another one.
    std::unordered_map<ChipHandle, std::uint32_t> takenMembers_;
    std::unordered_map<ChipHandle, std::uint32_t> takenGroups_;
};

} // namespace

Identified identify(const Situation& situation) {
    return Search(situation).run();
}

} // namespace LagAgent
