#include "agent/command/Expectations.h"

#include "agent/command/Grammar.h"
#include "agent/command/ValueType.h"
#include "agent/command/View.h"
#include "agent/outcome/Errors.h"

namespace LagAgent::Expect {

namespace {

void requireEqual(const std::string& what, std::uint64_t actual, std::uint64_t wanted) {
    if (actual != wanted) {
        notAsExpected("expected " + std::to_string(wanted) + " " + what + ", but there are " +
                      std::to_string(actual));
    }
}

const FlowRun& requiredRun(const View& view) {
    const FlowRun& run = view.flows.latest();
    if (run.fates.empty()) {
        refuse("no flows were sent: send them with 'flows' first");
    }
    return run;
}

const FlowRun& requiredSecondRun(const View& view) {
    const FlowRun& run = requiredRun(view);
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

void error(ScriptState& script, const Arguments& arguments) {
    script.expectedError = arguments.word("text");
}

void objects(const View& view, const Arguments& arguments) {
    const std::string& kind = arguments.word("objects");
    const auto& profile = view.driver.profile();
    const std::size_t count = kind == "members"  ? profile.entry().size()
                              : kind == "groups" ? profile.group().size()
                                                 : view.configuration.entries().size();
    requireEqual(kind, count, arguments.number("count"));
}

void asicObjects(const View& view, const Arguments& arguments) {
    const std::string& kind = arguments.word("objects");
    const auto usage = view.chip.usage();
    const std::uint32_t count = kind == "members"  ? usage.members
                                : kind == "groups" ? usage.groups
                                                   : usage.entries;
    requireEqual(kind + " in the ASIC", count, arguments.number("count"));
}

void asicEmpty(const View& view, const Arguments&) {
    const auto usage = view.chip.usage();
    requireEqual("entries in the ASIC", usage.entries, 0);
    requireEqual("groups in the ASIC", usage.groups, 0);
    requireEqual("members in the ASIC", usage.members, 0);
    requireEqual("default entries in the ASIC", view.chip.hasDefaultEntry() ? 1 : 0, 0);
}

void calls(const View& view, const Arguments& arguments) {
    std::uint64_t made = 0;
    for (const auto& [begin, end] : view.script.calls) {
        made += end - begin;
    }
    requireEqual("PD calls", made, arguments.number("count"));
}

void operationCalls(const View& view, const Arguments& arguments) {
    const std::string name = operationName(arguments.number("operation"));
    std::uint64_t count = 0;
    for (const auto& [begin, end] : view.script.calls) {
        count += view.asic.calls(name, begin, end);
    }
    requireEqual("calls of " + name, count, arguments.number("count"));
}

void portShare(const View& view, const Arguments& arguments) {
    const FlowRun& run = requiredRun(view);
    const std::uint64_t flows = onPort(run, portOf(arguments));
    const std::uint64_t total = run.fates.size();
    const std::uint32_t low = arguments.number("low"), high = arguments.number("high");
    if (flows * 100 < low * total || flows * 100 > high * total) {
        notAsExpected("expected " + std::to_string(low) + " to " + std::to_string(high) +
                      " % of the flows on " + portName(portOf(arguments)) + ", but it has " +
                      std::to_string(flows) + " of " + std::to_string(total));
    }
}

void onlyPort(const View& view, const Arguments& arguments) {
    const FlowRun& run = requiredRun(view);
    requireEqual("flows on " + portName(portOf(arguments)), onPort(run, portOf(arguments)),
                 run.fates.size());
}

void lost(const View& view, const Arguments& arguments) {
    std::uint32_t count = 0;
    for (const auto& [fate, flows] : requiredRun(view).spread()) {
        count += fate.kind == FlowFate::Kind::forwarded ? 0 : flows;
    }
    requireEqual("lost flows", count, arguments.number("count"));
}

void moved(const View& view, const Arguments& arguments) {
    requireEqual("moved flows", requiredSecondRun(view).moved(), arguments.number("count"));
}

void movedPort(const View& view, const Arguments& arguments) {
    const FlowRun& run = requiredSecondRun(view);
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
