#include "agent/state/PersistentState.h"

#include "agent/state/StateSchema.h"

namespace LagAgent {

using MbbGlimtKey::SharedKeyManager;

namespace {

/// Handles of one pipe mean nothing in another.
std::uint32_t deviceWord(const ChipScope& scope) {
    return std::uint32_t{scope.pipe} << 16 | scope.device;
}

/// As many records as the chip takes objects, and the default entry, so that it is the chip that
/// refuses first.
SharedKeyManager::Options tableOptions(const StateOptions& options, const ChipScope& scope,
                                       const StatefulChip::Facts& chip) {
    return {.entries = chip.usage.entry_capacity + 1,
            .members = chip.usage.member_capacity,
            .groups = chip.usage.group_capacity,
            .device = deviceWord(scope),
            .chipBoot = chip.boot,
            .beforeStore = options.beforeStore};
}

/// A chip with records of what is on it was configured by somebody: an empty desired state in the
/// place of the lost one would take all of that away.
void requireDatabaseOfRecords(const Pello::StateDirectory& directory) {
    if (!directory.open(kStateFile) && SharedKeyManager::mayHoldRecords(directory)) {
        storageRefused(directory.pathOf(kStateFile).charPtr(),
                       "it is not there, but the tables of records 'entries', 'members' and "
                       "'groups' are, and not empty: put the file back, or, to begin with nothing, "
                       "remove the tables and every 'desired.db-...' as well");
    }
}

} // namespace

PersistentState::PersistentState(const StateOptions& options, const StatefulChip& chip) {
    if (!chip.file.empty()) {
        chipLock_.emplace(chip.file + ".agent", chip.file);
    }
    requireDatabaseOfRecords(*options.directory);
    if (isStateDatabaseThere(*options.directory)) {
        database_.emplace(options.directory, chip.scope);
        desired_ = database_->read();
    }
    keys_ =
        new SharedKeyManager(options.directory, tableOptions(options, chip.scope, chip.attach()));
    // Only now, so that a chip that is not there leaves no state that is of its scope.
    if (!database_) {
        database_.emplace(options.directory, chip.scope);
    }
}

std::vector<std::string> PersistentState::coldTables() const {
    std::vector<std::string> reasons;
    bool isFirstStart = true;
    const auto look = [&](const Glimt::TableFile& file) {
        isFirstStart = isFirstStart && file.isNew();
        if (!file.isWarm()) {
            const std::string kept = file.damagedCopy().charPtr();
            reasons.push_back(
                "a table of records starts empty: " + std::string(file.coldReason().charPtr()) +
                (kept.empty() ? "" : "; it is kept as " + kept));
        }
    };
    look(keys_->mbbGlimtTableConfig()->file());
    look(keys_->adtGlimtTableConfig()->file());
    look(keys_->selGrpGlimtTableConfig()->file());
    return isFirstStart ? std::vector<std::string>{} : reasons;
}

} // namespace LagAgent
