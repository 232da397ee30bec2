#include "BfLagGroup/LagGroupTable.h"

#include <optional>
#include <utility>

#include "BfLagGroup/Site.h"
#include "driver-status/PdCall.h"

namespace BfLagGroup {

using BfTable::pdCall;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using RuxTable::RuxSdkEntryHandle;
using RuxTable::RuxSdkGroupHandle;
using RuxTable::RuxSdkMemberHandle;

struct LagGroupTable::Attributes {
    using T = LagGroupTable;
    using Table = Kel::EntityAttributeTable<
        T, Kel::ScalarRow<"helper", 258, &T::helper>,
        Kel::ScalarRow<"glimtKeyManager", 259, &T::glimtKeyManager>,
        Kel::ScalarRow<"statusManager", 260, &T::statusManager>,
        Kel::ScalarRow<"useBfRt", 261, &T::useBfRt>,
        Kel::InstanceRow<"defaultMatchSpec", T::kDefaultMatchSpec, &T::defaultMatchSpec,
                         &T::defaultMatchSpecIs, &T::defaultMatchSpecDel>,
        Kel::FunctionRow<"entryByHandle", 263, &T::entryByHandle>>;
};

constinit const Kel::Type LagGroupTable::fwkType_ =
    Attributes::Table::objectType("BfLagGroup::LagGroupTable", Kel::Entity::fwkType_);

namespace {

constexpr Site kEntryIs{
    "void BfLagGroup::LagGroupTable::entryIs(const BfLagGroup::LagGroupTableEntry&)", "entryIs"};
constexpr Site kEntryDel{
    "BfLagGroup::LagGroupTableEntry BfLagGroup::LagGroupTable::entryDel(const PtrConst&)",
    "entryDel"};
constexpr Site kEntry{
    "BfLagGroup::LagGroupTableEntry BfLagGroup::LagGroupTable::entry(const PtrConst&) const",
    "entry"};
constexpr Site kEntryByHandle{"entryByHandle", "entryByHandle"};

using Pd = BfPdLagGroup::PdOperations;

/// The PD operations that make an entry point at one kind of object.
struct Pointing {
    decltype(&Pd::p4_pd_velmor_switch_lagGroup_add_entry) add;
    decltype(&Pd::p4_pd_velmor_switch_lagGroup_modify_entry) modify;
    decltype(&Pd::p4_pd_velmor_switch_lagGroup_set_default_entry) setDefault;
    /// What the assertion says when the object has no handle.
    const char* handleName;
};

constexpr Pointing kAtMember{&Pd::p4_pd_velmor_switch_lagGroup_add_entry,
                             &Pd::p4_pd_velmor_switch_lagGroup_modify_entry,
                             &Pd::p4_pd_velmor_switch_lagGroup_set_default_entry, "mbr_hdl"};
constexpr Pointing kAtGroup{&Pd::p4_pd_velmor_switch_lagGroup_add_entry_with_selector,
                            &Pd::p4_pd_velmor_switch_lagGroup_modify_entry_with_selector,
                            &Pd::p4_pd_velmor_switch_lagGroup_set_default_entry_with_selector,
                            "grp_hdl"};

U32 targetHandle(const LagGroupTableHandles& handles, const LagGroupMemberOrGroupOrNone& target) {
    return target.member() ? handles.member(RuxMemberId(target.id())).value()
                           : handles.group(RuxGroupId(target.id())).value();
}

p4_pd_velmor_switch_lagGroup_match_spec_t pdMatchSpec(const LagGroupMatchSpec& match) {
    return {.egrMd_egrL2AintfUnresolved = match.egrMdEgrL2AintfUnresolved(),
            .egrMd_egrL2AintfUnresolved_mask = match.egrMdEgrL2AintfUnresolvedMask()};
}

/// One `entryIs` under way.
struct Write {
    const LagGroupTable& table;
    const LagGroupTableEntry& entry;
    const Pointing& pointing;

    const LagGroupMatchSpec::PtrConst& match() const { return entry.match(); }
    LagGroupTableHandles& handles() const { return table.helper()->requiredHandles(); }
    Pd& pd() const { return table.helper()->requiredPdLib(); }
    U32 session() const { return table.helper()->requiredPdLib().sessionId(); }
    p4_pd_dev_target_t target() const { return table.helper()->deviceTarget(); }

    U32 requiredTarget() const {
        const U32 handle = targetHandle(handles(), entry.memberOrGroup());
        require(handle != 0, pointing.handleName, kEntryIs);
        return handle;
    }

    /// Reserves the make-before-break key; a later refusal by the chip does not give it back.
    void reserveKey() const {
        if (const auto& keys = table.glimtKeyManager()) {
            keys->alloc(match(), false);
        }
    }

    void setDefault() const {
        reserveKey();
        const U32 pointee = requiredTarget();
        U32 handle = 0;
        pdCall(pd().*pointing.setDefault, session(), target(), pointee, &handle);
        handles().entryIs(match(), RuxSdkEntryHandle(handle));
    }

    void modify(RuxSdkEntryHandle handle) const {
        const U32 pointee = requiredTarget();
        require(handle.value() != 0, "entry_hdl", kEntryIs);
        pdCall(pd().*pointing.modify, session(), target().device_id, handle.value(), pointee);
    }

