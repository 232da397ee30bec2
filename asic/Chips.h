// The chips by device id.
#pragma once

#include "asic/Chip.h"
#include "asic/SoftwareAsic.h"
#include "asic/Types.h"

#include <map>

namespace asic {

inline constexpr velmor_asic_chip_config_t kDefaultChipConfig{.entry_capacity = 4096,
                                                              .member_capacity = 65536,
                                                              .group_capacity = 4096,
                                                              .group_size_limit = 512,
                                                              .pipes = 4,
                                                              .first_handle = 1};

class Chips {
  public:
    /// Device 0 alone, with the default configuration.
    Chips() { chips_.try_emplace(0, kDefaultChipConfig); }

    [[nodiscard]] Status create(int deviceId, const velmor_asic_chip_config_t& config);
    [[nodiscard]] Status destroy(int deviceId) noexcept;

    /// The chip, or null.
    [[nodiscard]] Chip* find(int deviceId) noexcept {
        const auto it = chips_.find(deviceId);
        return it == chips_.end() ? nullptr : &it->second;
    }

  private:
    std::map<int, Chip> chips_;
};

} // namespace asic
