#include "tests/agent/crash/Scenario.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <stdexcept>

#include "tests/agent/crash/AgentProcess.h"
#include "tests/agent/crash/AsicLibrary.h"

namespace LagAgent::Crash {

const std::vector<std::string>& setUpCommands() {
    static const std::vector<std::string> kCommands{
        "member add 1 action setLagPort port 1",
        "member add 2 action setLagPort port 2",
        "member add 3 action setLagPort port 3",
        "member add 4 action setLagPort port 4",
        "group add 10 size 4 initial 1 action setLagPort",
        "group member add 10 2",
        "group add 20 size 4 initial 3 action setLagPort",
        "group member add 20 4",
        "group member set 20 4 inactive",
        "entry set value 0x10 mask 0xffffffff group 10",
        "entry set value 0x20 mask 0xffffffff group 20",
    };
    return kCommands;
}

const std::vector<std::string>& scenarioCommands() {
    static const std::vector<std::string> kCommands{
        // A third LAG, of its own flows.
        "member add 5 action setLagPort port 5",
        "member add 6 action setLagPort port 6",
        "member add 7 action setTunnelInfo",
        "group add 30 size 8 initial 5 action setLagPort",
        "group member add 30 6",
        "entry set value 0x30 mask 0xffffffff priority 3 group 30",
        "group member set 30 6 inactive",
        "group member set 30 5 inactive",
        "group member set 30 6 active",
        "entry set value 0x40 mask 0xfffffff0 member 5",
        "entry set default member 6",
        "entry set default group 30",
        // A watched LAG gets one more port, and loses it again.
        "group member add 10 5",
        "group member set 10 5 inactive",
        "group member set 10 5 active",
        "group member del 10 5",
        // The watched entries point elsewhere for a while.
        "entry set value 0x20 mask 0xffffffff member 3",
        "entry set value 0x20 mask 0xffffffff group 20",
        "group add 50 size 2 initial 2 action setLagPort",
        "entry set value 0x10 mask 0xffffffff group 50",
        "group member add 50 1",
        "entry set value 0x10 mask 0xffffffff group 10",
        "group del 50",
        // In place.
        "member set 6 action setLagPort port 16",
        "member set 7 action invalidateUcastEgressPort",
        "entry set value 0x30 mask 0xffffffff priority 3 member 6",
        // The one that the group was made with leaves it.
        "group member del 30 5",
        // The agent refuses.
        "member del 1",
        "group add 10 size 9 initial 1 action setLagPort",
        // The chip refuses.
        "fault lagPortActionProfile_del_member nth 1 status 2 once",
        "member del 7",
        "fault lagPortActionProfile_add_member_to_group nth 1 status 9 once",
        "group add 40 size 2 initial 6 action setLagPort",
        "fault lagGroup_add_entry nth 1 status 9 once",
        "entry set value 0x50 mask 0xffffffff member 5",
        "group member add 10 5",
        "fault lagPortActionProfile_del_member_from_group nth 1 status 22 once",
        "group member del 10 5",
        // Away with it all; what the chip had refused to let go is let go of now.
        "group member del 10 5",
        "entry del default",
        "entry del value 0x40 mask 0xfffffff0",
        "entry del value 0x30 mask 0xffffffff priority 3",
        "group del 30",
        "member del 7",
        "member del 6",
        "member del 5",
        "member set 4 action setLagPort port 14",
        "member set 4 action setLagPort port 4",
    };
    return kCommands;
}

const std::vector<WatchedLag>& watchedLags() {
    static const std::vector<WatchedLag> kLags{{0x10, {1, 2, 5}, {}}, {0x20, {3}, {4, 14}}};
    return kLags;
}

StatePlace preparedPlace(const ChipSize& size) {
    StatePlace place;
    if (::mkdir(place.directory().c_str(), 0700) != 0) {
        throw std::runtime_error("no state directory");
    }
    const auto makeChip = [&] {
        const velmor_asic_chip_config_t config{.entry_capacity = 32,
                                               .member_capacity = 32,
                                               .group_capacity = size.groups,
                                               .group_size_limit = 16,
                                               .pipes = 1,
                                               .first_handle = 1};
        callAsic<decltype(::velmor_asic_chip_attach)>("velmor_asic_chip_attach", 0,
                                                      place.chip().c_str(), &config);
        return 0;
    };
    if (ChildProcess(makeChip).wait() != 0) {
        throw std::runtime_error("no chip");
    }
    AgentProcess agent(place);
    for (const auto& line : setUpCommands()) {
        agent.tell(line);
    }
    agent.runOut({});
    return place;
}

namespace {

/// The listing's rows without the fields that are the process's own.
Json without(Json rows, std::initializer_list<const char*> fields) {
    for (Json& row : rows) {
        for (const char* field : fields) {
            row.erase(field);
        }
    }
    return rows;
}

} // namespace

Json modelOf(const Json& shown) {
    return {{"members", without(shown.at("members"), {"handle", "abandoned"})},
            {"groups", without(shown.at("groups"), {"handle", "abandoned"})},
            {"entries", without(shown.at("entries"), {"handle", "read back"})}};
}

std::vector<Json> scenarioModels() {
    AgentProcess agent;
    for (const auto& line : setUpCommands()) {
        agent.tell(line);
    }
    std::vector<Json> models{modelOf(agent.tell("show"))};
    for (const auto& line : scenarioCommands()) {
        agent.ask(line);
        models.push_back(modelOf(agent.tell("show")));
    }
    return models;
}

} // namespace LagAgent::Crash
