#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "agent/AsicControl.h"
#include "agent/ChipTables.h"
#include "agent/state/Recorder.h"
#include "agent/state/StateDatabase.h"
#include "platform/Pello/StateDirectory.h"

namespace LagAgent {

struct StateOptions {
    /// Where everything is kept; having it makes this process its only agent.
    std::shared_ptr<const Pello::StateDirectory> directory{};
    /// The file of the software ASIC's chip; empty: "chip" in the directory.
    std::string chipFile{};
    /// The boot generation of a chip whose PD library has no such controls.
    std::uint64_t chipBoot = 0;
    /// Told of what a person should know of the start, as soon as it is known.
    std::function<void(const std::string& note)> onNote{};
    /// Called before every store to a table of records.
    Glimt::SlotTable::BeforeStore beforeStore{};
};

/**
 * What a stateful agent keeps over its restarts, all in one state directory: the records of the
 * chip's handles, and the desired state.
 */
class PersistentState {
  public:
    /// Opens everything; throws `Pello::StateException` and `CommandError` when something must not
    /// be used, with the chip untouched. REQUIRES: the device's chip is there.
    PersistentState(const StateOptions& options, std::uint64_t chipBoot, const ChipTables& chip,
                    const Target& target);

    MbbGlimtKey::SharedKeyManager& keys() const noexcept { return *keys_; }
    const MbbGlimtKey::SharedKeyManager::Ptr& keysPtr() const noexcept { return keys_; }
    StateDatabase& database() noexcept { return database_; }
    /// Why a table of records started empty, a line each; that there was none at all, as at the
    /// first start, is no news.
    std::vector<std::string> coldTables() const;

    /// From now on the driver's handles are recorded. REQUIRES: the driver's factories are done.
    void record(const BfLagGroup::LagGroupTable& table) { recorder_.emplace(table, keys_); }
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

  private:
    MbbGlimtKey::SharedKeyManager::Ptr keys_;
    StateDatabase database_;
    std::optional<Recorder> recorder_;
};

} // namespace LagAgent
