// The chips by device id.
#pragma once

#include <cstdint>
#include <map>

#include "asic/Chip.h"
#include "asic/SoftwareAsic.h"
#include "asic/Types.h"

namespace asic {

inline constexpr velmor_asic_chip_config_t kDefaultChipConfig{.entry_capacity = 4096,
                                                              .member_capacity = 65536,
                                                              .group_capacity = 4096,
                                                              .group_size_limit = 512,
                                                              .pipes = 4,
                                                              .first_handle = 1};

/// Whether the values of a configuration are in range.
[[nodiscard]] bool isValid(const velmor_asic_chip_config_t& config) noexcept;

class Chips {
  public:
    /// Device 0 alone, with the default configuration.
    Chips() { chips_.try_emplace(0, kDefaultChipConfig); }

    [[nodiscard]] Status create(int deviceId, const velmor_asic_chip_config_t& config);
    [[nodiscard]] Status destroy(int deviceId) noexcept;

    /// An empty chip of the same configuration takes the chip's place. On bad_alloc nothing has
    /// changed.
    [[nodiscard]] Status powerCycle(int deviceId);

    /// The number of the chip's boot. It is drawn when it is first asked for, again
    /// if that failed.
    [[nodiscard]] Status boot(int deviceId, std::uint64_t* generation);

    /// The chip, or null.
    [[nodiscard]] Chip* find(int deviceId) noexcept {
        const auto it = chips_.find(deviceId);
        return it == chips_.end() ? nullptr : &it->second;
    }

  private:
    std::map<int, Chip> chips_;
    std::map<int, std::uint64_t> boots_; // of the chips that were asked for it
};

} // namespace asic
