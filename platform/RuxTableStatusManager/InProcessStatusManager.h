#pragma once

#include <unordered_map>

#include "framework/AllocTrack.h"
#include "platform/RuxTable/MatchSpecRecords.h"
#include "platform/RuxTableStatusManager/StatusManager.h"

namespace RuxTableStatusManager {

/// A status manager that keeps, for each object, how often the driver set out to touch it.
class KEL_EXPORT InProcessStatusManager
    : public Kel::Object<InProcessStatusManager, StatusManager> {
  public:
    template <class Key>
    using Records = std::unordered_map<Key, Kel::U32>;

    InProcessStatusManager() = default;

    void initStatus(const RuxTable::MatchSpecBase::PtrConst& match) override;
    void initAdtStatus(RuxTable::RuxMemberId memberId) override;
    void initSelGroupStatus(RuxTable::RuxGroupId groupId) override;
    void resyncStatus() override;
    void resyncSelAdtStatus() override;

    /// Number of attempts by object. A match key that nobody else holds may be forgotten.
    const Records<RuxTable::MatchSpecBase::PtrConst>& entries() const noexcept {
        return entries_.map();
    }
    const Records<RuxTable::RuxMemberId>& members() const noexcept { return members_; }
    const Records<RuxTable::RuxGroupId>& groups() const noexcept { return groups_; }
    Kel::U32 resyncs() const noexcept { return resyncs_; }
    Kel::U32 selAdtResyncs() const noexcept { return selAdtResyncs_; }

    static const Kel::Type fwkType_;

  private:
    RuxTable::MatchSpecRecords<Kel::U32> entries_;
    Records<RuxTable::RuxMemberId> members_;
    Records<RuxTable::RuxGroupId> groups_;
    Kel::U32 resyncs_ = 0;
    Kel::U32 selAdtResyncs_ = 0;
};

} // namespace RuxTableStatusManager
