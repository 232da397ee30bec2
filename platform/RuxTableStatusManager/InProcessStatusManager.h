#pragma once

#include <functional>
#include <unordered_map>
#include <utility>

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

    /// Says of an entry (by its match spec), a member or a group that it is gone.
    template <class Key>
    using IsGone = std::function<bool(const Key&)>;
    using Match = RuxTable::MatchSpecBase::PtrConst;

    InProcessStatusManager() = default;

    /// Without them, nothing is known to be gone but entries whose match spec nobody else holds,
    /// and every id that is ever used is kept. They are asked now and then when the driver touches
    /// something, and by `entries`, `members` and `groups`.
    void whatIsGoneIs(IsGone<Match> entry, IsGone<RuxTable::RuxMemberId> member,
                      IsGone<RuxTable::RuxGroupId> group) {
        isEntryGone_ = std::move(entry);
        isMemberGone_ = std::move(member);
        isGroupGone_ = std::move(group);
    }

    void initStatus(const RuxTable::MatchSpecBase::PtrConst& match) override;
    void initAdtStatus(RuxTable::RuxMemberId memberId) override;
    void initSelGroupStatus(RuxTable::RuxGroupId groupId) override;
    void resyncStatus() override;
    void resyncSelAdtStatus() override;

    // Number of attempts by object, for those that are not gone.

    const Records<Match>& entries() { return swept(entries_); }
    const Records<RuxTable::RuxMemberId>& members() { return swept(members_); }
    const Records<RuxTable::RuxGroupId>& groups() { return swept(groups_); }
    Kel::U32 resyncs() const noexcept { return resyncs_; }
    Kel::U32 selAdtResyncs() const noexcept { return selAdtResyncs_; }

    static const Kel::Type fwkType_;

  private:
    template <class Key>
    using Swept = RuxTable::SweptRecords<Key, Kel::U32, IsGone<Key>>;

    template <class Key>
    static const Records<Key>& swept(Swept<Key>& records) {
        records.sweep();
        return records.map();
    }

    IsGone<Match> isEntryGone_;
    IsGone<RuxTable::RuxMemberId> isMemberGone_;
    IsGone<RuxTable::RuxGroupId> isGroupGone_;
    Swept<Match> entries_{[this](const Match& match) {
        return RuxTable::IsHeldByItsRecordAlone{}(match) || (isEntryGone_ && isEntryGone_(match));
    }};
    Swept<RuxTable::RuxMemberId> members_{
        [this](const RuxTable::RuxMemberId& id) { return isMemberGone_ && isMemberGone_(id); }};
    Swept<RuxTable::RuxGroupId> groups_{
        [this](const RuxTable::RuxGroupId& id) { return isGroupGone_ && isGroupGone_(id); }};
    Kel::U32 resyncs_ = 0;
    Kel::U32 selAdtResyncs_ = 0;
};

} // namespace RuxTableStatusManager
