#include "agent/restart/Removals.h"

namespace LagAgent {

using Kind = Finding::Kind;
using Removal = Identified::Removal;

namespace {

std::size_t add(Identified& found, Kind kind, std::string object, std::string detail) {
    found.findings.push_back({kind, std::move(object), std::move(detail)});
    return found.findings.size() - 1;
}

Removal recorded(Identified& found, const std::string& name, ChipHandle handle,
                 std::uint64_t record) {
    return {
        handle, record,
        add(found, Kind::staleRecord, name, "handle " + std::to_string(handle) + ": not desired")};
}

Removal orphan(Identified& found, const char* kind, ChipHandle handle) {
    return {handle, 0, add(found, Kind::orphan, chipName(kind, handle), "nobody recorded it")};
}

void listEntries(const ChipState& chip, const RecordedHandles& handles, Identified& found) {
    std::set<ChipHandle> wanted;
    for (const auto& [name, handle] : found.entries) {
        wanted.insert(handle);
    }
    for (const auto& [handle, entry] : chip.entries) {
        if (!wanted.contains(handle)) {
            const auto record = handles.entries.find(handle);
            found.unwantedEntries.push_back(
                record == handles.entries.end()
                    ? orphan(found, "entry", handle)
                    : recorded(found, nameOf(entry.name), handle, record->second));
        }
    }
}

/// Members or groups.
template <class OnChip, class Id>
void list(const OnChip& onChip, const std::unordered_map<std::uint32_t, ChipHandle>& desired,
          const std::unordered_map<ChipHandle, std::uint32_t>& records, std::set<ChipHandle> wanted,
          const char* kind, Id, Identified& found, std::vector<Removal>& unwanted) {
    if (onChip.size() == desired.size()) {
        return;
    }
    for (const auto& [id, handle] : desired) {
        wanted.insert(handle);
    }
    for (const auto& [handle, object] : onChip) {
        if (wanted.contains(handle)) {
            continue;
        }
        const auto record = records.find(handle);
        if (record == records.end()) {
            unwanted.push_back(orphan(found, kind, handle));
        } else if (const std::string name = nameOf(Id(record->second));
                   desired.contains(record->second)) {
            unwanted.push_back({handle, record->second,
                                add(found, Kind::groupTwice, chipName(kind, handle),
                                    "another one stands for " + name)});
        } else {
            unwanted.push_back(recorded(found, name, handle, record->second));
        }
    }
}

} // namespace

void listUnwanted(const ChipState& chip, const RecordedHandles& recorded, Identified& found) {
    listEntries(chip, recorded, found);
    std::set<ChipHandle> halfMade;
    for (const auto& [id, group] : found.halfMadeGroups) {
        halfMade.insert(group.handle);
    }
    list(chip.groups, found.groups, recorded.groups, std::move(halfMade), "group",
         RuxTable::RuxGroupId(), found, found.unwantedGroups);
    list(chip.members, found.members, recorded.members, {}, "member", RuxTable::RuxMemberId(),
         found, found.unwantedMembers);
}

std::string tooManyRemovals(const Identified& identified, const Situation& situation) {
    constexpr std::size_t kMostNamed = 10;
    const auto& [records, chip, desired, isNew, isMendingNoted] = situation;
    const bool hasActed = !isNew || !records.entries.empty() || !records.members.empty() ||
                          !records.groups.empty() || !records.reservations.empty();
    std::vector<std::string> names;
    for (const auto* removals :
         {&identified.unwantedEntries, &identified.unwantedGroups, &identified.unwantedMembers}) {
        for (const Removal& removal : *removals) {
            const Finding& finding = identified.findings[removal.finding];
            if (finding.kind == Kind::groupTwice) {
                continue; // a start that made the group anew was cut short
            }
            names.push_back(finding.object);
            if (removals == &identified.unwantedEntries && finding.kind == Kind::orphan) {
                names.back() += " (" + nameOf(chip.entries.at(removal.handle).name) + ")";
            }
        }
    }
    if (isMendingNoted || names.size() <= (hasActed ? 1u : 0u)) {
        return {};
    }
    std::string list;
    for (std::size_t i = 0; i < names.size() && i < kMostNamed; ++i) {
        list += (i == 0 ? "" : ", ") + names[i];
    }
    if (names.size() > kMostNamed) {
        list += " and " + std::to_string(names.size() - kMostNamed) + " more";
    }
    return "it would remove from the chip more than a command that was cut short has left there: " +
           list +
           "; the chip has not been touched. See that this is the right state directory for this "
           "chip, and desired.db the latest (an older one is put back with 'lag-agent restore'); "
           "to have these removed, give --accept-loss";
}

} // namespace LagAgent
