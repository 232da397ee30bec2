#include "platform/RuxTableStatusManager/InProcessStatusManager.h"

namespace RuxTableStatusManager {

constinit const Kel::Type InProcessStatusManager::fwkType_{
    .name = "RuxTableStatusManager::InProcessStatusManager",
    .kind = Kel::Type::Kind::object,
    .base = &StatusManager::fwkType_};

void InProcessStatusManager::initStatus(const RuxTable::MatchSpecBase::PtrConst& match) {
    ++entries_[match];
}
void InProcessStatusManager::initAdtStatus(RuxTable::RuxMemberId memberId) {
    ++members_[memberId];
}
void InProcessStatusManager::initSelGroupStatus(RuxTable::RuxGroupId groupId) {
    ++groups_[groupId];
}
void InProcessStatusManager::resyncStatus() {
    ++resyncs_;
}
void InProcessStatusManager::resyncSelAdtStatus() {
    ++selAdtResyncs_;
}

} // namespace RuxTableStatusManager
