#include "bench/Ratios.h"

#include <algorithm>
#include <iomanip>
#include <numeric>

namespace Bench {
namespace {

void printTarget(std::ostream& out, double target) {
    if (target != 0) {
        out << "  (to reach: " << target << ")";
    }
    out << "\n";
}

/// The arguments of the user behind the defaults, so that the user's win.
std::vector<std::string> withDefaults(int argc, char** argv) {
    std::vector<std::string> arguments = {argv[0], "--benchmark_enable_random_interleaving=true",
                                          "--benchmark_repetitions=7", "--benchmark_min_time=0.05",
                                          "--benchmark_display_aggregates_only=true"};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    return arguments;
}

} // namespace

Place placeOf(const std::string& name) {
    const std::size_t first = name.find('/');
    const std::size_t second = name.find('/', first + 1);
    if (first == std::string::npos || second == std::string::npos) {
        return {name, {}, {}};
    }
    return {name.substr(0, first), name.substr(first + 1, second - first - 1),
            name.substr(second + 1)};
}

RatioReporter::RatioReporter(std::vector<Comparison> comparisons)
    : ConsoleReporter(OO_Tabular), comparisons_(std::move(comparisons)) {}

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
    std::vector<Run> shown;
    for (const Run& run : runs) {
        // Of several repetitions only the median counts; single ones may not even be reported.
        if (run.repetitions > 1 && run.aggregate_name != "median" && !run.error_occurred) {
            continue;
        }
        shown.push_back(run);
        if (!run.error_occurred) {
            record(placeOf(run.run_name.function_name), run.GetAdjustedCPUTime());
        }
    }
    ConsoleReporter::ReportRuns(shown);
}

void RatioReporter::record(const Place& place, double time) {
    times_[place.table][{place.contender, place.cell}] = time;
}

void RatioReporter::printRatios() {
    for (const Comparison& comparison : comparisons_) {
        print(comparison);
    }
    GetOutputStream().flush();
}

void RatioReporter::print(const Comparison& comparison) {
    std::ostream& out = GetOutputStream();
    std::vector<double> ratios;
    const Times& times = times_[comparison.table];
    for (const auto& [place, time] : times) {
        const auto& [contender, cell] = place;
        const auto peer = times.find({comparison.peer, cell});
        if (contender != comparison.ours || peer == times.end()) {
            continue;
        }
        if (ratios.empty()) {
            out << "\n"
                << comparison.table << ": " << comparison.ours << " / " << comparison.peer << "\n";
        }
        ratios.push_back(time / peer->second);
        out << "  " << std::left << std::setw(32) << cell << std::right << std::fixed
            << std::setprecision(2) << std::setw(6) << ratios.back();
        const bool missed = comparison.cellTarget != 0 && ratios.back() > comparison.cellTarget;
        out << (missed ? "  above the limit" : "") << "\n";
    }
    if (ratios.empty()) {
        return;
    }
    const double sum = std::accumulate(ratios.begin(), ratios.end(), 0.0);
    out << "  " << std::left << std::setw(32) << "mean" << std::right << std::setw(6)
        << sum / static_cast<double>(ratios.size());
    printTarget(out, comparison.meanTarget);
    out << "  " << std::left << std::setw(32) << "greatest" << std::right << std::setw(6)
        << *std::max_element(ratios.begin(), ratios.end());
    printTarget(out, comparison.cellTarget);
}

int runAndCompare(int argc, char** argv, std::vector<Comparison> comparisons) {
    std::vector<std::string> arguments = withDefaults(argc, argv);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) {
        return 1;
    }
    RatioReporter reporter(std::move(comparisons));
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    return 0;
}

} // namespace Bench
