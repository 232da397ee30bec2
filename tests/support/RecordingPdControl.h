// The control side of the recording PD library, resolved by name like the PD functions themselves.
// Tests use class RecordingPd, which wraps it.
#pragma once

#include "pd/p4_pd_velmor_switch.h"

#pragma GCC visibility push(default)
extern "C" {

/// What a read of one entry gives.
struct recording_pd_entry {
    p4_pd_velmor_switch_lagGroup_match_spec_t match_spec;
    uint32_t priority;
    bool has_mbr;
    bool has_grp;
    p4_pd_mbr_hdl_t mbr_hdl;
    p4_pd_grp_hdl_t grp_hdl;
};

/// Is told of each call, rendered as one line, before the call acts or fails.
typedef void recording_pd_listener(void* context, const char* line);

/// Forgets statuses and entries; the next handle is 1 again, and nobody listens.
void recording_pd_reset(void);
void recording_pd_listener_is(recording_pd_listener* listener, void* context);
/// Lets `count` calls of the function return `status`, after `skip` further calls that succeed.
/// The latest order for a function replaces the one before; count 0 ends it.
void recording_pd_status_is(const char* function, pipe_status status, uint32_t skip,
                            uint32_t count);
/// The handle that the next out-argument gets; later ones rise from it.
void recording_pd_next_handle_is(uint32_t handle);
/// What reading the entry gives; null makes the handle unknown again, as it is at first.
void recording_pd_entry_is(p4_pd_entry_hdl_t handle, const recording_pd_entry* entry);
}
#pragma GCC visibility pop
