#pragma once

#include "BfLagGroup/LagGroupActionProfile.h"
#include "BfLagGroup/LagGroupTableHelper.h"
#include "BfLagGroup/Reactor.h"
#include "platform/MbbGlimtKey/GlimtKeyManager.h"
#include "platform/RuxTableStatusManager/StatusManager.h"

namespace BfLagGroup {

/**
 * Keeps the hardware action profile "lagPortActionProfile" equal to the model.
 *
 * It owns a tree of reactors: one on the profile, one on every entry (which programs the member),
 * one on every group (which programs the selector group) and below it one on every group member.
 * Each model change is announced to its reactor and programmed within the agent's own call; a
 * refused PD call leaves that call as an exception. Nothing is retried or rolled back.
 *
 * The helper is shared with the match table, so member and group handles stored here are the ones
 * that the table looks up.
 *
 * Sessions: adding a member runs in the PD interface object's session, every other call in
 * `sessionHandle()`, which is 0 until somebody sets it.
 *
 * Teardown removes what the state machine programmed, members first, then groups. A group that
 * still holds members then finds their handles gone, and that is a fatal assertion: delete the
 * groups from the model before the state machine is released, then the entries may go with it.
 */
class KEL_EXPORT LagGroupActionProfileSm
    : public Kel::Object<LagGroupActionProfileSm, Kel::PtrInterface> {
  public:
    class KelLagGroupActionProfile;
    class KelActionProfile;
    class KelGroup;

    using GlimtKeyManager = MbbGlimtKey::GlimtKeyManager;
    using StatusManager = RuxTableStatusManager::StatusManager;
    using ActionProfiles = OwnedReactors<KelActionProfile, RuxTable::RuxMemberId, 3625760601u>;
    using Groups = OwnedReactors<KelGroup, RuxTable::RuxGroupId, 820652789u>;

    static constexpr Kel::AttributeId kActionProfile = 135;
    static constexpr Kel::AttributeId kGroup = 137;

    /// Programs whatever the profile holds: members first, then groups. `profile`,
    /// `glimtKeyManager` and `statusManager` may be null. What a PD call throws leaves the
    /// constructor; what had been programmed by then stays, with its handles.
    LagGroupActionProfileSm(const LagGroupActionProfile::Ptr& profile,
                            const LagGroupTableHelper::Ptr& helper,
                            const GlimtKeyManager::Ptr& glimtKeyManager,
                            const StatusManager::Ptr& statusManager);
    ~LagGroupActionProfileSm() override;

    /// A new state machine with its notifications on.
    static Ptr LagGroupActionProfileSmIs(const LagGroupActionProfile::Ptr& profile,
                                         const LagGroupTableHelper::Ptr& helper,
                                         const GlimtKeyManager::Ptr& glimtKeyManager,
                                         const StatusManager::Ptr& statusManager);

    /// Passed on to every reactor.
    void hasNotificationActiveIs(bool active) override;
    /// Marks every reactor, which is its last hardware action, and then the state machine.
    virtual void kelDoZombieReactors(bool zombie);
    Kel::Activity* kelFwkActivity() const { return &Kel::Activity::notification(); }

    /// The model; null when there is none.
    LagGroupActionProfile::Ptr lagGroupActionProfile() const;
    /// Stops following the model and returns it; null when there was none.
    LagGroupActionProfile::Ptr lagGroupActionProfileDel();

    const LagGroupTableHelper::Ptr& helper() const noexcept { return helper_; }
    /// What the reactors work with; a missing one is a fatal assertion.
    const LagGroupTableHelper& requiredHelper() const {
        return helper_ ? *helper_ : failWithoutHelper();
    }
    const GlimtKeyManager::Ptr& glimtKeyManager() const noexcept { return glimtKeyManager_; }
    const StatusManager::Ptr& statusManager() const noexcept { return statusManager_; }

    /// The SDK session of every call but the adding of members.
    U32 sessionHandle() const noexcept { return sessionHandle_; }
    void sessionHandleIs(U32 sessionHandle) noexcept { sessionHandle_ = sessionHandle; }

    const ActionProfiles& actionProfile() const noexcept { return actionProfile_; }
    /// The reactor of that member, or null.
    Kel::Ptr<KelActionProfile> actionProfile(RuxTable::RuxMemberId memberId) const;
    /// Makes the reactor of the entry, or re-targets the one of the entry's member. Throws
    /// `Kel::MutatorArgNullPointerException` for null, and what the PD call throws; a new reactor
    /// is then not kept.
    Kel::Ptr<KelActionProfile>
    actionProfileIs(const Kel::Ptr<LagGroupActionProfileEntry const>& entry);
    /// Retires the member's reactor and returns it; null when there is none. A reactor whose last
    /// PD call throws is out of the collection all the same.
    Kel::Ptr<KelActionProfile> actionProfileDel(RuxTable::RuxMemberId memberId);
    void actionProfileDelAll();

    const Groups& group() const noexcept { return group_; }
    /// The reactor of that group, or null.
    Kel::Ptr<KelGroup> group(RuxTable::RuxGroupId groupId) const;
    /**
     * Makes the reactor of the group, in the place of one on another object of the same id, which
     * is retired first. Throws `Kel::MutatorArgNullPointerException` for null, and what PD calls
     * throw: when the group itself is refused, there is no reactor; when one of its members is, the
     * reactor stays.
     */
    Kel::Ptr<KelGroup> groupIs(const Kel::Ptr<LagGroupGroup const>& group);
    /// Retires the group's reactor and returns it; null when there is none.
    Kel::Ptr<KelGroup> groupDel(RuxTable::RuxGroupId groupId);
    void groupDelAll();

    /// The hardware action of a retired reactor.
    void kel_handleActionProfile(const Kel::Ptr<KelActionProfile>& reactor);
    void kel_handleGroup(const Kel::Ptr<KelGroup>& reactor);

    static const Kel::Type fwkType_;

  private:
    friend class KelLagGroupActionProfile;
    struct Attributes;

    [[noreturn]] static const LagGroupTableHelper& failWithoutHelper();
    /// Makes the reactors agree with what the profile holds now; members come before groups, which
    /// refer to them. The profile stays for that long, whoever lets go of it.
    void followProfile(LagGroupActionProfile::Ptr profile);

    Kel::Ptr<KelLagGroupActionProfile> lagGroupActionProfile_;
    LagGroupTableHelper::Ptr helper_;
    GlimtKeyManager::Ptr glimtKeyManager_;
    StatusManager::Ptr statusManager_;
    U32 sessionHandle_ = 0;
    ActionProfiles actionProfile_;
    Groups group_;
};

} // namespace BfLagGroup
