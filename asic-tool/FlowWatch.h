// Counts what becomes of flows that are sent all the time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "asic/SoftwareAsic.h"

namespace asic_tool {

/// Flows with this metadata value leave through one of these ports, whatever their hash.
struct Expectation {
    std::uint32_t value;
    std::vector<std::uint16_t> ports;
    /// Ports of inactive members: none of the above, and a failure of its own kind.
    std::vector<std::uint16_t> inactive = {};
};

/**
 * Sends flows through a chip and holds them against what is expected: all values in turn, with
 * rising flow hashes.
 */
class FlowWatch {
  public:
    struct Counts {
        std::uint64_t lookups = 0;
        /// Without a match, dropped, or given an action that sets no port.
        std::uint64_t noPort = 0;
        /// Neither expected nor that of an inactive member.
        std::uint64_t wrongPort = 0;
        /// The port of an inactive member.
        std::uint64_t inactive = 0;
        /// The longest that a flow waited for its result.
        std::chrono::nanoseconds longest{};
    };

    /// A lookup that went wrong.
    struct Failure {
        std::uint32_t value;
        std::uint32_t hash;
        velmor_asic_result_t result;
    };

    /// REQUIRES: at least one expectation.
    FlowWatch(int device, std::uint16_t pipe, std::vector<Expectation> expectations)
        : device_(device), pipe_(pipe), expectations_(std::move(expectations)) {}

    /// Sends one flow. Throws std::runtime_error if the chip cannot be asked (its device or pipe is
    /// unknown, its file damaged, memory short); then nothing is counted.
    void send();

    /// The counts since the last time.
    Counts take() noexcept;

    /// The first lookup that went wrong; none while all were right. It is not taken by take().
    const std::optional<Failure>& firstFailure() const noexcept { return firstFailure_; }

  private:
    void next() noexcept;

    int device_;
    std::uint16_t pipe_;
    std::vector<Expectation> expectations_;
    std::size_t at_ = 0;
    std::uint32_t hash_ = 0;
    Counts counts_;
    std::optional<Failure> firstFailure_;
};

/// "value 5 hash 77 outcome forwarded port 9 entry 3 group 2 member 1"
std::string toText(const FlowWatch::Failure& failure);

} // namespace asic_tool
