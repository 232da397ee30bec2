// A LAG from the agent's calls to forwarded flows: the two factories, the PD library loaded at run
// time, and the tables of the chip behind it.
#include <dlfcn.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "BfLagGroup/Factories.h"
#include "BfLagGroup/LagGroupActionProfileSm.h"
#include "asic/SoftwareAsic.h"
#include "driver-status/BfTableException.h"
#include "platform/MbbGlimtKey/InProcessKeyManager.h"
#include "platform/RuxTableStatusManager/InProcessStatusManager.h"
#include "tests/support/LiveObjects.h"

namespace {

using namespace BfLagGroup;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr int kDevice = 0;
constexpr p4_pd_dev_target_t kTarget{kDevice, P4_PD_ALL_PIPES};
constexpr U32 kValue = 0x42;

class OverSoftwareAsic : public testing::Test {
  protected:
    OverSoftwareAsic() {
        velmor_asic_reset();
        EXPECT_EQ(p4_pd_velmor_switch_client_init(&session), 0u);
        table = lagGroupTableFactory(keys, status, library, session, kDevice, P4_PD_ALL_PIPES,
                                     PD_VELMOR_SWITCH_LIBRARY);
        profile = lagGroupActionProfileFactory(table);
        Kel::attributeIs(*stateMachine(), "sessionHandle", session);
    }
    ~OverSoftwareAsic() override {
        velmor_asic_reset();
        dlclose(library);
    }

    /// The profile's state machine, found as an agent finds it.
    LagGroupActionProfileSm* stateMachine() const {
        LagGroupActionProfileSm* found = nullptr;
        profile->notifieeList()->forEach([&](Kel::PtrInterface::NotifieeConst& notifiee) {
            using Reactor = LagGroupActionProfileSm::KelLagGroupActionProfile;
            if (auto* reactor = dynamic_cast<Reactor*>(&notifiee)) {
                found = reactor->lagGroupActionProfileSm();
            }
        });
        return found;
    }

    void addMember(U32 memberId, U16 port) {
        const SetLagPortActionProfileSpec::Ptr action = new SetLagPortActionProfileSpec;
        Kel::attributeIs(action, "egrL2AintfPort", port);
        profile->entryIs(new LagGroupActionProfileEntry(RuxMemberId(memberId), action));
    }
    U32 memberHandle(U32 memberId) const {
        return table->helper()->sdkHandles()->member(RuxMemberId(memberId)).value();
    }
    U32 groupHandle(U32 groupId) const {
        return table->helper()->sdkHandles()->group(RuxGroupId(groupId)).value();
    }

    /// A group 10 of the members 1 and 2 on the ports 11 and 12, and an entry for `kValue` on it.
    LagGroupGroup::Ptr buildLag() {
        addMember(1, 11);
        addMember(2, 12);
        const auto group = profile->groupIs(RuxGroupId(10), 4, 1,
                                            LagGroupActionProfileType::setLagPortActionProfileSpec);
        group->memberIs(RuxMemberId(2));
        Kel::attributeIs(match, "egrMdEgrL2AintfUnresolved", kValue);
        Kel::attributeIs(match, "egrMdEgrL2AintfUnresolvedMask", U32{0xFF});
        Kel::attributeIs(match, "priority", U32{10});
        table->entryIs({match, {10, false}});
        return group;
    }

    /// The port that each flow takes; 0 for one that is not forwarded.
    static std::vector<U16> portsOfFlows(U32 flows) {
        std::vector<U16> ports;
        for (U32 flow = 0; flow < flows; ++flow) {
            velmor_asic_result_t result{};
            EXPECT_EQ(velmor_asic_forward(kDevice, 1, kValue, flow * 2654435761u, &result), 0u);
            ports.push_back(result.outcome == VELMOR_ASIC_FORWARDED ? result.port : U16{0});
        }
        return ports;
    }
    static std::map<U16, U32> spread(const std::vector<U16>& ports) {
        std::map<U16, U32> spread;
        for (const U16 port : ports) {
            ++spread[port];
        }
        return spread;
    }

