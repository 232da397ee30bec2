// PD API: read-back for tools.

#include "ovs/Boundary.h"
#include "pd/p4_pd_velmor_switch.h"

using namespace ovs;

namespace {

// Every walk is the same step in another table; the first step starts below all handles.

Status found(Handle handle, Handle* out) noexcept {
    if (handle == kNoHandle) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    *out = handle;
    return P4_PD_STATUS_SUCCESS;
}

template <std::size_t index, class Map>
Status first(Map Tables::*map, p4_pd_sess_hdl_t session, p4_pd_dev_target_t target,
             Handle* out) noexcept {
    return call<index>([&](Chip& chip) { return found(after(chip.tables().*map, kNoHandle), out); },
                       session, target, out);
}

template <std::size_t index, class Map>
Status next(Map Tables::*map, p4_pd_sess_hdl_t session, p4_pd_dev_target_t target, Handle seen,
            Handle* out) noexcept {
    return call<index>([&](Chip& chip) { return found(after(chip.tables().*map, seen), out); },
                       session, target, seen, out);
}

Status nextMemberOf(Chip& chip, Handle group, Handle seen, Handle* out) {
    const Group* const record = find(chip.tables().groups, group);
    return found(record ? after(record->members, seen) : kNoHandle, out);
}

} // namespace

pipe_status p4_pd_velmor_switch_lagGroup_get_first_entry_handle(p4_pd_sess_hdl_t sess_hdl,
                                                                p4_pd_dev_target_t dev_tgt,
                                                                p4_pd_entry_hdl_t* entry_hdl) {
    return first<pd::operation(__func__)>(&Tables::entries, sess_hdl, dev_tgt, entry_hdl);
}

pipe_status p4_pd_velmor_switch_lagGroup_get_next_entry_handle(p4_pd_sess_hdl_t sess_hdl,
                                                               p4_pd_dev_target_t dev_tgt,
                                                               p4_pd_entry_hdl_t entry_hdl,
                                                               p4_pd_entry_hdl_t* next_hdl) {
    return next<pd::operation(__func__)>(&Tables::entries, sess_hdl, dev_tgt, entry_hdl, next_hdl);
}

pipe_status p4_pd_velmor_switch_lagGroup_get_default_entry_handle(p4_pd_sess_hdl_t sess_hdl,
                                                                  p4_pd_dev_target_t dev_tgt,
                                                                  p4_pd_entry_hdl_t* entry_hdl) {
    return first<pd::operation(__func__)>(&Tables::defaults, sess_hdl, dev_tgt, entry_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t* mbr_hdl) {
    return first<pd::operation(__func__)>(&Tables::members, sess_hdl, dev_tgt, mbr_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_next_member_handle(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t mbr_hdl,
    p4_pd_mbr_hdl_t* next_hdl) {
    return next<pd::operation(__func__)>(&Tables::members, sess_hdl, dev_tgt, mbr_hdl, next_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_member(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl, uint32_t* action,
    p4_pd_velmor_switch_setLagPort_action_spec_t* action_spec) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) -> Status {
            const Member* const member = find(chip.tables().members, mbr_hdl);
            if (!member) {
                return P4_PD_STATUS_OBJ_NOT_FOUND;
            }
            *action = member->action.id;
            action_spec->action_egrL2AintfPort = member->action.port;
            return P4_PD_STATUS_SUCCESS;
        },
        sess_hdl, dev_id, mbr_hdl, action, action_spec);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_grp_hdl_t* grp_hdl) {
    return first<pd::operation(__func__)>(&Tables::groups, sess_hdl, dev_tgt, grp_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_next_group_handle(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_grp_hdl_t grp_hdl,
    p4_pd_grp_hdl_t* next_hdl) {
    return next<pd::operation(__func__)>(&Tables::groups, sess_hdl, dev_tgt, grp_hdl, next_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_group(p4_pd_sess_hdl_t sess_hdl,
                                                               int dev_id, p4_pd_grp_hdl_t grp_hdl,
                                                               uint16_t* max_grp_size,
                                                               uint32_t* member_count) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) -> Status {
            const Group* const group = find(chip.tables().groups, grp_hdl);
            if (!group) {
                return P4_PD_STATUS_OBJ_NOT_FOUND;
            }
            *max_grp_size = group->maxSize;
            *member_count = static_cast<uint32_t>(group->members.size());
            return P4_PD_STATUS_SUCCESS;
        },
        sess_hdl, dev_id, grp_hdl, max_grp_size, member_count);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_grp_hdl_t grp_hdl, p4_pd_mbr_hdl_t* mbr_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) { return nextMemberOf(chip, grp_hdl, kNoHandle, mbr_hdl); }, sess_hdl,
        dev_id, grp_hdl, mbr_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_next_group_member(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_grp_hdl_t grp_hdl, p4_pd_mbr_hdl_t mbr_hdl,
    p4_pd_mbr_hdl_t* next_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) { return nextMemberOf(chip, grp_hdl, mbr_hdl, next_hdl); }, sess_hdl,
        dev_id, grp_hdl, mbr_hdl, next_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_group_member_state_get(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_grp_hdl_t grp_hdl, p4_pd_mbr_hdl_t mbr_hdl,
    uint32_t* state) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) -> Status {
            const Group* const group = find(chip.tables().groups, grp_hdl);
            const bool* const isActive = group ? find(group->members, mbr_hdl) : nullptr;
            if (!isActive) {
                return P4_PD_STATUS_OBJ_NOT_FOUND;
            }
            *state = *isActive ? P4_PD_MEMBER_ACTIVE : P4_PD_MEMBER_INACTIVE;
            return P4_PD_STATUS_SUCCESS;
        },
        sess_hdl, dev_id, grp_hdl, mbr_hdl, state);
}

pipe_status p4_pd_velmor_switch_get_usage(p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt,
                                          p4_pd_velmor_switch_usage_t* usage) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) -> Status {
            // Walks begin with it: so they show what is on the switch, whoever put it there.
            chip.link().forgetTables();
            const Tables& now = chip.tables();
            *usage = {.entries = static_cast<uint32_t>(now.entries.size()),
                      .entry_capacity = Chip::kEntryCapacity,
                      .members = static_cast<uint32_t>(now.members.size()),
                      .member_capacity = Chip::kMemberCapacity,
                      .groups = static_cast<uint32_t>(now.groups.size()),
                      .group_capacity = Chip::kGroupCapacity,
                      .group_size_limit = Chip::kGroupSizeLimit};
            return P4_PD_STATUS_SUCCESS;
        },
        sess_hdl, dev_tgt, usage);
}
