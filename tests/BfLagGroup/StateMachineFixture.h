#pragma once

#include <initializer_list>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BfLagGroup/LagGroupActionProfileSm.h"
#include "tests/support/LiveObjects.h"
#include "tests/support/RecordingManagers.h"
#include "tests/support/RecordingPd.h"

namespace sm_test {

using namespace BfLagGroup;
using Kel::U16;
using Kel::U32;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using RuxTable::RuxSdkGroupHandle;
using RuxTable::RuxSdkMemberHandle;
using Sm = LagGroupActionProfileSm;
using Action = LagGroupBaseActionProfileSpec::PtrConst;
using Type = LagGroupActionProfileType;
using Lines = test_support::Journal::Lines;
using testing::ElementsAre;
using testing::IsEmpty;

// Every number differs, so that none can stand in for another.
inline constexpr U32 kPdSession = 3;
inline constexpr U32 kSmSession = 77;
inline constexpr Kel::U8 kDevice = 5;
inline constexpr U16 kPipe = 2;

inline constexpr auto kSetLagPort = Type::setLagPortActionProfileSpec;

// ---- The PD calls of the action profile, as the recording library renders them -----------------

inline std::string pdName(const std::string& operation) {
    return "p4_pd_velmor_switch_lagPortActionProfile_" + operation;
}
inline std::string pdLine(const std::string& operation, U32 session, const std::string& rest) {
    return pdName(operation) + "(session=" + std::to_string(session) + ", dev=5" + rest + ")";
}
inline std::string number(const char* name, U32 value) {
    return std::string(", ") + name + "=" + std::to_string(value);
}

/// `data` is ", port=N" for setLagPort and empty for the other actions.
inline std::string addMember(const std::string& action, const std::string& data = "") {
    return pdLine("add_member_with_" + action, kPdSession, ", pipe=2" + data);
}
inline std::string addLagPort(U32 port) {
    return addMember("setLagPort", number("port", port));
}
inline std::string modifyMember(const std::string& action, U32 member, const std::string& data = "",
                                U32 session = kSmSession) {
    return pdLine("modify_member_with_" + action, session, number("mbr", member) + data);
}
inline std::string modifyLagPort(U32 member, U32 port, U32 session = kSmSession) {
    return modifyMember("setLagPort", member, number("port", port), session);
}
inline std::string delMember(U32 member, U32 session = kSmSession) {
    return pdLine("del_member", session, number("mbr", member));
}
inline std::string createGroup(U32 size, U32 session = kSmSession) {
    return pdLine("create_group", session, ", pipe=2" + number("size", size));
}
inline std::string delGroup(U32 group, U32 session = kSmSession) {
    return pdLine("del_group", session, number("grp", group));
}
inline std::string joinGroup(U32 group, U32 member, U32 session = kSmSession) {
    return pdLine("add_member_to_group", session, number("grp", group) + number("mbr", member));
}
inline std::string leaveGroup(U32 group, U32 member) {
    return pdLine("del_member_from_group", kSmSession,
                  number("grp", group) + number("mbr", member));
}
inline std::string stateSet(U32 group, U32 member, U32 state) {
    return pdLine("group_member_state_set", kSmSession,
                  number("grp", group) + number("mbr", member) + number("state", state));
}

// ---- The calls of the two managers --------------------------------------------------------------

inline std::string adtStatus(U32 memberId) {
    return "initAdtStatus(" + std::to_string(memberId) + ")";
}
inline std::string groupStatus(U32 groupId) {
    return "initSelGroupStatus(" + std::to_string(groupId) + ")";
}
inline std::string anonKey(U32 id) {
    return "allocAnon(" + std::to_string(id) + ")";
}

// ---- Action specs ------------------------------------------------------------------------------

template <class Spec>
Action action(U16 port = 0) {
    const typename Spec::Ptr spec = new Spec;
    Kel::attributeIs(spec, "egrL2AintfPort", port);
    return spec;
}
inline Action lagPort(U16 port) {
    return action<SetLagPortActionProfileSpec>(port);
}
/// An action of a type that the chip does not have.
inline Action actionOfUnknownType() {
    const SetLagPortActionProfileSpec::Ptr spec = new SetLagPortActionProfileSpec;
    Kel::attributeIs(spec, "actionType", static_cast<Type>(7));
    return spec;
}

inline LagGroupActionProfileEntry::Ptr entryOf(U32 memberId, const Action& action) {
    const LagGroupActionProfileEntry::Ptr entry =
        new LagGroupActionProfileEntry(RuxMemberId(memberId), action);
    entry->hasNotificationActiveIs(true);
    return entry;
}
inline LagGroupGroup::Ptr groupOf(U32 groupId, U32 size, U32 initialMemberId, Type type) {
    const LagGroupGroup::Ptr group =
        new LagGroupGroup(RuxGroupId(groupId), size, initialMemberId, type);
    group->hasNotificationActiveIs(true);
    return group;
}
inline LagGroupActionProfile::Ptr newProfile() {
    const LagGroupActionProfile::Ptr profile = new LagGroupActionProfile("lagGroup");
    profile->hasNotificationActiveIs(true);
    return profile;
}

/// The reactor that is registered on the profile; the agent finds the state machine through it.
inline Kel::Ptr<Sm::KelLagGroupActionProfile> topReactorOf(const LagGroupActionProfile& profile) {
    Kel::Ptr<Sm::KelLagGroupActionProfile> top;
    profile.notifieeList()->forEach([&](Kel::PtrInterface::NotifieeConst& notifiee) {
        if (auto* reactor = dynamic_cast<Sm::KelLagGroupActionProfile*>(&notifiee)) {
            top = reactor;
        }
    });
    return top;
}

/**
 * A model and its state machine over the recording PD library. One journal holds the PD calls and
 * what the key manager and the status manager are told, in their order.
 *
 * At the end the groups and the state machine are taken down in the safe order, and no object of
 * the driver may be left.
 */
struct StateMachineWorld {
    StateMachineWorld() {
        helper = lagGroupTableHelperFactory(kDevice, kPipe);
        helper->pdLibIs("librecording_pd.so", pd.dlHandle(), kPdSession);
        helper->sdkHandlesIs();
    }

