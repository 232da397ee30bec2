#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>

#include "tests/framework/Fixtures.h"
#include "tests/support/VirtualSlots.h"

namespace {

using framework_test::messageOf;
using framework_test::Node;
using framework_test::TraceLog;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

template <class E>
class FrameworkException : public testing::Test {};

/// An exception class and the id of its kind of failure.
template <class E, Kel::Exception::Id kId>
struct Kind {
    using Class = E;
    static constexpr Kel::Exception::Id id = kId;
};

using Kinds = testing::Types<
    Kind<Kel::InternalException, 1>, Kind<Kel::RangeException, 2>, Kind<Kel::ParseException, 3>,
    Kind<Kel::TypeException, 4>, Kind<Kel::UnhashableException, 4>,
    Kind<Kel::CannotConvertException, 4>, Kind<Kel::MutatorArgNullPointerException, 5>,
    Kind<Kel::MutatorReinstantiatingException, 5>, Kind<Kel::UnknownAttributeException, 6>,
    Kind<Kel::UnsupportedOperationException, 6>>;
TYPED_TEST_SUITE(FrameworkException, Kinds);

TYPED_TEST(FrameworkException, CarriesItsMessageAndTheIdOfItsKind) {
    const typename TypeParam::Class exception("something failed");
    EXPECT_STREQ(exception.what(), "something failed");
    EXPECT_EQ(exception.id(), TypeParam::id);
}

TYPED_TEST(FrameworkException, IsCaughtAsAFrameworkAndAsAStandardException) {
    using E = typename TypeParam::Class;
    EXPECT_THROW(throw E("x"), Kel::Exception);
    EXPECT_EQ(messageOf<std::exception>([] { throw E("x"); }), "x");
}

TYPED_TEST(FrameworkException, KeepsWhatAndIdBehindTheTwoDestructors) {
    const typename TypeParam::Class exception("through the slot");
    const Kel::Exception& base = exception;
    EXPECT_STREQ(virtual_slots::callSlot<const char*>(base, 2), "through the slot");
    EXPECT_EQ(virtual_slots::callSlot<Kel::Exception::Id>(base, 3), TypeParam::id);
}

static_assert(std::is_base_of_v<std::exception, Kel::Exception>);
static_assert(std::is_abstract_v<Kel::Exception>);
static_assert(!std::is_base_of_v<Kel::RangeException, Kel::ParseException>);

TEST(ExceptionSlots, TheIdFollowsWhat) {
    EXPECT_EQ(virtual_slots::slotOf(&Kel::Exception::what), 2u);
    EXPECT_EQ(virtual_slots::slotOf(&Kel::Exception::id), 3u);
}

TEST(Expect, ScopesNestAndEachAnnouncesItsOwnId) {
    EXPECT_FALSE(Kel::Expect::isExpected(1));
    {
        const Kel::Expect outer(1);
        {
            const Kel::Expect inner(2);
            EXPECT_TRUE(Kel::Expect::isExpected(1));
            EXPECT_TRUE(Kel::Expect::isExpected(2));
            EXPECT_FALSE(Kel::Expect::isExpected(3));
        }
        EXPECT_TRUE(Kel::Expect::isExpected(1));
        EXPECT_FALSE(Kel::Expect::isExpected(2));
    }
    EXPECT_FALSE(Kel::Expect::isExpected(1));
}

TEST(Expect, AScopeEndsWhenAnExceptionLeavesIt) {
    EXPECT_THROW(
        {
            const Kel::Expect expect(1);
            throw Kel::InternalException("x");
        },
        Kel::InternalException);
    EXPECT_FALSE(Kel::Expect::isExpected(1));
}

TEST(Expect, AnUnexpectedExceptionLeavesATraceLine) {
    TraceLog log("Kel", 1);
    const Kel::InternalException exception("the chip refused");
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_THAT(log.lines[0],
                testing::ContainsRegex(" Kel 1 framework:[0-9]+ trace unexpected exception: the "
                                       "chip refused$"));
}

TEST(Expect, AnExpectedExceptionLeavesNone) {
    TraceLog log("Kel", 1);
    const Kel::Expect expect(1);
    const Kel::InternalException exception("x");
    EXPECT_THAT(log.lines, IsEmpty());
    const Kel::RangeException other("y");
    EXPECT_THAT(log.lines, ElementsAre(EndsWith("unexpected exception: y")));
}

/// An entity with attributes of several types, to report changes of.
class Port : public Kel::Object<Port, Kel::Entity> {
  public:
    explicit Port(const char* name) : Object(Kel::Name(name)) {}
    Kel::U32 speed() const { return 0; }
    bool isUp() const { return false; }
    Kel::VoidPtr handle() const { return {}; }
    static const Kel::Type fwkType_;

