#include "tests/support/RecordingManagers.h"

#include "BfLagGroup/LagGroupTableValues.h"

namespace test_support {

constinit const Kel::Type RecordingKeyManager::fwkType_{
    .name = "RecordingKeyManager",
    .kind = Kel::Type::Kind::object,
    .base = &MbbGlimtKey::GlimtKeyManager::fwkType_};
constinit const Kel::Type RecordingStatusManager::fwkType_{
    .name = "RecordingStatusManager",
    .kind = Kel::Type::Kind::object,
    .base = &RuxTableStatusManager::StatusManager::fwkType_};

namespace {

std::string call(const char* function, const std::string& arguments) {
    return std::string(function) + '(' + arguments + ')';
}

} // namespace

std::string matchText(const Journal& journal, const RuxTable::MatchSpecBase::PtrConst& match) {
    const std::string name = journal.name(match.ptr());
    const auto* spec = dynamic_cast<const BfLagGroup::LagGroupMatchSpec*>(match.ptr());
    if (name != "unnamed" || !spec) {
        return name;
    }
    return std::to_string(spec->egrMdEgrL2AintfUnresolved()) + '/' +
           std::to_string(spec->egrMdEgrL2AintfUnresolvedMask()) + '/' +
           std::to_string(spec->priority());
}

Glimt::EntryKey RecordingKeyManager::alloc(const RuxTable::MatchSpecBase::PtrConst& match,
                                           bool temporary) {
    journal_.add(call("alloc", matchText(journal_, match) + (temporary ? ", true" : ", false")));
    return ++latestKey_;
}

Glimt::EntryKey RecordingKeyManager::allocAnon(Kel::U32 id) {
    journal_.add(call("allocAnon", std::to_string(id)));
    anonIds_.insert_or_assign(++latestKey_, id);
    return latestKey_;
}

Kel::U32 RecordingKeyManager::anonId(Glimt::EntryKey key) const {
    journal_.add(call("anonId", std::to_string(key)));
    const auto found = anonIds_.find(key);
    return found == anonIds_.end() ? 0 : found->second;
}

void RecordingKeyManager::populate(Glimt::EntryKey key,
                                   const RuxTable::MatchSpecBase::PtrConst& match) {
    journal_.add(call("populate", std::to_string(key) + ", " + matchText(journal_, match)));
    populated_.push_back(match);
}

void RecordingKeyManager::latestKeyIs(Glimt::EntryKey key) {
    journal_.add(call("latestKeyIs", std::to_string(key)));
    latestKey_ = key;
}

void RecordingStatusManager::initStatus(const RuxTable::MatchSpecBase::PtrConst& match) {
    journal_.add(call("initStatus", matchText(journal_, match)));
}
void RecordingStatusManager::initAdtStatus(RuxTable::RuxMemberId memberId) {
    journal_.add(call("initAdtStatus", std::to_string(memberId.value())));
}
void RecordingStatusManager::initSelGroupStatus(RuxTable::RuxGroupId groupId) {
    journal_.add(call("initSelGroupStatus", std::to_string(groupId.value())));
}
void RecordingStatusManager::resyncStatus() {
    journal_.add("resyncStatus()");
}
void RecordingStatusManager::resyncSelAdtStatus() {
    journal_.add("resyncSelAdtStatus()");
}

} // namespace test_support
