#include "tests/agent/crash/Forecast.h"

#include <fstream>
#include <stdexcept>

#include "agent/command/Agent.h"
#include "agent/restart/Audit.h"
#include "agent/restart/Restart.h"

namespace LagAgent::Crash {

namespace {

constexpr const char* kEntryScope = "p4_pd_velmor_switch_lagGroup_set_property";

/// As a start goes about it, up to where it would touch the chip.
Json audited(const StatePlace& place) {
    const Target target{.pdPath = PD_VELMOR_SWITCH_LIBRARY};
    const PdLibrary library(target.pdPath);
    const AsicControl asic(library);
    const ChipTables chip(library, target);
    const StateOptions options{
        .directory = std::make_shared<const Posix::StateDirectory>(place.directory())};
    std::uint64_t firstCall = 0;
    const auto attach = [&] {
        asic.attach(target.device, place.chip());
        firstCall = asic.nextCall();
        return StatefulChip::Facts{asic.bootGeneration(target.device), chip.usage()};
    };
    PersistentState state(options, {.file = place.chip(), .attach = attach});
    const Audit audit =
        LagAgent::audit({readRecords(state.keys()), chip.read(), state.database().read(),
                         state.isNew(), state.isMendingNoted()});
    Json operations = Json::array({kEntryScope});
    for (const PdWrite& write : audit.writes) {
        operations.push_back(write.operation);
    }
    return {{"call", firstCall}, {"writes", std::move(operations)}};
}

} // namespace

Forecast forecastOf(const StatePlace& place) {
    const StatePlace copy = StatePlace::copyOf(place);
    const auto result = copy.file("forecast");
    const auto work = [&] {
        std::ofstream(result) << audited(copy);
        return 0;
    };
    if (ChildProcess(work).wait() != 0) {
        throw std::runtime_error("no forecast of a start");
    }
    const Json forecast = Json::parse(std::ifstream(result));
    return {forecast.at("call"), forecast.at("writes")};
}

std::vector<std::string> writesFrom(AgentProcess& agent, std::uint64_t firstCall) {
    std::vector<std::string> writes;
    const Json calls = agent.tell("show calls").at("calls");
    for (const Json& call : calls) {
        const auto operation = call.at("operation").get<std::string>();
        if (call.at("sequence") >= firstCall && !operation.ends_with("_get_entry") &&
            operation.find("_client_") == std::string::npos) {
            writes.push_back(operation);
        }
    }
    return writes;
}

} // namespace LagAgent::Crash
