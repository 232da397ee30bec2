#include "agent/chip/Flows.h"

#include <algorithm>
#include <cstdio>

#include "BfLagGroup/LagGroupActionSpecs.h"
#include "agent/terms/ActionNames.h"

namespace LagAgent {

namespace {

/// Values whose runs are remembered.
constexpr std::size_t kRemembered = 16;

/// A hash of the flow's number that looks like the chip's hash of a packet header.
std::uint32_t flowHash(std::uint32_t flow) {
    std::uint32_t h = flow + 0x9e3779b9u;
    h = (h ^ (h >> 16)) * 0x21f0aaadu;
    h = (h ^ (h >> 15)) * 0x735a2d97u;
    return h ^ (h >> 15);
}

bool isOnPort(const FlowFate& fate, std::uint16_t port) {
    constexpr auto kSetLagPort = static_cast<std::uint8_t>(
        BfLagGroup::LagGroupActionProfileType::setLagPortActionProfileSpec);
    return fate == FlowFate{FlowFate::Kind::forwarded, kSetLagPort, port};
}

/// Number of flows of both runs for which `counts(before, now)`.
template <class Counts>
std::uint32_t countPairs(const FlowRun& run, Counts&& counts) {
    std::uint32_t count = 0;
    for (std::size_t i = 0; i < std::min(run.fates.size(), run.before.size()); ++i) {
        count += counts(run.before[i], run.fates[i]) ? 1 : 0;
    }
    return count;
}

std::string bar(const std::string& name, std::uint32_t count, std::size_t total) {
    constexpr std::size_t kWidth = 50;
    const double share = total == 0 ? 0 : static_cast<double>(count) / static_cast<double>(total);
    const auto length = static_cast<std::size_t>(share * kWidth + 0.5);
    char figures[64];
    std::snprintf(figures, sizeof figures, "%8u  %5.1f %%", count, share * 100);
    std::string text = "  " + name + std::string(name.size() < 26 ? 26 - name.size() : 0, ' ');
    text += "|" + std::string(length, '#') + std::string(kWidth - length, ' ') + "|" + figures;
    return text + "\n";
}

} // namespace

std::string fateName(const FlowFate& fate) {
    switch (fate.kind) {
    case FlowFate::Kind::missed:
        return "missed";
    case FlowFate::Kind::dropped:
        return "dropped";
    case FlowFate::Kind::forwarded:
        break;
    }
    if (isOnPort(fate, fate.port)) {
        return "port " + std::to_string(fate.port);
    }
    return fate.action < actionNames().size() ? actionNames()[fate.action] : "unknown action";
}

std::map<FlowFate, std::uint32_t> FlowRun::spread() const {
    std::map<FlowFate, std::uint32_t> counts;
    for (const FlowFate& fate : fates) {
        ++counts[fate];
    }
    return counts;
}

std::uint32_t FlowRun::moved() const {
    return countPairs(*this, [](auto& was, auto& is) { return was != is; });
}

std::uint32_t FlowRun::onPortBefore(std::uint16_t port) const {
    return countPairs(*this, [port](auto& was, auto&) { return isOnPort(was, port); });
}

std::uint32_t FlowRun::onPortNow(std::uint16_t port) const {
    return countPairs(*this, [port](auto&, auto& is) { return isOnPort(is, port); });
}

std::uint32_t FlowRun::movedFrom(std::uint16_t port) const {
    return countPairs(*this,
                      [port](auto& was, auto& is) { return was != is && isOnPort(was, port); });
}

std::uint32_t FlowRun::movedTo(std::uint16_t port) const {
    return countPairs(*this,
                      [port](auto& was, auto& is) { return was != is && isOnPort(is, port); });
}

void FlowRun::show(Reply& reply) const {
    Json outcomes = Json::array();
    std::string text =
        "flows of value " + std::to_string(value) + ": " + std::to_string(fates.size()) + " sent";
    text += before.empty() ? "\n" : ", " + std::to_string(moved()) + " moved\n";
    for (const auto& [fate, count] : spread()) {
        const std::string name = fateName(fate);
        Json outcome{{"outcome", name}, {"flows", count}};
        if (isOnPort(fate, fate.port)) {
            outcome["port"] = fate.port;
        }
        outcomes.push_back(std::move(outcome));
        text += bar(name, count, fates.size());
    }
    Json json{{"value", value}, {"count", fates.size()}};
    json["moved"] = before.empty() ? Json() : Json(moved());
    json["outcomes"] = std::move(outcomes);
    reply.add("flows", std::move(json), text);
}

const FlowRun& Flows::send(std::uint32_t value, std::uint32_t count) {
    FlowRun run{.value = value};
    run.fates.reserve(count);
    for (std::uint32_t flow = 0; flow < count; ++flow) {
        run.fates.push_back(asic_.forward(device_, pipe_, value, flowHash(flow)));
    }
    const auto earlier =
        std::ranges::find(earlier_, value, [](auto& known) { return known.first; });
    if (earlier != earlier_.end()) {
        run.before = std::move(earlier->second);
        earlier_.erase(earlier);
    } else if (earlier_.size() == kRemembered) {
        earlier_.erase(earlier_.begin());
    }
    earlier_.emplace_back(value, run.fates);
    latest_ = std::move(run);
    return latest_;
}

} // namespace LagAgent
