#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/framework/Fixtures.h"

namespace {

using framework_test::Gadget;
using framework_test::messageOf;
using framework_test::Widget;

/// A plain value with two fields.
class Point {
  public:
    Kel::U32 x = 0;
    Kel::U32 y = 0;

    friend bool operator==(const Point&, const Point&) = default;
    static const Kel::Type fwkType_;

  private:
    struct Attributes;
};
struct Point::Attributes {
    using Table = Kel::AttributeTable<Point, Kel::FieldRow<"x", 2, &Point::x>,
                                      Kel::FieldRow<"y", 3, &Point::y>>;
};
Kel::String valueToStrep(const Point& point) {
    return Kel::format("Point(%u, %u)", point.x, point.y);
}
constinit const Kel::Type Point::fwkType_ = Point::Attributes::Table::valueType("Test::Point");

/// A counted object with an attribute of each kind of row.
class Lamp : public Kel::Object<Lamp, Kel::PtrInterface> {
  public:
    explicit Lamp(Kel::U32 serial = 0) : serial_(serial) {}

    Kel::U32 serial() const { return serial_; }
    bool active() const { return active_; }
    void activeIs(bool active) {
        if (active && serial_ == 13) {
            throw Kel::InternalException("unlucky");
        }
        active_ = active;
        ++mutations;
    }
    Widget::Ptr shade() const { return shade_; }
    Widget::Ptr shadeIs() {
        shade_ = new Widget;
        return shade_;
    }
    Widget::Ptr shadeDel() { return std::move(shade_); }
    Kel::U32 sum(const Kel::U32& addend) const { return serial_ + addend; }

    Kel::U16 colour = 0;
    int mutations = 0;
    static const Kel::Type fwkType_;

