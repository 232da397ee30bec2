#include <gtest/gtest.h>

#include <sstream>

#include "BfLagGroup/LagGroupActionSpecs.h"
#include "tests/support/VirtualSlots.h"

using namespace BfLagGroup;
using Kel::ParseException;
using Kel::RangeException;
using Type = LagGroupActionProfileType;

namespace {

struct Enumerator {
    U32 number;
    Type type;
    const char* name;
};

constexpr Enumerator kEnumerators[] = {
    {0, Type::fixL2SubintfAlignmentActionProfileSpec, "fixL2SubintfAlignmentActionProfileSpec"},
    {1, Type::invalidateUcastEgressPortActionProfileSpec,
     "invalidateUcastEgressPortActionProfileSpec"},
    {2, Type::setLagPortActionProfileSpec, "setLagPortActionProfileSpec"},
    {3, Type::setPhysicalPortActionProfileSpec, "setPhysicalPortActionProfileSpec"},
    {4, Type::setTunnelInfoActionProfileSpec, "setTunnelInfoActionProfileSpec"},
};

constexpr Type kNoEnumerator = static_cast<Type>(7);

Kel::String valueText(const char* enumerator) {
    return Kel::format("Value('BfLagGroup::LagGroupActionProfileType', '%s')", enumerator);
}

Type parsed(const Kel::String& text) {
    Kel::String::IteratorConst it = text.begin();
    Type type{};
    sequenceToValue(it, text.end(), &type);
    Kel::strepToValueEnd(text, it);
    return type;
}

std::string streamed(Type type) {
    std::ostringstream out;
    EXPECT_EQ(&(out << type), &out);
    return out.str();
}

std::string rangeError(const auto& action) {
    try {
        action();
    } catch (const RangeException& e) {
        return e.what();
    }
    return "no error";
}

// The enumeration

TEST(ActionType, IsA32BitNumberWithValueZeroAsItsDefault) {
    static_assert(std::is_same_v<std::underlying_type_t<Type>, U32>);
    EXPECT_EQ(Type{}, Type::fixL2SubintfAlignmentActionProfileSpec);
}

TEST(ActionType, IsFoundByItsNumberAndByItsString) {
    for (const auto& [number, type, name] : kEnumerators) {
        EXPECT_EQ(static_cast<U32>(type), number);
        EXPECT_EQ(LagGroupActionProfileTypeInstance(number), type);
        EXPECT_EQ(LagGroupActionProfileTypeInstance(Kel::String(name)), type);
        EXPECT_EQ(stringValue(type), name);
    }
}

TEST(ActionType, PrintsAndStreamsItsEnumerator) {
    for (const auto& [number, type, name] : kEnumerators) {
        EXPECT_EQ(valueToStrep(type), valueText(name));
        EXPECT_EQ(streamed(type), name);
    }
}

TEST(ActionType, ReadsBackWhatIsPrinted) {
    for (const auto& enumerator : kEnumerators) {
        EXPECT_EQ(parsed(valueToStrep(enumerator.type)), enumerator.type);
    }
}

TEST(ActionType, RefusesANumberThatIsNoEnumerator) {
    EXPECT_EQ(rangeError([] { LagGroupActionProfileTypeInstance(5u); }),
              "BfLagGroup::LagGroupActionProfileType has no enumerator 5");
    EXPECT_EQ(rangeError([] { LagGroupActionProfileTypeInstance(4294967295u); }),
              "BfLagGroup::LagGroupActionProfileType has no enumerator 4294967295");
}

TEST(ActionType, RefusesAStringThatIsNoEnumerator) {
    EXPECT_EQ(rangeError([] { LagGroupActionProfileTypeInstance(Kel::String("setLagPort")); }),
              "BfLagGroup::LagGroupActionProfileType has no enumerator 'setLagPort'");
    for (const char* name : {"", "SetLagPortActionProfileSpec", "setLagPortActionProfileSpec ",
                             "setLagPortActionProfileSpe", "2"}) {
        EXPECT_THROW(LagGroupActionProfileTypeInstance(Kel::String(name)), RangeException) << name;
    }
}

TEST(ActionType, OutsideTheEnumerationHasNoStringButPrintsItsNumber) {
    EXPECT_EQ(rangeError([] { stringValue(kNoEnumerator); }),
              "BfLagGroup::LagGroupActionProfileType has no enumerator 7");
    EXPECT_EQ(valueToStrep(kNoEnumerator), "Value('BfLagGroup::LagGroupActionProfileType', 7)");
    EXPECT_EQ(streamed(kNoEnumerator), "7");
}

TEST(ActionType, RefusesAValueStringThatIsNoEnumeratorAndLeavesTheTargetAlone) {
    const auto refused = [](const Kel::String& text, auto exception) {
        Kel::String::IteratorConst it = text.begin();
        Type type = Type::setTunnelInfoActionProfileSpec;
        EXPECT_THROW(sequenceToValue(it, text.end(), &type), decltype(exception)) << text;
        EXPECT_EQ(type, Type::setTunnelInfoActionProfileSpec);
    };
    refused(valueText("setLagPort"), RangeException(""));
    refused(valueText(""), RangeException(""));
    refused("", ParseException(""));
    refused("setLagPortActionProfileSpec", ParseException(""));
    refused("Value('BfLagGroup::LagGroupActionProfileType', 2)", ParseException(""));
    refused("Value('BfLagGroup::LagGroupActionProfileTypes', 'setLagPortActionProfileSpec')",
            ParseException(""));
    refused("Value('BfLagGroup::LagGroupActionProfileType','setLagPortActionProfileSpec')",
            ParseException(""));
    refused("Value('BfLagGroup::LagGroupActionProfileType', 'setLagPortActionProfileSpec",
            ParseException(""));
    refused("Value('BfLagGroup::LagGroupActionProfileType', 'setLagPortActionProfileSpec'",
            ParseException(""));
}

TEST(ActionType, LeavesTheIteratorBehindItsValueString) {
    const Kel::String text = valueText("setPhysicalPortActionProfileSpec") + ", more";
    Kel::String::IteratorConst it = text.begin();
    Type type{};
    sequenceToValue(it, text.end(), &type);
    EXPECT_EQ(type, Type::setPhysicalPortActionProfileSpec);
    EXPECT_EQ(std::string(it, text.end()), ", more");
}

TEST(ActionType, RefusesEveryChangedByteOfItsValueString) {
    const std::string text = valueText("setLagPortActionProfileSpec").charPtr();
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = text;
            changed[at] = static_cast<char>(byte);
            if (changed == text) {
                continue;
            }
            try {
                parsed(Kel::String(changed));
                ADD_FAILURE() << "read " << changed;
            } catch (const ParseException&) {
            } catch (const RangeException&) {
            }
        }
    }
}

