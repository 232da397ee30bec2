// Restarts of the agent over a full chip, phase by phase.
//
//   RestartBench [MEMBERS GROUPS ENTRIES [RUNS]]
//
// Every run is a process of its own over the same state directory and chip file, as in life. The
// first one finds the desired state alone and fills the chip; those after it are restarts. The time
// of the driver's factories is compared with that of reading what they must read: every record of
// the three tables, and every match entry on the chip.

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "agent/Agent.h"
#include "agent/Errors.h"
#include "asic/SoftwareAsic.h"

using namespace LagAgent;

namespace {

constexpr auto kSetLagPort = BfLagGroup::LagGroupActionProfileType::setLagPortActionProfileSpec;

struct Sizes {
    std::uint32_t members = 100'000;
    std::uint32_t groups = 4'000;
    std::uint32_t entries = 4'000;
    std::uint32_t runs = 5;
};

[[noreturn]] void fail(const std::string& why) {
    std::fprintf(stderr, "RestartBench: %s\n", why.c_str());
    std::exit(1);
}

/// Runs the function in a process of its own; what it returns comes back through a pipe.
template <class Function>
std::vector<double> inProcess(Function&& function) {
    int ends[2];
    if (pipe(ends) != 0) {
        fail("no pipe");
    }
    const pid_t child = fork();
    if (child == 0) {
        int status = 1;
        try {
            const std::vector<double> values = function();
            const auto size = static_cast<ssize_t>(values.size() * sizeof(double));
            status = write(ends[1], values.data(), static_cast<std::size_t>(size)) == size ? 0 : 1;
        } catch (...) {
            std::fprintf(stderr, "RestartBench: %s\n", currentError().text().c_str());
        }
        _exit(status);
    }
    close(ends[1]);
    std::vector<double> values(64);
    const ssize_t size = read(ends[0], values.data(), values.size() * sizeof(double));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0 || size < 0) {
        fail("a run failed");
    }
    values.resize(static_cast<std::size_t>(size) / sizeof(double));
    return values;
}

/// Every member in one group, with every tenth one inactive; an entry for each group in turn.
DesiredState desiredState(const Sizes& sizes) {
    DesiredState state;
    for (std::uint32_t member = 1; member <= sizes.members; ++member) {
        state.members[member] = {kSetLagPort, static_cast<std::uint16_t>(member)};
        auto& group = state.groups[member % sizes.groups + 1];
        group.members[member] = member % 10 != 0;
    }
    for (auto& [id, group] : state.groups) {
        group.size = 64;
        group.initial = group.members.begin()->first;
        group.type = kSetLagPort;
    }
    for (std::uint32_t entry = 0; entry < sizes.entries; ++entry) {
        state.entries[MatchKey{entry, 0xffffffff, 0}] = {entry % sizes.groups + 1, false};
    }
    return state;
}

std::vector<double> prepare(const std::string& directory, const Sizes& sizes) {
    const auto state = std::make_shared<const Pello::StateDirectory>(directory);
    StateDatabase database(state, ChipScope{});
    const DesiredState desired = desiredState(sizes);
    for (const auto& [id, member] : desired.members) {
        database.memberIs(RuxTable::RuxMemberId(id), member);
    }
    for (const auto& [id, group] : desired.groups) {
        database.groupIs(RuxTable::RuxGroupId(id), group);
    }
    for (const auto& [name, target] : desired.entries) {
        database.entryIs(name, target);
    }
    database.commit();

    const velmor_asic_chip_config_t config{.entry_capacity = sizes.entries + 1,
                                           .member_capacity = sizes.members,
                                           .group_capacity = sizes.groups * 2,
                                           .group_size_limit = 512,
                                           .pipes = 4,
                                           .first_handle = 1};
    if (velmor_asic_chip_attach(0, (directory + "/chip").c_str(), &config) != 0) {
        fail(velmor_asic_attach_error());
    }
    return {};
}

