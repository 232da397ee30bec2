#include "agent/restart/HandleKeeper.h"

#include "agent/terms/Values.h"

namespace LagAgent {

using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;

namespace {

HandleKeeper::Match matchSpec(const MbbGlimtKey::SharedKeyManager::Match& match) {
    return Kel::dynamicPtrCast<BfLagGroup::LagGroupMatchSpec const>(match);
}

} // namespace

void HandleKeeper::take(const Identified& identified) {
    for (const Glimt::EntryKey key : identified.forgottenEntries) {
        forgetEntry(key);
    }
    for (const std::uint32_t id : identified.forgottenMembers) {
        handles_.memberDel(RuxMemberId(id));
    }
    for (const std::uint32_t id : identified.forgottenGroups) {
        handles_.groupDel(RuxGroupId(id));
    }
    // Without a finding they are what the factories have restored.
    if (!identified.findings.empty()) {
        for (const auto& [id, handle] : identified.members) {
            memberIs(id, handle);
        }
        for (const auto& [id, handle] : identified.groups) {
            groupIs(id, handle);
        }
    }
    for (const auto& [name, handle] : identified.entries) {
        entryIs(name, handle);
    }
    // Under it the driver restored the entries that it could not read back.
    handles_.entryDel(nullptr);
}

void HandleKeeper::memberIs(std::uint32_t id, ChipHandle handle) {
    handles_.memberIs(RuxMemberId(id), RuxTable::RuxSdkMemberHandle(handle));
}

void HandleKeeper::groupIs(std::uint32_t id, ChipHandle handle) {
    handles_.groupIs(RuxGroupId(id), RuxTable::RuxSdkGroupHandle(handle));
}

/// A restored entry keeps its match object. The default entry's handle was restored under one like
/// any other, and goes over to the table's own.
void HandleKeeper::entryIs(const EntryName& name, ChipHandle handle) {
    const auto key = keys_.mbbGlimtTableConfig()->slots().keyOfHandle(handle);
    const Match restored = matchSpec(keys_.match(key));
    const Match match = !name      ? Match(table_.defaultMatchSpec())
                        : restored ? restored
                                   : makeMatch(*name);
    handles_.entryIs(match, RuxTable::RuxSdkEntryHandle(handle));
    if (restored && restored != match) {
        handles_.entryDel(restored);
    }
    matches_.insert_or_assign(name, match);
}

void HandleKeeper::memberDel(const Identified::Removal& removed) {
    // The id may stand for another handle by now, or the removed object may have had none.
    const RuxMemberId id(static_cast<std::uint32_t>(removed.record));
    if (handles_.member(id).value() == removed.handle) {
        handles_.memberDel(id);
    }
}

void HandleKeeper::groupDel(const Identified::Removal& removed) {
    const RuxGroupId id(static_cast<std::uint32_t>(removed.record));
    if (handles_.group(id).value() == removed.handle) {
        handles_.groupDel(id);
    }
}

void HandleKeeper::entryDel(const Identified::Removal& removed) {
    forgetEntry(removed.record);
}

/// The driver restored it under a null match where it could not read it back.
void HandleKeeper::forgetEntry(Glimt::EntryKey key) {
    const Match match = matchSpec(keys_.match(key));
    keys_.entryKeyDel(key);
    if (match) {
        handles_.entryDel(match);
    }
}

} // namespace LagAgent
