#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>

#include "driver-status/BfTableException.h"
#include "driver-status/PdCall.h"
#include "framework/Trace.h"
#include "tests/support/VirtualSlots.h"

namespace {

using BfTable::BfNoSysResources;
using BfTable::BfNotSupported;
using BfTable::BfTableException;
using BfTable::BfTableFull;
using BfTable::pipe_status;
using BfTable::throwPdFailure;

constexpr const char* kAddEntry = "p4_pd_velmor_switch_lagGroup_add_entry";

static_assert(std::is_base_of_v<Kel::InternalException, BfTableException>);
static_assert(std::is_convertible_v<BfTableFull*, BfTableException*>);
static_assert(std::is_convertible_v<BfNoSysResources*, BfTableException*>);
// Derived, but not to a handler.
static_assert(std::is_base_of_v<BfTableException, BfNotSupported>);
static_assert(!std::is_convertible_v<BfNotSupported*, BfTableException*>);
static_assert(!std::is_convertible_v<BfNotSupported*, std::exception*>);
// The subclasses add nothing.
static_assert(sizeof(BfTableFull) == sizeof(BfTableException));
static_assert(sizeof(BfNoSysResources) == sizeof(BfTableException));
static_assert(sizeof(BfNotSupported) == sizeof(BfTableException));
static_assert(std::is_same_v<decltype(BfTableException::status), pipe_status>);

/// The handler that a failure ends in, when all handlers stand in the order of an agent's code.
std::string handlerOf(pipe_status status) {
    try {
        throwPdFailure(kAddEntry, status);
    } catch (const BfTableFull&) {
        return "BfTableFull";
    } catch (const BfNoSysResources&) {
        return "BfNoSysResources";
    } catch (const BfTableException&) {
        return "BfTableException";
    } catch (const std::exception&) {
        return "std::exception";
    } catch (const BfNotSupported&) {
        return "BfNotSupported";
    }
}

TEST(ThrowPdFailure, ChoosesTheClassByStatus) {
    for (pipe_status status = 1; status <= 30; ++status) {
        const std::string expected = status == 9    ? "BfTableFull"
                                     : status == 2  ? "BfNoSysResources"
                                     : status == 17 ? "BfNotSupported"
                                                    : "BfTableException";
        EXPECT_EQ(handlerOf(status), expected) << status;
    }
    EXPECT_EQ(handlerOf(0x80000000u), "BfTableException");
    EXPECT_EQ(handlerOf(0xffffffffu), "BfTableException");
}

/// What an exception of any of the four classes tells.
struct Told {
    std::string message;
    pipe_status status;
    Kel::Exception::Id id;
    friend bool operator==(const Told&, const Told&) = default;
};

template <class E>
Told told(pipe_status status) {
    try {
        throwPdFailure(kAddEntry, status);
    } catch (const E& e) {
        return {e.what(), e.status, e.id()};
    }
}

TEST(ThrowPdFailure, TheExceptionCarriesTheStatusAndTheMessageAndIdOne) {
    const std::string prefix = "p4_pd_velmor_switch_lagGroup_add_entry() failed: ";
    EXPECT_EQ(told<BfTableFull>(9), (Told{prefix + "Not enough Space", 9, 1}));
    EXPECT_EQ(told<BfNoSysResources>(2), (Told{prefix + "No system resources", 2, 1}));
    EXPECT_EQ(told<BfNotSupported>(17), (Told{prefix + "Not supported", 17, 1}));
    EXPECT_EQ(told<BfTableException>(4), (Told{prefix + "Object already exists", 4, 1}));
    EXPECT_EQ(told<BfTableException>(23), (Told{prefix + "Table not found", 23, 1}));
    EXPECT_EQ(told<BfTableException>(30), (Told{prefix + "Table not found", 30, 1}));
    EXPECT_EQ(told<BfTableException>(0xffffffffu),
              (Told{prefix + "Table not found", 0xffffffffu, 1}));
}

TEST(ThrowPdFailure, AnUnsupportedOperationEscapesTheHandlersOfItsBases) {
    EXPECT_THROW(
        {
            try {
                throwPdFailure(kAddEntry, 17);
            } catch (const BfTableException&) {
                ADD_FAILURE() << "caught as a table exception";
            } catch (const Kel::Exception&) {
                ADD_FAILURE() << "caught as a framework exception";
            } catch (const std::exception&) {
                ADD_FAILURE() << "caught as a standard exception";
            }
        },
        BfNotSupported);
}

TEST(ThrowPdFailure, TheFailureIsExpectedAndLeavesNoTraceLineOfASurprise) {
    int lines = 0;
    Kel::traceSinkIs([&](std::string_view) { ++lines; });
    Kel::traceLevelIs("Kel", 9);
    for (const pipe_status status : {1u, 2u, 9u, 17u}) {
        EXPECT_ANY_THROW(throwPdFailure(kAddEntry, status));
    }
    EXPECT_EQ(lines, 0);
    EXPECT_FALSE(Kel::Expect::isExpected(1));
    Kel::traceLevelIs("Kel", 0);
    Kel::traceSinkIs(nullptr);
}

TEST(BfTableExceptionTest, AnExceptionIsMadeOfAStatusAndAMovedMessage) {
    Kel::String message = "a message that is too long to be kept within the string itself";
    const char* text = message.charPtr();
    const BfTableException exception(4, std::move(message));
    EXPECT_EQ(exception.what(), text);
    EXPECT_EQ(exception.status, 4u);
    EXPECT_EQ(exception.id(), 1u);
}

template <class E>
class TableExceptionSlots : public testing::Test {};
using TableExceptions =
    testing::Types<BfTableException, BfTableFull, BfNoSysResources, BfNotSupported>;
TYPED_TEST_SUITE(TableExceptionSlots, TableExceptions);

TYPED_TEST(TableExceptionSlots, WhatAndIdFollowTheTwoDestructors) {
    const TypeParam exception(5, "through the slot");
    EXPECT_STREQ(virtual_slots::callSlot<const char*>(exception, 2), "through the slot");
    EXPECT_EQ(virtual_slots::callSlot<Kel::Exception::Id>(exception, 3), 1u);
}

TYPED_TEST(TableExceptionSlots, OnlyTheDestructorsAreOverridden) {
    const TypeParam exception(5, "x");
    const Kel::InternalException base("x");
    using virtual_slots::entry;
    EXPECT_NE(entry(exception, 0), entry(base, 0));
    EXPECT_NE(entry(exception, 1), entry(base, 1));
    EXPECT_EQ(entry(exception, 2), entry(base, 2));
    EXPECT_EQ(entry(exception, 3), entry(base, 3));
}

/// A PD operation that notes its arguments and returns a given status.
struct Operation {
    pipe_status result;
    mutable std::vector<std::string> calls{};

    const char* name() const { return "p4_pd_velmor_switch_test"; }
    pipe_status operator()(Kel::U32 session, int device, Kel::U32* handle) const {
        calls.push_back(std::to_string(session) + " " + std::to_string(device));
        *handle = 42;
        return result;
    }
};

TEST(PdCall, ASuccessfulCallIsMadeOnceAndReturns) {
    const Operation operation{0};
    Kel::U32 handle = 0;
    BfTable::pdCall(operation, 7u, 3, &handle);
    EXPECT_THAT(operation.calls, testing::ElementsAre("7 3"));
    EXPECT_EQ(handle, 42u);
}

TEST(PdCall, AFailedCallIsMadeOnceAndNamesItsOperation) {
    const Operation operation{9};
    Kel::U32 handle = 0;
    try {
        BfTable::pdCall(operation, 7u, 3, &handle);
        FAIL() << "nothing was thrown";
    } catch (const BfTableFull& e) {
        EXPECT_STREQ(e.what(), "p4_pd_velmor_switch_test() failed: Not enough Space");
        EXPECT_EQ(e.status, 9u);
    }
    EXPECT_EQ(operation.calls.size(), 1u);
}

} // namespace