double milliseconds(Phases::Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

const std::vector<std::string> kPhases{"desired state", "chip",    "tables",  "factories",
                                       "audit",         "records", "members", "groups",
                                       "entries",       "removal"};

/// Reads what the factories read, and nothing else.
double readRecordsAgain(Agent& agent) {
    const auto begin = Phases::Clock::now();
    auto& keys = agent.state->keys();
    std::size_t count = 0;
    Glimt::walk(*keys.mbbGlimtTableConfig(), [&](const Glimt::MbbVantof::EntryConfig& record) {
        p4_pd_velmor_switch_lagGroup_match_spec_t match{};
        std::uint32_t priority = 0, member = 0, group = 0;
        bool hasMember = false, hasGroup = false, spare = false;
        agent.driver.pd().p4_pd_velmor_switch_lagGroup_get_entry(
            agent.library.session(), 0, record.sdkEntryHandle.value(), false, &match, &priority,
            &hasMember, &hasGroup, &member, &group, &spare);
        ++count;
    });
    const auto counted = [&count](const auto&) { ++count; };
    Glimt::walk(*keys.adtGlimtTableConfig(), counted);
    Glimt::walk(*keys.selGrpGlimtTableConfig(), counted);
    if (count != agent.start.entries + agent.start.members + agent.start.groups) {
        fail("the factories restored another number of handles than there are records");
    }
    return milliseconds(Phases::Clock::now() - begin);
}

/// One start: the time of each phase, then that of reading the records (restarts only).
std::vector<double> start(const std::string& directory, bool isRestart) {
    const auto begin = Phases::Clock::now();
    Agent agent(
        Target{.pdPath = PD_VELMOR_SWITCH_LIBRARY},
        StateOptions{.directory = std::make_shared<Pello::StateDirectory>(directory.c_str())},
        nullptr);
    std::vector<double> times;
    for (const auto& name : kPhases) {
        const auto& all = agent.start.phases.all();
        const auto found = std::ranges::find(all, name, &Phases::Phase::name);
        times.push_back(found == all.end() ? 0 : milliseconds(found->time));
    }
    times.push_back(milliseconds(Phases::Clock::now() - begin));
    if (isRestart) {
        if (!agent.start.findings.empty()) {
            fail("the audit of a restart found something");
        }
        times.push_back(readRecordsAgain(agent));
    }
    return times;
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values.at(values.size() / 2);
}

void report(const std::vector<double>& cold, const std::vector<std::vector<double>>& restarts) {
    const auto column = [&](std::size_t i) {
        std::vector<double> values;
        for (const auto& run : restarts) {
            values.push_back(run.at(i));
        }
        return median(values);
    };
    std::printf("%-22s %14s %14s\n", "phase, ms", "from nothing", "restart");
    for (std::size_t i = 0; i < kPhases.size(); ++i) {
        std::printf("%-22s %14.1f %14.1f\n", kPhases[i].c_str(), cold.at(i), column(i));
    }
    const std::size_t total = kPhases.size();
    std::printf("%-22s %14.1f %14.1f\n", "all", cold.at(total), column(total));
    std::printf("%-22s %14s %14.1f\n", "reading the records", "", column(total + 1));
    std::printf("factories / reading the records: %.2f\n", column(3) / column(total + 1));
}

} // namespace

int main(int argc, char** argv) {
    Sizes sizes;
    std::uint32_t* const fields[]{&sizes.members, &sizes.groups, &sizes.entries, &sizes.runs};
    for (int i = 1; i < argc && i <= 4; ++i) {
        *fields[i - 1] = static_cast<std::uint32_t>(std::max(1l, std::atol(argv[i])));
    }
    char path[] = "/dev/shm/RestartBench-XXXXXX";
    if (!mkdtemp(path)) {
        fail("no directory under /dev/shm");
    }
    const std::string directory = path;
    inProcess([&] { return prepare(directory, sizes); });
    const auto cold = inProcess([&] { return start(directory, false); });
    std::vector<std::vector<double>> restarts;
    for (std::uint32_t run = 0; run < sizes.runs; ++run) {
        restarts.push_back(inProcess([&] { return start(directory, true); }));
    }
    report(cold, restarts);
    std::filesystem::remove_all(directory);
}
