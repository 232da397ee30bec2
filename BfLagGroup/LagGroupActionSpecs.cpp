#include "BfLagGroup/LagGroupActionSpecs.h"

#include <array>

namespace BfLagGroup {

namespace {

constexpr std::array kEnumerators{"fixL2SubintfAlignmentActionProfileSpec",
                                  "invalidateUcastEgressPortActionProfileSpec",
                                  "setLagPortActionProfileSpec", "setPhysicalPortActionProfileSpec",
                                  "setTunnelInfoActionProfileSpec"};

constexpr Kel::EnumType<U32> kEnumType("BfLagGroup::LagGroupActionProfileType", kEnumerators);

} // namespace

constinit const Kel::Type lagGroupActionProfileTypeFwkType =
    Kel::GenericIfEnumMethods<U32>::type<LagGroupActionProfileType, &kEnumType>();

LagGroupActionProfileType LagGroupActionProfileTypeInstance(U32 value) {
    return static_cast<LagGroupActionProfileType>(kEnumType.instance(value));
}

LagGroupActionProfileType LagGroupActionProfileTypeInstance(const Kel::String& name) {
    return static_cast<LagGroupActionProfileType>(kEnumType.instance(name));
}

Kel::String stringValue(LagGroupActionProfileType type) {
    return kEnumType.stringValue(static_cast<U32>(type));
}

Kel::String valueToStrep(const LagGroupActionProfileType& type) {
    return kEnumType.valueToStrep(static_cast<U32>(type));
}

void sequenceToValue(Kel::String::IteratorConst& it, const Kel::String::IteratorConst& end,
                     LagGroupActionProfileType* type) {
    *type = static_cast<LagGroupActionProfileType>(kEnumType.sequenceToValue(it, end));
}

std::ostream& operator<<(std::ostream& out, const LagGroupActionProfileType& type) {
    return kEnumType.operatorLessLess(out, static_cast<U32>(type));
}

template <class Spec>
struct LagGroupBaseActionProfileSpec::Attributes {
    using Base = LagGroupBaseActionProfileSpec;
    using Table = Kel::AttributeTable<Spec, Kel::FieldRow<"actionType", 130, &Base::actionType_>,
                                      Kel::FieldRow<"egrL2AintfPort", 131, &Base::egrL2AintfPort_>>;

    static constexpr Kel::Type type(const char* name, const Kel::Type& base = Base::fwkType_) {
        return Table::objectType(name, base);
    }
};

constinit const Kel::Type LagGroupBaseActionProfileSpec::fwkType_ =
    Attributes<LagGroupBaseActionProfileSpec>::type("BfLagGroup::LagGroupBaseActionProfileSpec",
                                                    Kel::PtrInterface::fwkType_);
constinit const Kel::Type FixL2SubintfAlignmentActionProfileSpec::fwkType_ =
    Attributes<FixL2SubintfAlignmentActionProfileSpec>::type(
        "BfLagGroup::FixL2SubintfAlignmentActionProfileSpec");
constinit const Kel::Type InvalidateUcastEgressPortActionProfileSpec::fwkType_ =
    Attributes<InvalidateUcastEgressPortActionProfileSpec>::type(
        "BfLagGroup::InvalidateUcastEgressPortActionProfileSpec");
constinit const Kel::Type SetLagPortActionProfileSpec::fwkType_ =
    Attributes<SetLagPortActionProfileSpec>::type("BfLagGroup::SetLagPortActionProfileSpec");
constinit const Kel::Type SetPhysicalPortActionProfileSpec::fwkType_ =
    Attributes<SetPhysicalPortActionProfileSpec>::type(
        "BfLagGroup::SetPhysicalPortActionProfileSpec");
constinit const Kel::Type SetTunnelInfoActionProfileSpec::fwkType_ =
    Attributes<SetTunnelInfoActionProfileSpec>::type("BfLagGroup::SetTunnelInfoActionProfileSpec");

} // namespace BfLagGroup
