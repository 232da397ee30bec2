#pragma once

#include "BfLagGroup/Words.h"
#include "framework/Kel.h"
#include "platform/RuxTable/RuxTable.h"

namespace BfLagGroup {

/// One member of one selector group in the model: which action-profile member it is, and whether it
/// may carry traffic. Every change of `active` is announced as attribute 259.
class KEL_EXPORT LagGroupMember : public Kel::Object<LagGroupMember, Kel::Entity>,
                                  public Kel::HashMapLink<LagGroupMember> {
  public:
    static constexpr Kel::AttributeId kActive = 259;

    explicit LagGroupMember(RuxTable::RuxMemberId memberId);
    ~LagGroupMember() override;

    RuxTable::RuxMemberId memberId() const noexcept { return memberId_; }
    RuxTable::RuxMemberId fwkKey() const noexcept { return memberId_; }

    /// True at first.
    bool active() const noexcept { return active_; }
    void activeIs(bool active);

    static const Kel::Type fwkType_;

  private:
    struct Attributes;

    RuxTable::RuxMemberId memberId_;
    bool active_ = true;
};

} // namespace BfLagGroup