  private:
    struct Attributes;
    Kel::U32 serial_;
    bool active_ = false;
    Widget::Ptr shade_;
};
struct Lamp::Attributes {
    using Table = Kel::AttributeTable<
        Lamp, Kel::ScalarRow<"serial", 130, &Lamp::serial>,
        Kel::ScalarRow<"active", 131, &Lamp::active, &Lamp::activeIs>,
        Kel::FieldRow<"colour", 132, &Lamp::colour>,
        Kel::InstanceRow<"shade", 133, &Lamp::shade, &Lamp::shadeIs, &Lamp::shadeDel>,
        Kel::FunctionRow<"sum", 134, &Lamp::sum>>;
};
constinit const Kel::Type Lamp::fwkType_ =
    Lamp::Attributes::Table::objectType("Test::Lamp", Kel::PtrInterface::fwkType_);

class TypedAttributes : public testing::Test {
  protected:
    Kel::Ptr<Lamp> lamp_ = new Lamp(5);
};

TEST_F(TypedAttributes, AScalarIsReadAndWrittenThroughItsMutator) {
    EXPECT_EQ(Kel::attribute<Kel::U32>(lamp_, "serial"), 5u);
    Kel::attributeIs(lamp_, "active", true);
    EXPECT_TRUE(Kel::attribute<bool>(*lamp_, "active"));
    EXPECT_EQ(lamp_->mutations, 1);
}

TEST_F(TypedAttributes, AFieldIsStoredPlainly) {
    Kel::attributeIs(*lamp_, "colour", Kel::U16{7});
    EXPECT_EQ(lamp_->colour, 7);
    EXPECT_EQ(Kel::attribute<Kel::U16>(lamp_, "colour"), 7);
    EXPECT_EQ(lamp_->mutations, 0);
}

TEST_F(TypedAttributes, AnInstanceIsMadeReadAndDeleted) {
    EXPECT_EQ(Kel::attribute<Widget::Ptr>(lamp_, "shade"), nullptr);
    Kel::attributeIs(lamp_, "shade");
    const Widget::Ptr shade = lamp_->shade();
    ASSERT_NE(shade, nullptr);
    EXPECT_EQ(Kel::attribute<Widget::Ptr>(lamp_, "shade"), shade);
    Kel::attributeDel(lamp_, "shade");
    EXPECT_EQ(lamp_->shade(), nullptr);
    EXPECT_EQ(shade->kelReferenceCount(), 1u);
}

TEST_F(TypedAttributes, AFunctionIsCalledWithItsArgument) {
    EXPECT_EQ(Kel::attributeCall<Kel::U32>(lamp_, "sum", Kel::U32{3}), 8u);
}

TEST_F(TypedAttributes, APlainValueIsFilledInPlace) {
    Point point;
    Kel::attributeIs(point, "y", Kel::U32{4});
    EXPECT_EQ(point, (Point{0, 4}));
    EXPECT_EQ(Kel::attribute<Kel::U32>(point, "y"), 4u);
}

TEST_F(TypedAttributes, WhatAMutatorThrowsPasses) {
    lamp_ = new Lamp(13);
    EXPECT_EQ(messageOf<Kel::InternalException>([&] { Kel::attributeIs(lamp_, "active", true); }),
              "unlucky");
    EXPECT_FALSE(lamp_->active());
}

TEST_F(TypedAttributes, AnAttributeThatTheClassLacksIsNamed) {
    const std::string expected = "Test::Lamp has no attribute 'weight'";
    using E = Kel::UnknownAttributeException;
    EXPECT_EQ(messageOf<E>([&] { Kel::attribute<Kel::U32>(lamp_, "weight"); }), expected);
    EXPECT_EQ(messageOf<E>([&] { Kel::attributeIs(lamp_, "weight", true); }), expected);
    EXPECT_EQ(messageOf<E>([&] { Kel::attributeDel(lamp_, "weight"); }), expected);
    EXPECT_EQ(messageOf<E>([&] { Kel::attributeCount(lamp_, "weight"); }), expected);
    const Widget::Ptr widget = new Widget;
    EXPECT_EQ(messageOf<E>([&] { Kel::attribute<bool>(widget, "active"); }),
              "Test::Widget has no attribute 'active'");
}

TEST_F(TypedAttributes, AnOperationThatTheAttributeLacksIsNamed) {
    using E = Kel::UnsupportedOperationException;
    EXPECT_EQ(messageOf<E>([&] { Kel::attributeIs(lamp_, "serial", Kel::U32{1}); }),
              "Test::Lamp.serial cannot be written");
    EXPECT_EQ(messageOf<E>([&] { Kel::attributeDel(lamp_, "active"); }),
              "Test::Lamp.active cannot be deleted");
    EXPECT_EQ(messageOf<E>([&] { Kel::attributeCount(lamp_, "active"); }),
              "Test::Lamp.active cannot be counted");
    EXPECT_EQ(messageOf<E>([&] { Kel::attributeHas(lamp_, "active", true); }),
              "Test::Lamp.active cannot be searched");
    EXPECT_EQ(messageOf<E>([&] { Kel::attributeCall<bool>(lamp_, "active"); }),
              "Test::Lamp.active cannot be called");
    EXPECT_EQ(messageOf<E>([&] { Kel::attribute<Kel::U32>(lamp_, "sum", Kel::U32{1}); }),
              "Test::Lamp.sum cannot be read");
    EXPECT_EQ(lamp_->mutations, 0);
}

TEST_F(TypedAttributes, AValueOfAnotherTypeIsRefusedBeforeAnythingIsTouched) {
    using E = Kel::TypeException;
    EXPECT_EQ(messageOf<E>([&] { Kel::attributeIs(lamp_, "active", Kel::U32{1}); }),
              "Test::Lamp.active wants a bool, not a U32");
    EXPECT_EQ(messageOf<E>([&] { Kel::attributeIs(lamp_, "colour", Kel::U32{1}); }),
              "Test::Lamp.colour wants a U16, not a U32");
    EXPECT_EQ(messageOf<E>([&] { Kel::attribute<bool>(lamp_, "serial"); }),
              "Test::Lamp.serial wants a U32, not a bool");
    EXPECT_EQ(messageOf<E>([&] { Kel::attribute<Kel::Ptr<Gadget>>(lamp_, "shade"); }),
              "Test::Lamp.shade wants a Kel::Ptr<Test::Widget>, not a Kel::Ptr<Test::Gadget>");
    EXPECT_EQ(messageOf<E>([&] { Kel::attributeCall<Kel::U32>(lamp_, "sum", true); }),
              "Test::Lamp.sum wants a U32, not a bool");
    EXPECT_EQ(lamp_->mutations, 0);
    EXPECT_EQ(lamp_->colour, 0);
}

TEST_F(TypedAttributes, AWrongNumberOfArgumentsIsRefused) {
    using E = Kel::TypeException;
    EXPECT_EQ(messageOf<E>([&] { Kel::attributeIs(lamp_, "active"); }),
              "Test::Lamp.active takes 1 argument to be written, not 0");
    EXPECT_EQ(messageOf<E>([&] { Kel::attribute<bool>(lamp_, "active", Kel::U32{1}); }),
              "Test::Lamp.active takes 0 arguments to be read, not 1");
}

TEST_F(TypedAttributes, AKeyThatCannotBeHashedIsRefused) {
    const Kel::Ptr<framework_test::Node> node = new framework_test::Node("n");
    EXPECT_EQ(
        messageOf<Kel::UnhashableException>([&] { Kel::attributeHas(node, "entity", Point{}); }),
        "Test::Node.entity: a Test::Point cannot be a key");
    EXPECT_EQ(
        messageOf<Kel::TypeException>([&] { Kel::attributeHas(node, "entity", Kel::U32{1}); }),
        "Test::Node.entity wants a Kel::Name, not a U32");
}

template <class Object>
concept CanBeWritten = requires(Object&& object) {
    Kel::attributeIs(std::forward<Object>(object), "colour", Kel::U16{7});
};
template <class Object>
concept CanBeDeletedFrom = requires(Object&& object) {
    Kel::attributeDel(std::forward<Object>(object), "shade");
};
template <class Object>
constexpr bool kIsReadOnly = !CanBeWritten<Object> && !CanBeDeletedFrom<Object>;

static_assert(CanBeWritten<Lamp&> && CanBeDeletedFrom<Lamp&>);
static_assert(CanBeWritten<Lamp::Ptr&> && CanBeDeletedFrom<Lamp::Ptr>);
static_assert(CanBeWritten<const Lamp::Ptr&>, "the pointer is const, not the lamp");
static_assert(CanBeWritten<Point&>);
static_assert(kIsReadOnly<const Lamp&> && kIsReadOnly<const Point&>);
static_assert(kIsReadOnly<Lamp::PtrConst&> && kIsReadOnly<const Lamp::PtrConst&>);

TEST_F(TypedAttributes, OfWhatIsConstCanBeRead) {
    const Lamp::PtrConst lamp = lamp_;
    const Point point{1, 2};
    EXPECT_EQ(Kel::attribute<Kel::U32>(lamp, "serial"), Kel::attribute<Kel::U32>(*lamp, "serial"));
    EXPECT_EQ(Kel::attribute<Kel::U32>(point, "y"), 2u);
}

TEST_F(TypedAttributes, ANullPointerHasNoAttributes) {
    lamp_ = nullptr;
    EXPECT_EQ(messageOf<Kel::MutatorArgNullPointerException>(
                  [&] { Kel::attribute<bool>(lamp_, "active"); }),
              "attribute of a null pointer");
}

/// A type whose attribute table promises more than its operation keeps.
class Stubborn : public Kel::Object<Stubborn, Kel::PtrInterface> {
  public:
    static inline int outcome = 0;
    static const Kel::Type fwkType_;
};
constexpr Kel::Attribute kStubbornAttributes[]{{.name = "mood",
                                                .id = 130,
                                                .owner = &Stubborn::fwkType_,
                                                .valueType = &Kel::BuiltinType::u32,
                                                .flags = Kel::Attribute::readable}};
constinit const Kel::Type Stubborn::fwkType_{
    .name = "Test::Stubborn",
    .kind = Kel::Type::Kind::object,
    .base = &Kel::PtrInterface::fwkType_,
    .attributes = kStubbornAttributes,
    .genericIf = [](void*, void*, const Kel::Attribute*, Kel::Operation, const void* const*) {
        return Stubborn::outcome;
    }};

TEST_F(TypedAttributes, TheResultsOfTheRawOperationBecomeErrorsToo) {
    const Kel::Ptr<Stubborn> object = new Stubborn;
    const auto read = [&] { Kel::attribute<Kel::U32>(object, "mood"); };
    Stubborn::outcome = 0;
    EXPECT_NO_THROW(read());
    Stubborn::outcome = 1;
    EXPECT_EQ(messageOf<Kel::UnsupportedOperationException>(read),
              "Test::Stubborn.mood cannot be read");
    Stubborn::outcome = 2;
    EXPECT_EQ(messageOf<Kel::UnknownAttributeException>(read),
              "Test::Stubborn has no attribute 'mood'");
}

TEST(GenericErrors, AreThrownFromTheAttributeAndTheTypes) {
    const Kel::Attribute& active = *Lamp::fwkType_.attribute("active");
    EXPECT_EQ(messageOf<Kel::TypeException>([&] {
                  Kel::throwTypeException(active, Kel::BuiltinType::boolean, Point::fwkType_);
              }),
              "Test::Lamp.active wants a bool, not a Test::Point");
    EXPECT_EQ(messageOf<Kel::UnhashableException>(
                  [&] { Kel::throwUnhashableException(active, Point::fwkType_); }),
              "Test::Lamp.active: a Test::Point cannot be a key");
}

TEST(ConvertPointer, GivesThePointerOfTheClassAndKeepsNull) {
    using Kel::GenericIfImpl::convertPointer;
    const Kel::PtrInterface::Ptr gadget = new Gadget;
    EXPECT_EQ(convertPointer<Gadget>(gadget), gadget);
    EXPECT_EQ(convertPointer<Widget>(gadget), gadget);
    EXPECT_EQ(convertPointer<Widget const>(gadget), gadget);
    EXPECT_EQ(convertPointer<Widget>(nullptr), nullptr);
    EXPECT_EQ(gadget->kelReferenceCount(), 1u);
}

TEST(ConvertPointer, RefusesAnObjectOfAnotherClass) {
    const Kel::PtrInterface::Ptr widget = new Widget;
    EXPECT_EQ(
        messageOf<Kel::TypeException>([&] { Kel::GenericIfImpl::convertPointer<Gadget>(widget); }),
        "a Test::Widget is not a Test::Gadget");
    EXPECT_EQ(messageOf<Kel::TypeException>(
                  [&] { Kel::GenericIfImpl::convertPointer<Gadget const>(widget); }),
              "a Test::Widget is not a Test::Gadget");
    EXPECT_EQ(widget->kelReferenceCount(), 1u);
}

/// Calls the raw operation on the lamp.
int raw(Lamp& lamp, Kel::AttributeId id, Kel::U32 code, void* result,
        std::initializer_list<const void*> arguments = {nullptr}) {
    return Lamp::fwkType_.genericIf(static_cast<Kel::PtrInterface*>(&lamp), result,
                                    Lamp::fwkType_.attribute(id), static_cast<Kel::Operation>(code),
                                    arguments.begin());
}

TEST(RawOperation, CodesDoOrRefuseWhatTheRowSays) {
    const Kel::Ptr<Lamp> lamp = new Lamp(5);
    Kel::U32 number = 0;
    bool flag = true;
    EXPECT_EQ(raw(*lamp, 130, 0, &number), 0);
    EXPECT_EQ(number, 5u);
    for (const Kel::U32 code : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 4294967295u}) {
        EXPECT_EQ(raw(*lamp, 130, code, &number), 1) << code;
    }
    EXPECT_EQ(raw(*lamp, 131, 1, nullptr, {&flag}), 0);
    EXPECT_TRUE(lamp->active());
    EXPECT_EQ(raw(*lamp, 131, 2, nullptr), 1);
    EXPECT_EQ(raw(*lamp, 133, 1, nullptr), 0);
    EXPECT_NE(lamp->shade(), nullptr);
    Widget::Ptr removed;
    EXPECT_EQ(raw(*lamp, 133, 2, &removed), 0);
    EXPECT_NE(removed, nullptr);
    EXPECT_EQ(lamp->shade(), nullptr);
    const Kel::U32 addend = 2;
    EXPECT_EQ(raw(*lamp, 134, 8, &number, {&addend}), 0);
    EXPECT_EQ(number, 7u);
    EXPECT_EQ(raw(*lamp, 134, 0, &number, {&addend}), 1);
}

