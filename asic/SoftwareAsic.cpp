#include "asic/SoftwareAsic.h"

#include "asic/Boundary.h"
#include "asic/DataPath.h"
#include "asic/Runtime.h"

#include <cstdio>

using namespace asic;

namespace {

/// For calls that have no status to return: the fallback stands in where even the runtime itself
/// could not be made.
template <class Answer, class Function>
Answer answered(Answer fallback, const Function& function) noexcept {
    try {
        return function(runtime());
    } catch (...) {
        return fallback;
    }
}

template <class Function>
void done(const Function& function) noexcept {
    answered(0, [&](Runtime& all) {
        function(all);
        return 0;
    });
}

} // namespace

// ---- Chips

pipe_status velmor_asic_chip_config_default(velmor_asic_chip_config_t* config) {
    if (!config)
        return P4_PD_STATUS_INVALID_ARG;
    *config = kDefaultChipConfig;
    return P4_PD_STATUS_SUCCESS;
}

pipe_status velmor_asic_chip_create(int device_id, const velmor_asic_chip_config_t* config) {
    return contained(
        [&] { return runtime().chips.create(device_id, config ? *config : kDefaultChipConfig); });
}

pipe_status velmor_asic_chip_destroy(int device_id) {
    return contained([&] { return runtime().chips.destroy(device_id); });
}

void velmor_asic_reset(void) {
    runtimeDel();
}

// ---- Data path

pipe_status velmor_asic_forward(int device_id, uint16_t pipe, uint32_t metadata, uint32_t flow_hash,
                                velmor_asic_result_t* result) {
    return contained([&]() -> Status {
        const Chip* const chip = runtime().chips.find(device_id);
        if (!chip || !result)
            return P4_PD_STATUS_INVALID_ARG;
        const auto fate = forward(*chip, pipe, metadata, flow_hash);
        if (!fate)
            return P4_PD_STATUS_INVALID_ARG;
        *result = *fate;
        return P4_PD_STATUS_SUCCESS;
    });
}

const char* velmor_asic_outcome_name(uint32_t outcome) {
    switch (outcome) {
    case VELMOR_ASIC_FORWARDED:
        return "forwarded";
    case VELMOR_ASIC_MISS:
        return "miss";
    case VELMOR_ASIC_DROPPED_NO_ACTIVE_MEMBER:
        return "dropped: no active member";
    }
    return "unknown";
}

// ---- Call log

pipe_status velmor_asic_log_start(uint32_t capacity) {
    if (capacity == 0 || capacity > VELMOR_ASIC_LOG_MAX_CAPACITY)
        return P4_PD_STATUS_INVALID_ARG;
    return contained([&]() -> Status {
        runtime().log.start(capacity);
        return P4_PD_STATUS_SUCCESS;
    });
}

void velmor_asic_log_stop(void) {
    done([](Runtime& all) { all.log.stop(); });
}

void velmor_asic_log_clear(void) {
    done([](Runtime& all) { all.log.clear(); });
}

uint64_t velmor_asic_log_begin(void) {
    return answered(UINT64_C(1), [](Runtime& all) { return all.log.begin(); });
}

uint64_t velmor_asic_log_end(void) {
    return answered(UINT64_C(1), [](Runtime& all) { return all.log.end(); });
}

pipe_status velmor_asic_log_read(uint64_t sequence, velmor_asic_call_t* call) {
    return contained([&]() -> Status {
        if (!call)
            return P4_PD_STATUS_INVALID_ARG;
        const CallRecord* const record = runtime().log.find(sequence);
        if (!record)
            return P4_PD_STATUS_OBJ_NOT_FOUND;
        *call = {record->sequence, kOperations[record->operation].name, record->status};
        return P4_PD_STATUS_SUCCESS;
    });
}

int velmor_asic_log_format(uint64_t sequence, char* buffer, size_t size) {
    return answered(-1, [&](Runtime& all) {
        const CallRecord* const record = all.log.find(sequence);
        return record ? std::snprintf(buffer, size, "%s", toText(*record).c_str()) : -1;
    });
}

// ---- Fault plan

pipe_status velmor_asic_fault_plan(const char* operation, uint32_t nth, pipe_status status,
                                   uint32_t mode) {
    return contained([&]() -> Status {
        const bool isMode = mode == VELMOR_ASIC_FAULT_ONCE || mode == VELMOR_ASIC_FAULT_ALWAYS;
        if (!operation || nth == 0 || status == P4_PD_STATUS_SUCCESS || !isMode)
            return P4_PD_STATUS_INVALID_ARG;
        const std::size_t index = findOperation(operation);
        if (index == kOperations.size())
            return P4_PD_STATUS_INVALID_ARG;
        runtime().faults.add({index, nth, status, mode});
        return P4_PD_STATUS_SUCCESS;
    });
}

void velmor_asic_fault_clear(void) {
    done([](Runtime& all) { all.faults.clear(); });
}

uint32_t velmor_asic_fault_count(void) {
    return answered(UINT32_C(0),
                    [](Runtime& all) { return static_cast<std::uint32_t>(all.faults.count()); });
}
