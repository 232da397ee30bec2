#include "tests/BfLagGroup/GenericFixture.h"

#include <map>

namespace generic_test {

namespace {

using Kind = Kel::Type::Kind;
using Rows = std::vector<AttributeRow>;

std::string our(const std::string& name) {
    return "BfLagGroup::" + name;
}
std::string pointer(const std::string& type) {
    return "Kel::Ptr<" + type + ">";
}
AttributeRow fixed(const char* name, AttributeId id, const std::string& type) {
    return {name, id, type, "r"};
}
AttributeRow writable(const char* name, AttributeId id, const std::string& type) {
    return {name, id, type, "rw", {}, {type}};
}
AttributeRow instance(const char* name, AttributeId id, const std::string& type,
                      std::vector<std::string> writes = {}) {
    return {name, id, type, "rwd", {}, std::move(writes)};
}
AttributeRow collection(const char* name, AttributeId id, const std::string& type,
                        const std::string& key, std::vector<std::string> writes) {
    return {name, id, type, "rwdc", {key}, std::move(writes)};
}

const std::string kActionTypeName = our("LagGroupActionProfileType");
const std::string kMemberId = "RuxTable::RuxMemberId";
const std::string kGroupId = "RuxTable::RuxGroupId";
const std::string kEntity = pointer("Kel::Entity");
const std::string kMatchConst = pointer(our("LagGroupMatchSpec const"));
const std::string kHelper = pointer(our("LagGroupTableHelper"));
const std::string kKeyManager = pointer("MbbGlimtKey::GlimtKeyManager");
const std::string kStatusManager = pointer("RuxTableStatusManager::StatusManager");

TypeRow entity(const char* name, Rows own) {
    Rows rows{fixed("name", 130, "Kel::Name"),
              writable("parent", 138, kEntity),
              fixed("parentAttrName", 139, "Kel::Name"),
              fixed("fullName", 141, "Kel::Name"),
              {"entity", 143, kEntity, "rc", {"Kel::Name"}}};
    rows.insert(rows.end(), own.begin(), own.end());
    return {our(name), "Kel::Entity", Kind::object, rows};
}

TypeRow object(const char* name, Rows rows, const std::string& base = "Kel::PtrInterface") {
    return {our(name), base, Kind::object, std::move(rows)};
}

TypeRow value(const char* name, Rows rows) {
    return {our(name), "", Kind::value, std::move(rows)};
}

TypeRow actionSpec(const char* name, const std::string& base) {
    return object(
        name,
        {writable("actionType", 130, kActionTypeName), writable("egrL2AintfPort", 131, "U16")},
        base);
}

TypeRow actionSpec(const char* name) {
    return actionSpec(name, our("LagGroupBaseActionProfileSpec"));
}

TypeRow handles() {
    const auto map = [](const char* name, AttributeId id, const char* type,
                        const std::string& key) {
        return collection(name, id, type, key, {key, type});
    };
    return entity("LagGroupTableHandles",
                  {map("entry", 258, "RuxTable::RuxSdkEntryHandle", kMatchConst),
                   map("group", 259, "RuxTable::RuxSdkGroupHandle", kGroupId),
                   map("member", 260, "RuxTable::RuxSdkMemberHandle", kMemberId)});
}

TypeRow stateMachine() {
    const std::string name = our("LagGroupActionProfileSm");
    return object("LagGroupActionProfileSm",
                  {fixed("lagGroupActionProfile", 130, pointer(our("LagGroupActionProfile"))),
                   fixed("helper", 131, kHelper), fixed("glimtKeyManager", 132, kKeyManager),
                   fixed("statusManager", 133, kStatusManager),
                   writable("sessionHandle", 134, "U32"),
                   collection("actionProfile", 135, pointer(name + "::KelActionProfile"), kMemberId,
                              {pointer(our("LagGroupActionProfileEntry const"))}),
                   collection("group", 137, pointer(name + "::KelGroup"), kGroupId,
                              {pointer(our("LagGroupGroup const"))})});
}

TypeRow table() {
    return entity(
        "LagGroupTable",
        {fixed("helper", 258, kHelper),
         fixed("glimtKeyManager", 259, kKeyManager),
         fixed("statusManager", 260, kStatusManager),
         fixed("useBfRt", 261, "bool"),
         instance("defaultMatchSpec", 262, pointer(our("LagGroupMatchSpec"))),
         {"entryByHandle", 263, our("LagGroupTableEntry"), "f", {"RuxTable::RuxSdkEntryHandle"}}});
}

TypeRow helper() {
    return object("LagGroupTableHelper",
                  {fixed("deviceId", 130, "U8"), fixed("devPipeId", 131, "U16"),
                   instance("sdkHandles", 132, pointer(our("LagGroupTableHandles"))),
                   instance("pdLib", 133, pointer("BfPdLagGroup::BfPdLagGroupIntf"),
                            {"Kel::Name", "Kel::VoidPtr", "U32"})});
}

TypeRow profile() {
    const std::string entry = pointer(our("LagGroupActionProfileEntry"));
    return entity("LagGroupActionProfile",
                  {collection("group", 258, pointer(our("LagGroupGroup")), kGroupId,
                              {kGroupId, "U32", "U32", kActionTypeName}),
                   collection("entry", 259, entry, kMemberId, {entry})});
}

TypeRow group() {
    return entity(
        "LagGroupGroup",
        {fixed("groupId", 258, kGroupId), fixed("groupSize", 259, "U32"),
         fixed("initialMemberId", 260, "U32"), fixed("actionType", 261, kActionTypeName),
         collection("member", 262, pointer(our("LagGroupMember")), kMemberId, {kMemberId})});
}

} // namespace

const std::vector<TypeRow>& typeRows() {
    static const std::vector<TypeRow> rows{
        actionSpec("LagGroupBaseActionProfileSpec", "Kel::PtrInterface"),
        helper(),
        profile(),
        entity("LagGroupActionProfileEntry",
               {fixed("memberId", 258, kMemberId),
                writable("action", 260, pointer(our("LagGroupBaseActionProfileSpec const")))}),
        object("LagGroupMatchSpec",
               {writable("egrMdEgrL2AintfUnresolved", 130, "U32"),
                writable("egrMdEgrL2AintfUnresolvedMask", 131, "U32"),
                writable("priority", 132, "U32")},
               "RuxTable::MatchSpecBase"),
        actionSpec("InvalidateUcastEgressPortActionProfileSpec"),
        actionSpec("SetPhysicalPortActionProfileSpec"),
        entity("LagGroupMember",
               {fixed("memberId", 258, kMemberId), writable("active", 259, "bool")}),
        actionSpec("SetTunnelInfoActionProfileSpec"),
        stateMachine(),
        table(),
        {kActionTypeName, "", Kind::enumeration, {}},
        value("LagGroupTableEntry",
              {writable("match", 2, kMatchConst),
               writable("memberOrGroup", 3, our("LagGroupMemberOrGroupOrNone"))}),
        handles(),
        group(),
        value("LagGroupMemberOrGroupOrNone",
              {writable("id", 2, "U32"), writable("member", 3, "bool")}),
        actionSpec("SetLagPortActionProfileSpec"),
        actionSpec("FixL2SubintfAlignmentActionProfileSpec"),
    };
    return rows;
}

Instances::Instances()
    : actions{new LagGroupBaseActionProfileSpec,
              new FixL2SubintfAlignmentActionProfileSpec,
              new InvalidateUcastEgressPortActionProfileSpec,
              new SetLagPortActionProfileSpec,
              new SetPhysicalPortActionProfileSpec,
              new SetTunnelInfoActionProfileSpec} {
    helper->sdkHandlesIs();
    helper->pdLibIs("recording", pd.dlHandle(), 3);
    for (Kel::PtrInterface* object : std::initializer_list<Kel::PtrInterface*>{
             table.ptr(), profile.ptr(), entry.ptr(), mirrored.ptr()}) {
        object->hasNotificationActiveIs(true);
    }
    sm = Sm::LagGroupActionProfileSmIs(mirrored, helper, nullptr, nullptr);
    tableEntry = LagGroupTableEntry(match, memberOrGroup);
}

void* Instances::object(const std::string& typeName) {
    std::map<std::string, Kel::PtrInterface*> objects;
    const auto add = [&](Kel::PtrInterface* object) { objects[object->fwkType()->name] = object; };
    for (Kel::PtrInterface* object : std::initializer_list<Kel::PtrInterface*>{
             helper.ptr(), helper->sdkHandles().ptr(), table.ptr(), profile.ptr(), entry.ptr(),
             group.ptr(), member.ptr(), sm.ptr(), match.ptr()}) {
        add(object);
    }
    for (const auto& action : actions) {
        add(action.ptr());
    }
    if (const auto found = objects.find(typeName); found != objects.end()) {
        return found->second;
    }
    if (typeName == LagGroupMemberOrGroupOrNone::fwkType_.name) {
        return &memberOrGroup;
    }
    return typeName == LagGroupTableEntry::fwkType_.name ? static_cast<void*>(&tableEntry)
                                                         : &actionType;
}

} // namespace generic_test
