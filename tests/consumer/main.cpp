// Drives a LAG through the installed library, as an agent outside this repository does.
#include <dlfcn.h>

#include <cstdio>

#include "BfLagGroup/Factories.h"
#include "BfLagGroup/LagGroupActionProfileSm.h"
#include "driver-status/BfTableException.h"
#include "platform/MbbGlimtKey/InProcessKeyManager.h"
#include "platform/RuxTableStatusManager/InProcessStatusManager.h"

namespace {

using namespace BfLagGroup;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;

struct CountingFollower : Kel::PtrInterface::NotifieeConst {
    void onAttribute(Kel::AttributeId, const void*) override { ++changes; }
    int changes = 0;
};

LagGroupActionProfileEntry::Ptr lagPort(U32 member, U16 port) {
    SetLagPortActionProfileSpec::Ptr action = new SetLagPortActionProfileSpec;
    Kel::attributeIs(action, "egrL2AintfPort", port);
    return new LagGroupActionProfileEntry(RuxMemberId(member), action);
}

int fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

} // namespace

int main() {
    void* library = dlopen(PD_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        return fail(dlerror());
    }
    auto table = lagGroupTableFactory(new MbbGlimtKey::InProcessKeyManager,
                                      new RuxTableStatusManager::InProcessStatusManager, library, 0,
                                      0, LagGroupTableHelper::kAllPipes, PD_LIBRARY);
    auto profile = lagGroupActionProfileFactory(table);
    CountingFollower follower;
    follower.notifierIs(profile);
    follower.hasNotificationActiveIs(true);

    profile->entryIs(lagPort(1, 11));
    profile->entryIs(lagPort(2, 12));
    auto group = profile->groupIs(RuxGroupId(10), 4, 1,
                                  LagGroupActionProfileType::setLagPortActionProfileSpec);
    group->memberIs(RuxMemberId(2));
    auto match = LagGroupMatchSpec::LagGroupMatchSpecIs();
    table->entryIs(LagGroupTableEntry(match, LagGroupMemberOrGroupOrNone(10, false)));

    if (table->entry(match).memberOrGroup() != LagGroupMemberOrGroupOrNone(10, false)) {
        return fail("the entry does not read back as group 10");
    }
    if (follower.changes != 3) {
        return fail("the profile announced something else than two entries and a group");
    }
    try {
        profile->entryIs(nullptr);
        return fail("a null entry was taken");
    } catch (const Kel::MutatorArgNullPointerException&) {
    }
    table->entryDel(match);
    profile->groupDel(RuxGroupId(10));
    profile->entryDelAll();
    return table->helper()->sdkHandles()->member().empty() ? 0 : fail("member handles are left");
}
