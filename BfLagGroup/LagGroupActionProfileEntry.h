#pragma once

#include "BfLagGroup/LagGroupActionSpecs.h"
#include "platform/RuxTable/RuxTable.h"

namespace BfLagGroup {

/// One action-profile member in the model: a member id and the action it carries. A change of the
/// action is announced as attribute 260.
class KEL_EXPORT LagGroupActionProfileEntry
    : public Kel::Object<LagGroupActionProfileEntry, Kel::Entity> {
  public:
    using Action = LagGroupBaseActionProfileSpec::PtrConst;

    // Attribute 259 is deliberately not used by this class.
    static constexpr Kel::AttributeId kAction = 260;

    LagGroupActionProfileEntry(RuxTable::RuxMemberId memberId, const Action& action);
    ~LagGroupActionProfileEntry() override;

    RuxTable::RuxMemberId memberId() const noexcept { return memberId_; }

    const Action& action() const noexcept { return action_; }
    /// Carries `action` from now on. Another object is a change, whatever its fields; null is
    /// accepted, and programs nothing.
    void actionIs(const Action& action);

    static const Kel::Type fwkType_;

  private:
    struct Attributes;

    RuxTable::RuxMemberId memberId_;
    Action action_;
};

} // namespace BfLagGroup
