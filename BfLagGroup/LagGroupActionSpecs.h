#pragma once

#include <ostream>

#include "BfLagGroup/Words.h"
#include "framework/Kel.h"

namespace BfLagGroup {

/// The five actions that a member of "lagPortActionProfile" can carry.
enum class LagGroupActionProfileType : U32 {
    fixL2SubintfAlignmentActionProfileSpec = 0,
    invalidateUcastEgressPortActionProfileSpec = 1,
    setLagPortActionProfileSpec = 2,
    setPhysicalPortActionProfileSpec = 3,
    setTunnelInfoActionProfileSpec = 4,
};

/// The registered enumeration type.
KEL_EXPORT extern const Kel::Type lagGroupActionProfileTypeFwkType;

/// The enumerator of that number or string; throws `Kel::RangeException` when there is none.
KEL_EXPORT LagGroupActionProfileType LagGroupActionProfileTypeInstance(U32 value);
KEL_EXPORT LagGroupActionProfileType LagGroupActionProfileTypeInstance(const Kel::String& name);
/// The enumerator's string, such as "setLagPortActionProfileSpec"; throws `Kel::RangeException` for
/// a number that is no enumerator.
KEL_EXPORT Kel::String stringValue(LagGroupActionProfileType type);
KEL_EXPORT Kel::String valueToStrep(const LagGroupActionProfileType& type);
/// Reads one value string into `*type`, which is untouched when it throws.
KEL_EXPORT void sequenceToValue(Kel::String::IteratorConst& it,
                                const Kel::String::IteratorConst& end,
                                LagGroupActionProfileType* type);
KEL_EXPORT std::ostream& operator<<(std::ostream& out, const LagGroupActionProfileType& type);

/**
 * What a member does to a packet: an action and its one datum, the egress layer-2
 * aggregate-interface port.
 *
 * Make a spec of the right class, fill `egrL2AintfPort` through the generic attribute interface,
 * then share it and change it no more; a changed action is a new spec.
 *
 *     SetLagPortActionProfileSpec::Ptr action = new SetLagPortActionProfileSpec;
 *     Kel::attributeIs(action, "egrL2AintfPort", U16{5});
 *
 * The driver goes by `actionType()`, never by the class.
 */
class KEL_EXPORT LagGroupBaseActionProfileSpec
    : public Kel::Object<LagGroupBaseActionProfileSpec, Kel::PtrInterface> {
  public:
    LagGroupBaseActionProfileSpec() = default;

    LagGroupActionProfileType actionType() const noexcept { return actionType_; }
    U16 egrL2AintfPort() const noexcept { return egrL2AintfPort_; }

    static const Kel::Type fwkType_;

  protected:
    /// The attributes of spec class `Spec`; every class has a table of its own with the same rows.
    template <class Spec>
    struct Attributes;

    explicit LagGroupBaseActionProfileSpec(LagGroupActionProfileType actionType) noexcept
        : actionType_(actionType) {}

  private:
    LagGroupActionProfileType actionType_ =
        LagGroupActionProfileType::fixL2SubintfAlignmentActionProfileSpec;
    U16 egrL2AintfPort_ = 0;
};

/// What the five spec classes share: the constructor sets the class's action type.
template <class Self, LagGroupActionProfileType kActionType>
class KEL_EXPORT ActionProfileSpec : public Kel::Object<Self, LagGroupBaseActionProfileSpec> {
  protected:
    ActionProfileSpec() : Kel::Object<Self, LagGroupBaseActionProfileSpec>(kActionType) {}
};

class KEL_EXPORT FixL2SubintfAlignmentActionProfileSpec
    : public ActionProfileSpec<FixL2SubintfAlignmentActionProfileSpec,
                               LagGroupActionProfileType::fixL2SubintfAlignmentActionProfileSpec> {
  public:
    static const Kel::Type fwkType_;
};

class KEL_EXPORT InvalidateUcastEgressPortActionProfileSpec
    : public ActionProfileSpec<
          InvalidateUcastEgressPortActionProfileSpec,
          LagGroupActionProfileType::invalidateUcastEgressPortActionProfileSpec> {
  public:
    static const Kel::Type fwkType_;
};

class KEL_EXPORT SetLagPortActionProfileSpec
    : public ActionProfileSpec<SetLagPortActionProfileSpec,
                               LagGroupActionProfileType::setLagPortActionProfileSpec> {
  public:
    static const Kel::Type fwkType_;
};

class KEL_EXPORT SetPhysicalPortActionProfileSpec
    : public ActionProfileSpec<SetPhysicalPortActionProfileSpec,
                               LagGroupActionProfileType::setPhysicalPortActionProfileSpec> {
  public:
    static const Kel::Type fwkType_;
};

class KEL_EXPORT SetTunnelInfoActionProfileSpec
    : public ActionProfileSpec<SetTunnelInfoActionProfileSpec,
                               LagGroupActionProfileType::setTunnelInfoActionProfileSpec> {
  public:
    static const Kel::Type fwkType_;
};

} // namespace BfLagGroup

template <>
struct Kel::TypeOf<BfLagGroup::LagGroupActionProfileType>
    : Kel::TypeIs<&BfLagGroup::lagGroupActionProfileTypeFwkType> {};
