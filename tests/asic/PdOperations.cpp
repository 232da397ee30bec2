#include "tests/asic/PdOperations.h"

namespace asic_test {

const std::vector<PdOperation>& pdOperations() {
    static const std::vector<PdOperation> operations{
        {"p4_pd_velmor_switch_client_init", false, false, false, 1,
         [](Session, Target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_client_init(p.pass(a.sess_hdl));
         }},
        {"p4_pd_velmor_switch_client_cleanup", true, false, false, 0,
         [](Session session, Target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_client_cleanup(session);
         }},
        {"p4_pd_velmor_switch_lagGroup_set_property", true, true, false, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagGroup_set_property(session, target.device_id, 1, 0);
         }},
        {"p4_pd_velmor_switch_lagGroup_add_entry", true, true, true, 2,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagGroup_add_entry(session, target, p.pass(a.match_spec), 0,
                                                           kUnknown, p.pass(a.entry_hdl));
         }},
        {"p4_pd_velmor_switch_lagGroup_add_entry_with_selector", true, true, true, 2,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagGroup_add_entry_with_selector(
                 session, target, p.pass(a.match_spec), 0, kUnknown, p.pass(a.entry_hdl));
         }},
        {"p4_pd_velmor_switch_lagGroup_modify_entry", true, true, false, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagGroup_modify_entry(session, target.device_id, kUnknown,
                                                              kUnknown);
         }},
        {"p4_pd_velmor_switch_lagGroup_modify_entry_with_selector", true, true, false, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagGroup_modify_entry_with_selector(
                 session, target.device_id, kUnknown, kUnknown);
         }},
        {"p4_pd_velmor_switch_lagGroup_set_default_entry", true, true, true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagGroup_set_default_entry(session, target, kUnknown,
                                                                   p.pass(a.entry_hdl));
         }},
        {"p4_pd_velmor_switch_lagGroup_set_default_entry_with_selector", true, true, true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagGroup_set_default_entry_with_selector(
                 session, target, kUnknown, p.pass(a.entry_hdl));
         }},
        {"p4_pd_velmor_switch_lagGroup_table_delete", true, true, false, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagGroup_table_delete(session, target.device_id, kUnknown);
         }},
        {"p4_pd_velmor_switch_lagGroup_table_reset_default_entry", true, true, true, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagGroup_table_reset_default_entry(session, target);
         }},
        {"p4_pd_velmor_switch_lagGroup_get_entry", true, true, false, 7,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagGroup_get_entry(
                 session, target.device_id, kUnknown, false, p.pass(a.match_spec),
                 p.pass(a.priority), p.pass(a.has_mbr), p.pass(a.has_grp), p.pass(a.mbr_hdl),
                 p.pass(a.grp_hdl), p.pass(a.spare));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_add_member_with_fixL2SubintfAlignment", true,
         true, true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_add_member_with_fixL2SubintfAlignment(
                 session, target, p.pass(a.mbr_hdl));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_add_member_with_invalidateUcastEgressPort", true,
         true, true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_add_member_with_invalidateUcastEgressPort(
                 session, target, p.pass(a.mbr_hdl));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort", true, true, true, 2,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort(
                 session, target, p.pass(a.action_spec), p.pass(a.mbr_hdl));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setPhysicalPort", true, true,
         true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setPhysicalPort(
                 session, target, p.pass(a.mbr_hdl));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo", true, true, true,
         1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo(
                 session, target, p.pass(a.mbr_hdl));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_fixL2SubintfAlignment", true,
         true, false, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_fixL2SubintfAlignment(
                 session, target.device_id, kUnknown);
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_invalidateUcastEgressPort",
         true, true, false, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_invalidateUcastEgressPort(
                 session, target.device_id, kUnknown);
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort", true, true,
         false, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort(
                 session, target.device_id, kUnknown, p.pass(a.action_spec));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setPhysicalPort", true, true,
         false, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setPhysicalPort(
                 session, target.device_id, kUnknown);
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setTunnelInfo", true, true,
         false, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setTunnelInfo(
                 session, target.device_id, kUnknown);
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_del_member", true, true, false, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagPortActionProfile_del_member(session, target.device_id,
                                                                        kUnknown);
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_create_group", true, true, true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_create_group(session, target, 1,
                                                                          p.pass(a.grp_hdl));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_del_group", true, true, false, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagPortActionProfile_del_group(session, target.device_id,
                                                                       kUnknown);
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group", true, true, false, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group(
                 session, target.device_id, kUnknown, kUnknown);
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group", true, true, false, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group(
                 session, target.device_id, kUnknown, kUnknown);
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set", true, true, false, 0,
         [](Session session, Target target, Pointers&, Arguments&) {
             return p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set(
                 session, target.device_id, kUnknown, kUnknown, 0);
         }},
        {"p4_pd_velmor_switch_lagGroup_get_first_entry_handle", true, true, true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagGroup_get_first_entry_handle(session, target,
                                                                        p.pass(a.entry_hdl));
         }},
        {"p4_pd_velmor_switch_lagGroup_get_next_entry_handle", true, true, true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagGroup_get_next_entry_handle(session, target, kUnknown,
                                                                       p.pass(a.next_hdl));
         }},
        {"p4_pd_velmor_switch_lagGroup_get_default_entry_handle", true, true, true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagGroup_get_default_entry_handle(session, target,
                                                                          p.pass(a.entry_hdl));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle", true, true, true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle(
                 session, target, p.pass(a.mbr_hdl));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_get_next_member_handle", true, true, true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_get_next_member_handle(
                 session, target, kUnknown, p.pass(a.next_hdl));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_get_member", true, true, false, 2,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_get_member(
                 session, target.device_id, kUnknown, p.pass(a.action), p.pass(a.action_spec));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle", true, true, true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle(
                 session, target, p.pass(a.grp_hdl));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_get_next_group_handle", true, true, true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_get_next_group_handle(
                 session, target, kUnknown, p.pass(a.next_hdl));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_get_group", true, true, false, 2,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_get_group(
                 session, target.device_id, kUnknown, p.pass(a.max_grp_size),
                 p.pass(a.member_count));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member", true, true, false, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member(
                 session, target.device_id, kUnknown, p.pass(a.mbr_hdl));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_get_next_group_member", true, true, false, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_get_next_group_member(
                 session, target.device_id, kUnknown, kUnknown, p.pass(a.next_hdl));
         }},
        {"p4_pd_velmor_switch_lagPortActionProfile_group_member_state_get", true, true, false, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_lagPortActionProfile_group_member_state_get(
                 session, target.device_id, kUnknown, kUnknown, p.pass(a.state));
         }},
        {"p4_pd_velmor_switch_get_usage", true, true, true, 1,
         [](Session session, Target target, Pointers& p, Arguments& a) {
             return p4_pd_velmor_switch_get_usage(session, target, p.pass(a.usage));
         }},
    };
    return operations;
}

} // namespace asic_test
