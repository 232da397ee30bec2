#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace Bench {

/// What a table compares: ours with a peer, and the ratios to reach (0: only for information).
struct Comparison {
    std::string table;
    std::string ours;
    std::string peer;
    double meanTarget = 0;
    double cellTarget = 0;
};

/**
 * The name of a benchmark says where its result goes: "table/contender/cell". Two contenders of one
 * table are compared cell by cell.
 */
struct Place {
    std::string table;
    std::string contender;
    std::string cell;
};
Place placeOf(const std::string& name);

/**
 * The console output of Google Benchmark, and at the end one table of ratios ours/peer for each
 * comparison.
 *
 * A ratio is the median CPU time of our repetitions divided by that of the peer's. With
 * `--benchmark_enable_random_interleaving` the repetitions of all contenders alternate, so that a
 * slow spell of the machine meets both.
 */
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    explicit RatioReporter(std::vector<Comparison> comparisons);

    void ReportRuns(const std::vector<Run>& runs) override;
    /// To be called when everything has run.
    void printRatios();

  private:
    /// By contender and cell.
    using Times = std::map<std::pair<std::string, std::string>, double>;

    void record(const Place& place, double time);
    void print(const Comparison& comparison);

    std::vector<Comparison> comparisons_;
    std::map<std::string, Times> times_;
};

/// The whole `main` of a benchmark program: runs what is registered, by default in 7 interleaved
/// repetitions, and reports with the ratios. Returns the exit status.
int runAndCompare(int argc, char** argv, std::vector<Comparison> comparisons);

} // namespace Bench