TEST(RawOperation, AnAttributeOfAnotherIdIsUnknownAndACountedClassHasNoValueCodes) {
    const Kel::Ptr<Lamp> lamp = new Lamp(5);
    const Kel::Attribute strange{.name = "strange", .id = 136};
    bool result = false;
    auto* object = static_cast<Kel::PtrInterface*>(lamp.ptr());
    const auto genericIf = Lamp::fwkType_.genericIf;
    EXPECT_EQ(genericIf(object, &result, &strange, Kel::Operation::read, nullptr), 2);
    EXPECT_EQ(genericIf(object, &result, nullptr, Kel::Operation::isDefault, nullptr), 2);
}

/// A class whose attributes have the lamp's ids, but other types.
class Kettle : public Kel::Object<Kettle, Kel::PtrInterface> {
  public:
    Kel::U32 litres = 0x01020304;
    Kel::U32 watts = 0x05060708;
    static const Kel::Type fwkType_;
};
struct KettleAttributes {
    using Table = Kel::AttributeTable<Kettle, Kel::FieldRow<"litres", 130, &Kettle::litres>,
                                      Kel::FieldRow<"watts", 132, &Kettle::watts>>;
};
constinit const Kel::Type Kettle::fwkType_ =
    KettleAttributes::Table::objectType("Test::Kettle", Kel::PtrInterface::fwkType_);

