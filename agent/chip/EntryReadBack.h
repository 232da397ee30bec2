#pragma once

#include <map>
#include <optional>

#include "agent/chip/Driver.h"
#include "agent/terms/ChipState.h"

namespace LagAgent {

/// What the chip says that entries point at, by the driver's ids. The driver tells that too, but
/// goes through all its handles for each entry. For one pass over the entries: it remembers
/// handles.
class EntryReadBack {
  public:
    using Target = BfLagGroup::LagGroupMemberOrGroupOrNone;

    /// REQUIRES: the driver outlives this object.
    explicit EntryReadBack(const Driver& driver) : driver_(driver) {}

    /// Of the entry with that handle, which should point at `installed`. None when the chip does
    /// not say; the default value when it points at something without an id.
    std::optional<Target> targetOf(ChipHandle entry, const Target& installed);

  private:
    std::optional<ChipTarget> read(ChipHandle entry) const;
    ChipTarget handleOf(const Target& target) const;
    template <class Map>
    void collect(const Map& map, bool isGroup);

    const Driver& driver_;
    std::map<ChipTarget, Target> targets_{}; // filled when an entry points elsewhere
};

} // namespace LagAgent
