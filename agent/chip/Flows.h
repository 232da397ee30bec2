#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "agent/chip/AsicControl.h"
#include "agent/outcome/Reply.h"
#include "agent/terms/Target.h"

namespace LagAgent {

/// One run of flows of a metadata value, and the run of the same value before it.
struct FlowRun {
    std::uint32_t value = 0;
    std::vector<FlowFate> fates{};
    std::vector<FlowFate> before{};

    /// Number of flows by fate.
    std::map<FlowFate, std::uint32_t> spread() const;
    /// The flows whose fate differs from the run before; those that only one of the runs has are
    /// not compared.
    std::uint32_t moved() const;
    /// Of the flows compared: those that were forwarded to the port before, or are now.
    std::uint32_t onPortBefore(std::uint16_t port) const;
    std::uint32_t onPortNow(std::uint16_t port) const;
    /// The moved flows of these.
    std::uint32_t movedFrom(std::uint16_t port) const;
    std::uint32_t movedTo(std::uint16_t port) const;

    /// The spread as figures and as a picture of bars.
    void show(Reply& reply) const;
};

/// Sends flows through the ASIC and remembers what became of them.
class Flows {
  public:
    /// Flows of that target. REQUIRES: `asic` outlives this object.
    Flows(const AsicControl& asic, const Target& target)
        : asic_(asic), device_(target.device), pipe_(target.pipe) {}

    /// Sends `count` flows of the value; flow i has the same hash in every run.
    const FlowRun& send(std::uint32_t value, std::uint32_t count);

    /// The latest run; its fates are empty when there was none.
    const FlowRun& latest() const noexcept { return latest_; }

  private:
    const AsicControl& asic_;
    int device_;
    std::uint16_t pipe_;
    FlowRun latest_;
    /// The latest run of each of the values used last, the oldest value first.
    std::vector<std::pair<std::uint32_t, std::vector<FlowFate>>> earlier_;
};

/// How fates are named: "port 7", the name of another action, "missed", "dropped".
std::string fateName(const FlowFate& fate);

} // namespace LagAgent
