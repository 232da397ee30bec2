#include "agent/command/Expectations.h"

#include "agent/command/Agent.h"
#include "agent/command/Grammar.h"
#include "agent/command/ValueType.h"
#include "agent/outcome/Errors.h"

namespace LagAgent::Expect {

namespace {

void requireEqual(const std::string& what, std::uint64_t actual, std::uint64_t wanted) {
    if (actual != wanted) {
        notAsExpected("expected " + std::to_string(wanted) + " " + what + ", but there are " +
                      std::to_string(actual));
    }
}

const FlowRun& requiredRun(const Agent& agent) {
    const FlowRun& run = agent.flows.latest();
    if (run.fates.empty()) {
        refuse("no flows were sent: send them with 'flows' first");
    }
    return run;
}

const FlowRun& requiredSecondRun(const Agent& agent) {
    const FlowRun& run = requiredRun(agent);
    if (run.before.empty()) {
        refuse("value " + std::to_string(run.value) +
               " has one run of flows only: nothing can have moved");
    }
    return run;
}

std::uint32_t onPort(const FlowRun& run, std::uint16_t port) {
    std::uint32_t count = 0;
    for (const auto& [fate, flows] : run.spread()) {
        count += fateName(fate) == "port " + std::to_string(port) ? flows : 0;
    }
    return count;
}

std::string portName(std::uint16_t port) {
    return "port " + std::to_string(port);
}

std::uint16_t portOf(const Arguments& arguments) {
    return static_cast<std::uint16_t>(arguments.number("port"));
}

} // namespace

void error(Agent& agent, const Arguments& arguments, Reply&) {
    agent.script.expectedError = arguments.word("text");
}

void objects(Agent& agent, const Arguments& arguments, Reply&) {
    const std::string& kind = arguments.word("objects");
    const auto& profile = agent.driver.profile();
    const std::size_t count = kind == "members"  ? profile.entry().size()
                              : kind == "groups" ? profile.group().size()
                                                 : agent.configuration.entries().size();
    requireEqual(kind, count, arguments.number("count"));
}

void asicObjects(Agent& agent, const Arguments& arguments, Reply&) {
    const std::string& kind = arguments.word("objects");
    const auto usage = agent.chip.usage();
    const std::uint32_t count = kind == "members"  ? usage.members
                                : kind == "groups" ? usage.groups
                                                   : usage.entries;
    requireEqual(kind + " in the ASIC", count, arguments.number("count"));
}

void asicEmpty(Agent& agent, const Arguments&, Reply&) {
    const auto usage = agent.chip.usage();
    requireEqual("entries in the ASIC", usage.entries, 0);
    requireEqual("groups in the ASIC", usage.groups, 0);
    requireEqual("members in the ASIC", usage.members, 0);
    requireEqual("default entries in the ASIC", agent.chip.hasDefaultEntry() ? 1 : 0, 0);
}

void calls(Agent& agent, const Arguments& arguments, Reply&) {
    requireEqual("PD calls", agent.script.callsEnd - agent.script.callsBegin,
                 arguments.number("count"));
}

void operationCalls(Agent& agent, const Arguments& arguments, Reply&) {
    const std::string name = operationName(arguments.number("operation"));
    requireEqual("calls of " + name,
                 agent.asic.calls(name, agent.script.callsBegin, agent.script.callsEnd),
                 arguments.number("count"));
}

void portShare(Agent& agent, const Arguments& arguments, Reply&) {
    const FlowRun& run = requiredRun(agent);
    const std::uint64_t flows = onPort(run, portOf(arguments));
    const std::uint64_t total = run.fates.size();
    const std::uint32_t low = arguments.number("low"), high = arguments.number("high");
    if (flows * 100 < low * total || flows * 100 > high * total) {
        notAsExpected("expected " + std::to_string(low) + " to " + std::to_string(high) +
                      " % of the flows on " + portName(portOf(arguments)) + ", but it has " +
                      std::to_string(flows) + " of " + std::to_string(total));
    }
}

void onlyPort(Agent& agent, const Arguments& arguments, Reply&) {
    const FlowRun& run = requiredRun(agent);
    requireEqual("flows on " + portName(portOf(arguments)), onPort(run, portOf(arguments)),
                 run.fates.size());
}

void lost(Agent& agent, const Arguments& arguments, Reply&) {
    std::uint32_t count = 0;
    for (const auto& [fate, flows] : requiredRun(agent).spread()) {
        count += fate.kind == FlowFate::Kind::forwarded ? 0 : flows;
    }
    requireEqual("lost flows", count, arguments.number("count"));
}

void moved(Agent& agent, const Arguments& arguments, Reply&) {
    requireEqual("moved flows", requiredSecondRun(agent).moved(), arguments.number("count"));
}

void movedPort(Agent& agent, const Arguments& arguments, Reply&) {
    const FlowRun& run = requiredSecondRun(agent);
    const std::uint16_t port = portOf(arguments);
    const bool isFrom = arguments.word("direction") == "from";
    const std::uint32_t onIt = isFrom ? run.onPortBefore(port) : run.onPortNow(port);
    const std::uint32_t ofIt = isFrom ? run.movedFrom(port) : run.movedTo(port);
    requireEqual("moved flows, all of them " + arguments.word("direction") + " " + portName(port),
                 run.moved(), onIt);
    requireEqual("flows moved " + arguments.word("direction") + " " + portName(port), ofIt, onIt);
    if (onIt == 0) {
        notAsExpected("expected flows to move " + arguments.word("direction") + " " +
                      portName(port) + ", but none did");
    }
}

} // namespace LagAgent::Expect
