// Restarts of the agent over a full chip, phase by phase.
//
//   RestartBench [MEMBERS GROUPS ENTRIES [RUNS]]
//
// Every run is a process of its own over the same state directory and chip file, as in life. The
// first one finds the desired state alone and fills the chip; those after it are restarts with
// nothing to mend, in turn with processes that read database, records and chip and do nothing else.
// The time of the driver's factories is compared with that of reading what they must read: every
// record of the three tables, and every match entry on the chip.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/command/Agent.h"
#include "agent/restart/Restart.h"
#include "agent/terms/CurrentError.h"
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

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

[[noreturn]] void fail(const std::string& why) {
    throw Failure(why);
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
    const auto state = std::make_shared<const Posix::StateDirectory>(directory);
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

/// In the order of a start; the program fails if a start reports another one.
const std::vector<std::string> kPhases{"desired state", "chip",    "tables", "factories",
                                       "audit",         "mending", "model"};
/// How much longer than the reading alone the factories, and a whole restart, may take.
constexpr double kMostOfFactories = 3;
constexpr double kMostOfAll = 2.5; // the aim is 2; medians of a busy machine move

/// The largest memory that this process has had, in MB.
double peakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

/// The time of each phase, of all, and (restarts only) of reading the records again; the memory.
struct Times {
    std::map<std::string, double> phases{};
    double all = 0;
    double readingRecords = 0;

    std::vector<double> flat() const {
        std::vector<double> values;
        for (const auto& name : kPhases) {
            values.push_back(phases.contains(name) ? phases.at(name) : 0);
        }
        values.insert(values.end(), {all, readingRecords, peakMemory()});
        return values;
    }
};

/// Reads what the factories read, and nothing else.
double readRecordsAgain(Agent& agent) {
    const auto begin = Phases::Clock::now();
    auto& keys = agent.requiredState().keys();
    std::size_t count = 0;
    Glimt::walk(*keys.mbbGlimtTableConfig(), [&](const Glimt::MbbVantof::EntryConfig& record) {
        p4_pd_velmor_switch_lagGroup_match_spec_t match{};
        std::uint32_t priority = 0, member = 0, group = 0;
        bool hasMember = false, hasGroup = false, spare = false;
        agent.driver().pd().p4_pd_velmor_switch_lagGroup_get_entry(
            agent.library().session(), 0, record.sdkEntryHandle.value(), false, &match, &priority,
            &hasMember, &hasGroup, &member, &group, &spare);
        ++count;
    });
    const auto counted = [&count](const auto&) { ++count; };
    Glimt::walk(*keys.adtGlimtTableConfig(), counted);
    Glimt::walk(*keys.selGrpGlimtTableConfig(), counted);
    if (count != agent.start().entries + agent.start().members + agent.start().groups) {
        fail("the factories restored another number of handles than there are records");
    }
    return milliseconds(Phases::Clock::now() - begin);
}

std::vector<double> start(const std::string& directory, bool isRestart) {
    const auto begin = Phases::Clock::now();
    Agent agent(Target{.pdPath = PD_VELMOR_SWITCH_LIBRARY},
                StateOptions{.directory = std::make_shared<Posix::StateDirectory>(directory)},
                nullptr);
    Times times;
    times.all = milliseconds(Phases::Clock::now() - begin);
    for (const auto& phase : agent.start().phases.all()) {
        const std::string name(phase.name);
        if (std::ranges::find(kPhases, name) == kPhases.end()) {
            fail("a start has a phase that this program does not know: " + name);
        }
        times.phases[name] = milliseconds(phase.time);
    }
    if (isRestart) {
        if (!agent.start().findings.empty()) {
            fail("the audit of a restart found something");
        }
        if (!agent.start().writes.empty()) {
            fail("a restart with nothing to mend wrote something");
        }
        times.readingRecords = readRecordsAgain(agent);
    }
    return times.flat();
}

/// Database, records and chip, as a start reads them; the time and the memory.
std::vector<double> readAlone(const std::string& directory) {
    const auto begin = Phases::Clock::now();
    const Target target{.pdPath = PD_VELMOR_SWITCH_LIBRARY};
    const PdLibrary library(target.pdPath);
    const AsicControl asic(library);
    const ChipTables chip(library, target);
    const auto attach = [&] {
        asic.attach(target.device, directory + "/chip");
        return StatefulChip::Facts{asic.bootGeneration(target.device), chip.usage()};
    };
    PersistentState state({.directory = std::make_shared<Posix::StateDirectory>(directory)},
                          {.attach = attach});
    const DesiredState desired = state.takeDesired();
    const Records records = readRecords(state.keys());
    const ChipState onChip = chip.read();
    if (records.members.size() != desired.members.size() ||
        onChip.members.size() != desired.members.size()) {
        fail("records, chip and desired state differ");
    }
    return {milliseconds(Phases::Clock::now() - begin), peakMemory()};
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values.at(values.size() / 2);
}

using Runs = std::vector<std::vector<double>>;

double medianOf(const Runs& runs, std::size_t column) {
    std::vector<double> values;
    for (const auto& run : runs) {
        values.push_back(run.at(column));
    }
    return median(values);
}

bool isWithin(const char* what, double ratio, double most) {
    std::printf("%s: %.2f, at most %.1f\n", what, ratio, most);
    return ratio <= most;
}

/// Prints the table; false if something took too long.
bool report(const std::vector<double>& cold, const Runs& restarts, const Runs& readings) {
    std::printf("%-22s %14s %14s %14s\n", "phase, ms", "from nothing", "restart", "reading alone");
    for (std::size_t i = 0; i < kPhases.size(); ++i) {
        std::printf("%-22s %14.1f %14.1f\n", kPhases[i].c_str(), cold.at(i), medianOf(restarts, i));
    }
    const std::size_t all = kPhases.size();
    const double restart = medianOf(restarts, all);
    const double reading = medianOf(readings, 0);
    const double records = medianOf(restarts, all + 1);
    std::printf("%-22s %14.1f %14.1f %14.1f\n", "all", cold.at(all), restart, reading);
    std::printf("%-22s %14s %14.1f\n", "reading the records", "", records);
    std::printf("%-22s %14.0f %14.0f %14.0f\n", "peak memory, MB", cold.at(all + 2),
                medianOf(restarts, all + 2), medianOf(readings, 1));
    const auto factories = std::ranges::find(kPhases, "factories") - kPhases.begin();
    const double ofFactories = medianOf(restarts, static_cast<std::size_t>(factories)) / records;
    const bool isGood = isWithin("factories / reading the records", ofFactories, kMostOfFactories);
    return isWithin("restart / reading alone", restart / reading, kMostOfAll) && isGood;
}

std::uint32_t numberOf(const char* text) {
    std::uint32_t number = 0;
    const char* const end = text + std::strlen(text);
    const auto [rest, error] = std::from_chars(text, end, number);
    if (error != std::errc() || rest != end || number == 0) {
        fail(std::string("not a number above 0: ") + text);
    }
    return number;
}

/// A directory of this run's own, gone with it.
class Place {
  public:
    Place() {
        if (!mkdtemp(path_)) {
            fail("no directory under /dev/shm");
        }
    }
    ~Place() { std::filesystem::remove_all(path_); }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    std::string path() const { return path_; }

  private:
    char path_[32] = "/dev/shm/RestartBench-XXXXXX";
};

bool run(const Sizes& sizes) {
    const Place place;
    inProcess([&] { return prepare(place.path(), sizes); });
    const auto cold = inProcess([&] { return start(place.path(), false); });
    Runs restarts, readings;
    for (std::uint32_t run = 0; run < sizes.runs; ++run) {
        restarts.push_back(inProcess([&] { return start(place.path(), true); }));
        readings.push_back(inProcess([&] { return readAlone(place.path()); }));
    }
    return report(cold, restarts, readings);
}

} // namespace

int main(int argc, char** argv) {
    try {
        Sizes sizes;
        std::uint32_t* const fields[]{&sizes.members, &sizes.groups, &sizes.entries, &sizes.runs};
        if (argc > 5) {
            fail("usage: RestartBench [MEMBERS GROUPS ENTRIES [RUNS]]");
        }
        for (int i = 1; i < argc; ++i) {
            *fields[i - 1] = numberOf(argv[i]);
        }
        return run(sizes) ? 0 : 1;
    } catch (const Failure& failure) {
        std::fprintf(stderr, "RestartBench: %s\n", failure.what());
        return 1;
    }
}
