#pragma once

#include <optional>
#include <string>

#include "BfLagGroup/LagGroupTable.h"
#include "mapped-tables/SharedKeyManager.h"

namespace LagAgent {

/**
 * Follows the driver's handles and mirrors every change into the shared tables, so that the next
 * run finds what this one leaves.
 *
 * A record is there before the PD call that it stems from returns to the agent. Death in between
 * leaves a reservation in the tables, or an object on the chip that nobody recorded; a restart
 * puts both right.
 *
 * A record that cannot be stored does not fail the change, which the chip has made already: the
 * object counts as unrecorded, and the failure is kept for whoever asks.
 */
class Recorder : public Kel::PtrInterface::NotifieeConst {
  public:
    /// Follows the table's handles from now on. REQUIRES: the table's key manager is `keys`, and
    /// the driver's factories are done, so that the handles which are there are those of records.
    Recorder(const BfLagGroup::LagGroupTable& table, MbbGlimtKey::SharedKeyManager::Ptr keys);

    /// To be told of every entry that was set: the driver reserves a key whenever it sets the
    /// default entry, but announces the handle only if that has changed.
    void entryWasSet(const BfLagGroup::LagGroupMatchSpec::PtrConst& match);

    /// The latest failure since the last call, if there was one.
    std::optional<std::string> takeFailure();

    void onAttribute(Kel::AttributeId id, const void* key) override;

  private:
    using Match = BfLagGroup::LagGroupMatchSpec::PtrConst;

    void record(const Match& match);
    void record(RuxTable::RuxGroupId group);
    void record(RuxTable::RuxMemberId member);
    Glimt::MbbVantof::EntryConfig entryRecord(const Match& match) const;
    template <class Key>
    void recordOrKeepFailure(const Key& key);

    const BfLagGroup::LagGroupTable& table_;
    const BfLagGroup::LagGroupTableHandles& handles_;
    MbbGlimtKey::SharedKeyManager::Ptr keys_;
    std::optional<std::string> failure_;
};

} // namespace LagAgent
