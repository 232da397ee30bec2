#include "agent/ChipTables.h"

#include "agent/ValueType.h"
#include "driver-status/PdCall.h"

namespace LagAgent {

ChipTables::ChipTables(const Driver& driver)
    : pd_(driver.library()), session_(driver.library().session()),
      device_(driver.helper().deviceId()), target_(driver.helper().deviceTarget()) {}

template <class Operation, class... Arguments>
bool ChipTables::read(const Operation& operation, Arguments... arguments) const {
    const auto status = operation(session_, arguments...);
    if (status != BfTable::kStatusSuccess && status != P4_PD_STATUS_OBJ_NOT_FOUND) {
        BfTable::throwPdFailure(operation.name(), status);
    }
    return status == BfTable::kStatusSuccess;
}

/// Calls `visit(handle)` for every handle of a walk over the driver's scope.
template <class First, class Next, class Visit>
void ChipTables::walk(const First& first, const Next& next, Visit&& visit) const {
    std::uint32_t handle = 0;
    for (bool found = read(first, target_, &handle); found;
         found = read(next, target_, handle, &handle)) {
        visit(handle);
    }
}

p4_pd_velmor_switch_usage_t ChipTables::usage() const {
    p4_pd_velmor_switch_usage_t usage{};
    read(pd_.p4_pd_velmor_switch_get_usage, target_, &usage);
    return usage;
}

bool ChipTables::hasDefaultEntry() const {
    std::uint32_t handle = 0;
    return read(pd_.p4_pd_velmor_switch_lagGroup_get_default_entry_handle, target_, &handle);
}

Listing ChipTables::usageListing() const {
    const auto now = usage();
    Listing listing({"table", "used", "capacity"});
    listing.add({"entries", now.entries, now.entry_capacity});
    listing.add({"members", now.members, now.member_capacity});
    listing.add({"groups", now.groups, now.group_capacity});
    return listing;
}

Listing ChipTables::members() const {
    Listing listing({"handle", "action", "port"});
    walk(pd_.p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle,
         pd_.p4_pd_velmor_switch_lagPortActionProfile_get_next_member_handle,
         [&](std::uint32_t handle) {
             std::uint32_t action = 0;
             p4_pd_velmor_switch_setLagPort_action_spec_t spec{};
             read(pd_.p4_pd_velmor_switch_lagPortActionProfile_get_member, device_, handle, &action,
                  &spec);
             const bool hasPort = action == P4_PD_ACTION_setLagPort;
             listing.add({handle,
                          action < actionNames().size() ? Json(actionNames()[action]) : Json(),
                          hasPort ? Json(spec.action_egrL2AintfPort) : Json()});
         });
    return listing;
}

std::vector<Json> ChipTables::groupMembers(std::uint32_t group) const {
    Json active = Json::array(), inactive = Json::array();
    std::uint32_t member = 0;
    for (bool found = read(pd_.p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member,
                           device_, group, &member);
         found; found = read(pd_.p4_pd_velmor_switch_lagPortActionProfile_get_next_group_member,
                             device_, group, member, &member)) {
        std::uint32_t state = 0;
        read(pd_.p4_pd_velmor_switch_lagPortActionProfile_group_member_state_get, device_, group,
             member, &state);
        (state == P4_PD_MEMBER_ACTIVE ? active : inactive).push_back(member);
    }
    return {std::move(active), std::move(inactive)};
}

Listing ChipTables::groups() const {
    Listing listing({"handle", "size", "active", "inactive"});
    walk(pd_.p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle,
         pd_.p4_pd_velmor_switch_lagPortActionProfile_get_next_group_handle,
         [&](std::uint32_t handle) {
             std::uint16_t size = 0;
             std::uint32_t count = 0;
             read(pd_.p4_pd_velmor_switch_lagPortActionProfile_get_group, device_, handle, &size,
                  &count);
             const auto members = groupMembers(handle);
             listing.add({handle, size, members[0], members[1]});
         });
    return listing;
}

std::vector<Json> ChipTables::entryRow(std::uint32_t handle, bool isDefault) const {
    p4_pd_velmor_switch_lagGroup_match_spec_t match{};
    std::uint32_t priority = 0, member = 0, group = 0;
    bool hasMember = false, hasGroup = false, spare = false;
    read(pd_.p4_pd_velmor_switch_lagGroup_get_entry, device_, handle, true, &match, &priority,
         &hasMember, &hasGroup, &member, &group, &spare);
    const auto unlessDefault = [&](std::uint32_t value) {
        return isDefault ? Json() : Json(value);
    };
    return {handle,
            isDefault,
            unlessDefault(match.egrMd_egrL2AintfUnresolved),
            unlessDefault(match.egrMd_egrL2AintfUnresolved_mask),
            unlessDefault(priority),
            hasMember ? Json(member) : Json(),
            hasGroup ? Json(group) : Json()};
}

Listing ChipTables::entries() const {
    Listing listing({"handle", "default", "value", "mask", "priority", "member", "group"});
    listing.hexIs({"value", "mask"});
    walk(pd_.p4_pd_velmor_switch_lagGroup_get_first_entry_handle,
         pd_.p4_pd_velmor_switch_lagGroup_get_next_entry_handle,
         [&](std::uint32_t handle) { listing.add(entryRow(handle, false)); });
    std::uint32_t handle = 0;
    if (read(pd_.p4_pd_velmor_switch_lagGroup_get_default_entry_handle, target_, &handle)) {
        listing.add(entryRow(handle, true));
    }
    return listing;
}

void ChipTables::show(Reply& reply) const {
    reply.add("asic usage", usageListing());
    reply.add("asic members", members());
    reply.add("asic groups", groups());
    reply.add("asic entries", entries());
}

} // namespace LagAgent