TEST(RawOperation, AnAttributeOfAnotherClassIsUnknownThoughItsIdIsNot) {
    const Kel::Ptr<Kettle> kettle = new Kettle;
    const auto read = [&](const Kel::Attribute* attribute, void* result) {
        return Kettle::fwkType_.genericIf(static_cast<Kel::PtrInterface*>(kettle.ptr()), result,
                                          attribute, Kel::Operation::read, nullptr);
    };
    Kel::U16 colour[2] = {7, 7};
    EXPECT_EQ(read(Lamp::fwkType_.attribute(132), colour), 2);
    EXPECT_THAT(colour, testing::ElementsAre(7, 7));
    Kel::U32 litres = 0;
    EXPECT_EQ(read(Lamp::fwkType_.attribute(130), &litres), 2) << "of the same type";
    EXPECT_EQ(read(Kettle::fwkType_.attribute(130), &litres), 0);
    EXPECT_EQ(litres, 0x01020304u);
}

/// A class that has one of its base's attributes again, and one under the same id but another type.
class Beacon : public Kel::Object<Beacon, Lamp> {
  public:
    Kel::U32 range = 9;
    static const Kel::Type fwkType_;
};
struct BeaconAttributes {
    using Table = Kel::AttributeTable<Beacon, Kel::ScalarRow<"serial", 130, &Beacon::serial>,
                                      Kel::FieldRow<"range", 132, &Beacon::range>>;
};
constinit const Kel::Type Beacon::fwkType_ =
    BeaconAttributes::Table::objectType("Test::Beacon", Lamp::fwkType_);

