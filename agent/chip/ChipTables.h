#pragma once

#include "agent/chip/PdReadBack.h"
#include "agent/outcome/Reply.h"
#include "agent/terms/ChipState.h"
#include "agent/terms/Target.h"

namespace LagAgent {

/// The chip's tables in the target's pipe scope, read back through the PD library, which knows
/// nothing of the driver's ids: everything is named by handle. A refused read-back throws what a
/// refused PD call of the driver does.
class ChipTables {
  public:
    ChipTables(const PdLibrary& library, const Target& target);

    p4_pd_velmor_switch_usage_t usage() const;
    bool hasDefaultEntry() const { return defaultEntry() != 0; }
    /// Everything at once. `get_entry` is the one call among these that a call log shows.
    ChipState read() const;
    /// Shows that. It is read at once, and made readable row by row.
    void show(Reply& reply) const;

  private:
    /// False when there is no such object.
    template <class Operation, class... Arguments>
    [[nodiscard]] bool read(const Operation& operation, Arguments... arguments) const;
    /// The same for an object that a walk has just named.
    template <class Operation, class... Arguments>
    void readThere(const Operation& operation, Arguments... arguments) const;
    template <class First, class Next, class Visit, class... Where>
    void walk(const First& first, const Next& next, const Visit& visit,
              const Where&... where) const;

    ChipHandle defaultEntry() const;
    ChipMember member(ChipHandle handle) const;
    ChipGroup group(ChipHandle handle) const;
    ChipEntry entry(ChipHandle handle, bool isDefault) const;

    PdReadBack pd_;
    std::uint32_t session_;
    int device_;
    p4_pd_dev_target_t target_;
};

} // namespace LagAgent