TEST(ActionType, IsRegisteredAsAnEnumerationOfFiveValues) {
    const Kel::Type* type = Kel::typeNode("BfLagGroup::LagGroupActionProfileType");
    ASSERT_EQ(type, &lagGroupActionProfileTypeFwkType);
    EXPECT_EQ(type, Kel::typeOf<LagGroupActionProfileType>());
    EXPECT_EQ(type->kind, Kel::Type::Kind::enumeration);
    ASSERT_NE(type->enumeration, nullptr);
    EXPECT_EQ(type->enumeration->size(), 5u);
    EXPECT_STREQ(type->enumeration->typeName(), "BfLagGroup::LagGroupActionProfileType");
}

// The specs

template <class SpecType, U32 kNumber>
struct SpecCase {
    using Spec = SpecType;
    static constexpr Type kType = static_cast<Type>(kNumber);
};

template <class Case>
struct ActionSpec : testing::Test {
    typename Case::Spec::Ptr spec = new typename Case::Spec;
};

using SpecCases = testing::Types<
    SpecCase<LagGroupBaseActionProfileSpec, 0>, SpecCase<FixL2SubintfAlignmentActionProfileSpec, 0>,
    SpecCase<InvalidateUcastEgressPortActionProfileSpec, 1>,
    SpecCase<SetLagPortActionProfileSpec, 2>, SpecCase<SetPhysicalPortActionProfileSpec, 3>,
    SpecCase<SetTunnelInfoActionProfileSpec, 4>>;
TYPED_TEST_SUITE(ActionSpec, SpecCases);

TYPED_TEST(ActionSpec, HasTheActionTypeOfItsClassAndPortZero) {
    EXPECT_EQ(this->spec->actionType(), TypeParam::kType);
    EXPECT_EQ(this->spec->egrL2AintfPort(), 0u);
}

TYPED_TEST(ActionSpec, NamesTheRegisteredTypeOfItsClass) {
    using Spec = typename TypeParam::Spec;
    EXPECT_EQ(this->spec->fwkType(), &Spec::fwkType_);
    EXPECT_EQ(Kel::typeNode(Spec::fwkType_.name), &Spec::fwkType_);
    EXPECT_TRUE(Spec::fwkType_.isA(LagGroupBaseActionProfileSpec::fwkType_));
    EXPECT_FALSE(Spec::fwkType_.isA(Kel::Entity::fwkType_));
}

