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

} // namespace

PersistentState::PersistentState(const StateOptions& options, std::uint64_t chipBoot,
                                 const ChipTables& chip, const Target& target)
    : keys_(new SharedKeyManager(options.directory, tableOptions(options, chipBoot, chip, target))),
      database_(options.directory) {}

std::vector<std::string> PersistentState::coldTables() const {
    std::vector<std::string> reasons;
    bool isFirstStart = true;
    const auto look = [&](const Glimt::TableFile& file) {
        isFirstStart = isFirstStart && file.isNew();
        if (!file.isWarm()) {
            reasons.emplace_back("a table of records starts empty: " +
                                 std::string(file.coldReason().charPtr()));
        }
    };
    look(keys_->mbbGlimtTableConfig()->file());
    look(keys_->adtGlimtTableConfig()->file());
    look(keys_->selGrpGlimtTableConfig()->file());
    return isFirstStart ? std::vector<std::string>{} : reasons;
}

} // namespace LagAgent
