// The counters of the switch (pd/PdTools.h).

#include "pd/PdTools.h"

#include "ovs/Boundary.h"

using namespace ovs;

namespace {

velmor_asic_counters_t toC(const openflow::Counters& counters) noexcept {
    return {counters.packets, counters.bytes};
}

/// Looks up one object's counters and writes them to the outputs.
template <class Map, class Write, class... Outputs>
Status lookUp(int device, Map Counts::*map, std::uint32_t object, const Write& write,
              const Outputs*... outputs) noexcept {
    return contained([&]() -> Status {
        if (device != kDevice || !(... && outputs)) {
            return P4_PD_STATUS_INVALID_ARG;
        }
        const auto* const found = find(runtime().counts.*map, object);
        if (!found) {
            return P4_PD_STATUS_OBJ_NOT_FOUND;
        }
        write(*found);
        return P4_PD_STATUS_SUCCESS;
    });
}

} // namespace

pipe_status velmor_asic_counters_read(int device_id) {
    return contained([&]() -> Status {
        if (device_id != kDevice) {
            return P4_PD_STATUS_INVALID_ARG;
        }
        runtime().counts = runtime().madeChip().counts();
        return P4_PD_STATUS_SUCCESS;
    });
}

pipe_status velmor_asic_entry_counters(int device_id, p4_pd_entry_hdl_t entry_hdl,
                                       velmor_asic_counters_t* matched) {
    return lookUp(
        device_id, &Counts::entries, entry_hdl,
        [&](const openflow::Counters& counters) { *matched = toC(counters); }, matched);
}

pipe_status velmor_asic_member_counters(int device_id, p4_pd_mbr_hdl_t mbr_hdl,
                                        velmor_asic_counters_t* taken) {
    return lookUp(
        device_id, &Counts::members, mbr_hdl,
        [&](const openflow::Counters& counters) { *taken = toC(counters); }, taken);
}

pipe_status velmor_asic_port_counters(int device_id, uint32_t port,
                                      velmor_asic_counters_t* received,
                                      velmor_asic_counters_t* sent) {
    return lookUp(
        device_id, &Counts::ports, port,
        [&](const openflow::PortCounters& counters) {
            *received = toC(counters.received);
            *sent = toC(counters.sent);
        },
        received, sent);
}

const char* velmor_asic_problem(void) {
    try {
        return runtime().problem.c_str();
    } catch (...) {
        return "out of memory";
    }
}
