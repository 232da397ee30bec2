#include "asic/SoftwareAsic.h"

#include "asic/Boundary.h"
#include "asic/DataPath.h"
#include "asic/Runtime.h"

#include <array>
#include <cstdio>
#include <memory>

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
        all.watchedIs();
        return 0;
    });
}

/// For calls about the call log: that of the attached chip, if there is one.
template <class Function>
auto onLog(Runtime& all, const Function& function) {
    return all.attached ? function(*all.attached) : function(all.log);
}

/// The device's chip with all that other processes did to it; null if there is none.
[[gnu::noinline, gnu::cold]] const Chip* caughtUp(Runtime& all, int deviceId) {
    if (AttachedChip* const attached = all.attachedAs(deviceId))
        attached->catchUp();
    return all.chip(deviceId);
}

// Why the latest attach or making of a file failed. Not in the runtime, which may be what there was
// no memory for.
constinit std::array<char, 1024> attachError{};

template <class... Arguments>
void attachErrorIs(const char* format, const Arguments&... arguments) noexcept {
    std::snprintf(attachError.data(), attachError.size(), format, arguments...);
}

/// Does something with a chip file, and keeps why it failed.
template <class Function>
Status withChipFile(bool isInRange, const velmor_asic_chip_config_t* config,
                    const Function& function) noexcept {
    attachErrorIs("out of memory");
    const Status status = contained([&]() -> Status {
        const velmor_asic_chip_config_t& wanted = config ? *config : kDefaultChipConfig;
        if (!isInRange || !isValid(wanted)) {
            attachErrorIs("the device, the path or the configuration is out of range");
            return P4_PD_STATUS_INVALID_ARG;
        }
        try {
            return function(runtime(), wanted);
        } catch (const ChipFileError& error) {
            attachErrorIs("%s", error.what());
            throw;
        }
    });
    if (status == P4_PD_STATUS_SUCCESS)
        attachErrorIs("%s", "");
    return status;
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
    return contained([&]() -> Status {
        Runtime& all = runtime();
        if (all.attachedAs(device_id))
            return P4_PD_STATUS_ALREADY_EXISTS;
        return all.chips.create(device_id, config ? *config : kDefaultChipConfig);
    });
}

pipe_status velmor_asic_chip_destroy(int device_id) {
    return contained([&]() -> Status {
        Runtime& all = runtime();
        if (!all.attachedAs(device_id))
            return all.chips.destroy(device_id);
        all.attached.reset();
        all.watchedIs();
        return P4_PD_STATUS_SUCCESS;
    });
}

// ---- Chips in files

pipe_status velmor_asic_chip_attach(int device_id, const char* path,
                                    const velmor_asic_chip_config_t* config) {
    const auto attach = [&](Runtime& all, const velmor_asic_chip_config_t& wanted) -> Status {
        if (all.attached) {
            attachErrorIs("%s: device %d has an attached chip, and a process can have only one",
                          path, all.attached->device());
            return P4_PD_STATUS_ALREADY_EXISTS;
        }
        all.attached = std::make_unique<AttachedChip>(device_id, path, wanted, all.steps);
        static_cast<void>(all.chips.destroy(device_id)); // it need not be there
        all.watchedIs();
        return P4_PD_STATUS_SUCCESS;
    };
    return withChipFile(device_id >= 0 && path, config, attach);
}

pipe_status velmor_asic_chip_file_make(const char* path, const velmor_asic_chip_config_t* config) {
    return withChipFile(path != nullptr, config,
                        [&](Runtime& all, const velmor_asic_chip_config_t& wanted) {
                            ChipFile::makeNew(path, wanted, all.steps);
                            return P4_PD_STATUS_SUCCESS;
                        });
}

const char* velmor_asic_attach_error(void) {
    return attachError.data();
}

pipe_status velmor_asic_chip_boot(int device_id, uint64_t* generation) {
    return contained([&]() -> Status {
        if (!generation)
            return P4_PD_STATUS_INVALID_ARG;
        AttachedChip* const attached = runtime().attachedAs(device_id);
        if (!attached)
            return runtime().chips.boot(device_id, generation);
        attached->catchUp();
        *generation = attached->generation();
        return P4_PD_STATUS_SUCCESS;
    });
}