TEST(RawOperation, AnAttributeOfABaseIsKnownWhereItHasTheSameType) {
    const Kel::Ptr<Beacon> beacon = new Beacon;
    const auto read = [&](Kel::AttributeId id, void* result) {
        return Beacon::fwkType_.genericIf(static_cast<Kel::PtrInterface*>(beacon.ptr()), result,
                                          Lamp::fwkType_.attribute(id), Kel::Operation::read,
                                          nullptr);
    };
    Kel::U32 serial = 1;
    EXPECT_EQ(read(130, &serial), 0);
    EXPECT_EQ(serial, 0u);
    Kel::U16 colour[2] = {7, 7};
    EXPECT_EQ(read(132, colour), 2);
    EXPECT_THAT(colour, testing::ElementsAre(7, 7));
}

TEST(RawOperation, AValueIsComparedWithTheDefaultAndWithAnother) {
    Point point{1, 2};
    const Point same{1, 2};
    const Point other{1, 3};
    bool result = true;
    const auto perform = [&](Point& value, Kel::U32 code, const Point* argument) {
        const void* arguments[] = {argument};
        EXPECT_EQ(Point::fwkType_.genericIf(&value, &result, nullptr,
                                            static_cast<Kel::Operation>(code), arguments),
                  0);
        return result;
    };
    Point origin;
    EXPECT_FALSE(perform(point, 9, nullptr));
    EXPECT_TRUE(perform(origin, 9, nullptr));
    EXPECT_TRUE(perform(point, 10, &same));
    EXPECT_FALSE(perform(point, 10, &other));
    EXPECT_EQ(Point::fwkType_.genericIf(&point, &result, nullptr, Kel::Operation::read, nullptr),
              1);
    EXPECT_EQ(Point::fwkType_.valueString(&point), "Point(1, 2)");
}

} // namespace
