#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/outcome/Reply.h"
#include "agent/restart/Finding.h"
#include "agent/restart/Phases.h"

namespace LagAgent {

/// What the latest start of a stateful agent found and did.
class StartReport {
  public:
    /// Handles that the driver's factories restored.
    std::size_t entries = 0;
    std::size_t members = 0;
    std::size_t groups = 0;
    /// The PD writes that the factories made; none where the PD library keeps no log of them all.
    std::optional<std::vector<std::string>> factoryWrites{};
    /// What the audit found, and the number of PD writes that mended it by PD function.
    std::vector<Finding> findings{};
    std::map<std::string, std::uint32_t> writes{};
    Phases phases{};
    /// From the beginning of the process to where commands can be taken.
    Phases::Clock::duration total{};

    /// What a person should know of: records that are not believed, a chip without room.
    std::vector<std::string> notes{};
    /// Told of each of them as soon as it is known, also in a start that then fails.
    std::function<void(const std::string& note)> onNote{};

    void note(std::string text);
    /// PD writes beside those of the factories.
    std::uint32_t writesInAll() const;
    void show(Reply& reply) const;

  private:
    void showFindings(Reply& reply) const;
    void showTimes(Reply& reply) const;
};

} // namespace LagAgent
