// PD API: members and selector groups of the action profile lagPortActionProfile.

#include "asic/Boundary.h"
#include "pd/p4_pd_velmor_switch.h"

using namespace asic;

namespace {

// The operations that take no action data differ in their action alone.

template <std::size_t index>
Status addMember(p4_pd_sess_hdl_t session, p4_pd_dev_target_t target, std::uint32_t action,
                 p4_pd_mbr_hdl_t* member) noexcept {
    return call<index>(
        [&](Chip& chip, ScopeIndex scope) {
            return chip.profile().addMember(scope, Action{action}, member);
        },
        session, target, member);
}

template <std::size_t index>
Status modifyMember(p4_pd_sess_hdl_t session, int device, p4_pd_mbr_hdl_t member,
                    std::uint32_t action) noexcept {
    return call<index>(
        [&](Chip& chip) { return chip.profile().modifyMember(member, Action{action}); }, session,
        device, member);
}

Action setLagPort(const pd::ActionSpec& spec) noexcept {
    return {P4_PD_ACTION_setLagPort, spec.action_egrL2AintfPort};
}

} // namespace

pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_fixL2SubintfAlignment(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t* mbr_hdl) {
    return addMember<pd::operation(__func__)>(sess_hdl, dev_tgt, P4_PD_ACTION_fixL2SubintfAlignment,
                                              mbr_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_invalidateUcastEgressPort(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t* mbr_hdl) {
    return addMember<pd::operation(__func__)>(sess_hdl, dev_tgt,
                                              P4_PD_ACTION_invalidateUcastEgressPort, mbr_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt,
    p4_pd_velmor_switch_setLagPort_action_spec_t* action_spec, p4_pd_mbr_hdl_t* mbr_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip, ScopeIndex scope) {
            return chip.profile().addMember(scope, setLagPort(*action_spec), mbr_hdl);
        },
        sess_hdl, dev_tgt, action_spec, mbr_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setPhysicalPort(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t* mbr_hdl) {
    return addMember<pd::operation(__func__)>(sess_hdl, dev_tgt, P4_PD_ACTION_setPhysicalPort,
                                              mbr_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t* mbr_hdl) {
    return addMember<pd::operation(__func__)>(sess_hdl, dev_tgt, P4_PD_ACTION_setTunnelInfo,
                                              mbr_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_fixL2SubintfAlignment(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl) {
    return modifyMember<pd::operation(__func__)>(sess_hdl, dev_id, mbr_hdl,
                                                 P4_PD_ACTION_fixL2SubintfAlignment);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_invalidateUcastEgressPort(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl) {
    return modifyMember<pd::operation(__func__)>(sess_hdl, dev_id, mbr_hdl,
                                                 P4_PD_ACTION_invalidateUcastEgressPort);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl,
    p4_pd_velmor_switch_setLagPort_action_spec_t* action_spec) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) { return chip.profile().modifyMember(mbr_hdl, setLagPort(*action_spec)); },
        sess_hdl, dev_id, mbr_hdl, action_spec);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setPhysicalPort(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl) {
    return modifyMember<pd::operation(__func__)>(sess_hdl, dev_id, mbr_hdl,
                                                 P4_PD_ACTION_setPhysicalPort);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setTunnelInfo(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl) {
    return modifyMember<pd::operation(__func__)>(sess_hdl, dev_id, mbr_hdl,
                                                 P4_PD_ACTION_setTunnelInfo);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_del_member(p4_pd_sess_hdl_t sess_hdl,
                                                                int dev_id,
                                                                p4_pd_mbr_hdl_t mbr_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) { return chip.profile().deleteMember(mbr_hdl); }, sess_hdl, dev_id,
        mbr_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_create_group(p4_pd_sess_hdl_t sess_hdl,
                                                                  p4_pd_dev_target_t dev_tgt,
                                                                  uint16_t max_grp_size,
                                                                  p4_pd_grp_hdl_t* grp_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip, ScopeIndex scope) {
            return chip.profile().createGroup(scope, max_grp_size, grp_hdl);
        },
        sess_hdl, dev_tgt, max_grp_size, grp_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_del_group(p4_pd_sess_hdl_t sess_hdl,
                                                               int dev_id,
                                                               p4_pd_grp_hdl_t grp_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) { return chip.profile().deleteGroup(grp_hdl); }, sess_hdl, dev_id, grp_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group(p4_pd_sess_hdl_t sess_hdl,
                                                                         int dev_id,
                                                                         p4_pd_grp_hdl_t grp_hdl,
                                                                         p4_pd_mbr_hdl_t mbr_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) { return chip.profile().addToGroup(grp_hdl, mbr_hdl); }, sess_hdl, dev_id,
        grp_hdl, mbr_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_grp_hdl_t grp_hdl, p4_pd_mbr_hdl_t mbr_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) { return chip.profile().removeFromGroup(grp_hdl, mbr_hdl); }, sess_hdl,
        dev_id, grp_hdl, mbr_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_grp_hdl_t grp_hdl, p4_pd_mbr_hdl_t mbr_hdl,
    uint32_t state) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) { return chip.profile().setMemberState(grp_hdl, mbr_hdl, state); },
        sess_hdl, dev_id, grp_hdl, mbr_hdl, state);
}
