#include "BfLagGroup/LagGroupTableValues.h"

namespace BfLagGroup {

struct LagGroupMatchSpec::Attributes {
    using Table =
        Kel::AttributeTable<LagGroupMatchSpec,
                            Kel::FieldRow<"egrMdEgrL2AintfUnresolved", 130,
                                          &LagGroupMatchSpec::egrMdEgrL2AintfUnresolved_>,
                            Kel::FieldRow<"egrMdEgrL2AintfUnresolvedMask", 131,
                                          &LagGroupMatchSpec::egrMdEgrL2AintfUnresolvedMask_>,
                            Kel::FieldRow<"priority", 132, &LagGroupMatchSpec::priority_>>;
};

constinit const Kel::Type LagGroupMatchSpec::fwkType_ = Attributes::Table::objectType(
    "BfLagGroup::LagGroupMatchSpec", RuxTable::MatchSpecBase::fwkType_);

struct LagGroupMemberOrGroupOrNone::Attributes {
    using Table =
        Kel::AttributeTable<LagGroupMemberOrGroupOrNone,
                            Kel::FieldRow<"id", 2, &LagGroupMemberOrGroupOrNone::id_>,
                            Kel::FieldRow<"member", 3, &LagGroupMemberOrGroupOrNone::member_>>;
};

constinit const Kel::Type LagGroupMemberOrGroupOrNone::fwkType_ =
    Attributes::Table::valueType("BfLagGroup::LagGroupMemberOrGroupOrNone");

struct LagGroupTableEntry::Attributes {
    using Table =
        Kel::AttributeTable<LagGroupTableEntry,
                            Kel::FieldRow<"match", 2, &LagGroupTableEntry::match_>,
                            Kel::FieldRow<"memberOrGroup", 3, &LagGroupTableEntry::memberOrGroup_>>;
};

constinit const Kel::Type LagGroupTableEntry::fwkType_ =
    Attributes::Table::valueType("BfLagGroup::LagGroupTableEntry");

LagGroupMatchSpec::Ptr LagGroupMatchSpec::LagGroupMatchSpecIs() {
    Ptr match = new LagGroupMatchSpec;
    match->hasNotificationActiveIs(true);
    return match;
}

LagGroupMemberOrGroupOrNone::LagGroupMemberOrGroupOrNone(Kel::String::IteratorConst& it,
                                                         const Kel::String::IteratorConst& end) {
    Kel::needString(it, end, "Value('BfLagGroup::LagGroupMemberOrGroupOrNone', ** {");
    Kel::needString(it, end, "'id': ");
    id_ = Kel::deserializeAttr<U32>(it, end, "id");
    Kel::needString(it, end, ", 'member': ");
    member_ = Kel::deserializeAttr<bool>(it, end, "member");
    Kel::needString(it, end, "})");
}

LagGroupTableEntry::LagGroupTableEntry(Kel::String::IteratorConst& it,
                                       const Kel::String::IteratorConst& end) {
    Kel::needString(it, end, "Value('BfLagGroup::LagGroupTableEntry', ** {");
    Kel::needString(it, end, "'match': ");
    match_ = Kel::deserializeAttrBy(
        "match", [&] { return sequenceToValue<LagGroupMatchSpec const>(it, end); });
    Kel::needString(it, end, ", 'memberOrGroup': ");
    memberOrGroup_ = Kel::deserializeAttrBy("memberOrGroup",
                                            [&] { return LagGroupMemberOrGroupOrNone(it, end); });
    Kel::needString(it, end, "})");
}

Kel::String valueToStrep(const LagGroupMemberOrGroupOrNone& value) {
    return Kel::format("Value('BfLagGroup::LagGroupMemberOrGroupOrNone', ** {'id': %s, 'member': "
                       "%s})",
                       Kel::valueToStrep(value.id()).charPtr(),
                       Kel::valueToStrep(value.member()).charPtr());
}

Kel::String valueToStrep(const LagGroupTableEntry& value) {
    return Kel::format(
        "Value('BfLagGroup::LagGroupTableEntry', ** {'match': %s, 'memberOrGroup': %s})",
        Kel::valueToStrepOfRawPtr(value.match().ptr()).charPtr(),
        valueToStrep(value.memberOrGroup()).charPtr());
}

std::ostream& operator<<(std::ostream& out, const LagGroupMemberOrGroupOrNone& value) {
    return out << valueToStrep(value);
}

std::ostream& operator<<(std::ostream& out, const LagGroupTableEntry& value) {
    return out << valueToStrep(value);
}

template <>
LagGroupMatchSpec::PtrConst
sequenceToValue<LagGroupMatchSpec const>(Kel::String::IteratorConst& it,
                                         const Kel::String::IteratorConst& end) {
    const Kel::PtrInterface::PtrConst object = Kel::sequenceToValueOfPtr(it, end, nullptr);
    if (!object) {
        return nullptr;
    }
    const auto match = Kel::dynamicPtrCast<LagGroupMatchSpec const>(object);
    if (!match) {
        Kel::cannotConvert(it, end, &LagGroupMatchSpec::fwkType_);
    }
    return match;
}

} // namespace BfLagGroup
