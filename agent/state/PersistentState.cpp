#include "agent/state/PersistentState.h"

namespace LagAgent {

using MbbGlimtKey::SharedKeyManager;

namespace {

/// As many records as the chip takes objects, and the default entry, so that it is the chip that
/// refuses first.
SharedKeyManager::Options tableOptions(const StateOptions& options, std::uint64_t chipBoot,
                                       const ChipTables& chip, const Target& target) {
    const auto usage = chip.usage();
    return {.entries = usage.entry_capacity + 1,
            .members = usage.member_capacity,
            .groups = usage.group_capacity,
            .device = target.device,
            .chipBoot = chipBoot,
            .beforeStore = options.beforeStore};
}

void addColdReason(const auto& table, std::vector<std::string>& reasons) {
    if (!table.file().isWarm()) {
        reasons.emplace_back(Kel::String("a table of records starts empty: ") +
                             table.file().coldReason());
    }
}

} // namespace

PersistentState::PersistentState(const StateOptions& options, std::uint64_t chipBoot,
                                 const ChipTables& chip, const Target& target)
    : keys_(new SharedKeyManager(options.directory, tableOptions(options, chipBoot, chip, target))),
      database_(options.directory) {}

std::vector<std::string> PersistentState::coldTables() const {
    std::vector<std::string> reasons;
    addColdReason(*keys_->mbbGlimtTableConfig(), reasons);
    addColdReason(*keys_->adtGlimtTableConfig(), reasons);
    addColdReason(*keys_->selGrpGlimtTableConfig(), reasons);
    return reasons;
}

} // namespace LagAgent
