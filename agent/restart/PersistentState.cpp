#include "agent/restart/PersistentState.h"

#include <algorithm>

#include "agent/desired/MendingNote.h"

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

constexpr const char* kWithoutIt = "; to start without, and lose what it had, give --accept-loss";

/// A chip with records of what is on it was configured by somebody: an empty desired state in the
/// place of the lost one would take all of that away.
void requireDatabaseOfRecords(const Posix::StateDirectory& directory) {
    if (!directory.open(kStateFile) && SharedKeyManager::mayHoldRecords(directory)) {
        storageRefused(directory.pathOf(kStateFile),
                       std::string("it is not there, but the tables of records 'entries', "
                                   "'members' and 'groups' are, and not empty: put the file back") +
                           kWithoutIt);
    }
}

} // namespace

PersistentState::PersistentState(const StateOptions& options, const StatefulChip& chip)
    : directory_(options.directory), bootNow_(chip.boot) {
    if (!chip.file.empty()) {
        chipMarkPath_ = chip.file + ".agent";
        chipLock_.emplace(chipMarkPath_, chip.file);
    }
    if (!options.acceptsLoss) {
        requireDatabaseOfRecords(*directory_);
    } else {
        for (const auto& name : setLogAside(*directory_)) {
            notes_.push_back("the database is gone; what SQLite left of it is kept as " + name);
        }
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
    noteColdTables();
    keys_->commitIs(database_->commits());
    database_->onCommit([this](std::uint64_t commit) {
        keys_->commitIs(commit);
        markIs(commit);
    });
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
    isMendingNoted_ = LagAgent::isMendingNoted(*directory_, database_->history());
    if (chipLock_ && !chipMark() && database_->commits() != 0) {
        notes_.push_back(chipMarkPath_ +
                         " does not tell the commit that the chip was brought to, as after an "
                         "upgrade: were database and records both old, this start would not "
                         "notice");
    }
    if (!options.acceptsLoss) {
        requireLatest();
    }
    desired_ = database_->read();
    // A loss that was accepted: the file that was given up for this one must count as older.
    if (const auto known = latestCommit(); known > database_->commits()) {
        database_->commitsAre(known);
    }
}

std::optional<ChipMark> PersistentState::chipMark() const {
    return chipLock_ ? markIn(*chipLock_) : std::nullopt;
}

void PersistentState::markIs(std::uint64_t commit) noexcept {
    if (chipLock_) {
        LagAgent::markIs(*chipLock_, {.state = database_->state(), .commit = commit});
    }
}

/// The latest commit of this desired state of which records or chip were told.
std::uint64_t PersistentState::latestCommit() const {
    const auto mark = chipMark();
    return std::max(SharedKeyManager::latestCommit(*directory_, database_->state()),
                    mark && mark->state == database_->state() ? mark->commit : 0);
}

/// Records and chip are told of a commit when it holds, so the database that they know of is at
/// least that old.
void PersistentState::requireLatest() const {
    const std::uint64_t commits = database_->commits();
    const auto requireUpTo = [&](std::uint64_t known, const std::string& witness) {
        if (known > commits) {
            refuseAsOld("it is older than what was acknowledged: it is at commit " +
                        std::to_string(commits) + ", " + witness + " of commit " +
                        std::to_string(known));
        }
    };
    requireUpTo(SharedKeyManager::latestCommit(*directory_, database_->state()),
                "the records know");
    const auto mark = chipMark();
    if (!mark || isMendingNoted_) {
        return;
    }
    if (mark->state == database_->state()) {
        requireUpTo(mark->commit, chipMarkPath_ + " knows");
    } else if (commits != 0) {
        refuseAsOld("it is at commit " + std::to_string(commits) + " of desired state " +
                    std::to_string(database_->state()) + ", but " + chipMarkPath_ +
                    " knows that the chip was brought to commit " + std::to_string(mark->commit) +
                    " of desired state " + std::to_string(mark->state) + " since");
    }
}

void PersistentState::refuseAsOld(const std::string& why) const {
    storageRefused(database_->path(),
                   why + "; put the latest file back, with its 'desired.db-wal' if it has one" +
                       kWithoutIt);
}

void PersistentState::mendingBegins(bool isNoted) {
    if (isNoted) {
        noteMending(*directory_, database_->history());
    }
    // A state that nobody has asked for anything yet must not make another one look old: its disk
    // may have come late.
    const auto mark = chipMark();
    if (database_->commits() != 0 || !mark || mark->state == database_->state()) {
        markIs(database_->commits());
    }
}

void PersistentState::mendingEnds() noexcept {
    dropMendingNote(*directory_);
    isMendingNoted_ = false;
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

/// That there was none at all, as at the first start, is no news.
void PersistentState::noteColdTables() {
    const auto files = {&keys_->mbbGlimtTableConfig()->file(),
                        &keys_->adtGlimtTableConfig()->file(),
                        &keys_->selGrpGlimtTableConfig()->file()};
    if (std::ranges::all_of(files, &Glimt::TableFile::isNew)) {
        return;
    }
    for (const Glimt::TableFile* file : files) {
        if (!file->isWarm()) {
            const std::string kept = file->damagedCopy();
            notes_.push_back("a table of records starts empty: " + file->coldReason() +
                             (kept.empty() ? "" : "; it is kept as " + kept));
        }
    }
}

} // namespace LagAgent
