#pragma once

#include <optional>
#include <set>

#include "agent/restart/ChipForecast.h"
#include "agent/restart/Plan.h"

namespace LagAgent {

/// Makes one plan.
class Planner {
  public:
    explicit Planner(const Situation& situation);

    Plan make();

  private:
    using IdOfHandle = std::map<ChipHandle, std::uint32_t>;
    using Kind = Step::Kind;

    // What the chip has already.
    void keepEntries();
    void keepEntry(const EntryName& name, const Plan::KeptEntry& kept);
    void keepMembers();
    void adoptMembers();
    void forgetGroups();

    // Members and groups.
    void idleWhoShouldNotBeActive();
    void idleIn(ChipHandle group, const DesiredGroup& desired);
    std::set<ChipHandle> activeMembersOf(const DesiredGroup& group) const;
    void makeRoomForMembers();
    void setMembers();
    void makeGroups();
    void makeGroup(std::uint32_t id);
    void removeUnusedGroups();
    void removeUnwantedMembers();
    bool lacksGroupRoom() const { return forecast_.groupRoom() < desired_.groups.size(); }

    // Groups one by one, where they have no room beside the old ones (GroupExchange.cpp).
    void exchangeGroups();
    std::uint32_t nextToExchange(const std::set<std::uint32_t>& waiting) const;
    std::map<ChipHandle, std::uint32_t> oldGroupsOf(std::uint32_t group) const;
    void leaveGroupsForMembers();
    bool vacateOneGroup();
    std::uint32_t disturbanceOf(const std::vector<EntryName>& entries) const;
    void giveWay(const EntryName& entry);
    void park(const EntryName& entry, std::uint32_t member);
    void pointNowhere(const EntryName& entry);
    std::optional<std::uint32_t> parkingMember(const EntryName& entry) const;

    // Entries.
    void pointAtWhatIsComplete();
    bool isComplete(std::uint32_t group) const;
    void makeRoomForEntries();
    void pointEntries();
    void pointEntry(const EntryName& name, ChipHandle chipGroup = 0);
    void removeUnwantedEntries();

    void checkCapacities();
    void removeObject(Kind kind, ChipHandle handle, const IdOfHandle& recorded);
    void remove(const Step& step, bool isOrphan);

    const Records& records_;
    const ChipState& chip_;
    const DesiredState& desired_;
    ChipForecast forecast_;
    Plan plan_;
    std::map<std::uint32_t, std::vector<EntryName>> entriesOf_; // by desired group
    std::set<EntryName> pointed_;
    std::set<ChipHandle> wantedEntries_;
    /// Desired members that have a handle.
    std::map<std::uint32_t, ChipHandle> members_;
    std::set<ChipHandle> wantedMembers_;
    std::map<ChipHandle, Glimt::EntryKey> recordedEntries_;
    IdOfHandle recordedMembers_;
    IdOfHandle recordedGroups_;
    /// Members of the chip's groups that a step has made inactive.
    std::set<std::pair<ChipHandle, ChipHandle>> idled_;
    /// Room for members beside those that are there and the new ones.
    std::int64_t memberRoom_ = 0;
    bool hasVoid_ = false;
};

} // namespace LagAgent
