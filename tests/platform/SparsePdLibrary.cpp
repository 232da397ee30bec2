// A PD library of which little has been built: it deletes entries, and knows nothing else.
#include "pd/p4_pd_velmor_switch.h"

namespace {
uint32_t lastCall[3];
}

extern "C" {

__attribute__((visibility("default"))) pipe_status
p4_pd_velmor_switch_lagGroup_table_delete(p4_pd_sess_hdl_t session, int device,
                                          p4_pd_entry_hdl_t entry) {
    lastCall[0] = session;
    lastCall[1] = static_cast<uint32_t>(device);
    lastCall[2] = entry;
    return entry == 0 ? 6 : 0;
}

/// The arguments of the latest call.
__attribute__((visibility("default"))) const uint32_t* sparse_pd_last_call(void) {
    return lastCall;
}
}
