#pragma once

#include "agent/Driver.h"
#include "agent/PdReadBack.h"
#include "agent/Reply.h"

namespace LagAgent {

/// The chip's tables in the driver's pipe scope, read back through the PD library, which knows
/// nothing of the driver's ids: everything is named by handle. A refused read-back throws what a
/// refused PD call of the driver does.
class ChipTables {
  public:
    explicit ChipTables(const Driver& driver);

    p4_pd_velmor_switch_usage_t usage() const;
    bool hasDefaultEntry() const;
    void show(Reply& reply) const;

  private:
    /// False when there is no such object.
    template <class Operation, class... Arguments>
    bool read(const Operation& operation, Arguments... arguments) const;
    template <class First, class Next, class Visit>
    void walk(const First& first, const Next& next, Visit&& visit) const;

    Listing usageListing() const;
    Listing members() const;
    Listing groups() const;
    Listing entries() const;
    std::vector<Json> entryRow(std::uint32_t handle, bool isDefault) const;
    std::vector<Json> groupMembers(std::uint32_t group) const;

    PdReadBack pd_;
    std::uint32_t session_;
    int device_;
    p4_pd_dev_target_t target_;
};

} // namespace LagAgent
