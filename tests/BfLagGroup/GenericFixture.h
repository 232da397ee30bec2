#pragma once

#include <array>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BfLagGroup/LagGroupActionProfileSm.h"
#include "BfLagGroup/LagGroupTable.h"
#include "tests/support/Followers.h"
#include "tests/support/LiveObjects.h"
#include "tests/support/RecordingPd.h"

namespace generic_test {

using namespace BfLagGroup;
using Kel::Attribute;
using Kel::AttributeId;
using Kel::Operation;
using Kel::U16;
using Kel::U32;
using Kel::U8;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using RuxTable::RuxSdkEntryHandle;
using RuxTable::RuxSdkGroupHandle;
using RuxTable::RuxSdkMemberHandle;
using test_support::Follower;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using ActionType = LagGroupActionProfileType;
using Notice = test_support::Notice<U32>;
using Sm = LagGroupActionProfileSm;

/// What an attribute's record must say. The flags are the letters of r(ead), w(rite), d(elete),
/// c(ollection), f(unction), in this order.
struct AttributeRow {
    std::string name;
    AttributeId id;
    std::string valueType;
    std::string flags;
    std::vector<std::string> keys{};
    std::vector<std::string> writes{};

    bool operator==(const AttributeRow&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const AttributeRow& row) {
        out << row.id << ' ' << row.name << ' ' << row.valueType << ' ' << row.flags << " keys(";
        for (const auto& key : row.keys) {
            out << key << ' ';
        }
        out << ") writes(";
        for (const auto& write : row.writes) {
            out << write << ' ';
        }
        return out << ')';
    }

    bool supports(Operation operation) const {
        const auto has = [this](char letter) { return flags.find(letter) != std::string::npos; };
        switch (operation) {
        case Operation::read:
            return has('r');
        case Operation::write:
            return has('w');
        case Operation::remove:
            return has('d');
        case Operation::count:
        case Operation::slots:
        case Operation::contains:
            return has('c');
        case Operation::call:
            return has('f');
        default:
            return false;
        }
    }
};

/// What a registered type must say.
struct TypeRow {
    std::string name;
    std::string base;
    Kel::Type::Kind kind;
    std::vector<AttributeRow> attributes;

    friend std::ostream& operator<<(std::ostream& out, const TypeRow& row) {
        return out << row.name;
    }
};

/// All types of the library, in the order of their registration.
const std::vector<TypeRow>& typeRows();

/// One object or value of every registered type.
struct Instances {
    Instances();

    /// The one of that type as the generic operation takes it.
    void* object(const std::string& typeName);

    test_support::RecordingPd pd;
    LagGroupTableHelper::Ptr helper = lagGroupTableHelperFactory(5, 2);
    LagGroupTable::Ptr table = new LagGroupTable(helper, nullptr, nullptr);
    LagGroupActionProfile::Ptr profile = new LagGroupActionProfile("lagGroup");
    LagGroupActionProfileEntry::Ptr entry = new LagGroupActionProfileEntry(RuxMemberId(1), nullptr);
    LagGroupGroup::Ptr group = profile->groupIs(RuxGroupId(10), 4, 1, kActionType);
    LagGroupMember::Ptr member = group->memberIs(RuxMemberId(3));
    LagGroupActionProfile::Ptr mirrored = new LagGroupActionProfile("mirrored");
    Sm::Ptr sm;
    LagGroupMatchSpec::Ptr match = LagGroupMatchSpec::LagGroupMatchSpecIs();
    std::array<LagGroupBaseActionProfileSpec::Ptr, 6> actions;
    LagGroupMemberOrGroupOrNone memberOrGroup{5, true};
    LagGroupTableEntry tableEntry;
    ActionType actionType = kActionType;

    static constexpr ActionType kActionType = ActionType::setLagPortActionProfileSpec;
};

inline const Kel::Type& typeOfName(const std::string& name) {
    const Kel::Type* type = Kel::typeNode(name);
    return type ? *type : throw std::out_of_range(name);
}

/// Calls the generic operation of a class without any check. `result` may be null.
template <class... Arguments>
int perform(const Kel::Type& type, void* object, const Attribute* attribute, Operation operation,
            void* result, const Arguments&... arguments) {
    const std::array<const void*, sizeof...(Arguments) + 1> pointers{&arguments..., nullptr};
    return type.genericIf(object, result, attribute, operation, pointers.data());
}

/// The same on a counted object, for one of its attributes.
template <class... Arguments>
int perform(Kel::PtrInterface& object, AttributeId id, Operation operation, void* result,
            const Arguments&... arguments) {
    const Attribute* attribute = object.fwkType()->attribute(id);
    EXPECT_NE(attribute, nullptr) << id;
    return perform(*object.fwkType(), &object, attribute, operation, result, arguments...);
}

/// What the operation yields, which must be done with it.
template <class T, class... Arguments>
T yield(Kel::PtrInterface& object, AttributeId id, Operation operation,
        const Arguments&... arguments) {
    T result{};
    EXPECT_EQ(perform(object, id, operation, &result, arguments...), Kel::kGenericDone);
    return result;
}

template <class T, class... Key>
T read(Kel::PtrInterface& object, AttributeId id, const Key&... key) {
    return yield<T>(object, id, Operation::read, key...);
}

/// The keys and elements of a collection attribute, as its iterator gives them.
template <class Key, class Value>
std::vector<std::pair<Key, Value>> iterate(Kel::PtrInterface& object, AttributeId id) {
    const Kel::Type& type = *object.fwkType();
    std::vector<std::pair<Key, Value>> elements;
    const auto iterator = type.iteratorFactory(&object, type.attribute(id));
    EXPECT_NE(iterator, nullptr);
    for (; iterator && !iterator->atEnd(); iterator->advance()) {
        std::pair<Key, Value> element;
        iterator->key(&element.first);
        iterator->value(&element.second);
        elements.push_back(element);
    }
    return elements;
}

/// The instances; the test fails when they leave an object behind.
struct Generic : testing::Test {
    test_support::LiveObjects liveObjects;
    Instances instances;
};

} // namespace generic_test
