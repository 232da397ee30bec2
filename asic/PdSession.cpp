// PD API: sessions.

#include "asic/Boundary.h"
#include "pd/p4_pd_velmor_switch.h"

using namespace asic;

pipe_status p4_pd_velmor_switch_client_init(p4_pd_sess_hdl_t* sess_hdl) {
    return call<pd::operation(__func__)>(
        [&](Sessions& sessions) { return sessions.open(sess_hdl); }, sess_hdl);
}

pipe_status p4_pd_velmor_switch_client_cleanup(p4_pd_sess_hdl_t sess_hdl) {
    return call<pd::operation(__func__)>(
        [&](Sessions& sessions) { return sessions.close(sess_hdl); }, sess_hdl);
}