    ~StateMachineWorld() {
        pd.reset();
        if (sm) {
            giveMissingHandles();
            sm->groupDelAll();
        }
        sm = nullptr;
    }

    /// Makes the state machine over what `profile` holds, and lets it use `kSmSession`.
    void start() {
        sm = Sm::LagGroupActionProfileSmIs(profile, helper, keys, status);
        sm->sessionHandleIs(kSmSession);
    }

    void addEntry(U32 memberId, const Action& action) {
        profile->entryIs(entryOf(memberId, action));
    }
    /// A setLagPort member of port 100 + `memberId`; the journal is empty afterwards.
    void haveEntry(U32 memberId) {
        addEntry(memberId, lagPort(static_cast<U16>(100 + memberId)));
        journal.clear();
        pd.takeCalls();
    }
    /// A setLagPort group of size 8 with the initial member 1 and with `members`; the journal is
    /// empty afterwards.
    LagGroupGroup::Ptr haveGroup(U32 groupId, std::initializer_list<U32> members = {}) {
        const auto group = profile->groupIs(RuxGroupId(groupId), 8, 1, kSetLagPort);
        for (U32 memberId : members) {
            group->memberIs(RuxMemberId(memberId));
        }
        journal.clear();
        pd.takeCalls();
        return group;
    }

    LagGroupActionProfileEntry::Ptr entry(U32 memberId) const {
        return profile->entry(RuxMemberId(memberId));
    }
    LagGroupGroup::Ptr group(U32 groupId) const { return profile->group(RuxGroupId(groupId)); }

    U32 memberHandle(U32 memberId) const {
        return helper->sdkHandles()->member(RuxMemberId(memberId)).value();
    }
    U32 groupHandle(U32 groupId) const {
        return helper->sdkHandles()->group(RuxGroupId(groupId)).value();
    }
    void memberHandleIs(U32 memberId, U32 handle) {
        helper->sdkHandles()->memberIs(RuxMemberId(memberId), RuxSdkMemberHandle(handle));
    }
    void groupHandleIs(U32 groupId, U32 handle) {
        helper->sdkHandles()->groupIs(RuxGroupId(groupId), RuxSdkGroupHandle(handle));
    }
    Kel::Ptr<Sm::KelActionProfile> memberReactor(U32 memberId) const {
        return sm->actionProfile(RuxMemberId(memberId));
    }
    Kel::Ptr<Sm::KelGroup> groupReactor(U32 groupId) const {
        return sm->group(RuxGroupId(groupId));
    }
    Kel::Ptr<Sm::KelGroup::KelGroupMember> joinedReactor(U32 groupId, U32 memberId) const {
        const auto reactor = groupReactor(groupId);
        return reactor ? reactor->groupMember(RuxMemberId(memberId)) : nullptr;
    }

    test_support::LiveObjects live;
    test_support::Journal journal;
    test_support::RecordingPd pd{&journal};
    test_support::RecordingKeyManager::Ptr keys = new test_support::RecordingKeyManager(journal);
    test_support::RecordingStatusManager::Ptr status =
        new test_support::RecordingStatusManager(journal);
    LagGroupTableHelper::Ptr helper;
    LagGroupActionProfile::Ptr profile = newProfile();
    Sm::Ptr sm;

  private:
    /// So that reactors whose hardware object a test has made fail can be taken down.
    void giveMissingHandles() {
        for (auto& reactor : sm->actionProfile()) {
            if (const auto id = reactor->fwkKey(); memberHandle(id.value()) == 0) {
                memberHandleIs(id.value(), 4000);
            }
        }
        for (auto& reactor : sm->group()) {
            if (const auto id = reactor->groupId(); groupHandle(id.value()) == 0) {
                groupHandleIs(id.value(), 4001);
            }
        }
    }
};

/// The same, with the state machine started over an empty model.
struct RunningWorld : StateMachineWorld {
    RunningWorld() { start(); }
};

template <class World>
class TestIn : public testing::Test, protected World {
  protected:
    TestIn() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};
using StateMachineTest = TestIn<StateMachineWorld>;
using RunningStateMachineTest = TestIn<RunningWorld>;

} // namespace sm_test
