#pragma once

#include "BfLagGroup/Factories.h"
#include "BfLagGroup/LagGroupActionProfileSm.h"
#include "agent/PdLibrary.h"
#include "platform/MbbGlimtKey/InProcessKeyManager.h"
#include "platform/RuxTableStatusManager/InProcessStatusManager.h"

namespace LagAgent {

/// Which chip the driver works on.
struct Target {
    std::string pdPath{};
    std::uint8_t device = 0;
    std::uint16_t pipe = BfLagGroup::LagGroupTableHelper::kAllPipes;
};

/// The driver, loaded and started: the PD library, the match table, the action profile's model and
/// the state machine behind it.
class Driver {
  public:
    /// Throws `CommandError`, or what the factories throw.
    explicit Driver(const Target& target);

    const PdLibrary& library() const noexcept { return library_; }
    BfLagGroup::LagGroupTable& table() const noexcept { return *table_; }
    BfLagGroup::LagGroupActionProfile& profile() const noexcept { return *profile_; }
    const BfLagGroup::LagGroupActionProfileSm& stateMachine() const noexcept { return *sm_; }
    const RuxTableStatusManager::InProcessStatusManager& status() const noexcept {
        return *status_;
    }
    const MbbGlimtKey::InProcessKeyManager& keys() const noexcept { return *keys_; }

    const BfLagGroup::LagGroupTableHelper& helper() const noexcept { return *table_->helper(); }
    BfLagGroup::LagGroupTableHandles& handles() const { return helper().requiredHandles(); }
    const BfPdLagGroup::BfPdLagGroupIntf& pd() const { return helper().requiredPdLib(); }

  private:
    PdLibrary library_;
    MbbGlimtKey::InProcessKeyManager::Ptr keys_;
    RuxTableStatusManager::InProcessStatusManager::Ptr status_;
    BfLagGroup::LagGroupTable::Ptr table_;
    BfLagGroup::LagGroupActionProfile::Ptr profile_;
    BfLagGroup::LagGroupActionProfileSm::Ptr sm_;
};

} // namespace LagAgent
