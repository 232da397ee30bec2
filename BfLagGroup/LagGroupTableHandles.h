#pragma once

#include "BfLagGroup/LagGroupTableValues.h"

namespace BfLagGroup {

/**
 * The handles that the chip SDK returned, by the driver's own identities: match key, group id,
 * member id. One object is shared by the match table and the action profile's state machine.
 *
 * Entries are keyed by the identity of the match-spec object, never by its fields. Looking up an
 * absent key yields handle 0 and inserts nothing. Every change is announced with the key: 258 for
 * entries, 259 for groups, 260 for members. Nothing here touches the chip.
 */
class KEL_EXPORT LagGroupTableHandles : public Kel::Object<LagGroupTableHandles, Kel::Entity> {
  public:
    /// The nodes of the three maps; no reactors.
    using KelEntry =
        Kel::HashMap2018NodeExternKey<LagGroupMatchSpec::PtrConst, RuxTable::RuxSdkEntryHandle>;
    using KelGroup =
        Kel::HashMap2018NodeExternKey<RuxTable::RuxGroupId, RuxTable::RuxSdkGroupHandle>;
    using KelMember =
        Kel::HashMap2018NodeExternKey<RuxTable::RuxMemberId, RuxTable::RuxSdkMemberHandle>;
    using EntryMap = Kel::HashMap2018<KelEntry, 95370541u>;
    using GroupMap = Kel::HashMap2018<KelGroup, 2162009060u>;
    using MemberMap = Kel::HashMap2018<KelMember, 1801576338u>;

    static constexpr Kel::AttributeId kEntry = 258;
    static constexpr Kel::AttributeId kGroup = 259;
    static constexpr Kel::AttributeId kMember = 260;

    LagGroupTableHandles();
    ~LagGroupTableHandles() override;

    /// New, empty maps with notifications on.
    static Ptr LagGroupTableHandlesIs();

    /// The maps, for iteration: elements have `key()` and `value()`.
    const EntryMap& entry() const noexcept { return entry_; }
    const GroupMap& group() const noexcept { return group_; }
    const MemberMap& member() const noexcept { return member_; }

    /// The handle of a key, or 0.
    RuxTable::RuxSdkEntryHandle entry(const LagGroupMatchSpec::PtrConst& match) const;
    RuxTable::RuxSdkGroupHandle group(RuxTable::RuxGroupId groupId) const;
    RuxTable::RuxSdkMemberHandle member(RuxTable::RuxMemberId memberId) const;

    /// Inserts a handle, or overwrites that of an existing key.
    void entryIs(const LagGroupMatchSpec::PtrConst& match, RuxTable::RuxSdkEntryHandle handle);
    void groupIs(RuxTable::RuxGroupId groupId, RuxTable::RuxSdkGroupHandle handle);
    void memberIs(RuxTable::RuxMemberId memberId, RuxTable::RuxSdkMemberHandle handle);

    /// Removes a key and returns its handle; 0 when it was absent.
    RuxTable::RuxSdkEntryHandle entryDel(const LagGroupMatchSpec::PtrConst& match);
    RuxTable::RuxSdkGroupHandle groupDel(RuxTable::RuxGroupId groupId);
    RuxTable::RuxSdkMemberHandle memberDel(RuxTable::RuxMemberId memberId);

    void entryDelAll();
    void groupDelAll();
    void memberDelAll();

    static const Kel::Type fwkType_;

  private:
    struct Attributes;

    template <class Map>
    void handleIs(Map& map, Kel::AttributeId id, const typename Map::Key& key,
                  typename Map::Value handle);
    template <class Map>
    typename Map::Value handleDel(Map& map, Kel::AttributeId id, const typename Map::Key& key);

    EntryMap entry_;
    GroupMap group_;
    MemberMap member_;
};

KEL_EXPORT LagGroupTableHandles::Ptr lagGroupTableHandlesFactory();

} // namespace BfLagGroup