    p4_pd_velmor_switch_usage_t usage() const {
        p4_pd_velmor_switch_usage_t usage{};
        EXPECT_EQ(p4_pd_velmor_switch_get_usage(session, kTarget, &usage), 0u);
        return usage;
    }
    U32 memberState(U32 memberId) const {
        U32 state = 99;
        EXPECT_EQ(p4_pd_velmor_switch_lagPortActionProfile_group_member_state_get(
                      session, kDevice, groupHandle(10), memberHandle(memberId), &state),
                  0u);
        return state;
    }

    void* library = dlopen(PD_VELMOR_SWITCH_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    p4_pd_sess_hdl_t session = 0;
    MbbGlimtKey::InProcessKeyManager::Ptr keys = new MbbGlimtKey::InProcessKeyManager;
    RuxTableStatusManager::InProcessStatusManager::Ptr status =
        new RuxTableStatusManager::InProcessStatusManager;
    LagGroupTable::Ptr table;
    LagGroupActionProfile::Ptr profile;
    const LagGroupMatchSpec::Ptr match = LagGroupMatchSpec::LagGroupMatchSpecIs();
};

TEST_F(OverSoftwareAsic, ALagOfTwoPortsStandsInTheChipsTables) {
    buildLag();
    EXPECT_EQ(usage().entries, 1u);
    EXPECT_EQ(usage().members, 2u);
    EXPECT_EQ(usage().groups, 1u);

    for (const auto& [memberId, port] : std::map<U32, U16>{{1, 11}, {2, 12}}) {
        U32 action = 99;
        p4_pd_velmor_switch_setLagPort_action_spec_t spec{};
        EXPECT_EQ(p4_pd_velmor_switch_lagPortActionProfile_get_member(
                      session, kDevice, memberHandle(memberId), &action, &spec),
                  0u);
        EXPECT_EQ(action, U32{P4_PD_ACTION_setLagPort});
        EXPECT_EQ(spec.action_egrL2AintfPort, port);
        EXPECT_EQ(memberState(memberId), U32{P4_PD_MEMBER_ACTIVE});
    }

    U16 size = 0;
    U32 members = 0;
    EXPECT_EQ(p4_pd_velmor_switch_lagPortActionProfile_get_group(session, kDevice, groupHandle(10),
                                                                 &size, &members),
              0u);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(members, 2u);

    p4_pd_velmor_switch_lagGroup_match_spec_t key{};
    U32 priority = 0, member = 99, group = 0;
    bool hasMember = true, hasGroup = false, spare = false;
    EXPECT_EQ(p4_pd_velmor_switch_lagGroup_get_entry(
                  session, kDevice, table->helper()->sdkHandles()->entry(match).value(), false,
                  &key, &priority, &hasMember, &hasGroup, &member, &group, &spare),
              0u);
    EXPECT_EQ(key.egrMd_egrL2AintfUnresolved, kValue);
    EXPECT_EQ(key.egrMd_egrL2AintfUnresolved_mask, 0xFFu);
    EXPECT_EQ(priority, 10u);
    EXPECT_FALSE(hasMember);
    EXPECT_TRUE(hasGroup);
    EXPECT_EQ(group, groupHandle(10));
    EXPECT_EQ(table->entry(match).memberOrGroup(), LagGroupMemberOrGroupOrNone(10, false));
}

TEST_F(OverSoftwareAsic, APortThatGoesDownLosesItsFlowsToTheOtherAndGetsThemBack) {
    const auto group = buildLag();
    const auto before = portsOfFlows(2000);
    EXPECT_THAT(spread(before),
                ElementsAre(Pair(11, testing::Gt(500u)), Pair(12, testing::Gt(500u))));

    group->member(RuxMemberId(1))->activeIs(false);
    EXPECT_EQ(memberState(1), U32{P4_PD_MEMBER_INACTIVE});
    EXPECT_EQ(memberState(2), U32{P4_PD_MEMBER_ACTIVE});
    EXPECT_THAT(spread(portsOfFlows(2000)), ElementsAre(Pair(12, 2000u)));

    group->member(RuxMemberId(1))->activeIs(true);
    EXPECT_EQ(portsOfFlows(2000), before);
}

TEST_F(OverSoftwareAsic, RemovingEverythingInOrderLeavesAnEmptyChip) {
    buildLag();
    table->entryDel(match);
    profile->groupDel(RuxGroupId(10));
    profile->entryDelAll();
    EXPECT_EQ(usage().entries, 0u);
    EXPECT_EQ(usage().members, 0u);
    EXPECT_EQ(usage().groups, 0u);
    const auto& handles = *table->helper()->sdkHandles();
    EXPECT_EQ(handles.entry().size() + handles.group().size() + handles.member().size(), 0u);
    EXPECT_THAT(spread(portsOfFlows(10)), ElementsAre(Pair(0, 10u)));
}

TEST_F(OverSoftwareAsic, TheManagersKnowEveryObjectThatWasWritten) {
    buildLag();
    EXPECT_EQ(keys->match(keys->latestKey()), match);
    EXPECT_THAT(status->entries(), ElementsAre(Pair(match, 1u)));
    EXPECT_EQ(status->members().size(), 2u);
    EXPECT_EQ(status->groups().size(), 1u);
    EXPECT_EQ(status->resyncs(), 1u);
    EXPECT_EQ(status->selAdtResyncs(), 1u);
}

TEST_F(OverSoftwareAsic, AFaultOfTheChipLeavesTheAgentsCallAsAnException) {
    addMember(1, 11);
    ASSERT_EQ(velmor_asic_fault_plan("p4_pd_velmor_switch_lagGroup_add_entry", 1, 9,
                                     VELMOR_ASIC_FAULT_ONCE),
              0u);
    EXPECT_THROW(table->entryIs({match, {1, true}}), BfTable::BfTableFull);
    EXPECT_EQ(usage().entries, 0u);
    table->entryIs({match, {1, true}});
    EXPECT_EQ(usage().entries, 1u);
}

TEST_F(OverSoftwareAsic, TheSecondRunOfAnAgentFindsTheLagOfTheFirst) {
    buildLag();
    const U32 entry = table->helper()->sdkHandles()->entry(match).value();
    const MbbGlimtKey::InProcessKeyManager::Ptr next = new MbbGlimtKey::InProcessKeyManager;
    next->mbbGlimtTableConfig()->recordIs(
        {Glimt::EntryKey{5} << 32, RuxTable::RuxSdkEntryHandle(entry)});
    for (const U32 id : {1u, 2u}) {
        next->adtGlimtTableConfig()->recordIs(
            {next->allocAnon(id), RuxTable::RuxSdkMemberHandle(memberHandle(id))});
    }
    next->selGrpGlimtTableConfig()->recordIs(
        {next->allocAnon(10), RuxTable::RuxSdkGroupHandle(groupHandle(10))});

    const auto restarted = lagGroupTableFactory(next, nullptr, library, session, kDevice,
                                                P4_PD_ALL_PIPES, PD_VELMOR_SWITCH_LIBRARY);
    lagGroupActionProfileFactory(restarted);
    const auto restored = next->match(Glimt::EntryKey{5} << 32);
    ASSERT_TRUE(restored);
    const auto* spec = dynamic_cast<const LagGroupMatchSpec*>(restored.ptr());
    ASSERT_NE(spec, nullptr);
    EXPECT_EQ(spec->egrMdEgrL2AintfUnresolved(), kValue);
    EXPECT_EQ(restarted->entry(spec).memberOrGroup(), LagGroupMemberOrGroupOrNone(10, false));

    const auto before = portsOfFlows(100);
    restarted->entryIs({spec, {2, true}});
    EXPECT_EQ(usage().entries, 1u);
    EXPECT_THAT(spread(portsOfFlows(100)), ElementsAre(Pair(12, 100u)));
    EXPECT_NE(portsOfFlows(100), before);
}

} // namespace
