#include "tests/agent/crash/Spoilt.h"

#include <stdexcept>

#include "tests/agent/crash/AsicLibrary.h"
#include "tests/agent/crash/ChildProcess.h"

namespace LagAgent::Crash {

namespace {

/// Runs the work in a process that has the chip of the place.
void onChip(const StatePlace& place, const std::function<void()>& work) {
    const auto attached = [&] {
        callAsic<decltype(::velmor_asic_chip_attach)>("velmor_asic_chip_attach", 0,
                                                      place.chip().c_str(), nullptr);
        work();
        return 0;
    };
    if (ChildProcess(attached).wait() != 0) {
        throw std::runtime_error("the chip cannot be spoilt");
    }
}

/// Makes a PD call. The prepared chip's handles are members 1 to 4, groups 5 and 6, entries 7 and
/// 8, in the order of the set-up.
template <class Function, class... Arguments>
void behindItsBack(const StatePlace& place, const char* operation, Arguments... arguments) {
    onChip(place, [&] { callAsic<Function>(operation, 0u, arguments...); });
}
#define BEHIND_ITS_BACK(place, operation, ...)                                                     \
    behindItsBack<decltype(::p4_pd_velmor_switch_##operation)>(                                    \
        place, "p4_pd_velmor_switch_" #operation, __VA_ARGS__)

constexpr p4_pd_dev_target_t kAllPipes{0, P4_PD_ALL_PIPES};

} // namespace

std::vector<Spoilt> spoilt() {
    return {
        {[](const StatePlace& place) {
             p4_pd_velmor_switch_setLagPort_action_spec_t spec{2};
             BEHIND_ITS_BACK(place, lagPortActionProfile_modify_member_with_setLagPort, 0, 1u,
                             &spec);
         },
         {"lagPortActionProfile_modify_member_with_setLagPort"}},
        {[](const StatePlace& place) {
             BEHIND_ITS_BACK(place, lagPortActionProfile_group_member_state_set, 0, 5u, 2u, 1u);
         },
         {"lagPortActionProfile_group_member_state_set"}},
        {[](const StatePlace& place) {
             BEHIND_ITS_BACK(place, lagPortActionProfile_del_member_from_group, 0, 5u, 2u);
         },
         {"lagPortActionProfile_add_member_to_group"}},
        {[](const StatePlace& place) { BEHIND_ITS_BACK(place, lagGroup_modify_entry, 0, 7u, 2u); },
         {"lagGroup_modify_entry_with_selector"}},
        {[](const StatePlace& place) {
             std::uint32_t group = 0;
             BEHIND_ITS_BACK(place, lagPortActionProfile_create_group, kAllPipes, std::uint16_t{9},
                             &group);
         },
         {"lagPortActionProfile_del_group"}},
        {[](const StatePlace& place) {
             std::uint32_t member = 0;
             BEHIND_ITS_BACK(place, lagPortActionProfile_add_member_with_setTunnelInfo, kAllPipes,
                             &member);
         },
         {"lagPortActionProfile_del_member"}},
        {[](const StatePlace& place) {
             p4_pd_velmor_switch_lagGroup_match_spec_t match{0x99, 0xff};
             std::uint32_t entry = 0;
             BEHIND_ITS_BACK(place, lagGroup_add_entry, kAllPipes, &match, 0u, 2u, &entry);
         },
         {"lagGroup_table_delete"}},
        // A member that is to be inactive joins where nothing points.
        {[](const StatePlace& place) {
             BEHIND_ITS_BACK(place, lagPortActionProfile_del_member_from_group, 0, 6u, 4u);
         },
         {"lagPortActionProfile_create_group", "lagPortActionProfile_add_member_to_group",
          "lagPortActionProfile_add_member_to_group", "lagPortActionProfile_group_member_state_set",
          "lagGroup_modify_entry_with_selector", "lagPortActionProfile_del_group"}},
    };
}

void removeRecords(const StatePlace& place) {
    for (const char* table : {"entries", "members", "groups"}) {
        std::filesystem::remove(place.file(table));
    }
}

void powerCycle(const StatePlace& place) {
    onChip(place, [] {
        callAsic<decltype(::velmor_asic_chip_power_cycle)>("velmor_asic_chip_power_cycle", 0);
    });
}

} // namespace LagAgent::Crash
