#include <gtest/gtest.h>

#include <algorithm>

#include "tests/framework/Fixtures.h"

namespace {

using framework_test::Gadget;
using framework_test::Node;
using framework_test::Widget;

TEST(Type, IsAFollowsTheBases) {
    EXPECT_TRUE(Gadget::fwkType_.isA(Gadget::fwkType_));
    EXPECT_TRUE(Gadget::fwkType_.isA(Widget::fwkType_));
    EXPECT_TRUE(Gadget::fwkType_.isA(Kel::PtrInterface::fwkType_));
    EXPECT_TRUE(Node::fwkType_.isA(Kel::Entity::fwkType_));
    EXPECT_FALSE(Widget::fwkType_.isA(Gadget::fwkType_));
    EXPECT_FALSE(Gadget::fwkType_.isA(Kel::Entity::fwkType_));
    EXPECT_FALSE(Kel::BuiltinType::u32.isA(Kel::BuiltinType::u16));
}

TEST(Type, EveryObjectKnowsItsOwnType) {
    const Kel::PtrInterface::Ptr gadget = new Gadget;
    const Kel::PtrInterface::Ptr node = new Node("n");
    EXPECT_EQ(gadget->fwkType(), &Gadget::fwkType_);
    EXPECT_EQ(node->fwkType(), &Node::fwkType_);
    EXPECT_STREQ(Kel::PtrInterface::fwkType_.name, "Kel::PtrInterface");
    EXPECT_STREQ(Kel::Entity::fwkType_.name, "Kel::Entity");
}

TEST(Type, RegisteringATypeAgainChangesNothing) {
    const std::size_t before = Kel::typeNodes().size();
    EXPECT_EQ(Kel::typeNode("Test::Gadget"), nullptr);
    Kel::typeNodeIs(Gadget::fwkType_);
    EXPECT_EQ(Kel::typeNodes().size(), before + 1);
    EXPECT_EQ(Kel::typeNodes().back(), &Gadget::fwkType_);
    Kel::typeNodeIs(Gadget::fwkType_);
    EXPECT_EQ(Kel::typeNodes().size(), before + 1);
    EXPECT_EQ(Kel::typeNode("Test::Gadget"), &Gadget::fwkType_);
    EXPECT_EQ(std::ranges::count(Kel::typeNodes(), &Gadget::fwkType_), 1);
}

TEST(Type, AnUnregisteredNameIsFoundNowhere) {
    EXPECT_EQ(Kel::typeNode("Test::Nothing"), nullptr);
    EXPECT_EQ(Kel::typeNode(""), nullptr);
}

TEST(Type, AttributesAreFoundByNameAndById) {
    const Kel::Attribute* parent = Node::fwkType_.attribute("parent");
    ASSERT_NE(parent, nullptr);
    EXPECT_EQ(parent->id, 138u);
    EXPECT_EQ(Node::fwkType_.attribute(Kel::AttributeId{138}), parent);
    EXPECT_EQ(Node::fwkType_.attribute("Parent"), nullptr);
    EXPECT_EQ(Node::fwkType_.attribute(Kel::AttributeId{140}), nullptr);
    EXPECT_EQ(Widget::fwkType_.attribute("parent"), nullptr);
}

TEST(Type, PointerTypesAreEqualWhenTheirPointeesAre) {
    const Kel::Type& toWidget = *Kel::typeOf<Kel::Ptr<Widget>>();
    const Kel::Type copy = toWidget;
    EXPECT_EQ(toWidget, copy);
    EXPECT_FALSE(toWidget == *Kel::typeOf<Kel::Ptr<Gadget>>());
    EXPECT_FALSE(toWidget == *Kel::typeOf<Kel::Ptr<Widget const>>());
    EXPECT_FALSE(toWidget == Widget::fwkType_);
    const Kel::Type other = Widget::fwkType_; // a copy of any other type is another type
    EXPECT_FALSE(other == Widget::fwkType_);
}

TEST(Type, APointerTypeIsNamedAfterItsPointee) {
    EXPECT_EQ(Kel::typeOf<Kel::Ptr<Widget>>()->fullName(), "Kel::Ptr<Test::Widget>");
    EXPECT_EQ(Kel::typeOf<Kel::Ptr<Widget const>>()->fullName(), "Kel::Ptr<Test::Widget const>");
    EXPECT_EQ(Widget::fwkType_.fullName(), "Test::Widget");
}

TEST(Type, BuiltinTypesHaveNamesAndValueStrings) {
    const auto text = [](const Kel::Type& type, const auto& value) {
        return std::string(type.name) + " " + type.valueString(&value).charPtr();
    };
    EXPECT_EQ(text(Kel::BuiltinType::boolean, true), "bool True");
    EXPECT_EQ(text(Kel::BuiltinType::u8, Kel::U8{255}), "U8 255");
    EXPECT_EQ(text(Kel::BuiltinType::u16, Kel::U16{65535}), "U16 65535");
    EXPECT_EQ(text(Kel::BuiltinType::u32, Kel::U32{4294967295}), "U32 4294967295");
    EXPECT_EQ(text(Kel::BuiltinType::u64, ~Kel::U64{0}), "U64 18446744073709551615");
    EXPECT_EQ(text(Kel::BuiltinType::s32, std::int32_t{-7}), "S32 -7");
    EXPECT_EQ(text(Kel::BuiltinType::string, Kel::String("s")), "Kel::String s");
    EXPECT_EQ(text(Kel::BuiltinType::name, Kel::Name("n")), "Kel::Name n");
    EXPECT_EQ(Kel::BuiltinType::voidPtr.valueString, nullptr);
    EXPECT_TRUE(Kel::BuiltinType::voidPtr.hashable);
}

} // namespace
