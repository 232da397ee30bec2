// PD API: sessions. They are this library's own; the switch knows nothing of them.

#include "ovs/Boundary.h"

using namespace ovs;

pipe_status p4_pd_velmor_switch_client_init(p4_pd_sess_hdl_t* sess_hdl) {
    return call<pd::operation(__func__)>(
        [&](pd::Sessions& sessions) { return sessions.open(sess_hdl); }, sess_hdl);
}

pipe_status p4_pd_velmor_switch_client_cleanup(p4_pd_sess_hdl_t sess_hdl) {
    return call<pd::operation(__func__)>(
        [&](pd::Sessions& sessions) { return sessions.close(sess_hdl); }, sess_hdl);
}
