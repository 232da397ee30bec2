#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/outcome/PdCallRecord.h"

namespace LagAgent {

class PdLibrary;

/// What became of one flow. Flows with equal fates are one bar of a picture.
struct FlowFate {
    enum class Kind : std::uint8_t { forwarded, missed, dropped };

    Kind kind = Kind::missed;
    /// Of a forwarded flow: the action, numbered as in `LagGroupActionProfileType`, and the port of
    /// setLagPort.
    std::uint8_t action = 0;
    std::uint16_t port = 0;

    auto operator<=>(const FlowFate&) const = default;
};

/// Numbers of PD calls in the ASIC's log: from each first one to before the second.
using CallNumbers = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

/**
 * The controls of the software ASIC: what a chip does not have. They are found in the PD library by
 * name; a real chip's library lacks them, and then every operation but `isPresent` and the reading
 * of the call log (which is empty) throws `CommandError` (unsupported).
 *
 * The call log is on from the start. With a chip in a file it has the calls of all processes.
 */
class AsicControl {
  public:
    explicit AsicControl(const PdLibrary& library);
    ~AsicControl();
    AsicControl(const AsicControl&) = delete;
    AsicControl& operator=(const AsicControl&) = delete;

    bool isPresent() const noexcept { return functions_ != nullptr; }

    /// From now on the device is the chip in that file, which outlives the process; a new file is
    /// an empty chip. Throws `CommandError` (start) with the reason.
    void attach(int device, const std::string& path) const;
    /// The chip's boot generation: another one after every loss of its state.
    std::uint64_t bootGeneration(int device) const;

    /// Sends one flow through the data path.
    FlowFate forward(int device, std::uint16_t pipe, std::uint32_t metadata,
                     std::uint32_t hash) const;

    /// The number of the next PD call; a mark from which on `calls` can read.
    std::uint64_t nextCall() const;
    /// The calls from `begin` to before `end` that the log still has.
    std::vector<PdCallRecord> calls(std::uint64_t begin, std::uint64_t end) const;
    /// How many of these were of that PD function.
    std::uint64_t calls(std::string_view function, std::uint64_t begin, std::uint64_t end) const;

    /// The PD functions that were called from `begin` to before `end` and change the chip, in
    /// order, by whatever process; none when the log no longer has all calls from there.
    std::optional<std::vector<std::string>> writes(std::uint64_t begin, std::uint64_t end) const;

    /// The `nth` call from now of the PD function fails with `status`; from then on if `isAlways`.
    void planFault(const std::string& function, std::uint32_t nth, std::uint32_t status,
                   bool isAlways) const;
    void clearFaults() const;

  private:
    struct Functions;
    const Functions& required() const;

    std::unique_ptr<const Functions> functions_; // null where the library lacks them
};

} // namespace LagAgent
