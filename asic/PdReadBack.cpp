// PD API: read-back for tools.

#include "asic/Boundary.h"
#include "pd/p4_pd_velmor_switch.h"

using namespace asic;

namespace {

// Every walk is the same step in another table; the first step starts below all handles.

Status found(Handle handle, Handle* out) noexcept {
    if (handle == kNoHandle)
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    *out = handle;
    return P4_PD_STATUS_SUCCESS;
}

const auto& entriesOf(Chip& chip) noexcept {
    return chip.table().entries();
}
const auto& defaultsOf(Chip& chip) noexcept {
    return chip.table().defaults();
}
const auto& membersOf(Chip& chip) noexcept {
    return chip.profile().members();
}
const auto& groupsOf(Chip& chip) noexcept {
    return chip.profile().groups();
}

template <std::size_t index, class TableOf>
Status first(TableOf tableOf, p4_pd_sess_hdl_t session, p4_pd_dev_target_t target,
             Handle* out) noexcept {
    return call<index>(
        [&](Chip& chip, ScopeIndex scope) {
            return found(tableOf(chip).next(scope, kNoHandle), out);
        },
        session, target, out);
}

template <std::size_t index, class TableOf>
Status next(TableOf tableOf, p4_pd_sess_hdl_t session, p4_pd_dev_target_t target, Handle seen,
            Handle* out) noexcept {
    return call<index>(
        [&](Chip& chip, ScopeIndex scope) { return found(tableOf(chip).next(scope, seen), out); },
        session, target, seen, out);
}

Status nextMemberOf(Chip& chip, Handle group, Handle seen, Handle* out) noexcept {
    const Group* const record = groupsOf(chip).find(group);
    return found(record ? record->selector.next(seen) : kNoHandle, out);
}

} // namespace

pipe_status p4_pd_velmor_switch_lagGroup_get_first_entry_handle(p4_pd_sess_hdl_t sess_hdl,
                                                                p4_pd_dev_target_t dev_tgt,
                                                                p4_pd_entry_hdl_t* entry_hdl) {
    return first<pd::operation(__func__)>(entriesOf, sess_hdl, dev_tgt, entry_hdl);
}

pipe_status p4_pd_velmor_switch_lagGroup_get_next_entry_handle(p4_pd_sess_hdl_t sess_hdl,
                                                               p4_pd_dev_target_t dev_tgt,
                                                               p4_pd_entry_hdl_t entry_hdl,
                                                               p4_pd_entry_hdl_t* next_hdl) {
    return next<pd::operation(__func__)>(entriesOf, sess_hdl, dev_tgt, entry_hdl, next_hdl);
}

pipe_status p4_pd_velmor_switch_lagGroup_get_default_entry_handle(p4_pd_sess_hdl_t sess_hdl,
                                                                  p4_pd_dev_target_t dev_tgt,
                                                                  p4_pd_entry_hdl_t* entry_hdl) {
    return first<pd::operation(__func__)>(defaultsOf, sess_hdl, dev_tgt, entry_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t* mbr_hdl) {
    return first<pd::operation(__func__)>(membersOf, sess_hdl, dev_tgt, mbr_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_next_member_handle(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t mbr_hdl,
    p4_pd_mbr_hdl_t* next_hdl) {
    return next<pd::operation(__func__)>(membersOf, sess_hdl, dev_tgt, mbr_hdl, next_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_member(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl, uint32_t* action,
    p4_pd_velmor_switch_setLagPort_action_spec_t* action_spec) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) -> Status {
            const Member* const member = membersOf(chip).find(mbr_hdl);
            if (!member)
                return P4_PD_STATUS_OBJ_NOT_FOUND;
            *action = member->action.id;
            action_spec->action_egrL2AintfPort = member->action.port;
            return P4_PD_STATUS_SUCCESS;
        },
        sess_hdl, dev_id, mbr_hdl, action, action_spec);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_grp_hdl_t* grp_hdl) {
    return first<pd::operation(__func__)>(groupsOf, sess_hdl, dev_tgt, grp_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_next_group_handle(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_grp_hdl_t grp_hdl,
    p4_pd_grp_hdl_t* next_hdl) {
    return next<pd::operation(__func__)>(groupsOf, sess_hdl, dev_tgt, grp_hdl, next_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_group(p4_pd_sess_hdl_t sess_hdl,
                                                               int dev_id, p4_pd_grp_hdl_t grp_hdl,
                                                               uint16_t* max_grp_size,
                                                               uint32_t* member_count) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) -> Status {
            const Group* const group = groupsOf(chip).find(grp_hdl);
            if (!group)
                return P4_PD_STATUS_OBJ_NOT_FOUND;
            *max_grp_size = group->selector.maxSize();
            *member_count = static_cast<uint32_t>(group->selector.memberships().size());
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
            const Group* const group = groupsOf(chip).find(grp_hdl);
            const auto* const membership = group ? group->selector.find(mbr_hdl) : nullptr;
            if (!membership)
                return P4_PD_STATUS_OBJ_NOT_FOUND;
            *state = membership->active ? P4_PD_MEMBER_ACTIVE : P4_PD_MEMBER_INACTIVE;
            return P4_PD_STATUS_SUCCESS;
        },
        sess_hdl, dev_id, grp_hdl, mbr_hdl, state);
}

pipe_status p4_pd_velmor_switch_get_usage(p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt,
                                          p4_pd_velmor_switch_usage_t* usage) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip, ScopeIndex scope) -> Status {
            *usage = {.entries = entriesOf(chip).count(scope),
                      .entry_capacity = entriesOf(chip).capacity(),
                      .members = membersOf(chip).count(scope),
                      .member_capacity = membersOf(chip).capacity(),
                      .groups = groupsOf(chip).count(scope),
                      .group_capacity = groupsOf(chip).capacity(),
                      .group_size_limit = chip.profile().groupSizeLimit()};
            return P4_PD_STATUS_SUCCESS;
        },
        sess_hdl, dev_tgt, usage);
}
