#pragma once

#include "framework/AllocTrack.h"
#include "framework/PtrInterface.h"
#include "platform/RuxTable/RuxTable.h"

namespace RuxTableStatusManager {

/**
 * Keeps the hardware status of every match entry, member and selector group.
 *
 * The driver tells it before each attempt to touch an object in hardware, whether the attempt then
 * succeeds or not, and at start-up, when the handles of an earlier run have been restored.
 */
class KEL_EXPORT StatusManager : public Kel::PtrInterface {
  public:
    using Ptr = Kel::Ptr<StatusManager>;
    using PtrConst = Kel::Ptr<StatusManager const>;

    virtual void initStatus(const RuxTable::MatchSpecBase::PtrConst& match) = 0;
    virtual void initAdtStatus(RuxTable::RuxMemberId memberId) = 0;
    virtual void initSelGroupStatus(RuxTable::RuxGroupId groupId) = 0;
    /// The entry handles have been restored.
    virtual void resyncStatus() = 0;
    /// The member and group handles have been restored.
    virtual void resyncSelAdtStatus() = 0;

    static const Kel::Type fwkType_;

  protected:
    StatusManager() = default;
};

} // namespace RuxTableStatusManager