pipe_status velmor_asic_chip_power_cycle(int device_id) {
    return contained([&]() -> Status {
        AttachedChip* const attached = runtime().attachedAs(device_id);
        if (!attached)
            return runtime().chips.powerCycle(device_id);
        attached->powerCycle();
        return P4_PD_STATUS_SUCCESS;
    });
}

// ---- Steps

void velmor_asic_step_hook(velmor_asic_step_hook_t hook, void* context) {
    done([&](Runtime& all) { all.steps.hookIs(hook, context); });
}

void velmor_asic_reset(void) {
    runtimeDel();
}

// ---- Data path

pipe_status velmor_asic_forward(int device_id, uint16_t pipe, uint32_t metadata, uint32_t flow_hash,
                                velmor_asic_result_t* result) {
    return contained([&]() -> Status {
        Runtime& all = runtime();
        const Chip* const chip =
            all.attached ? caughtUp(all, device_id) : all.chips.find(device_id);
        if (!chip || !result)
            return P4_PD_STATUS_INVALID_ARG;
        const auto fate = forward(*chip, pipe, metadata, flow_hash);
        if (!fate)
            return P4_PD_STATUS_INVALID_ARG;
        *result = *fate;
        return P4_PD_STATUS_SUCCESS;
    });
}

pipe_status velmor_asic_entry_read(int device_id, p4_pd_entry_hdl_t entry_hdl,
                                   velmor_asic_entry_t* entry) {
    return contained([&]() -> Status {
        Runtime& all = runtime();
        const Chip* const chip = caughtUp(all, device_id);
        if (!chip || !entry)
            return P4_PD_STATUS_INVALID_ARG;
        const Entry* const found = chip->table().find(entry_hdl);
        if (!found)
            return P4_PD_STATUS_OBJ_NOT_FOUND;
        const Target target = found->target;
        *entry = {.value = found->key.value,
                  .mask = found->key.mask,
                  .priority = found->key.priority,
                  .default_entry = chip->table().defaults().find(entry_hdl) != nullptr,
                  .grp_hdl = target.isGroup ? target.handle : kNoHandle,
                  .mbr_hdl = target.isGroup ? kNoHandle : target.handle};
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
        Runtime& all = runtime();
        onLog(all, [capacity](auto& log) { log.start(capacity); });
        all.watchedIs();
        return P4_PD_STATUS_SUCCESS;
    });
}

void velmor_asic_log_stop(void) {
    done([](Runtime& all) { onLog(all, [](auto& log) { log.stop(); }); });
}

void velmor_asic_log_clear(void) {
    done([](Runtime& all) { onLog(all, [](auto& log) { log.clear(); }); });
}

uint64_t velmor_asic_log_begin(void) {
    return answered(UINT64_C(1),
                    [](Runtime& all) { return onLog(all, [](auto& log) { return log.begin(); }); });
}

uint64_t velmor_asic_log_end(void) {
    return answered(UINT64_C(1),
                    [](Runtime& all) { return onLog(all, [](auto& log) { return log.end(); }); });
}

pipe_status velmor_asic_log_read(uint64_t sequence, velmor_asic_call_t* call) {
    return contained([&] {
        return onLog(runtime(), [&](auto& log) {
            const auto record = log.find(sequence);
            return pd::readCall(record ? &*record : nullptr, call);
        });
    });
}

int velmor_asic_log_format(uint64_t sequence, char* buffer, size_t size) {
    return answered(-1, [&](Runtime& all) {
        return onLog(all, [&](auto& log) {
            const auto record = log.find(sequence);
            return pd::formatCall(record ? &*record : nullptr, buffer, size);
        });
    });
}

// ---- Fault plan

pipe_status velmor_asic_fault_plan(const char* operation, uint32_t nth, pipe_status status,
                                   uint32_t mode) {
    return contained([&]() -> Status {
        const bool isMode = mode == VELMOR_ASIC_FAULT_ONCE || mode == VELMOR_ASIC_FAULT_ALWAYS;
        if (!operation || nth == 0 || status == P4_PD_STATUS_SUCCESS || !isMode)
            return P4_PD_STATUS_INVALID_ARG;
        const std::size_t index = pd::findOperation(operation);
        if (index == pd::kOperations.size())
            return P4_PD_STATUS_INVALID_ARG;
        runtime().faults.add({index, nth, status, mode});
        runtime().watchedIs();
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
