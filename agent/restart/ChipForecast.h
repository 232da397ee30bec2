#pragma once

#include <map>
#include <vector>

#include "agent/ChipState.h"

namespace LagAgent {

/// What of the chip's first state is still there after the steps planned so far: which entries
/// point at which of the groups, and how many groups more have room.
class ChipForecast {
  public:
    explicit ChipForecast(const ChipState& chip);

    bool hasEntry(ChipHandle entry) const { return pointsAt_.contains(entry); }
    /// The group of the first state at which the entry points; 0: at none of these.
    ChipHandle groupOf(ChipHandle entry) const { return pointsAt_.at(entry); }
    std::uint32_t usersOf(ChipHandle group) const { return users_.at(group); }

    /// The entry points at a group of the first state, or at something else: 0.
    void pointAt(ChipHandle entry, ChipHandle group);
    void entryDel(ChipHandle entry);
    /// Removes the groups of the first state at which no entry points, and returns them.
    std::vector<ChipHandle> takeUnusedGroups();

    std::size_t groupRoom() const noexcept { return groupRoom_; }
    void groupMade() noexcept { --groupRoom_; }

  private:
    std::map<ChipHandle, ChipHandle> pointsAt_; // entry -> group, or 0
    std::map<ChipHandle, std::uint32_t> users_; // group -> number of entries
    std::size_t groupRoom_;
};

} // namespace LagAgent
