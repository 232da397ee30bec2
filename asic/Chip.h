// One chip: its whole forwarding state. Knows neither sessions nor the C API nor packets.
#pragma once

#include <cstdint>
#include <optional>

#include "asic/ActionProfile.h"
#include "asic/HandleCounter.h"
#include "asic/MatchTable.h"
#include "asic/SoftwareAsic.h"
#include "asic/Types.h"

namespace asic {

class Chip {
  public:
    /// REQUIRES: the values of config are in range.
    explicit Chip(const velmor_asic_chip_config_t& config)
        : config_(config), handles_(config.first_handle), pipes_(config.pipes),
          profile_(config.pipes + 1u, config, handles_), table_(config, profile_, handles_) {}

    // The parts refer to each other.
    Chip(const Chip&) = delete;
    Chip& operator=(const Chip&) = delete;

    /// The scope that a pipe id names, if the chip has it.
    [[nodiscard]] std::optional<ScopeIndex> scope(std::uint16_t pipeId) const noexcept {
        if (pipeId == P4_PD_ALL_PIPES) {
            return pipes_;
        }
        if (pipeId < pipes_) {
            return pipeId;
        }
        return std::nullopt;
    }

    /// All pipes, and the scope of all of them, which is the last.
    [[nodiscard]] ScopeIndex scopes() const noexcept {
        return static_cast<ScopeIndex>(pipes_ + 1u);
    }

    [[nodiscard]] const velmor_asic_chip_config_t& config() const noexcept { return config_; }

    [[nodiscard]] HandleCounter& handles() noexcept { return handles_; }
    [[nodiscard]] const HandleCounter& handles() const noexcept { return handles_; }
    [[nodiscard]] ActionProfile& profile() noexcept { return profile_; }
    [[nodiscard]] const ActionProfile& profile() const noexcept { return profile_; }
    [[nodiscard]] MatchTable& table() noexcept { return table_; }
    [[nodiscard]] const MatchTable& table() const noexcept { return table_; }

  private:
    velmor_asic_chip_config_t config_;
    HandleCounter handles_;
    ScopeIndex pipes_;
    ActionProfile profile_;
    MatchTable table_;
};

} // namespace asic
