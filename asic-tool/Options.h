#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "asic-tool/FlowWatch.h"
#include "asic/SoftwareAsic.h"

namespace asic_tool {

/// Exit statuses.
inline constexpr int kExitGood = 0;
/// `watch` saw a lookup that was lost, wrong or at an inactive member.
inline constexpr int kExitLost = 1;
/// Bad arguments, or a file that cannot be used.
inline constexpr int kExitNotDone = 2;

enum class Command : std::uint8_t { show, calls, powerCycle, create, watch };

struct Options {
    Command command = Command::show;
    std::string file;
    bool isJson = false;
    std::uint64_t last = UINT64_MAX;
    /// Of the chip to create.
    velmor_asic_chip_config_t config{};
    std::vector<Expectation> expectations;
    std::uint16_t pipe = 0;
    /// The file may appear later.
    bool isPatient = false;
};

/// None if the program has nothing to do but exit with exitCode; what there was to say has been
/// said.
std::optional<Options> readOptions(int argc, const char* const* argv, int* exitCode);

/// "VALUE=PORT[,PORT...]", decimal or hexadecimal with 0x. None if the text is not of this form.
std::optional<Expectation> toExpectation(const std::string& text);

} // namespace asic_tool
