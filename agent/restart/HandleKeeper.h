#pragma once

#include "agent/chip/Driver.h"
#include "agent/restart/Identification.h"
#include "mapped-tables/SharedKeyManager.h"

namespace LagAgent {

/**
 * The driver's handle maps while a restart puts them right. The recorder follows the maps, so what
 * is entered here is recorded when the call returns.
 */
class HandleKeeper {
  public:
    using Match = BfLagGroup::LagGroupMatchSpec::PtrConst;

    HandleKeeper(Driver& driver, MbbGlimtKey::SharedKeyManager& keys)
        : handles_(driver.handles()), table_(driver.table()), keys_(keys) {}

    /// Enters what was identified, and drops the records that stand for nothing.
    void take(const Identified& identified);

    void memberIs(std::uint32_t id, ChipHandle handle);
    void groupIs(std::uint32_t id, ChipHandle handle);
    void entryIs(const EntryName& name, ChipHandle handle);

    /// The object under the handle has gone from the chip; `record` as in `Identified::Removal`.
    void memberDel(const Identified::Removal& removed);
    void groupDel(const Identified::Removal& removed);
    void entryDel(const Identified::Removal& removed);

    /// The object by which the driver knows the entry. REQUIRES: it was entered.
    const Match& match(const EntryName& name) const { return matches_.at(name); }

  private:
    void forgetEntry(Glimt::EntryKey key);

    BfLagGroup::LagGroupTableHandles& handles_;
    BfLagGroup::LagGroupTable& table_;
    MbbGlimtKey::SharedKeyManager& keys_;
    std::map<EntryName, Match> matches_;
};

} // namespace LagAgent
