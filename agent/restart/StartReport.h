#pragma once

#include <optional>

#include "agent/restart/Audit.h"
#include "agent/restart/Phases.h"

namespace LagAgent {

/// What the latest start of a stateful agent found and did.
class StartReport {
  public:
    /// Why a table of records started empty, a line each.
    std::vector<std::string> coldTables{};
    /// Handles that the driver's factories restored.
    std::size_t entries = 0;
    std::size_t members = 0;
    std::size_t groups = 0;
    /// The PD writes that the factories made; none where the PD library keeps no log.
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

    static std::uint32_t sum(const std::map<std::string, std::uint32_t>& counts);

    void show(Reply& reply) const;
    /// What a person should know of: where records came from nowhere, and where room was short.
    std::vector<std::string> warnings() const;

  private:
    void showTimes(Reply& reply) const;
};

} // namespace LagAgent
