// What tools ask of the library beyond the PD API (pd/PdTools.h).

#include "pd/PdTools.h"

#include "ovs/Boundary.h"
#include "ovs/Mapping.h"
#include "ovs/Trace.h"

using namespace ovs;

namespace {

/// For calls that have no status to return.
template <class Answer, class Function>
Answer answered(Answer fallback, const Function& function) noexcept {
    try {
        return function(runtime());
    } catch (...) {
        return fallback;
    }
}

/// Runs function(chip) for the one device that there is.
template <class Function>
Status withChip(int device, const Function& function) noexcept {
    return contained([&]() -> Status {
        if (device != kDevice) {
            return P4_PD_STATUS_INVALID_ARG;
        }
        return function(runtime().madeChip());
    });
}

/// What became of a packet, by the switch's account of its path.
velmor_asic_result_t resultOf(const Path& path, const Tables& tables) {
    velmor_asic_result_t result{};
    result.entry_hdl = path.entry;
    result.default_entry = tables.defaults.contains(path.entry);
    if (path.entry == kNoHandle) {
        result.outcome = VELMOR_ASIC_MISS;
        return result;
    }
    const bool isGroup = tables.groups.contains(path.target);
    const Handle taken = isGroup ? path.bucket : path.target;
    result.grp_hdl = isGroup ? path.target : kNoHandle;
    const Member* const member = find(tables.members, taken);
    if (!member) {
        result.outcome = VELMOR_ASIC_DROPPED_NO_ACTIVE_MEMBER;
        return result;
    }
    result.outcome = VELMOR_ASIC_FORWARDED;
    result.mbr_hdl = taken;
    result.action = member->action.id;
    // The switch drops what is for a port that it cannot have; for the others its word counts.
    if (member->action.id == P4_PD_ACTION_setLagPort) {
        result.port = isPort(member->action.port) ? path.port.value_or(0) : member->action.port;
    }
    return result;
}

} // namespace

// ---- The chip

pipe_status velmor_asic_chip_attach(int device_id, const char* path,
                                    const velmor_asic_chip_config_t*) {
    return contained([&]() -> Status {
        Runtime& all = runtime();
        all.problem.clear();
        if (device_id != kDevice || !path) {
            throw BadSetting("the switch is device 0");
        }
        auto chip = std::make_unique<Chip>(Settings::read(path));
        static_cast<void>(chip->tables());
        all.chip = std::move(chip);
        return P4_PD_STATUS_SUCCESS;
    });
}

const char* velmor_asic_attach_error(void) {
    return answered("out of memory", [](Runtime& all) { return all.problem.c_str(); });
}

pipe_status velmor_asic_chip_boot(int device_id, uint64_t* generation) {
    return withChip(device_id, [&](Chip& chip) -> Status {
        if (!generation) {
            return P4_PD_STATUS_INVALID_ARG;
        }
        *generation = chip.link().boot();
        return P4_PD_STATUS_SUCCESS;
    });
}

pipe_status velmor_asic_chip_power_cycle(int device_id) {
    return withChip(device_id, [](Chip& chip) {
        chip.link().powerCycle();
        return P4_PD_STATUS_SUCCESS;
    });
}

void velmor_asic_reset(void) {
    runtimeDel();
}

// ---- Data path

pipe_status velmor_asic_forward(int device_id, uint16_t pipe, uint32_t metadata, uint32_t flow_hash,
                                velmor_asic_result_t* result) {
    return withChip(device_id, [&](Chip& chip) -> Status {
        // There are no separate pipes, so all decide alike, and the first stands for them.
        if (!result || (pipe != 0 && pipe != P4_PD_ALL_PIPES)) {
            return P4_PD_STATUS_INVALID_ARG;
        }
        const Tables& now = chip.tables();
        *result = resultOf(trace(chip.link().settings(), metadata, flow_hash), now);
        return P4_PD_STATUS_SUCCESS;
    });
}

pipe_status velmor_asic_entry_read(int device_id, p4_pd_entry_hdl_t entry_hdl,
                                   velmor_asic_entry_t* entry) {
    return withChip(device_id, [&](Chip& chip) -> Status {
        const Tables& now = chip.tables();
        const Entry* const found = now.findEntry(entry_hdl);
        if (!entry) {
            return P4_PD_STATUS_INVALID_ARG;
        }
        if (!found) {
            return P4_PD_STATUS_OBJ_NOT_FOUND;
        }
        const auto& [key, target] = *found;
        *entry = {.value = key.value,
                  .mask = key.mask,
                  .priority = key.priority,
                  .default_entry = now.defaults.contains(entry_hdl),
                  .grp_hdl = target.isGroup ? target.handle : kNoHandle,
                  .mbr_hdl = target.isGroup ? kNoHandle : target.handle};
        return P4_PD_STATUS_SUCCESS;
    });
}

// ---- Call log

pipe_status velmor_asic_log_start(uint32_t capacity) {
    if (capacity == 0 || capacity > VELMOR_ASIC_LOG_MAX_CAPACITY) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    return contained([&] {
        runtime().log.start(capacity);
        return P4_PD_STATUS_SUCCESS;
    });
}

void velmor_asic_log_stop(void) {
    answered(0, [](Runtime& all) { return all.log.stop(), 0; });
}

void velmor_asic_log_clear(void) {
    answered(0, [](Runtime& all) { return all.log.clear(), 0; });
}

uint64_t velmor_asic_log_begin(void) {
    return answered(UINT64_C(1), [](Runtime& all) { return all.log.begin(); });
}

uint64_t velmor_asic_log_end(void) {
    return answered(UINT64_C(1), [](Runtime& all) { return all.log.end(); });
}

pipe_status velmor_asic_log_read(uint64_t sequence, velmor_asic_call_t* call) {
    return contained([&] { return pd::readCall(runtime().log.find(sequence), call); });
}

int velmor_asic_log_format(uint64_t sequence, char* buffer, size_t size) {
    return answered(
        -1, [&](Runtime& all) { return pd::formatCall(all.log.find(sequence), buffer, size); });
}

// ---- Fault plan

pipe_status velmor_asic_fault_plan(const char* operation, uint32_t nth, pipe_status status,
                                   uint32_t mode) {
    return contained([&] { return runtime().faults.plan(operation, nth, status, mode); });
}

void velmor_asic_fault_clear(void) {
    answered(0, [](Runtime& all) { return all.faults.clear(), 0; });
}

uint32_t velmor_asic_fault_count(void) {
    return answered(UINT32_C(0),
                    [](Runtime& all) { return static_cast<std::uint32_t>(all.faults.count()); });
}
