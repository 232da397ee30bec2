#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/Reply.h"
#include "agent/restart/Phases.h"

namespace LagAgent {

/// The sum of numbers by name.
std::uint32_t sumOf(const std::map<std::string, std::uint32_t>& counts);

/// What the latest start of a stateful agent found and did.
class StartReport {
  public:
    /// Handles that the driver's factories restored.
    std::size_t entries = 0;
    std::size_t members = 0;
    std::size_t groups = 0;
    /// The PD writes that the factories made; none where the PD library keeps no log of them all.
    std::optional<std::vector<std::string>> factoryWrites{};
    /// Number of findings by kind.
    std::map<std::string, std::uint32_t> findings{};
    /// Number of writes that the replay made by PD function.
    std::map<std::string, std::uint32_t> writes{};
    std::uint32_t orphansRemoved = 0;
    std::uint32_t missingGroups = 0;
    std::vector<std::uint32_t> touchedGroups{};
    Phases phases{};
    /// From the beginning of the process to the end of the replay.
    Phases::Clock::duration total{};

    /// What a person should know of: records that are not believed, a chip without room.
    std::vector<std::string> notes{};
    /// Told of each of them as soon as it is known, also in a start that then fails.
    std::function<void(const std::string& note)> onNote{};

    void note(std::string text);
    void show(Reply& reply) const;

  private:
    void showTimes(Reply& reply) const;
};

} // namespace LagAgent
