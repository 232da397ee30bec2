#include "BfLagGroup/Factories.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "BfLagGroup/LagGroupActionProfileSm.h"
#include "BfLagGroup/Site.h"
#include "driver-status/PdCall.h"

namespace BfLagGroup {

namespace {

constexpr Site kTableFactory{
    "BfLagGroup::LagGroupTable::Ptr lagGroupTableFactory(MbbGlimtKey::GlimtKeyManager::Ptr, "
    "RuxTableStatusManager::StatusManager::Ptr, Kel::VoidPtr, U32, U8, U16, Kel::Name)",
    "lagGroupTableFactory"};
constexpr Site kProfileFactory{"BfLagGroup::LagGroupActionProfile::Ptr "
                               "lagGroupActionProfileFactory(BfLagGroup::LagGroupTable::Ptr)",
                               "lagGroupActionProfileFactory"};

/// The SDK's entry-scope property of a table, and its values.
constexpr U32 kEntryScopeProperty = 1;
constexpr U32 kScopeAllPipelines = 0;
constexpr U32 kScopeSinglePipeline = 1;

void entryScopeIs(const LagGroupTableHelper& helper) {
    const auto& pd = helper.requiredPdLib();
    BfTable::pdCall(pd.p4_pd_velmor_switch_lagGroup_set_property, pd.sessionId(), helper.deviceId(),
                    kEntryScopeProperty,
                    helper.devPipeId() == LagGroupTableHelper::kAllPipes ? kScopeAllPipelines
                                                                         : kScopeSinglePipeline);
}

/// Enters the match entries of a previous run, each under the match key that the chip reports: null
/// when it no longer knows the entry, which tells the key manager so.
void restoreEntries(const LagGroupTable& table) {
    auto& keys = *table.glimtKeyManager();
    auto* records = keys.mbbGlimtTableConfig();
    require(records != nullptr, "glimtKeyManager->mbbGlimtTableConfig()", kTableFactory);
    Glimt::EntryKey largest = 0;
    Glimt::walk(*records, [&](const Glimt::MbbVantof::EntryConfig& record) {
        const LagGroupTableEntry entry = table.entryByHandle(record.sdkEntryHandle);
        table.helper()->requiredHandles().entryIs(entry.match(), record.sdkEntryHandle);
        keys.populate(record.entryKey, entry.match());
        largest = std::max(largest, record.entryKey);
    });
    if (largest != 0) {
        keys.latestKeyIs(largest);
    }
}

/// Enters the member and group handles of a previous run, under the ids that the keys stand for.
void restoreMembersAndGroups(const LagGroupTable& table) {
    auto& keys = *table.glimtKeyManager();
    auto& handles = table.helper()->requiredHandles();

    auto* members = keys.adtGlimtTableConfig();
    require(members != nullptr, "matTable->glimtKeyManager()->adtGlimtTableConfig()",
            kProfileFactory, 82);
    Glimt::walk(*members, [&](const RuxMbbShared::AdtEntryConfig& record) {
        handles.memberIs(RuxTable::RuxMemberId(keys.anonId(record.entryKey)),
                         record.sdkMemberHandle);
    });

    auto* groups = keys.selGrpGlimtTableConfig();
    require(groups != nullptr, "matTable->glimtKeyManager()->selGrpGlimtTableConfig()",
            kProfileFactory, 91);
    Glimt::walk(*groups, [&](const RuxMbbShared::SelGrpEntryConfig& record) {
        handles.groupIs(RuxTable::RuxGroupId(keys.anonId(record.entryKey)), record.sdkGroupHandle);
    });
}

/// Holds a state machine for the rest of the process: nothing else does, since the profile does not
/// point back at it.
void keepForever(LagGroupActionProfileSm::Ptr sm) {
    static auto& kept = *new std::vector<LagGroupActionProfileSm::Ptr>;
    kept.push_back(std::move(sm));
}

} // namespace

} // namespace BfLagGroup

using namespace BfLagGroup;

LagGroupTable::Ptr lagGroupTableFactory(MbbGlimtKey::GlimtKeyManager::Ptr glimtKeyManager,
                                        RuxTableStatusManager::StatusManager::Ptr statusManager,
                                        Kel::VoidPtr dlHandle, Kel::U32 sessionId, Kel::U8 deviceId,
                                        Kel::U16 devPipeId, Kel::Name pdLibPath) {
    const auto helper = lagGroupTableHelperFactory(deviceId, devPipeId);
    require(!pdLibPath.empty(), "pdLibPath", kTableFactory);
    helper->pdLibIs(pdLibPath, dlHandle, sessionId);
    helper->sdkHandlesIs();
    entryScopeIs(*helper);

    LagGroupTable::Ptr tablePtr = new LagGroupTable(helper, glimtKeyManager, statusManager);
    require(tablePtr != nullptr, "tablePtr", kTableFactory);
    tablePtr->hasNotificationActiveIs(true);
    tablePtr->defaultMatchSpecIs();
    if (glimtKeyManager) {
        restoreEntries(*tablePtr);
    }
    if (statusManager) {
        statusManager->resyncStatus();
    }
    return tablePtr;
}

LagGroupActionProfile::Ptr lagGroupActionProfileFactory(LagGroupTable::Ptr matTable) {
    require(matTable != nullptr, "matTable", kProfileFactory);
    LagGroupActionProfile::Ptr profile = new LagGroupActionProfile("lagGroup");
    profile->hasNotificationActiveIs(true);
    keepForever(LagGroupActionProfileSm::LagGroupActionProfileSmIs(
        profile, matTable->helper(), matTable->glimtKeyManager(), matTable->statusManager()));
    if (matTable->glimtKeyManager()) {
        restoreMembersAndGroups(*matTable);
    }
    if (const auto& statusManager = matTable->statusManager()) {
        statusManager->resyncSelAdtStatus();
    }
    return profile;
}
