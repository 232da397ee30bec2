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

  private:
    friend class ChipReading;

    /// False when there is no such object.
    template <class Operation, class... Arguments>
    [[nodiscard]] bool read(const Operation& operation, Arguments... arguments) const;
    /// The same for an object that a walk has just named.
    template <class Operation, class... Arguments>
    void readThere(const Operation& operation, Arguments... arguments) const;

    ChipHandle defaultEntry() const;
    ChipMember member(ChipHandle handle) const;
    ChipGroup group(ChipHandle handle) const;
    ChipEntry entry(ChipHandle handle, bool isDefault) const;

    PdReadBack pd_;
    std::uint32_t session_;
    int device_;
    p4_pd_dev_target_t target_;
};

/// Reads everything bit by bit. What was read is of one moment only if nothing has changed the chip
/// from the first bit to the last.
class ChipReading {
  public:
    /// REQUIRES: the tables outlive this object.
    explicit ChipReading(const ChipTables& tables) : tables_(tables) {}

    /// Reads so many objects more, a member of a group being one, and the rest of a group. True
    /// when everything has been read. Throws as `ChipTables::read`.
    bool goOn(std::size_t objects);
    /// REQUIRES: everything has been read.
    ChipState take() { return std::move(state_); }

  private:
    template <class First, class Next, class Visit>
    bool walk(const First& first, const Next& next, Visit visit);
    bool walkMembers();
    bool walkGroups();
    bool walkEntries();
    bool readRest();

    const ChipTables& tables_;
    ChipState state_{};
    std::size_t phase_ = 0;
    std::size_t left_ = 0;
    bool isWalking_ = false;
    ChipHandle latest_ = 0;
};

/// Shows a read-back of the chip.
void show(ChipState state, Reply& reply);

} // namespace LagAgent
