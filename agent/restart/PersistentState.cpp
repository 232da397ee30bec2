#include "agent/restart/PersistentState.h"

#include "agent/desired/StateSchema.h"

namespace LagAgent {

using MbbGlimtKey::SharedKeyManager;

namespace {

/// Handles of one pipe mean nothing in another.
std::uint32_t deviceWord(const ChipScope& scope) {
    return std::uint32_t{scope.pipe} << 16 | scope.device;
}

/// As many records as the chip takes objects, and the default entry, so that it is the chip that
/// refuses first.
SharedKeyManager::Options tableOptions(const StateOptions& options, const StateDatabase& database,
                                       const ChipScope& scope, const StatefulChip::Facts& chip) {
    return {.entries = chip.usage.entry_capacity + 1,
            .members = chip.usage.member_capacity,
            .groups = chip.usage.group_capacity,
            .context = {.device = deviceWord(scope),
                        .chipBoot = chip.boot,
                        .state = database.state(),
                        .commit = database.commits()},
            .beforeStore = options.beforeStore};
}

constexpr const char* kWithoutThem = "; to start without, and lose what it had, give --accept-loss";

/// A chip with records of what is on it was configured by somebody: an empty desired state in the
/// place of the lost one would take all of that away.
void requireDatabaseOfRecords(const Posix::StateDirectory& directory) {
    if (!directory.open(kStateFile) && SharedKeyManager::mayHoldRecords(directory)) {
        storageRefused(directory.pathOf(kStateFile),
                       std::string("it is not there, but the tables of records 'entries', "
                                   "'members' and 'groups' are, and not empty: put the file back") +
                           kWithoutThem);
    }
}

/// The tables are told of a commit when it holds, so the database that they know of is at least
/// that old.
void requireLatest(const Posix::StateDirectory& directory, const StateDatabase& database) {
    const auto known = SharedKeyManager::latestCommit(directory, database.state());
    if (known > database.commits()) {
        storageRefused(database.path(),
                       "it is older than what was acknowledged: it is at commit " +
                           std::to_string(database.commits()) + ", the records know of commit " +
                           std::to_string(known) +
                           "; put the latest file back, with its 'desired.db-wal' if it has one" +
                           kWithoutThem);
    }
}

} // namespace

PersistentState::PersistentState(const StateOptions& options, const StatefulChip& chip)
    : directory_(options.directory), bootNow_(chip.boot) {
    if (!chip.file.empty()) {
        chipLock_.emplace(chip.file + ".agent", chip.file);
    }
    if (!options.acceptsLoss) {
        requireDatabaseOfRecords(*directory_);
    }
    if (isStateDatabaseThere(*directory_)) {
        openDatabase(options, chip.scope);
    }
    const auto facts = chip.attach();
    boot_ = facts.boot;
    // Only now, so that a chip that is not there leaves no state that is of its scope.
    if (!database_) {
        database_.emplace(directory_, chip.scope);
    }
    keys_ = new SharedKeyManager(directory_, tableOptions(options, *database_, chip.scope, facts));
    keys_->commitIs(database_->commits());
    database_->onCommit([this](std::uint64_t commit) { keys_->commitIs(commit); });
    database_->checkpoint();
    for (const char* name :
         {"desired.db", "desired.db-wal", "desired.db-shm", "entries", "members", "groups"}) {
        if (auto identity = directory_->identityOf(name)) {
            if (name == std::string_view("desired.db-wal")) {
                identity->size = 0; // a checkpoint cuts it short
            }
            files_.emplace_back(name, *identity);
        }
    }
}

void PersistentState::openDatabase(const StateOptions& options, const ChipScope& scope) {
    database_.emplace(directory_, scope);
    if (!options.acceptsLoss) {
        requireLatest(*directory_, *database_);
    }
    desired_ = database_->read();
    // A loss that was accepted: the file that was given up for this one must count as older.
    if (const auto known = SharedKeyManager::latestCommit(*directory_, database_->state());
        known > database_->commits()) {
        database_->commitsAre(known);
    }
}

void PersistentState::recordsIs(bool records) {
    keys_->reservesIs(records);
    if (recorder_) {
        recorder_->hasNotificationActiveIs(records);
    }
}

std::string PersistentState::harm() const {
    if (bootNow_ && bootNow_() != boot_) {
        return "the chip has lost its state: its boot generation is another one";
    }
    for (const auto& [name, identity] : files_) {
        const std::string path = directory_->pathOf(name);
        const auto now = directory_->identityOf(name);
        if (!now || !now->isSameFile(identity)) {
            return path + " was removed or replaced";
        }
        if (now->size < identity.size) {
            return path + " was cut short";
        }
    }
    return keys_->isAtCommit(database_->commits()) ? ""
                                                   : "a table of records was overwritten: it is "
                                                     "not at the desired state's latest commit";
}

std::vector<std::string> PersistentState::coldTables() const {
    std::vector<std::string> reasons;
    bool isFirstStart = true;
    const auto look = [&](const Glimt::TableFile& file) {
        isFirstStart = isFirstStart && file.isNew();
        if (!file.isWarm()) {
            const std::string kept = file.damagedCopy();
            reasons.push_back("a table of records starts empty: " + file.coldReason() +
                              (kept.empty() ? "" : "; it is kept as " + kept));
        }
    };
    look(keys_->mbbGlimtTableConfig()->file());
    look(keys_->adtGlimtTableConfig()->file());
    look(keys_->selGrpGlimtTableConfig()->file());
    return isFirstStart ? std::vector<std::string>{} : reasons;
}

} // namespace LagAgent
