#include "agent/restart/Recorder.h"

#include <utility>

namespace LagAgent {

using BfLagGroup::LagGroupTableHandles;
using MbbGlimtKey::SharedKeyManager;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;

Recorder::Recorder(const BfLagGroup::LagGroupTable& table, SharedKeyManager::Ptr keys)
    : table_(table), handles_(table.helper()->requiredHandles()), keys_(std::move(keys)) {
    notifierIs(&handles_);
    hasNotificationActiveIs(true);
}

std::optional<std::string> Recorder::takeFailure() {
    return std::exchange(failure_, std::nullopt);
}

void Recorder::onAttribute(Kel::AttributeId id, const void* key) {
    switch (id) {
    case LagGroupTableHandles::kEntry:
        return recordOrKeepFailure(*static_cast<const Match*>(key));
    case LagGroupTableHandles::kGroup:
        return recordOrKeepFailure(*static_cast<const RuxGroupId*>(key));
    case LagGroupTableHandles::kMember:
        return recordOrKeepFailure(*static_cast<const RuxMemberId*>(key));
    default:
        return;
    }
}

void Recorder::entryWasSet(const Match& match) {
    recordOrKeepFailure(match);
}

/// An exception must not leave a notification: the driver would take it for a refused PD call.
template <class Key>
void Recorder::recordOrKeepFailure(const Key& key) {
    try {
        record(key);
    } catch (const std::exception& e) {
        failure_ = e.what();
    }
}

void Recorder::record(const Match& match) {
    if (!match) {
        return; // of a stale record, which only the key manager knows
    }
    if (handles_.entry(match).value() != 0) {
        keys_->entryIs(match, entryRecord(match));
    } else {
        keys_->entryDel(match);
    }
}

/// A restored entry's match object came from the chip without its priority, and cannot tell that it
/// is of the default entry; the record can.
Glimt::MbbVantof::EntryConfig Recorder::entryRecord(const Match& match) const {
    auto known = keys_->mbbGlimtTableConfig()->record(keys_->entryKey(match));
    if (!known) {
        known = Glimt::MbbVantof::EntryConfig{.value = match->egrMdEgrL2AintfUnresolved(),
                                              .mask = match->egrMdEgrL2AintfUnresolvedMask(),
                                              .priority = match->priority()};
        known->isDefault = match == table_.defaultMatchSpec();
    }
    known->sdkEntryHandle = handles_.entry(match);
    return *known;
}

void Recorder::record(RuxGroupId group) {
    if (const auto handle = handles_.group(group); handle.value() != 0) {
        keys_->groupIs(group, handle);
    } else {
        keys_->groupDel(group);
    }
}

void Recorder::record(RuxMemberId member) {
    if (const auto handle = handles_.member(member); handle.value() != 0) {
        keys_->memberIs(member, handle);
    } else {
        keys_->memberDel(member);
    }
}

} // namespace LagAgent
