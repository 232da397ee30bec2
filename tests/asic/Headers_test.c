/* The headers as a C11 program sees them. */
#include "tests/asic/Headers.h"

#include "asic/SoftwareAsic.h"
#include "pd/p4_pd_velmor_switch.h"

_Static_assert(sizeof(pipe_status) == 4, "a status is 32 bits wide");
_Static_assert(sizeof(p4_pd_dev_target_t) == 8, "device id and pipe id");
_Static_assert(sizeof(p4_pd_velmor_switch_lagGroup_match_spec_t) == 8, "value and mask");
_Static_assert(sizeof(p4_pd_velmor_switch_setLagPort_action_spec_t) == 2, "a port");

static pipe_status addPort(p4_pd_dev_target_t target, uint16_t port, p4_pd_grp_hdl_t group) {
    p4_pd_velmor_switch_setLagPort_action_spec_t spec = {port};
    p4_pd_mbr_hdl_t member = 0;
    pipe_status status = p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort(
        0, target, &spec, &member);
    if (status == P4_PD_STATUS_SUCCESS)
        status = p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group(0, target.device_id,
                                                                              group, member);
    return status;
}

pipe_status sendFlowFromC(velmor_asic_result_t* result) {
    const p4_pd_dev_target_t target = {0, P4_PD_ALL_PIPES};
    p4_pd_velmor_switch_lagGroup_match_spec_t key = {0x10, 0xFF};
    p4_pd_grp_hdl_t group = 0;
    p4_pd_entry_hdl_t entry = 0;
    pipe_status status =
        p4_pd_velmor_switch_lagPortActionProfile_create_group(0, target, 2, &group);
    if (status == P4_PD_STATUS_SUCCESS)
        status = addPort(target, 1, group);
    if (status == P4_PD_STATUS_SUCCESS)
        status = addPort(target, 2, group);
    if (status == P4_PD_STATUS_SUCCESS)
        status =
            p4_pd_velmor_switch_lagGroup_add_entry_with_selector(0, target, &key, 1, group, &entry);
    if (status == P4_PD_STATUS_SUCCESS)
        status = velmor_asic_forward(0, 0, 0x10, 12345, result);
    return status;
}