    void add() const {
        reserveKey();
        const U32 pointee = requiredTarget();
        auto spec = pdMatchSpec(*match());
        U32 handle = 0;
        pdCall(pd().*pointing.add, session(), target(), &spec, match()->priority(), pointee,
               &handle);
        handles().entryIs(match(), RuxSdkEntryHandle(handle));
    }
};

/// The first key of the map that has the handle; none for 0, which is no handle.
template <class Map>
std::optional<typename Map::Key> keyOfHandle(const Map& map, U32 handle) {
    for (const auto& node : map) {
        if (handle != 0 && node.value().value() == handle) {
            return node.key();
        }
    }
    return std::nullopt;
}

/// What a read-back entry points at, as a value of the driver, and traced.
template <class Map>
LagGroupMemberOrGroupOrNone pointee(const Map& map, U32 handle, bool isMember,
                                    RuxSdkEntryHandle entry) {
    const auto id = keyOfHandle(map, handle);
    if (!id) {
        return {};
    }
    Kel::tracePoint(traceHandle, kDetailLevel, kSource, __LINE__, kEntryByHandle.name,
                    kEntryByHandle.name, ": sdkHandle=", entry.value(),
                    isMember ? " mbr_hdl=" : " grp_hdl=", handle,
                    isMember ? " memberId=" : " groupId=", id->value());
    return {id->value(), isMember};
}

} // namespace

LagGroupTable::LagGroupTable(LagGroupTableHelper::Ptr helper, GlimtKeyManager::Ptr glimtKeyManager,
                             StatusManager::Ptr statusManager)
    : Object("lagGroup"), helper_(std::move(helper)), glimtKeyManager_(std::move(glimtKeyManager)),
      statusManager_(std::move(statusManager)) {}

LagGroupTable::~LagGroupTable() {
    defaultMatchSpecDel();
    notifiees_.deleteAll();
    statusManager_ = nullptr;
    glimtKeyManager_ = nullptr;
    helper_ = nullptr;
}

LagGroupMatchSpec::Ptr LagGroupTable::defaultMatchSpecIs() {
    if (defaultMatchSpec_) {
        return defaultMatchSpec_;
    }
    const auto made = LagGroupMatchSpec::LagGroupMatchSpecIs();
    defaultMatchSpec_ = made;
    notifiees_.visit(kDefaultMatchSpec);
    return made;
}

LagGroupMatchSpec::Ptr LagGroupTable::defaultMatchSpecDel() {
    LagGroupMatchSpec::Ptr removed = std::exchange(defaultMatchSpec_, nullptr);
    if (removed) {
        notifiees_.visit(kDefaultMatchSpec);
    }
    return removed;
}

void LagGroupTable::entryIs(const LagGroupTableEntry& entry) {
    traceEntry(kEntryIs);
    require(entry.match() != nullptr, "entry.match() != __null", kEntryIs);
    if (statusManager_) {
        statusManager_->initStatus(entry.match());
    }
    const Write write{*this, entry, entry.memberOrGroup().member() ? kAtMember : kAtGroup};
    if (defaultMatchSpec_ == entry.match()) {
        write.setDefault();
    } else if (const auto handle = handles().entry(entry.match()); handle.value() != 0) {
        write.modify(handle);
    } else {
        write.add();
    }
}

LagGroupTableEntry LagGroupTable::entryDel(const LagGroupMatchSpec::PtrConst& match) {
    traceEntry(kEntryDel);
    const RuxSdkEntryHandle handle = handles().entry(match);
    require(handle.value() != 0, "helper()->sdkHandles()->entry( match )", kEntryDel);
    if (statusManager_) {
        statusManager_->initStatus(match);
    }
    auto& pd = helper_->requiredPdLib();
    if (match && defaultMatchSpec_ == match) {
        pdCall(pd.p4_pd_velmor_switch_lagGroup_table_reset_default_entry, pd.sessionId(),
               helper_->deviceTarget());
    } else {
        pdCall(pd.p4_pd_velmor_switch_lagGroup_table_delete, pd.sessionId(), helper_->deviceId(),
               handle.value());
    }
    handles().entryDel(match);
    return {};
}

LagGroupTableEntry LagGroupTable::entry(const LagGroupMatchSpec::PtrConst& match) const {
    traceEntry(kEntry);
    require(match != nullptr, "match != __null", kEntry);
    const RuxSdkEntryHandle handle = handles().entry(match);
    return handle.value() != 0 ? entryByHandle(handle) : LagGroupTableEntry();
}

LagGroupTableEntry LagGroupTable::entryByHandle(RuxSdkEntryHandle handle) const {
    traceEntry(kEntryByHandle);
    const auto& pd = helper_->requiredPdLib();
    p4_pd_velmor_switch_lagGroup_match_spec_t spec{};
    U32 priority = 0;
    bool hasMember = false, hasGroup = false, spare = false;
    U32 member = 0, group = 0;
    const pipe_status status = pd.p4_pd_velmor_switch_lagGroup_get_entry(
        pd.sessionId(), helper_->deviceId(), handle.value(), false, &spec, &priority, &hasMember,
        &hasGroup, &member, &group, &spare);
    if (status != BfTable::kStatusSuccess) {
        return {};
    }
    const auto match = LagGroupMatchSpec::LagGroupMatchSpecIs();
    Kel::attributeIs(match, "egrMdEgrL2AintfUnresolved", spec.egrMd_egrL2AintfUnresolved);
    Kel::attributeIs(match, "egrMdEgrL2AintfUnresolvedMask", spec.egrMd_egrL2AintfUnresolved_mask);
    LagGroupMemberOrGroupOrNone memberOrGroup;
    if (hasMember) {
        memberOrGroup = pointee(handles().member(), member, true, handle);
    } else if (hasGroup) {
        memberOrGroup = pointee(handles().group(), group, false, handle);
    }
    return {match, memberOrGroup};
}

} // namespace BfLagGroup
