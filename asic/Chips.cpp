#include "asic/Chips.h"

namespace asic {

namespace {

bool isValid(const velmor_asic_chip_config_t& config) noexcept {
    return config.group_size_limit >= 1 && config.pipes >= 1 &&
           config.pipes <= VELMOR_ASIC_MAX_PIPES && config.first_handle != kNoHandle;
}

} // namespace

Status Chips::create(int deviceId, const velmor_asic_chip_config_t& config) {
    if (deviceId < 0 || !isValid(config))
        return P4_PD_STATUS_INVALID_ARG;
    return chips_.try_emplace(deviceId, config).second ? P4_PD_STATUS_SUCCESS
                                                       : P4_PD_STATUS_ALREADY_EXISTS;
}

Status Chips::destroy(int deviceId) noexcept {
    return chips_.erase(deviceId) == 1 ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_INVALID_ARG;
}

} // namespace asic
