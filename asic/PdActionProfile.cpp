// PD API: members and selector groups of the action profile lagPortActionProfile.

#include "asic/Boundary.h"
#include "pd/p4_pd_velmor_switch.h"

using namespace asic;

namespace {

Action setLagPort(const pd::ActionSpec& spec) noexcept {
    return {P4_PD_ACTION_setLagPort, spec.action_egrL2AintfPort};
}

} // namespace

// The operations that take no action data differ in their action alone.
#define ASIC_ACTION_WITHOUT_DATA(action)                                                           \
    pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_##action(                 \
        p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t* mbr_hdl) {         \
        return call<pd::operation(__func__)>(                                                      \
            [&](Chip& chip, ScopeIndex scope) {                                                    \
                return chip.profile().addMember(scope, Action{P4_PD_ACTION_##action}, mbr_hdl);    \
            },                                                                                     \
            sess_hdl, dev_tgt, mbr_hdl);                                                           \
    }                                                                                              \
    pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_##action(              \
        p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl) {                          \
        return call<pd::operation(__func__)>(                                                      \
            [&](Chip& chip) {                                                                      \
                return chip.profile().modifyMember(mbr_hdl, Action{P4_PD_ACTION_##action});        \
            },                                                                                     \
            sess_hdl, dev_id, mbr_hdl);                                                            \
    }
ASIC_ACTION_WITHOUT_DATA(fixL2SubintfAlignment)
ASIC_ACTION_WITHOUT_DATA(invalidateUcastEgressPort)
ASIC_ACTION_WITHOUT_DATA(setPhysicalPort)
ASIC_ACTION_WITHOUT_DATA(setTunnelInfo)
#undef ASIC_ACTION_WITHOUT_DATA

pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt,
    p4_pd_velmor_switch_setLagPort_action_spec_t* action_spec, p4_pd_mbr_hdl_t* mbr_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip, ScopeIndex scope) {
            return chip.profile().addMember(scope, setLagPort(*action_spec), mbr_hdl);
        },
        sess_hdl, dev_tgt, action_spec, mbr_hdl);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl,
    p4_pd_velmor_switch_setLagPort_action_spec_t* action_spec) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) { return chip.profile().modifyMember(mbr_hdl, setLagPort(*action_spec)); },
        sess_hdl, dev_id, mbr_hdl, action_spec);
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