TYPED_TEST(ActionSpec, HoldsAPortFrom0To65535ThroughTheGenericInterface) {
    for (const unsigned port : {65535u, 1u, 32768u, 0u}) {
        Kel::attributeIs(this->spec, "egrL2AintfPort", static_cast<U16>(port));
        EXPECT_EQ(this->spec->egrL2AintfPort(), port);
        EXPECT_EQ(Kel::attribute<U16>(this->spec, "egrL2AintfPort"), port);
    }
}

TYPED_TEST(ActionSpec, StoresThePortAsSixteenBits) {
    static_assert(std::is_same_v<decltype(this->spec->egrL2AintfPort()), U16>);
    EXPECT_THROW(Kel::attributeIs(this->spec, "egrL2AintfPort", U32{5}), Kel::TypeException);
    // The words around the port stay as they are.
    Kel::attributeIs(this->spec, "egrL2AintfPort", U16{65535});
    EXPECT_EQ(this->spec->actionType(), TypeParam::kType);
}

TYPED_TEST(ActionSpec, TakesAnyActionTypeThroughTheGenericInterface) {
    for (const U32 number : {4u, 0u, 7u, 4294967295u}) {
        Kel::attributeIs(this->spec, "actionType", static_cast<Type>(number));
        EXPECT_EQ(static_cast<U32>(this->spec->actionType()), number);
        EXPECT_EQ(static_cast<U32>(Kel::attribute<Type>(this->spec, "actionType")), number);
    }
    EXPECT_EQ(this->spec->egrL2AintfPort(), 0u);
}

TYPED_TEST(ActionSpec, IsCountedInTheRecordOfItsOwnClassAlone) {
    using Spec = typename TypeParam::Spec;
    const auto& record = Spec::kelAllocTrackTypeInfo_;
    const auto& baseRecord = LagGroupBaseActionProfileSpec::kelAllocTrackTypeInfo_;
    const auto live = record.live();
    const auto baseLive = baseRecord.live();
    typename Spec::Ptr another = new Spec;
    EXPECT_EQ(record.live(), live + 1);
    EXPECT_EQ(record.type(), &Spec::fwkType_);
    EXPECT_EQ(record.objectSize(), sizeof(Spec));
    if (&record != &baseRecord) {
        EXPECT_EQ(baseRecord.live(), baseLive);
    }
    another = nullptr;
    EXPECT_EQ(record.live(), live);
}

TYPED_TEST(ActionSpec, DiesAsItsOwnClassWhenHeldByItsBase) {
    using Spec = typename TypeParam::Spec;
    const auto live = Spec::kelAllocTrackTypeInfo_.live();
    LagGroupBaseActionProfileSpec::PtrConst shared = new Spec;
    EXPECT_EQ(Spec::kelAllocTrackTypeInfo_.live(), live + 1);
    shared = nullptr;
    EXPECT_EQ(Spec::kelAllocTrackTypeInfo_.live(), live);
}

TYPED_TEST(ActionSpec, HasItsVirtualOperationsInTheFixedSlots) {
    using virtual_slots::callSlot;
    using virtual_slots::slotOf;
    using Spec = typename TypeParam::Spec;
    EXPECT_EQ(slotOf(&Spec::notifieeList), 0u);
    EXPECT_EQ(slotOf(&Spec::hasNotificationActiveIs), 1u);
    EXPECT_EQ(slotOf(&Spec::zeroReferencesIs), 2u);
    EXPECT_EQ(slotOf(&Spec::fwkType), 3u);
    EXPECT_EQ(callSlot<Kel::NotifieeList*>(*this->spec, 0), nullptr);
    EXPECT_EQ(callSlot<const Kel::Type*>(*this->spec, 3), &Spec::fwkType_);

    const auto live = Spec::kelAllocTrackTypeInfo_.live();
    callSlot<void>(*new Spec, 5); // the deleting destructor stands behind the plain one
    EXPECT_EQ(Spec::kelAllocTrackTypeInfo_.live(), live);
}

TEST(ActionSpecClass, DerivesDirectlyFromTheBaseSpec) {
    for (const Kel::Type* type :
         {&FixL2SubintfAlignmentActionProfileSpec::fwkType_,
          &InvalidateUcastEgressPortActionProfileSpec::fwkType_,
          &SetLagPortActionProfileSpec::fwkType_, &SetPhysicalPortActionProfileSpec::fwkType_,
          &SetTunnelInfoActionProfileSpec::fwkType_}) {
        EXPECT_EQ(type->base, &LagGroupBaseActionProfileSpec::fwkType_) << type->name;
    }
    EXPECT_EQ(LagGroupBaseActionProfileSpec::fwkType_.base, &Kel::PtrInterface::fwkType_);
}

} // namespace
