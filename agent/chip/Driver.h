#pragma once

#include <memory>

#include "BfLagGroup/Factories.h"
#include "BfLagGroup/LagGroupActionProfileSm.h"
#include "agent/chip/PdLibrary.h"
#include "agent/terms/Target.h"
#include "platform/MbbGlimtKey/GlimtKeyManager.h"
#include "platform/RuxTableStatusManager/InProcessStatusManager.h"

namespace LagAgent {

/// The driver, started: the match table, the action profile's model and the state machine behind
/// it.
class Driver {
  public:
    using KeyManagerPtr = MbbGlimtKey::GlimtKeyManager::Ptr;

    /// Runs the driver's two factories. Throws `CommandError`, or what the factories throw.
    /// REQUIRES: `library` outlives the driver.
    Driver(const PdLibrary& library, const Target& target, const KeyManagerPtr& keys);

    const PdLibrary& library() const noexcept { return library_; }
    BfLagGroup::LagGroupTable& table() const noexcept { return *table_; }
    BfLagGroup::LagGroupActionProfile& profile() const noexcept { return *profile_; }
    const BfLagGroup::LagGroupActionProfileSm& stateMachine() const noexcept { return *sm_; }
    RuxTableStatusManager::InProcessStatusManager& status() const noexcept { return *status_; }

    const BfLagGroup::LagGroupTableHelper& helper() const noexcept { return *table_->helper(); }
    BfLagGroup::LagGroupTableHandles& handles() const { return helper().requiredHandles(); }
    const BfPdLagGroup::BfPdLagGroupIntf& pd() const { return helper().requiredPdLib(); }

    // Removals of what the driver does not know, or has let go of: by handle, in the session of its
    // other removals. They throw what a refused PD call does; the driver's handles stay as they
    // are.
    void chipMemberDel(std::uint32_t member) const;
    void chipGroupDel(std::uint32_t group) const;

  private:
    using StatusManager = RuxTableStatusManager::InProcessStatusManager;
    struct StopAsking {
        void operator()(StatusManager* status) const { status->whatIsGoneIs({}, {}, {}); }
    };

    const PdLibrary& library_;
    StatusManager::Ptr status_;
    BfLagGroup::LagGroupTable::Ptr table_;
    BfLagGroup::LagGroupActionProfile::Ptr profile_;
    BfLagGroup::LagGroupActionProfileSm::Ptr sm_;
    /// The status manager as long as it asks the others what is gone: no longer than they live.
    std::unique_ptr<StatusManager, StopAsking> asking_;
};

} // namespace LagAgent
