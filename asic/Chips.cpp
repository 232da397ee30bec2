#include "asic/Chips.h"

#include "asic/Generation.h"

namespace asic {

bool isValid(const velmor_asic_chip_config_t& config) noexcept {
    return config.group_size_limit >= 1 && config.pipes >= 1 &&
           config.pipes <= VELMOR_ASIC_MAX_PIPES && config.first_handle != kNoHandle;
}

Status Chips::create(int deviceId, const velmor_asic_chip_config_t& config) {
    if (deviceId < 0 || !isValid(config)) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    return chips_.try_emplace(deviceId, config).second ? P4_PD_STATUS_SUCCESS
                                                       : P4_PD_STATUS_ALREADY_EXISTS;
}

Status Chips::destroy(int deviceId) noexcept {
    boots_.erase(deviceId);
    return chips_.erase(deviceId) == 1 ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_INVALID_ARG;
}

Status Chips::powerCycle(int deviceId) {
    const auto chip = chips_.find(deviceId);
    if (chip == chips_.end()) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    std::map<int, Chip> fresh;
    fresh.try_emplace(deviceId, chip->second.config());
    chips_.erase(chip);
    chips_.merge(fresh);
    boots_.erase(deviceId);
    return P4_PD_STATUS_SUCCESS;
}

Status Chips::boot(int deviceId, std::uint64_t* generation) {
    if (!chips_.contains(deviceId)) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    auto boot = boots_.find(deviceId);
    if (boot == boots_.end()) {
        boot = boots_.emplace(deviceId, anyGeneration()).first; // drawn first: that may throw
    }
    *generation = boot->second;
    return P4_PD_STATUS_SUCCESS;
}

} // namespace asic
