/*
 * PD API of the P4 program velmor_switch.
 *
 * The C face of the forwarding ASIC, as the chip SDK generates it from the P4 program: one function
 * per table, action-profile and selector operation. The driver resolves these by name at run time;
 * an ASIC implementation (a chip SDK or the software ASIC) defines them.
 *
 * Conventions
 * - Every function returns a pipe_status: 0 for success, otherwise one of P4_PD_STATUS_*.
 *   A call that fails changes nothing and leaves its out-arguments untouched.
 * - The first argument is the session. Session 0 is always open.
 * - Handles are 32-bit, never 0, and not reused while the chip lives.
 * - A device target names a device and a pipe scope; P4_PD_ALL_PIPES addresses every pipe at once.
 * - Out-arguments are written only on success and must not be null.
 * - The API is not thread-safe: one thread drives a chip.
 *
 * Valid as C11 and as C++20.
 */
#ifndef PD_P4_PD_VELMOR_SWITCH_H
#define PD_P4_PD_VELMOR_SWITCH_H

#include <stdbool.h>
#include <stdint.h>

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t pipe_status;

typedef uint32_t p4_pd_sess_hdl_t;
typedef uint32_t p4_pd_entry_hdl_t;
typedef uint32_t p4_pd_mbr_hdl_t;
typedef uint32_t p4_pd_grp_hdl_t;

/* The statuses that an operation of this API returns on its own account. */
enum {
    P4_PD_STATUS_SUCCESS = 0,
    P4_PD_STATUS_NO_SYS_RESOURCES = 2,
    P4_PD_STATUS_INVALID_ARG = 3,       /* unknown device, null pointer, value out of range */
    P4_PD_STATUS_ALREADY_EXISTS = 4,    /* duplicate key, duplicate group membership */
    P4_PD_STATUS_OBJ_NOT_FOUND = 6,     /* unknown entry, member, group or membership */
    P4_PD_STATUS_MAX_SESSIONS = 7,      /* every session is in use */
    P4_PD_STATUS_SESSION_NOT_FOUND = 8, /* session not open */
    P4_PD_STATUS_NO_SPACE = 9,          /* table, profile, selector or group is full */
    P4_PD_STATUS_IN_USE = 16,           /* object is still referenced */
    P4_PD_STATUS_NOT_SUPPORTED = 17,
    P4_PD_STATUS_INTERNAL_ERROR = 22
};

/* Pipe id that addresses all pipes of a device. */
#define P4_PD_ALL_PIPES 0xFFFFu

/* Table properties and the values of the entry-scope property. */
enum { P4_PD_PROPERTY_ENTRY_SCOPE = 1 };
enum { P4_PD_SCOPE_ALL_PIPELINES = 0, P4_PD_SCOPE_SINGLE_PIPELINE = 1 };

/* State of a member within a selector group. A new membership is active. */
enum { P4_PD_MEMBER_ACTIVE = 0, P4_PD_MEMBER_INACTIVE = 1 };

/* The five actions of lagPortActionProfile, numbered as member read-back reports them. */
enum {
    P4_PD_ACTION_fixL2SubintfAlignment = 0,
    P4_PD_ACTION_invalidateUcastEgressPort = 1,
    P4_PD_ACTION_setLagPort = 2,
    P4_PD_ACTION_setPhysicalPort = 3,
    P4_PD_ACTION_setTunnelInfo = 4
};

typedef struct p4_pd_dev_target {
    int device_id;
    uint16_t dev_pipe_id;
} p4_pd_dev_target_t;

/* Ternary key of lagGroup: a packet matches when (metadata & mask) == (value & mask). */
typedef struct p4_pd_velmor_switch_lagGroup_match_spec {
    uint32_t egrMd_egrL2AintfUnresolved;
    uint32_t egrMd_egrL2AintfUnresolved_mask;
} p4_pd_velmor_switch_lagGroup_match_spec_t;

typedef struct p4_pd_velmor_switch_setLagPort_action_spec {
    uint16_t action_egrL2AintfPort;
} p4_pd_velmor_switch_setLagPort_action_spec_t;

/* ---- Sessions ------------------------------------------------------------------------------ */

pipe_status p4_pd_velmor_switch_client_init(p4_pd_sess_hdl_t* sess_hdl);
pipe_status p4_pd_velmor_switch_client_cleanup(p4_pd_sess_hdl_t sess_hdl);

/* ---- Match table lagGroup ------------------------------------------------------------------ */

/*
 * Sets a table property. P4_PD_PROPERTY_ENTRY_SCOPE may only change while the table has no entry
 * and no default entry, otherwise P4_PD_STATUS_IN_USE; setting the value in force is always
 * accepted. Entries are taken only for targets that the entry scope covers: P4_PD_ALL_PIPES, or
 * single pipes.
 */