  private:
    struct Attributes;
};
struct Port::Attributes {
    using Table = Kel::EntityAttributeTable<Port, Kel::ScalarRow<"speed", 258, &Port::speed>,
                                            Kel::ScalarRow<"isUp", 259, &Port::isUp>,
                                            Kel::ScalarRow<"handle", 260, &Port::handle>>;
};
constinit const Kel::Type Port::fwkType_ =
    Port::Attributes::Table::objectType("Test::Port", Kel::Entity::fwkType_);

TEST(MutatorErrors, ANullArgumentNamesTheTypeAndTheAttribute) {
    EXPECT_EQ(messageOf<Kel::MutatorArgNullPointerException>(
                  [] { Kel::throwMutatorArgNullPointerException(&Port::fwkType_, 258); }),
              "Test::Port: null pointer given to the mutator of speed");
    EXPECT_EQ(messageOf<Kel::MutatorArgNullPointerException>(
                  [] { Kel::throwMutatorArgNullPointerException(&Port::fwkType_, 999); }),
              "Test::Port: null pointer given to the mutator of attribute 999");
    EXPECT_EQ(messageOf<Kel::MutatorArgNullPointerException>(
                  [] { Kel::throwMutatorArgNullPointerException("Sm", "group"); }),
              "Sm: null pointer given to the mutator of group");
}

TEST(MutatorErrors, AReinstantiationNamesTypeFullNameAttributeAndBothValues) {
    const Node::Ptr root = new Node("switch");
    const Kel::Ptr<Port> port = new Port("7");
    port->handleParent(root.ptr(), "port");
    EXPECT_EQ(messageOf<Kel::MutatorReinstantiatingException>(
                  [&] { Kel::throwMutatorReinstantiating(port.ptr(), 258, 40u, 10u); }),
              "Test::Port 'switch/port[7]': cannot change speed from 10 to 40");
}

TEST(MutatorErrors, AReinstantiationPrintsValuesOfAnyRegisteredType) {
    const Kel::Ptr<Port> port = new Port("7");
    const auto error = [&](Kel::AttributeId id, const void* newValue, const void* oldValue) {
        return messageOf<Kel::MutatorReinstantiatingException>(
            [&] { Kel::Impl::throwMutatorReinstVal(port.ptr(), id, newValue, oldValue); });
    };
    const bool yes = true;
    const bool no = false;
    EXPECT_EQ(error(259, &yes, &no), "Test::Port '7': cannot change isUp from False to True");
    const Kel::Name name("8");
    const Kel::Name oldName("7");
    EXPECT_EQ(error(130, &name, &oldName), "Test::Port '7': cannot change name from 7 to 8");
    // Values without a text, and attributes that do not exist, still make a message.
    EXPECT_EQ(error(260, nullptr, nullptr), "Test::Port '7': cannot change handle from ? to ?");
    EXPECT_EQ(error(999, nullptr, nullptr),
              "Test::Port '7': cannot change attribute 999 from ? to ?");
}

} // namespace
