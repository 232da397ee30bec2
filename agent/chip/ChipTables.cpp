#include "agent/chip/ChipTables.h"

#include <algorithm>
#include <array>
#include <memory>

#include "agent/terms/ActionNames.h"
#include "driver-status/PdCall.h"

namespace LagAgent {

ChipTables::ChipTables(const PdLibrary& library, const Target& target)
    : pd_(library), session_(library.session()),
      device_(target.device), target_{target.device, target.pipe} {}

template <class Operation, class... Arguments>
bool ChipTables::read(const Operation& operation, Arguments... arguments) const {
    const auto status = operation(session_, arguments...);
    if (status != BfTable::kStatusSuccess && status != P4_PD_STATUS_OBJ_NOT_FOUND) {
        BfTable::throwPdFailure(operation.name(), status);
    }
    return status == BfTable::kStatusSuccess;
}

template <class Operation, class... Arguments>
void ChipTables::readThere(const Operation& operation, Arguments... arguments) const {
    if (!read(operation, arguments...)) {
        BfTable::throwPdFailure(operation.name(), P4_PD_STATUS_OBJ_NOT_FOUND);
    }
}

p4_pd_velmor_switch_usage_t ChipTables::usage() const {
    p4_pd_velmor_switch_usage_t usage{};
    readThere(pd_.p4_pd_velmor_switch_get_usage, target_, &usage);
    return usage;
}

ChipHandle ChipTables::defaultEntry() const {
    ChipHandle handle = 0;
    const bool found =
        read(pd_.p4_pd_velmor_switch_lagGroup_get_default_entry_handle, target_, &handle);
    return found ? handle : 0;
}

ChipMember ChipTables::member(ChipHandle handle) const {
    ChipMember member;
    p4_pd_velmor_switch_setLagPort_action_spec_t spec{};
    readThere(pd_.p4_pd_velmor_switch_lagPortActionProfile_get_member, device_, handle,
              &member.action, &spec);
    if (member.action == P4_PD_ACTION_setLagPort) {
        member.port = spec.action_egrL2AintfPort;
    }
    return member;
}

ChipGroup ChipTables::group(ChipHandle handle) const {
    ChipGroup group;
    std::uint32_t count = 0;
    readThere(pd_.p4_pd_velmor_switch_lagPortActionProfile_get_group, device_, handle, &group.size,
              &count);
    ChipHandle member = 0;
    for (bool found = read(pd_.p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member,
                           device_, handle, &member);
         found; found = read(pd_.p4_pd_velmor_switch_lagPortActionProfile_get_next_group_member,
                             device_, handle, member, &member)) {
        std::uint32_t state = 0;
        readThere(pd_.p4_pd_velmor_switch_lagPortActionProfile_group_member_state_get, device_,
                  handle, member, &state);
        group.members.emplace_hint(group.members.end(), member, state == P4_PD_MEMBER_ACTIVE);
    }
    return group;
}

ChipEntry ChipTables::entry(ChipHandle handle, bool isDefault) const {
    p4_pd_velmor_switch_lagGroup_match_spec_t match{};
    std::uint32_t priority = 0, member = 0, group = 0;
    bool hasMember = false, hasGroup = false, spare = false;
    readThere(pd_.p4_pd_velmor_switch_lagGroup_get_entry, device_, handle, true, &match, &priority,
              &hasMember, &hasGroup, &member, &group, &spare);
    ChipEntry entry{.target = {hasGroup ? group : member, hasGroup}};
    if (!isDefault) {
        entry.name = MatchKey{match.egrMd_egrL2AintfUnresolved,
                              match.egrMd_egrL2AintfUnresolved_mask, priority};
    }
    return entry;
}

ChipState ChipTables::read() const {
    ChipReading reading(*this);
    reading.goOn(SIZE_MAX);
    return reading.take();
}

/// Goes on with a walk over the driver's scope; `visit(handle)` reads an object and tells how many
/// that counts for. False when it has read enough for now.
template <class First, class Next, class Visit>
bool ChipReading::walk(const First& first, const Next& next, Visit visit) {
    while (left_ > 0) {
        const bool found = isWalking_ ? tables_.read(next, tables_.target_, latest_, &latest_)
                                      : tables_.read(first, tables_.target_, &latest_);
        isWalking_ = found;
        if (!found) {
            return true;
        }
        left_ -= std::min(left_, visit(latest_));
    }
    return false;
}

bool ChipReading::walkMembers() {
    return walk(tables_.pd_.p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle,
                tables_.pd_.p4_pd_velmor_switch_lagPortActionProfile_get_next_member_handle,
                [this](ChipHandle handle) -> std::size_t {
                    state_.members.emplace(handle, tables_.member(handle));
                    return 1;
                });
}

bool ChipReading::walkGroups() {
    return walk(tables_.pd_.p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle,
                tables_.pd_.p4_pd_velmor_switch_lagPortActionProfile_get_next_group_handle,
                [this](ChipHandle handle) -> std::size_t {
                    const auto& group = state_.groups.emplace(handle, tables_.group(handle));
                    return 1 + group.first->second.members.size();
                });
}

bool ChipReading::walkEntries() {
    return walk(tables_.pd_.p4_pd_velmor_switch_lagGroup_get_first_entry_handle,
                tables_.pd_.p4_pd_velmor_switch_lagGroup_get_next_entry_handle,
                [this](ChipHandle handle) -> std::size_t {
                    state_.entries.emplace(handle, tables_.entry(handle, false));
                    return 1;
                });
}

bool ChipReading::readRest() {
    state_.usage = tables_.usage();
    if (const ChipHandle handle = tables_.defaultEntry(); handle != 0) {
        state_.entries.emplace(handle, tables_.entry(handle, true));
    }
    return true;
}

bool ChipReading::goOn(std::size_t objects) {
    constexpr std::array kPhases{&ChipReading::walkMembers, &ChipReading::walkGroups,
                                 &ChipReading::walkEntries, &ChipReading::readRest};
    left_ = objects;
    while (phase_ < kPhases.size() && (this->*kPhases[phase_])()) {
        ++phase_;
    }
    return phase_ == kPhases.size();
}

namespace {

Listing usageListing(const p4_pd_velmor_switch_usage_t& now) {
    Listing listing({"table", "used", "capacity"});
    listing.add({"entries", now.entries, now.entry_capacity});
    listing.add({"members", now.members, now.member_capacity});
    listing.add({"groups", now.groups, now.group_capacity});
    return listing;
}

using Chip = std::shared_ptr<const ChipState>;

/// The objects of a kind, in the order in which they are shown.
template <class Object>
using Shown = std::vector<const std::pair<const ChipHandle, Object>*>;

template <class Object>
Shown<Object> byHandle(const std::map<ChipHandle, Object>& objects) {
    Shown<Object> shown;
    shown.reserve(objects.size());
    for (const auto& object : objects) {
        shown.push_back(&object);
    }
    return shown;
}

/// A table of objects of `chip`; `cells(handle, object)` makes the row of one.
template <class Object, class CellsOf>
Listing listingOf(std::vector<std::string> columns, const Chip& chip, Shown<Object> shown,
                  CellsOf cells) {
    const std::size_t rows = shown.size();
    return {std::move(columns), rows, [chip, shown = std::move(shown), cells](std::size_t row) {
                return cells(shown[row]->first, shown[row]->second);
            }};
}

Listing memberListing(const Chip& chip) {
    return listingOf({"handle", "action", "port"}, chip, byHandle(chip->members),
                     [](ChipHandle handle, const ChipMember& member) {
                         const bool isKnown = member.action < actionNames().size();
                         const bool hasPort = member.action == P4_PD_ACTION_setLagPort;
                         return Cells{handle, isKnown ? Cell(actionNames()[member.action]) : Cell(),
                                      hasPort ? Cell(member.port) : Cell()};
                     });
}

Listing groupListing(const Chip& chip) {
    return listingOf({"handle", "size", "active", "inactive"}, chip, byHandle(chip->groups),
                     [](ChipHandle handle, const ChipGroup& group) {
                         Ids active, inactive;
                         for (const auto& [member, isActive] : group.members) {
                             (isActive ? active : inactive).push_back(member);
                         }
                         return Cells{handle, group.size, std::move(active), std::move(inactive)};
                     });
}

/// The default entry last.
Listing entryListing(const Chip& chip) {
    auto shown = byHandle(chip->entries);
    std::ranges::stable_partition(shown,
                                  [](auto* entry) { return entry->second.name.has_value(); });
    return listingOf(
        {"handle", "default", "value", "mask", "priority", "member", "group"}, chip,
        std::move(shown), [](ChipHandle handle, const ChipEntry& entry) {
            const auto field = [&]<class Value>(std::uint32_t MatchKey::*member, Value) {
                return entry.name ? Cell(Value{(*entry.name).*member}) : Cell();
            };
            const auto target = [&](bool isGroup) {
                return entry.target.isGroup == isGroup ? Cell(entry.target.handle) : Cell();
            };
            return Cells{handle,
                         !entry.name,
                         field(&MatchKey::value, Hex()),
                         field(&MatchKey::mask, Hex()),
                         field(&MatchKey::priority, std::uint64_t()),
                         target(false),
                         target(true)};
        });
}

} // namespace

void show(ChipState state, Reply& reply) {
    const auto chip = std::make_shared<const ChipState>(std::move(state));
    reply.add("asic usage", usageListing(chip->usage));
    reply.add("asic members", memberListing(chip));
    reply.add("asic groups", groupListing(chip));
    reply.add("asic entries", entryListing(chip));
}

} // namespace LagAgent
