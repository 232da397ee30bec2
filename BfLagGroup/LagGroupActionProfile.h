#pragma once

#include "BfLagGroup/LagGroupActionProfileEntry.h"
#include "BfLagGroup/LagGroupGroup.h"
#include "BfLagGroup/LagGroupMember.h"

namespace BfLagGroup {

/**
 * The configuration model of the action profile "lagPortActionProfile": the members and the actions
 * they carry, and the selector groups.
 *
 * The agent writes it; each change that takes effect is announced to the notifiees before the
 * mutator returns, and the state machine mirrors it into the chip within that call. So a refused PD
 * call leaves the mutator as an exception of namespace `BfTable`; the model has then changed all
 * the same. The model itself never touches hardware.
 *
 * Order that the agent must keep: an entry before the groups that use its member, the initial
 * member's entry before the group, members out of every group before their entry goes.
 *
 *     profile->entryIs(new LagGroupActionProfileEntry(RuxMemberId(1), setLagPort));
 *     auto group = profile->groupIs(RuxGroupId(10), 4, 1, setLagPort->actionType());
 *     group->memberIs(RuxMemberId(2));
 *     group->member(RuxMemberId(2))->activeIs(false);
 *
 * Destruction removes the groups one by one, announced, then drops the notifiees, and then lets go
 * of the entries without a word.
 */
class KEL_EXPORT LagGroupActionProfile : public Kel::Object<LagGroupActionProfile, Kel::Entity> {
  public:
    struct EntryKeyFunktor {
        RuxTable::RuxMemberId operator()(const LagGroupActionProfileEntry::Ptr& entry) const {
            return entry->memberId();
        }
    };
    using Groups = Kel::HashMap<LagGroupGroup, RuxTable::RuxGroupId, 2785377793u>;
    using Entries = Kel::HashMap2018<
        Kel::HashMap2018NodeInternalKey<RuxTable::RuxMemberId, LagGroupActionProfileEntry::Ptr,
                                        EntryKeyFunktor>,
        2319079825u>;

    static constexpr Kel::AttributeId kGroup = 258;
    static constexpr Kel::AttributeId kEntry = 259;

    explicit LagGroupActionProfile(Kel::Name name);
    ~LagGroupActionProfile() override;

    const Entries& entry() const noexcept { return entry_; }
    /// The entry of that member, or null.
    LagGroupActionProfileEntry::Ptr entry(RuxTable::RuxMemberId memberId) const;
    /// Inserts the entry, or puts it in the place of another one of the same member, and switches
    /// its notifications on. Throws
    /// `Kel::MutatorArgNullPointerException` for null, with the model unchanged.
    void entryIs(const LagGroupActionProfileEntry::Ptr& entry);
    /// Removes the entry and returns it; null when there is none.
    LagGroupActionProfileEntry::Ptr entryDel(RuxTable::RuxMemberId memberId);
    void entryDelAll();

    const Groups& group() const noexcept { return group_; }
    /// The group of that id, or null.
    LagGroupGroup::Ptr group(RuxTable::RuxGroupId groupId) const;
    /**
     * The group of that id, made when there is none. Throws `Kel::MutatorReinstantiatingException`,
     * with the model unchanged, when the group exists with another size, initial member or action
     * type (the first difference in this order): delete the group to change them.
     */
    LagGroupGroup::Ptr groupIs(RuxTable::RuxGroupId groupId, U32 groupSize, U32 initialMemberId,
                               LagGroupActionProfileType actionType);
    /// Removes the group and returns it, with its members in it; null when there is none.
    LagGroupGroup::Ptr groupDel(RuxTable::RuxGroupId groupId);
    void groupDelAll();

    static const Kel::Type fwkType_;

  private:
    struct Attributes;

    Groups group_;
    Entries entry_;
};

} // namespace BfLagGroup
