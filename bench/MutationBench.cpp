/**
 * A whole mutation of the agent's, beside the bare PD calls that it makes: the same software ASIC,
 * the same state in it. With 1 and with 4 000 other objects of its kind, since a mutation must not
 * grow with their number.
 */

#include <dlfcn.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "BfLagGroup/Factories.h"
#include "BfLagGroup/LagGroupActionProfileSm.h"
#include "bench/Ratios.h"

namespace {

using namespace BfLagGroup;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using Pd = BfPdLagGroup::PdOperations;

constexpr auto kLagPort = LagGroupActionProfileType::setLagPortActionProfileSpec;
constexpr p4_pd_dev_target_t kTarget{0, 0xFFFF};

void* asicLibrary() {
    static void* library = dlopen(PD_VELMOR_SWITCH_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    return library;
}

void check(pipe_status status) {
    if (status != 0) {
        throw std::runtime_error("a PD call failed with " + std::to_string(status));
    }
}

LagGroupBaseActionProfileSpec::PtrConst lagPort(U16 port) {
    const SetLagPortActionProfileSpec::Ptr action = new SetLagPortActionProfileSpec;
    Kel::attributeIs(action, "egrL2AintfPort", port);
    return action;
}

LagGroupMatchSpec::Ptr matchOf(U32 value) {
    auto match = LagGroupMatchSpec::LagGroupMatchSpecIs();
    Kel::attributeIs(match, "egrMdEgrL2AintfUnresolved", value);
    Kel::attributeIs(match, "egrMdEgrL2AintfUnresolvedMask", U32{0xFFFFFFFF});
    return match;
}

/// Members, groups and match entries through the driver, over a chip of its own.
class World {
  public:
    explicit World(U32 others) {
        using Reset = void();
        reinterpret_cast<Reset*>(dlsym(asicLibrary(), "velmor_asic_reset"))();
        for (U32 id = 1; id <= others + 2; ++id) {
            profile->entryIs(new LagGroupActionProfileEntry(RuxMemberId(id), lagPort(1)));
        }
        for (U32 id = 1; id <= others; ++id) {
            profile->groupIs(RuxGroupId(id), 8, id, kLagPort);
            table->entryIs({matchOf(id), LagGroupMemberOrGroupOrNone(id, false)});
        }
        group = profile->group(RuxGroupId(1));
        match = matchOf(1'000'000);
        table->entryIs({match, LagGroupMemberOrGroupOrNone(1, true)});
    }
    ~World() {
        for (const auto& entry : table->helper()->sdkHandles()->entry()) {
            table->entryDel(entry.key());
        }
        profile->groupDelAll();
        profile->entryDelAll();
    }

    U32 memberHandle(U32 id) const {
        return table->helper()->sdkHandles()->member(RuxMemberId(id)).value();
    }
    U32 groupHandle(U32 id) const {
        return table->helper()->sdkHandles()->group(RuxGroupId(id)).value();
    }
    Pd& pd() const { return *table->helper()->pdLib(); }

    LagGroupTable::Ptr table = lagGroupTableFactory(nullptr, nullptr, asicLibrary(), 0, 0, 0xFFFF,
                                                    PD_VELMOR_SWITCH_LIBRARY);
    LagGroupActionProfile::Ptr profile = lagGroupActionProfileFactory(table);
    LagGroupGroup::Ptr group;
    LagGroupMatchSpec::Ptr match;
};

/// Two steps that undo each other, through the driver or as the PD calls that they come to.
struct Mutation {
    const char* name;
    void (*driver)(World& world);
    void (*bare)(World& world);
};

constexpr Mutation kMutations[] = {
    {"entryIs (repoint)",
     [](World& world) {
         world.table->entryIs({world.match, LagGroupMemberOrGroupOrNone(2, true)});
         world.table->entryIs({world.match, LagGroupMemberOrGroupOrNone(1, true)});
     },
     [](World& world) {
         const U32 entry = world.table->helper()->sdkHandles()->entry(world.match).value();
         auto& modify = world.pd().p4_pd_velmor_switch_lagGroup_modify_entry;
         check(modify(0u, 0, entry, world.memberHandle(2)));
         check(modify(0u, 0, entry, world.memberHandle(1)));
     }},
    {"entryIs, entryDel",
     [](World& world) {
         static const auto match = matchOf(2'000'000);
         world.table->entryIs({match, LagGroupMemberOrGroupOrNone(1, true)});
         world.table->entryDel(match);
     },
     [](World& world) {
         p4_pd_velmor_switch_lagGroup_match_spec_t spec{2'000'000, 0xFFFFFFFF};
         U32 entry = 0;
         check(world.pd().p4_pd_velmor_switch_lagGroup_add_entry(0u, kTarget, &spec, 0u,
                                                                 world.memberHandle(1), &entry));
         check(world.pd().p4_pd_velmor_switch_lagGroup_table_delete(0u, 0, entry));
     }},
    {"activeIs",
     [](World& world) {
         const auto member = world.group->member(RuxMemberId(1));
         member->activeIs(false);
         member->activeIs(true);
     },
     [](World& world) {
         auto& set = world.pd().p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set;
         const U32 group = world.groupHandle(1);
         const U32 member = world.memberHandle(1);
         check(set(0u, 0, group, member, 1u));
         check(set(0u, 0, group, member, 0u));
     }},
    {"memberIs, memberDel",
     [](World& world) {
         world.group->memberIs(RuxMemberId(2));
         world.group->memberDel(RuxMemberId(2));
     },
     [](World& world) {
         const U32 group = world.groupHandle(1);
         const U32 member = world.memberHandle(2);
         auto& pd = world.pd();
         check(
             pd.p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group(0u, 0, group, member));
         check(pd.p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group(0u, 0, group,
                                                                                 member));
     }},
    {"entryIs, entryDel (member)",
     [](World& world) {
         static const auto port = lagPort(1);
         const RuxMemberId id(1'000'000);
         world.profile->entryIs(new LagGroupActionProfileEntry(id, port));
         world.profile->entryDel(id);
     },
     [](World& world) {
         auto& pd = world.pd();
         p4_pd_velmor_switch_setLagPort_action_spec_t port{1};
         U32 member = 0;
         check(pd.p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort(
             0u, kTarget, &port, &member));
         check(pd.p4_pd_velmor_switch_lagPortActionProfile_del_member(0u, 0, member));
     }},
    {"groupIs, groupDel",
     [](World& world) {
         const RuxGroupId id(1'000'000);
         world.profile->groupIs(id, 8, 1, kLagPort);
         world.profile->groupDel(id);
     },
     [](World& world) {
         auto& pd = world.pd();
         U32 group = 0;
         check(
             pd.p4_pd_velmor_switch_lagPortActionProfile_create_group(0u, kTarget, U16{8}, &group));
         check(pd.p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group(
             0u, 0, group, world.memberHandle(1)));
         check(pd.p4_pd_velmor_switch_lagPortActionProfile_del_group(0u, 0, group));
     }},
};

void run(benchmark::State& state, U32 others, void (*step)(World& world)) {
    World world(others);
    for (auto _ : state) {
        step(world);
    }
}

} // namespace

int main(int argc, char** argv) {
    std::vector<Bench::Comparison> comparisons;
    for (const U32 others : {1u, 4000u}) {
        const std::string table = "with " + std::to_string(others) + " others";
        for (const Mutation& mutation : kMutations) {
            const auto add = [&](const char* contender, void (*step)(World & world)) {
                const std::string name = table + "/" + contender + "/" + mutation.name;
                benchmark::RegisterBenchmark(name.c_str(), run, others, step);
            };
            add("the driver", mutation.driver);
            add("bare PD calls", mutation.bare);
        }
        comparisons.push_back({table, "the driver", "bare PD calls", 0, 0});
    }
    return Bench::runAndCompare(argc, argv, comparisons);
}