pipe_status p4_pd_velmor_switch_lagGroup_set_property(p4_pd_sess_hdl_t sess_hdl, int dev_id,
                                                      uint32_t property, uint32_t value);

/*
 * Adds an entry that points at an action-profile member. The higher priority number wins, among
 * equals the lower handle. The same mask, masked value and priority again is
 * P4_PD_STATUS_ALREADY_EXISTS. An entry points at members and groups of its own target's pipes
 * only, and a group holds such members only; otherwise P4_PD_STATUS_INVALID_ARG.
 */
pipe_status
p4_pd_velmor_switch_lagGroup_add_entry(p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt,
                                       p4_pd_velmor_switch_lagGroup_match_spec_t* match_spec,
                                       uint32_t priority, p4_pd_mbr_hdl_t mbr_hdl,
                                       p4_pd_entry_hdl_t* entry_hdl);

/* Adds an entry that points at a selector group. */
pipe_status p4_pd_velmor_switch_lagGroup_add_entry_with_selector(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt,
    p4_pd_velmor_switch_lagGroup_match_spec_t* match_spec, uint32_t priority,
    p4_pd_grp_hdl_t grp_hdl, p4_pd_entry_hdl_t* entry_hdl);

/* Repoints an entry (also the default entry, by its handle). */
pipe_status p4_pd_velmor_switch_lagGroup_modify_entry(p4_pd_sess_hdl_t sess_hdl, int dev_id,
                                                      p4_pd_entry_hdl_t entry_hdl,
                                                      p4_pd_mbr_hdl_t mbr_hdl);
pipe_status p4_pd_velmor_switch_lagGroup_modify_entry_with_selector(p4_pd_sess_hdl_t sess_hdl,
                                                                    int dev_id,
                                                                    p4_pd_entry_hdl_t entry_hdl,
                                                                    p4_pd_grp_hdl_t grp_hdl);

/* Sets the default entry. Setting it again keeps its handle. */
pipe_status p4_pd_velmor_switch_lagGroup_set_default_entry(p4_pd_sess_hdl_t sess_hdl,
                                                           p4_pd_dev_target_t dev_tgt,
                                                           p4_pd_mbr_hdl_t mbr_hdl,
                                                           p4_pd_entry_hdl_t* entry_hdl);
pipe_status p4_pd_velmor_switch_lagGroup_set_default_entry_with_selector(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_grp_hdl_t grp_hdl,
    p4_pd_entry_hdl_t* entry_hdl);

/* Removes an entry; the default entry is removed by the reset alone (P4_PD_STATUS_INVALID_ARG). */
pipe_status p4_pd_velmor_switch_lagGroup_table_delete(p4_pd_sess_hdl_t sess_hdl, int dev_id,
                                                      p4_pd_entry_hdl_t entry_hdl);

/* Restores the built-in default (miss), and ends the handle of the default entry if one was set. */
pipe_status p4_pd_velmor_switch_lagGroup_table_reset_default_entry(p4_pd_sess_hdl_t sess_hdl,
                                                                   p4_pd_dev_target_t dev_tgt);

/*
 * Reads one entry, with value and mask as they were written. Exactly one of has_mbr and has_grp is
 * set, with mbr_hdl or grp_hdl filled and the other 0. The default entry reads as value 0, mask 0,
 * priority 0. from_hw false asks for the SDK's software copy.
 */
pipe_status p4_pd_velmor_switch_lagGroup_get_entry(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_entry_hdl_t entry_hdl, bool from_hw,
    p4_pd_velmor_switch_lagGroup_match_spec_t* match_spec, uint32_t* priority, bool* has_mbr,
    bool* has_grp, p4_pd_mbr_hdl_t* mbr_hdl, p4_pd_grp_hdl_t* grp_hdl, bool* spare);

/* ---- Action profile lagPortActionProfile: members ------------------------------------------- */

pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_fixL2SubintfAlignment(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t* mbr_hdl);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_invalidateUcastEgressPort(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t* mbr_hdl);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt,
    p4_pd_velmor_switch_setLagPort_action_spec_t* action_spec, p4_pd_mbr_hdl_t* mbr_hdl);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setPhysicalPort(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t* mbr_hdl);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setTunnelInfo(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t* mbr_hdl);

pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_fixL2SubintfAlignment(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_invalidateUcastEgressPort(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl,
    p4_pd_velmor_switch_setLagPort_action_spec_t* action_spec);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setPhysicalPort(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setTunnelInfo(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl);

/* Removes a member that no entry and no group uses; otherwise P4_PD_STATUS_IN_USE. */
pipe_status p4_pd_velmor_switch_lagPortActionProfile_del_member(p4_pd_sess_hdl_t sess_hdl,
                                                                int dev_id,
                                                                p4_pd_mbr_hdl_t mbr_hdl);

/* ---- Action profile lagPortActionProfile: selector groups ----------------------------------- */

pipe_status p4_pd_velmor_switch_lagPortActionProfile_create_group(p4_pd_sess_hdl_t sess_hdl,
                                                                  p4_pd_dev_target_t dev_tgt,
                                                                  uint16_t max_grp_size,
                                                                  p4_pd_grp_hdl_t* grp_hdl);

/* Removes a group that no entry uses, and with it its memberships. */
pipe_status p4_pd_velmor_switch_lagPortActionProfile_del_group(p4_pd_sess_hdl_t sess_hdl,
                                                               int dev_id, p4_pd_grp_hdl_t grp_hdl);

pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group(p4_pd_sess_hdl_t sess_hdl,
                                                                         int dev_id,
                                                                         p4_pd_grp_hdl_t grp_hdl,
                                                                         p4_pd_mbr_hdl_t mbr_hdl);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_grp_hdl_t grp_hdl, p4_pd_mbr_hdl_t mbr_hdl);

/* state: P4_PD_MEMBER_ACTIVE or P4_PD_MEMBER_INACTIVE. */
pipe_status p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_grp_hdl_t grp_hdl, p4_pd_mbr_hdl_t mbr_hdl,
    uint32_t state);

/* ---- Read-back for tools --------------------------------------------------------------------
 *
 * Walks visit handles in rising order: start with the _first_ call, go on with _next_ and the
 * handle last seen (which may have been deleted meanwhile). P4_PD_STATUS_OBJ_NOT_FOUND ends a walk.
 */

pipe_status p4_pd_velmor_switch_lagGroup_get_first_entry_handle(p4_pd_sess_hdl_t sess_hdl,
                                                                p4_pd_dev_target_t dev_tgt,
                                                                p4_pd_entry_hdl_t* entry_hdl);
pipe_status p4_pd_velmor_switch_lagGroup_get_next_entry_handle(p4_pd_sess_hdl_t sess_hdl,
                                                               p4_pd_dev_target_t dev_tgt,
                                                               p4_pd_entry_hdl_t entry_hdl,
                                                               p4_pd_entry_hdl_t* next_hdl);
/*
 * Handle of the default entry, which the walk leaves out; P4_PD_STATUS_OBJ_NOT_FOUND while the
 * built-in default is in force.
 */
pipe_status p4_pd_velmor_switch_lagGroup_get_default_entry_handle(p4_pd_sess_hdl_t sess_hdl,
                                                                  p4_pd_dev_target_t dev_tgt,
                                                                  p4_pd_entry_hdl_t* entry_hdl);

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t* mbr_hdl);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_next_member_handle(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_mbr_hdl_t mbr_hdl,
    p4_pd_mbr_hdl_t* next_hdl);
/* action: P4_PD_ACTION_*; action_spec is filled for setLagPort and zero for the other actions. */
pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_member(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_mbr_hdl_t mbr_hdl, uint32_t* action,
    p4_pd_velmor_switch_setLagPort_action_spec_t* action_spec);

pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_grp_hdl_t* grp_hdl);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_next_group_handle(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_grp_hdl_t grp_hdl,
    p4_pd_grp_hdl_t* next_hdl);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_group(p4_pd_sess_hdl_t sess_hdl,
                                                               int dev_id, p4_pd_grp_hdl_t grp_hdl,
                                                               uint16_t* max_grp_size,
                                                               uint32_t* member_count);

/* Members of a group, in rising order of their handles. */
pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_grp_hdl_t grp_hdl, p4_pd_mbr_hdl_t* mbr_hdl);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_get_next_group_member(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_grp_hdl_t grp_hdl, p4_pd_mbr_hdl_t mbr_hdl,
    p4_pd_mbr_hdl_t* next_hdl);
pipe_status p4_pd_velmor_switch_lagPortActionProfile_group_member_state_get(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_grp_hdl_t grp_hdl, p4_pd_mbr_hdl_t mbr_hdl,
    uint32_t* state);

/* Usage counters: what is in use now, against the capacity the chip was created with. */
typedef struct p4_pd_velmor_switch_usage {
    uint32_t entries, entry_capacity;
    uint32_t members, member_capacity;
    uint32_t groups, group_capacity;
    uint32_t group_size_limit;
} p4_pd_velmor_switch_usage_t;

pipe_status p4_pd_velmor_switch_get_usage(p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt,
                                          p4_pd_velmor_switch_usage_t* usage);

#ifdef __cplusplus
}
#endif

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif
