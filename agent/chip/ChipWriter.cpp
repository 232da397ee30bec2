#include "agent/chip/ChipWriter.h"

#include "agent/chip/Driver.h"

namespace LagAgent {

namespace {

/// For the operations' names.
const BfPdLagGroup::PdOperations kOperations;

} // namespace

template <class Operation, class... Arguments>
void ChipWriter::write(Operation Pd::*operation, Object object, Arguments... arguments) {
    if (driver_) {
        BfTable::pdCall(driver_->pd().*operation, arguments...);
    }
    follower_((kOperations.*operation).name(), object, finding_);
}

std::uint32_t ChipWriter::tableSession() const {
    return driver_ ? driver_->pd().sessionId() : 0;
}
std::uint32_t ChipWriter::profileSession() const {
    return driver_ ? driver_->stateMachine().sessionHandle() : 0;
}
int ChipWriter::device() const {
    return driver_ ? driver_->helper().deviceId() : 0;
}
p4_pd_dev_target_t ChipWriter::target() const {
    return driver_ ? driver_->helper().deviceTarget() : p4_pd_dev_target_t{};
}

/// The handle that the chip gave out, or the next one of a forecast.
ChipHandle ChipWriter::given(ChipHandle handle) noexcept {
    return driver_ ? handle : foretold_--;
}

// ---- Members -----------------------------------------------------------------------------------

/// Calls `use(add operation, modify operation, action spec...)` for the member's action.
template <class Use>
void ChipWriter::withActionSpec(const ChipMember& member, Use&& use) {
#define LAG_AGENT_USE(action, ...)                                                                 \
    use(&Pd::p4_pd_velmor_switch_lagPortActionProfile_add_member_with_##action,                    \
        &Pd::p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_##action __VA_OPT__(, )   \
            __VA_ARGS__)
    p4_pd_velmor_switch_setLagPort_action_spec_t spec{.action_egrL2AintfPort = member.port};
    switch (member.action) {
    case P4_PD_ACTION_fixL2SubintfAlignment:
        return LAG_AGENT_USE(fixL2SubintfAlignment);
    case P4_PD_ACTION_invalidateUcastEgressPort:
        return LAG_AGENT_USE(invalidateUcastEgressPort);
    case P4_PD_ACTION_setLagPort:
        return LAG_AGENT_USE(setLagPort, &spec);
    case P4_PD_ACTION_setPhysicalPort:
        return LAG_AGENT_USE(setPhysicalPort);
    case P4_PD_ACTION_setTunnelInfo:
        return LAG_AGENT_USE(setTunnelInfo);
    default:
        BfTable::throwPdFailure("add_member", P4_PD_STATUS_INVALID_ARG);
    }
#undef LAG_AGENT_USE
}

ChipHandle ChipWriter::memberAdd(const ChipMember& member, Object object) {
    ChipHandle handle = 0;
    withActionSpec(member, [&](auto add, auto, auto... spec) {
        write(add, object, tableSession(), target(), spec..., &handle);
    });
    handle = given(handle);
    chip_.members.emplace(handle, member);
    ++chip_.usage.members;
    return handle;
}

void ChipWriter::memberSet(ChipHandle handle, const ChipMember& member, Object object) {
    withActionSpec(member, [&](auto, auto modify, auto... spec) {
        write(modify, object, profileSession(), device(), handle, spec...);
    });
    chip_.members.at(handle) = member;
}

void ChipWriter::memberDel(ChipHandle handle, Object object) {
    write(&Pd::p4_pd_velmor_switch_lagPortActionProfile_del_member, object, profileSession(),
          device(), handle);
    chip_.members.erase(handle);
    --chip_.usage.members;
}

// ---- Groups ------------------------------------------------------------------------------------

ChipHandle ChipWriter::groupAdd(std::uint16_t size, Object object) {
    ChipHandle handle = 0;
    write(&Pd::p4_pd_velmor_switch_lagPortActionProfile_create_group, object, profileSession(),
          target(), size, &handle);
    handle = given(handle);
    chip_.groups.emplace(handle, ChipGroup{size, {}});
    ++chip_.usage.groups;
    return handle;
}

void ChipWriter::groupDel(ChipHandle group, Object object) {
    write(&Pd::p4_pd_velmor_switch_lagPortActionProfile_del_group, object, profileSession(),
          device(), group);
    chip_.groups.erase(group);
    --chip_.usage.groups;
}

void ChipWriter::memberJoin(ChipHandle group, ChipHandle member, Object object) {
    write(&Pd::p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group, object,
          profileSession(), device(), group, member);
    chip_.groups.at(group).members.emplace(member, true);
}

void ChipWriter::memberLeave(ChipHandle group, ChipHandle member, Object object) {
    write(&Pd::p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group, object,
          profileSession(), device(), group, member);
    chip_.groups.at(group).members.erase(member);
}

void ChipWriter::activeIs(ChipHandle group, ChipHandle member, bool active, Object object) {
    const std::uint32_t state = active ? P4_PD_MEMBER_ACTIVE : P4_PD_MEMBER_INACTIVE;
    write(&Pd::p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set, object,
          profileSession(), device(), group, member, state);
    chip_.groups.at(group).members.at(member) = active;
}

// ---- Entries -----------------------------------------------------------------------------------

ChipHandle ChipWriter::entryAdd(const EntryName& name, const ChipTarget& to, Object object) {
    ChipHandle handle = 0;
    if (!name) {
        write(to.isGroup ? &Pd::p4_pd_velmor_switch_lagGroup_set_default_entry_with_selector
                         : &Pd::p4_pd_velmor_switch_lagGroup_set_default_entry,
              object, tableSession(), target(), to.handle, &handle);
        // There is one at most, whatever its handle was.
        std::erase_if(chip_.entries, [](const auto& entry) { return !entry.second.name; });
    } else {
        p4_pd_velmor_switch_lagGroup_match_spec_t match{name->value, name->mask};
        write(to.isGroup ? &Pd::p4_pd_velmor_switch_lagGroup_add_entry_with_selector
                         : &Pd::p4_pd_velmor_switch_lagGroup_add_entry,
              object, tableSession(), target(), &match, name->priority, to.handle, &handle);
        ++chip_.usage.entries;
    }
    handle = given(handle);
    chip_.entries.emplace(handle, ChipEntry{name, to});
    return handle;
}

void ChipWriter::entrySet(ChipHandle handle, const ChipTarget& to, Object object) {
    write(to.isGroup ? &Pd::p4_pd_velmor_switch_lagGroup_modify_entry_with_selector
                     : &Pd::p4_pd_velmor_switch_lagGroup_modify_entry,
          object, tableSession(), device(), handle, to.handle);
    chip_.entries.at(handle).target = to;
}

void ChipWriter::entryDel(ChipHandle handle, Object object) {
    const auto entry = chip_.entries.find(handle);
    if (!entry->second.name) {
        write(&Pd::p4_pd_velmor_switch_lagGroup_table_reset_default_entry, object, tableSession(),
              target());
    } else {
        write(&Pd::p4_pd_velmor_switch_lagGroup_table_delete, object, tableSession(), device(),
              handle);
        --chip_.usage.entries;
    }
    chip_.entries.erase(entry);
}

} // namespace LagAgent
