#include "agent/restart/Replay.h"

#include <iterator>

#include "agent/Values.h"
#include "driver-status/PdCall.h"

namespace LagAgent {

using BfLagGroup::LagGroupActionProfileEntry;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using Kind = Step::Kind;

namespace {

BfLagGroup::LagGroupMatchSpec::PtrConst
matchSpec(const MbbGlimtKey::SharedKeyManager::Match& match) {
    return Kel::dynamicPtrCast<BfLagGroup::LagGroupMatchSpec const>(match);
}

} // namespace

struct Replay::Performer {
    Kind kind;
    const char* phase;
    void (Replay::*perform)(const Step& step);
};

/// In the order of `Step::Kind`.
const Replay::Performer Replay::kPerformers[]{
    {Kind::oldIdle, "members", &Replay::oldIdle},
    {Kind::memberSet, "members", &Replay::memberSet},
    {Kind::groupMake, "groups", &Replay::groupMake},
    {Kind::groupJoin, "groups", &Replay::groupJoin},
    {Kind::groupIdle, "groups", &Replay::groupIdle},
    {Kind::entryPoint, "entries", &Replay::entryPoint},
    {Kind::entryPark, "entries", &Replay::entryPark},
    {Kind::voidMake, "entries", &Replay::voidMake},
    {Kind::entryVoid, "entries", &Replay::entryVoid},
    {Kind::voidRemove, "removal", &Replay::voidRemove},
    {Kind::entryRemove, "removal", &Replay::entryRemove},
    {Kind::groupRemove, "removal", &Replay::groupRemove},
    {Kind::memberRemove, "removal", &Replay::memberRemove},
};

void Replay::run(const Plan& plan, Progress* progress, Phases& phases) {
    static_assert(std::size(kPerformers) == static_cast<std::size_t>(Kind::kCount));
    phases.begin("records");
    forget(plan);
    adopt(plan);
    std::size_t done = 0;
    for (const Step& step : plan.steps) {
        const Performer& performer = kPerformers[static_cast<std::size_t>(step.kind)];
        phases.begin(performer.phase);
        if (progress) {
            progress->show(performer.phase, done, plan.steps.size());
        }
        (this->*performer.perform)(step);
        ++done;
    }
    phases.begin("records");
    for (const auto& reservation : keys_.reservations()) {
        // What it may have been for has been adopted or removed.
        keys_.reservationDel(reservation.key);
    }
}

// ---- Before the first write --------------------------------------------------------------------

void Replay::forget(const Plan& plan) {
    auto& handles = driver_.handles();
    for (const Glimt::EntryKey key : plan.forgottenEntries) {
        // The driver restored it under a null match where the chip did not know it.
        const auto match = keys_.match(key);
        keys_.entryKeyDel(key);
        handles.entryDel(matchSpec(match));
    }
    for (const std::uint32_t id : plan.forgottenMembers) {
        handles.memberDel(RuxMemberId(id));
    }
    for (const std::uint32_t id : plan.forgottenGroups) {
        handles.groupDel(RuxGroupId(id));
    }
}

void Replay::adopt(const Plan& plan) {
    auto& handles = driver_.handles();
    for (const auto& [entry, kept] : plan.entries) {
        if (kept.key != 0) {
            matches_[entry] = matchSpec(keys_.match(kept.key));
        } else if (entry) {
            const auto match = makeMatch(*entry);
            handles.entryIs(match, RuxTable::RuxSdkEntryHandle(kept.handle));
            matches_[entry] = match;
        }
    }
    for (const auto& [id, handle] : plan.adoptedMembers) {
        handles.memberIs(RuxMemberId(id), RuxTable::RuxSdkMemberHandle(handle));
    }
}

// ---- Members and groups ------------------------------------------------------------------------

void Replay::oldIdle(const Step& step) {
    BfTable::pdCall(driver_.pd().p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set,
                    driver_.stateMachine().sessionHandle(), driver_.helper().deviceId(),
                    step.handle, step.chipMember, Kel::U32{P4_PD_MEMBER_INACTIVE});
}

void Replay::memberSet(const Step& step) {
    const DesiredMember& member = desired_.members.at(step.id);
    LagGroupActionProfileEntry::Ptr entry =
        new LagGroupActionProfileEntry(RuxMemberId(step.id), makeAction(member.type, member.port));
    entry->hasNotificationActiveIs(true);
    driver_.profile().entryIs(entry);
}

void Replay::groupMake(const Step& step) {
    const DesiredGroup& group = desired_.groups.at(step.id);
    driver_.profile().groupIs(RuxGroupId(step.id), group.size, joiningOrder(group).front(),
                              group.type);
}

/// The member that the group was made with is in it already; this changes nothing then.
void Replay::groupJoin(const Step& step) {
    driver_.profile().group(RuxGroupId(step.id))->memberIs(RuxMemberId(step.member));
}

void Replay::groupIdle(const Step& step) {
    driver_.profile().group(RuxGroupId(step.id))->member(RuxMemberId(step.member))->activeIs(false);
}

// ---- Entries -----------------------------------------------------------------------------------

Replay::Match Replay::matchOf(const EntryName& entry) {
    if (!entry) {
        return driver_.table().defaultMatchSpec();
    }
    Match& match = matches_[entry];
    if (!match) {
        match = makeMatch(*entry);
    }
    return match;
}

Replay::Match Replay::write(const EntryName& entry, const DesiredState::Target& target) {
    const Match match = matchOf(entry);
    driver_.table().entryIs({match, target});
    if (const auto restored = matches_.find(entry); !entry && restored != matches_.end()) {
        // The driver restored the default entry's handle under a match object like any other.
        driver_.handles().entryDel(restored->second);
        matches_.erase(restored);
    }
    return match;
}

void Replay::entryPoint(const Step& step) {
    const auto& target = desired_.entries.at(step.entry);
    configuration_.installedEntryIs(step.entry, {write(step.entry, target), target});
}

void Replay::entryPark(const Step& step) {
    write(step.entry, {step.member, true});
}

/// The driver has no id for this member, so it goes to the chip without it.
void Replay::voidMake(const Step&) {
    const auto& pd = driver_.pd();
    BfTable::pdCall(
        pd.p4_pd_velmor_switch_lagPortActionProfile_add_member_with_invalidateUcastEgressPort,
        pd.sessionId(), driver_.helper().deviceTarget(), &void_);
}

void Replay::entryVoid(const Step& step) {
    const auto& pd = driver_.pd();
    if (step.entry) {
        BfTable::pdCall(pd.p4_pd_velmor_switch_lagGroup_modify_entry, pd.sessionId(),
                        driver_.helper().deviceId(),
                        driver_.handles().entry(matchOf(step.entry)).value(), void_);
        return;
    }
    ChipHandle entry = 0;
    BfTable::pdCall(pd.p4_pd_velmor_switch_lagGroup_set_default_entry, pd.sessionId(),
                    driver_.helper().deviceTarget(), void_, &entry);
}

void Replay::voidRemove(const Step&) {
    driver_.chipMemberDel(void_);
}

// ---- Removal -----------------------------------------------------------------------------------

void Replay::entryRemove(const Step& step) {
    const auto& pd = driver_.pd();
    if (!step.entry) {
        BfTable::pdCall(pd.p4_pd_velmor_switch_lagGroup_table_reset_default_entry, pd.sessionId(),
                        driver_.helper().deviceTarget());
    } else {
        BfTable::pdCall(pd.p4_pd_velmor_switch_lagGroup_table_delete, pd.sessionId(),
                        driver_.helper().deviceId(), step.handle);
    }
    if (const auto match = keys_.match(step.key)) {
        driver_.handles().entryDel(matchSpec(match));
    }
}

void Replay::groupRemove(const Step& step) {
    driver_.chipGroupDel(step.handle);
    // The id may stand for the new group by now, or be 0 for one that nobody recorded.
    if (driver_.handles().group(RuxGroupId(step.id)).value() == step.handle) {
        driver_.handles().groupDel(RuxGroupId(step.id));
    }
}

void Replay::memberRemove(const Step& step) {
    driver_.chipMemberDel(step.handle);
    if (driver_.handles().member(RuxMemberId(step.id)).value() == step.handle) {
        driver_.handles().memberDel(RuxMemberId(step.id));
    }
}

} // namespace LagAgent
