#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/desired/ChipMark.h"
#include "agent/desired/StateDatabase.h"
#include "agent/restart/Recorder.h"
#include "pd/p4_pd_velmor_switch.h"
#include "platform/Pello/LockFile.h"

namespace LagAgent {

struct StateOptions {
    /// Where everything is kept; having it makes this process its only agent.
    std::shared_ptr<const Pello::StateDirectory> directory{};
    /// The file of the software ASIC's chip; empty: "chip" in the directory.
    std::string chipFile{};
    /// The boot generation of a chip whose PD library has no such controls.
    std::uint64_t chipBoot = 0;
    /// Start also where that loses what was acknowledged, or removes what nothing explains.
    bool acceptsLoss = false;
    /// Told of what a person should know of the start, as soon as it is known.
    std::function<void(const std::string& note)> onNote{};
    /// Waits before the chip is asked again for what it refuses for a while. Throws to end the
    /// start.
    std::function<void(std::chrono::milliseconds)> pause{};
    /// Called before every store to a table of records.
    Glimt::SlotTable::BeforeStore beforeStore{};
};

/// The chip that a state is about.
struct StatefulChip {
    /// What the tables of records depend on.
    struct Facts {
        std::uint64_t boot = 0;
        p4_pd_velmor_switch_usage_t usage{};
    };

    ChipScope scope{};
    /// Where it is kept; empty: in no file.
    std::string file{};
    /// Makes the chip ready for use. Called once, when everything else is known to be good.
    std::function<Facts()> attach{};
    /// Its boot generation at this moment.
    std::function<std::uint64_t()> boot{};
};

/**
 * What a stateful agent keeps over its restarts, all in one state directory: the records of the
 * chip's handles, and the desired state. A chip in a file has this agent only, by the lock on
 * "FILE.agent" beside it.
 *
 * Database, tables and chip know each other: by the number of the desired state, and by its latest
 * commit, of which the tables and the lock beside the chip are told once it holds. So these are
 * never ahead of the database that they belong to, and at most one commit behind.
 */
class PersistentState {
  public:
    /// Opens everything: takes the chip's lock, opens the database and reads it, attaches the chip,
    /// makes the database if there is none, and opens the tables. Throws `Pello::StateException`,
    /// `CommandError` and what `attach` does. Whatever is wrong with the lock or the database
    /// leaves the tables and the chip untouched. So does, unless loss is accepted, a database that
    /// is gone while there are records, or is older than these or the chip: what was acknowledged
    /// since would be lost. Tables that are older than the database start empty.
    PersistentState(const StateOptions& options, const StatefulChip& chip);

    MbbGlimtKey::SharedKeyManager& keys() const noexcept { return *keys_; }
    const MbbGlimtKey::SharedKeyManager::Ptr& keysPtr() const noexcept { return keys_; }
    StateDatabase& database() noexcept { return *database_; }
    /// The desired state as it was found. REQUIRES: not taken before.
    DesiredState takeDesired() { return std::move(desired_); }
    /// Nobody has asked for anything yet.
    bool isNew() const noexcept { return database_->commits() == 0; }
    /// What a person should know of what was found, a line each: tables of records that started
    /// empty, files that were moved aside, a chip of which nothing tells to what commit it was
    /// brought.
    const std::vector<std::string>& notes() const noexcept { return notes_; }

    /// Whether a restore, or a start that was cut short, has noted that the chip is to be brought
    /// to this desired state, whatever is removed for that.
    bool isMendingNoted() const noexcept { return isMendingNoted_; }
    /// The chip is about to be brought to the desired state, from whatever it had. What `isNoted`
    /// will be explained to the next start, should this one be cut short.
    void mendingBegins(bool isNoted);
    /// The chip is as desired.
    void mendingEnds() noexcept;

    /// From now on the driver's handles are recorded. REQUIRES: the driver's factories are done.
    void record(const BfLagGroup::LagGroupTable& table) { recorder_.emplace(table, keys_); }
    /// Switches the recording of handles and the reservation of keys off, and on again.
    void recordsIs(bool records);
    /// See `Recorder`.
    void entryWasSet(const BfLagGroup::LagGroupMatchSpec::PtrConst& match) {
        if (recorder_) {
            recorder_->entryWasSet(match);
        }
    }
    /// Why a handle could not be recorded since the last call.
    std::optional<std::string> takeFailure() {
        return recorder_ ? recorder_->takeFailure() : std::nullopt;
    }

    /// What has happened to the state under the running agent: a file that was removed or replaced,
    /// a chip that lost its state. Nothing can be kept, or relied on, from then on. Empty: nothing.
    std::string harm() const;

  private:
    void openDatabase(const StateOptions& options, const ChipScope& scope);
    std::optional<ChipMark> chipMark() const;
    void requireLatest() const;
    [[noreturn]] void refuseAsOld(const std::string& why) const;
    std::uint64_t latestCommit() const;
    void markIs(std::uint64_t commit) noexcept;
    void noteColdTables();

    std::shared_ptr<const Pello::StateDirectory> directory_;
    std::string chipMarkPath_;
    std::optional<Pello::LockFile> chipLock_; // none: the chip is in no file
    std::optional<StateDatabase> database_;   // there when the constructor has ended
    DesiredState desired_;
    bool isMendingNoted_ = false;
    std::vector<std::string> notes_;
    MbbGlimtKey::SharedKeyManager::Ptr keys_;
    std::optional<Recorder> recorder_;

    std::function<std::uint64_t()> bootNow_;
    std::uint64_t boot_ = 0;
    std::vector<std::pair<Kel::String, Pello::StateDirectory::Identity>> files_;
};

} // namespace LagAgent
