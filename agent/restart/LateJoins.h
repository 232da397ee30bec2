#pragma once

#include <set>

#include "agent/terms/ChipState.h"
#include "platform/BfPdLagGroup/BfPdLagGroupIntf.h"

namespace LagAgent {

/**
 * Memberships that the driver's model has and the chip lacks. An inactive member could not join its
 * group: the chip lets members join active, entries point at the group, and there was no free group
 * in which it could join first. It makes no difference to the flows until it is made active.
 *
 * A chip gives no handle twice while it lives, so a membership that is left when its group goes
 * stands for nothing.
 *
 * The PD operations of a driver do then what its model expects: making such a member active lets it
 * join; making it inactive, or leave, succeeds without a call. All other calls pass through.
 *
 * A PD function knows nothing but its arguments, so a process can have one object that is bound.
 */
class LateJoins {
  public:
    struct Membership {
        ChipHandle group;
        ChipHandle member;
        friend auto operator<=>(const Membership&, const Membership&) = default;
    };

    LateJoins() = default;
    ~LateJoins();
    LateJoins(const LateJoins&) = delete;
    LateJoins& operator=(const LateJoins&) = delete;

    /// `pd` must outlive this object. Without memberships nothing is bound. REQUIRES: called once.
    void bind(BfPdLagGroup::BfPdLagGroupIntf& pd, std::set<Membership> memberships);

  private:
    BfPdLagGroup::BfPdLagGroupIntf* pd_ = nullptr;
};

} // namespace LagAgent
