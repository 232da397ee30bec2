#include <gmock/gmock.h>
#include <set>

#include "tests/BfLagGroup/GenericFixture.h"

using namespace generic_test;

namespace {

std::vector<std::string> namesOf(std::span<const Kel::Type* const> types) {
    std::vector<std::string> names;
    for (const Kel::Type* type : types) {
        names.push_back(type->fullName().charPtr());
    }
    return names;
}

std::string flagLetters(const Attribute& attribute) {
    constexpr std::pair<Attribute::Flag, char> kLetters[] = {{Attribute::readable, 'r'},
                                                             {Attribute::writable, 'w'},
                                                             {Attribute::removable, 'd'},
                                                             {Attribute::collection, 'c'},
                                                             {Attribute::function, 'f'}};
    std::string letters;
    for (const auto& [flag, letter] : kLetters) {
        if (attribute.has(flag)) {
            letters += letter;
        }
    }
    return letters;
}

AttributeRow rowOf(const Attribute& attribute) {
    return {attribute.name,
            attribute.id,
            attribute.valueType->fullName().charPtr(),
            flagLetters(attribute),
            namesOf(attribute.keyTypes),
            namesOf(attribute.writeTypes)};
}

constexpr U32 kHighestCode = 12;

/// Every id up to well beyond the highest one in use, and the extreme one.
template <class Visit>
void forEachUnknownId(const TypeRow& row, Visit&& visit) {
    std::set<AttributeId> known;
    for (const auto& attribute : row.attributes) {
        known.insert(attribute.id);
    }
    for (AttributeId id = 0; id < 400; ++id) {
        if (!known.contains(id)) {
            visit(id);
        }
    }
    visit(AttributeId(4294967295u));
}

TEST(GenericRegistry, HoldsTheTypesOfTheLibraryInTheFixedOrder) {
    std::vector<std::string> registered;
    for (const Kel::Type* type : Kel::typeNodes()) {
        if (std::string_view(type->name).starts_with("BfLagGroup::")) {
            registered.push_back(type->name);
        }
    }
    EXPECT_THAT(
        registered,
        ElementsAre("BfLagGroup::LagGroupBaseActionProfileSpec", "BfLagGroup::LagGroupTableHelper",
                    "BfLagGroup::LagGroupActionProfile", "BfLagGroup::LagGroupActionProfileEntry",
                    "BfLagGroup::LagGroupMatchSpec",
                    "BfLagGroup::InvalidateUcastEgressPortActionProfileSpec",
                    "BfLagGroup::SetPhysicalPortActionProfileSpec", "BfLagGroup::LagGroupMember",
                    "BfLagGroup::SetTunnelInfoActionProfileSpec",
                    "BfLagGroup::LagGroupActionProfileSm", "BfLagGroup::LagGroupTable",
                    "BfLagGroup::LagGroupActionProfileType", "BfLagGroup::LagGroupTableEntry",
                    "BfLagGroup::LagGroupTableHandles", "BfLagGroup::LagGroupGroup",
                    "BfLagGroup::LagGroupMemberOrGroupOrNone",
                    "BfLagGroup::SetLagPortActionProfileSpec",
                    "BfLagGroup::FixL2SubintfAlignmentActionProfileSpec"));
}

TEST(GenericRegistry, NamesTheConstructorParametersOfTheModelsClasses) {
    const auto parametersOf = [](const char* name) {
        const auto& parameters = Kel::typeNode(name)->constructorParameters;
        return std::vector<std::string>(parameters.begin(), parameters.end());
    };
    using testing::ElementsAre;
    EXPECT_THAT(parametersOf("BfLagGroup::LagGroupActionProfile"), ElementsAre("name"));
    EXPECT_THAT(parametersOf("BfLagGroup::LagGroupActionProfileEntry"),
                ElementsAre("memberId", "actionCtor"));
    EXPECT_THAT(parametersOf("BfLagGroup::LagGroupGroup"),
                ElementsAre("groupId", "groupSize", "initialMemberId", "actionType"));
    EXPECT_THAT(parametersOf("BfLagGroup::LagGroupMember"), ElementsAre("memberId"));
}

TEST(GenericRegistry, IsUnchangedByRegisteringATypeAgain) {
    const auto before = Kel::typeNodes().size();
    Kel::typeNodeIs(LagGroupGroup::fwkType_);
    EXPECT_EQ(Kel::typeNodes().size(), before);
}

TEST(GenericRegistry, KnowsNoOtherNames) {
    EXPECT_EQ(Kel::typeNode("BfLagGroup::LagGroup"), nullptr);
    EXPECT_EQ(Kel::typeNode(""), nullptr);
}

struct GenericType : testing::TestWithParam<TypeRow> {
    const TypeRow& row = GetParam();
    const Kel::Type& type = typeOfName(row.name);
};

std::string testName(const testing::TestParamInfo<TypeRow>& info) {
    return info.param.name.substr(info.param.name.rfind(':') + 1);
}

INSTANTIATE_TEST_SUITE_P(All, GenericType, testing::ValuesIn(typeRows()), testName);

TEST_P(GenericType, HasItsNameKindAndBase) {
    EXPECT_EQ(type.name, row.name);
    EXPECT_EQ(type.fullName(), row.name.c_str());
    EXPECT_EQ(type.kind, row.kind);
    EXPECT_EQ(type.base ? type.base->name : "", row.base);
    EXPECT_NE(type.genericIf, nullptr);
}

TEST_P(GenericType, HasExactlyItsAttributesInOrder) {
    std::vector<AttributeRow> rows;
    for (const Attribute& attribute : type.attributes) {
        rows.push_back(rowOf(attribute));
        EXPECT_EQ(attribute.owner, &type) << attribute.name;
    }
    EXPECT_THAT(rows, testing::ElementsAreArray(row.attributes));
}

TEST_P(GenericType, FindsItsAttributesByNameAndById) {
    for (const auto& expected : row.attributes) {
        const Attribute* attribute = type.attribute(expected.id);
        ASSERT_NE(attribute, nullptr) << expected;
        EXPECT_EQ(attribute->name, expected.name);
        EXPECT_EQ(type.attribute(std::string_view(expected.name)), attribute);
    }
    EXPECT_EQ(type.attribute(std::string_view("noSuchAttribute")), nullptr);
    EXPECT_EQ(type.attribute(std::string_view("")), nullptr);
}

TEST_P(GenericType, RefusesWhatAnAttributeDoesNotSupport) {
    const test_support::LiveObjects liveObjects;
    Instances instances;
    void* const object = instances.object(row.name);
    for (const auto& expected : row.attributes) {
        const Attribute* attribute = type.attribute(expected.id);
        for (U32 code = 0; code <= kHighestCode; ++code) {
            if (const auto operation = Operation{code}; !expected.supports(operation)) {
                EXPECT_EQ(perform(type, object, attribute, operation, nullptr),
                          Kel::kGenericUnsupported)
                    << expected.name << " code " << code;
            }
        }
        EXPECT_EQ(perform(type, object, attribute, Operation{4294967295u}, nullptr),
                  Kel::kGenericUnsupported)
            << expected.name;
    }
}

TEST_P(GenericType, DoesNotKnowAnyOtherId) {
    const test_support::LiveObjects liveObjects;
    Instances instances;
    void* const object = instances.object(row.name);
    forEachUnknownId(row, [&](AttributeId id) {
        EXPECT_EQ(type.attribute(id), nullptr) << id;
        const Attribute unknown{.name = "unknown", .id = id};
        for (U32 code = 0; code <= kHighestCode; ++code) {
            EXPECT_EQ(perform(type, object, &unknown, Operation{code}, nullptr),
                      Kel::kGenericUnknown)
                << "id " << id << " code " << code;
        }
        if (type.iteratorFactory) {
            EXPECT_EQ(type.iteratorFactory(object, &unknown), nullptr) << id;
        }
    });
}

TEST_P(GenericType, MakesIteratorsOverItsCollectionsAlone) {
    const test_support::LiveObjects liveObjects;
    Instances instances;
    void* const object = instances.object(row.name);
    for (const auto& expected : row.attributes) {
        const auto iterator = type.iteratorFactory(object, type.attribute(expected.id));
        EXPECT_EQ(iterator != nullptr, expected.supports(Operation::count)) << expected.name;
    }
}

TEST_P(GenericType, ComparesValuesAndNothingElseWithoutAnAttribute) {
    const test_support::LiveObjects liveObjects;
    Instances instances;
    void* const object = instances.object(row.name);
    const bool isValue = row.kind != Kel::Type::Kind::object;
    for (U32 code = 0; code <= kHighestCode; ++code) {
        const auto operation = Operation{code};
        if (isValue && (operation == Operation::isDefault || operation == Operation::isEqual)) {
            continue;
        }
        EXPECT_EQ(perform(type, object, nullptr, operation, nullptr),
                  isValue ? Kel::kGenericUnsupported : Kel::kGenericUnknown)
            << "code " << code;
    }
}

TEST_P(GenericType, ReadsEveryScalarWithoutWantingTheValue) {
    const test_support::LiveObjects liveObjects;
    Instances instances;
    void* const object = instances.object(row.name);
    for (const auto& expected : row.attributes) {
        if (expected.keys.empty()) {
            EXPECT_EQ(perform(type, object, type.attribute(expected.id), Operation::read, nullptr),
                      Kel::kGenericDone)
                << expected.name;
        }
    }
}

} // namespace
