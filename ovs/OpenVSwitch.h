/*
 * Counters of the PD library over Open vSwitch: what the PD API does not have.
 *
 * Every function is exported under its C name, so that a program which loads the library at run
 * time finds it with dlsym. Each returns a pipe_status of the PD API: 0 for success,
 * P4_PD_STATUS_INVALID_ARG (3) for an unknown device or a null pointer,
 * P4_PD_STATUS_OBJ_NOT_FOUND (6) for an unknown object, and when the switch does not answer 5. A
 * call that fails leaves its out-arguments untouched. Not thread-safe, like the PD API.
 *
 * Valid as C11 and as C++20.
 */
#ifndef OVS_OPENVSWITCH_H
#define OVS_OPENVSWITCH_H

#include "pd/p4_pd_velmor_switch.h"

#include <stdint.h>

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct velmor_ovs_counters {
    uint64_t packets;
    uint64_t bytes;
} velmor_ovs_counters_t;

/*
 * Reads all counters from the switch at once. The other functions tell what was read then; an
 * object made since is unknown to them. The switch itself collects from its packet path about twice
 * a second, so what is read may be a second old.
 */
pipe_status velmor_ovs_counters_read(int device_id);

/* Packets that matched an entry or the default entry, since it was added. */
pipe_status velmor_ovs_entry_counters(int device_id, p4_pd_entry_hdl_t entry_hdl,
                                      velmor_ovs_counters_t* matched);

/* Packets that a member took, directly or as one of a group, since its action was last written. */
pipe_status velmor_ovs_member_counters(int device_id, p4_pd_mbr_hdl_t mbr_hdl,
                                       velmor_ovs_counters_t* taken);

/* Packets of a port of the switch, whoever sent them there. */
pipe_status velmor_ovs_port_counters(int device_id, uint32_t port, velmor_ovs_counters_t* received,
                                     velmor_ovs_counters_t* sent);

/* Why the latest call of this library failed that did not fail for its arguments; "" if none did.
 * Never null; valid until the next call. */
const char* velmor_ovs_problem(void);

#ifdef __cplusplus
}
#endif

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif
