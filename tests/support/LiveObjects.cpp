#include "tests/support/LiveObjects.h"

#include <gtest/gtest.h>

#include "BfLagGroup/LagGroupActionProfileSm.h"
#include "BfLagGroup/LagGroupTable.h"
#include "platform/MbbGlimtKey/InProcessKeyManager.h"
#include "platform/RuxTableStatusManager/InProcessStatusManager.h"

namespace test_support {

namespace {

struct Record {
    const char* name;
    const Kel::AllocTrackTypeInfo* info;
};

template <class Class>
constexpr Record recordOf(const char* name) {
    return {name, &Class::kelAllocTrackTypeInfo_};
}

using namespace BfLagGroup;
using Sm = LagGroupActionProfileSm;

const Record kRecords[] = {
    recordOf<Kel::Entity>("Entity"),
    recordOf<BfPdLagGroup::BfPdLagGroupIntf>("BfPdLagGroupIntf"),
    recordOf<MbbGlimtKey::InProcessKeyManager>("InProcessKeyManager"),
    recordOf<RuxTableStatusManager::InProcessStatusManager>("InProcessStatusManager"),
    recordOf<LagGroupMatchSpec>("LagGroupMatchSpec"),
    recordOf<LagGroupTableHandles>("LagGroupTableHandles"),
    recordOf<LagGroupTableHelper>("LagGroupTableHelper"),
    recordOf<LagGroupTable>("LagGroupTable"),
    recordOf<LagGroupBaseActionProfileSpec>("LagGroupBaseActionProfileSpec"),
    recordOf<FixL2SubintfAlignmentActionProfileSpec>("FixL2SubintfAlignmentActionProfileSpec"),
    recordOf<InvalidateUcastEgressPortActionProfileSpec>(
        "InvalidateUcastEgressPortActionProfileSpec"),
    recordOf<SetLagPortActionProfileSpec>("SetLagPortActionProfileSpec"),
    recordOf<SetPhysicalPortActionProfileSpec>("SetPhysicalPortActionProfileSpec"),
    recordOf<SetTunnelInfoActionProfileSpec>("SetTunnelInfoActionProfileSpec"),
    recordOf<LagGroupActionProfile>("LagGroupActionProfile"),
    recordOf<LagGroupActionProfileEntry>("LagGroupActionProfileEntry"),
    recordOf<LagGroupGroup>("LagGroupGroup"),
    recordOf<LagGroupMember>("LagGroupMember"),
    recordOf<Sm>("LagGroupActionProfileSm"),
    recordOf<Sm::KelLagGroupActionProfile>("KelLagGroupActionProfile"),
    recordOf<Sm::KelActionProfile>("KelActionProfile"),
    recordOf<Sm::KelGroup>("KelGroup"),
    recordOf<Sm::KelGroup::KelGroupMember>("KelGroupMember"),
};

} // namespace

LiveObjects::LiveObjects() {
    restart();
}

LiveObjects::~LiveObjects() {
    for (const auto& [name, count] : growth()) {
        ADD_FAILURE() << name << ": " << count << " objects more live than at the start";
    }
}

void LiveObjects::restart() {
    start_.clear();
    for (const Record& record : kRecords) {
        start_.push_back(record.info->live());
    }
}

LiveObjects::Growth LiveObjects::growth() const {
    Growth growth;
    auto start = start_.begin();
    for (const Record& record : kRecords) {
        if (const std::int64_t count = record.info->live() - *start++) {
            growth.emplace(record.name, count);
        }
    }
    return growth;
}

} // namespace test_support
