#include "agent/Show.h"

#include <algorithm>
#include <vector>

#include "agent/Agent.h"
#include "agent/Errors.h"

namespace LagAgent {

using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;

namespace {

/// The elements of a collection by rising key.
template <class Element, class Collection, class Key>
std::vector<Element> sorted(const Collection& collection, Key key) {
    std::vector<Element> elements(collection.begin(), collection.end());
    std::ranges::sort(elements, {}, [&](const Element& element) { return key(*element).value(); });
    return elements;
}

Json handleOrNone(std::uint32_t handle) {
    return handle == 0 ? Json() : Json(handle);
}

void showMembers(Agent& agent, Reply& reply) {
    using Entry = BfLagGroup::LagGroupActionProfileEntry;
    Listing listing({"id", "action", "port", "handle", "groups", "abandoned"});
    const auto& memberships = agent.configuration.memberships();
    auto membership = memberships.begin();
    for (const auto& entry : sorted<Entry::Ptr>(agent.driver.profile().entry(),
                                                [](const Entry& e) { return e.memberId(); })) {
        const auto id = entry->memberId();
        Json groups = Json::array();
        for (; membership != memberships.end() && membership->first <= id.value(); ++membership) {
            groups.push_back(membership->second);
        }
        listing.add({id.value(), nameOf(entry->action()->actionType()),
                     entry->action()->egrL2AintfPort(),
                     handleOrNone(agent.driver.handles().member(id).value()), groups,
                     agent.configuration.isAbandoned(id)});
    }
    reply.add("members", listing);
}

/// The members of a group that are active, or that are not.
Json membersOf(const BfLagGroup::LagGroupGroup& group, bool active) {
    Json ids = Json::array();
    using Member = BfLagGroup::LagGroupMember;
    for (const auto& member :
         sorted<Member::Ptr>(group.member(), [](const Member& m) { return m.memberId(); })) {
        if (member->active() == active) {
            ids.push_back(member->memberId().value());
        }
    }
    return ids;
}

void showGroups(Agent& agent, Reply& reply) {
    using Group = BfLagGroup::LagGroupGroup;
    Listing listing(
        {"id", "size", "initial", "action", "handle", "active", "inactive", "abandoned"});
    for (const auto& group : sorted<Group::Ptr>(agent.driver.profile().group(),
                                                [](const Group& g) { return g.groupId(); })) {
        const auto id = group->groupId();
        listing.add(
            {id.value(), group->groupSize(), group->initialMemberId(), nameOf(group->actionType()),
             handleOrNone(agent.driver.handles().group(id).value()), membersOf(*group, true),
             membersOf(*group, false), agent.configuration.isAbandoned(id)});
    }
    reply.add("groups", listing);
}

Json fieldOf(const EntryName& entry, std::uint32_t MatchKey::*field) {
    return entry ? Json((*entry).*field) : Json();
}

/// What the chip says that the entry points at.
Json readBack(const Driver& driver, const InstalledEntry& installed) {
    const auto entry = driver.table().entry(installed.match);
    return !entry ? Json() : Json(nameOf(entry.memberOrGroup()));
}

void showEntries(Agent& agent, Reply& reply) {
    Listing listing({"default", "value", "mask", "priority", "target", "handle", "read back"});
    listing.hexIs({"value", "mask"});
    for (const auto& [entry, installed] : agent.configuration.entries()) {
        listing.add({!entry, fieldOf(entry, &MatchKey::value), fieldOf(entry, &MatchKey::mask),
                     fieldOf(entry, &MatchKey::priority), nameOf(installed.target),
                     handleOrNone(agent.driver.handles().entry(installed.match).value()),
                     readBack(agent.driver, installed)});
    }
    reply.add("entries", listing);
}

template <class Map>
void showHandleMap(const Map& map, const char* kind, Listing& listing) {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> pairs;
    for (const auto& node : map) {
        pairs.emplace_back(node.key().value(), node.value().value());
    }
    std::ranges::sort(pairs);
    for (const auto& [id, handle] : pairs) {
        listing.add({kind + std::string(" ") + std::to_string(id), handle});
    }
}

void showHandles(Agent& agent, Reply& reply) {
    const auto& handles = agent.driver.handles();
    Listing listing({"object", "handle"});
    showHandleMap(handles.member(), "member", listing);
    showHandleMap(handles.group(), "group", listing);
    for (const auto& [entry, installed] : agent.configuration.entries()) {
        listing.add({nameOf(entry), handles.entry(installed.match).value()});
    }
    reply.add("handles", listing);
}

template <class Records>
std::uint64_t attempts(const Records& records) {
    std::uint64_t sum = 0;
    for (const auto& [object, count] : records) {
        sum += count;
    }
    return sum;
}

void showStatus(Agent& agent, Reply& reply) {
    const auto& status = agent.driver.status();
    Listing listing({"objects", "known", "attempts"});
    listing.add({"entries", status.entries().size(), attempts(status.entries())});
    listing.add({"members", status.members().size(), attempts(status.members())});
    listing.add({"groups", status.groups().size(), attempts(status.groups())});
    reply.add("status", listing);
}

void showAsic(Agent& agent, Reply& reply) {
    agent.chip.show(reply);
}

void showCalls(Agent& agent, Reply& reply) {
    if (!agent.asic.isPresent()) {
        throw CommandError(ErrorKind::unsupported, "the PD library keeps no log of its calls");
    }
    Json calls = Json::array();
    std::string text = "calls:\n";
    for (const auto& call : agent.asic.calls(0, agent.asic.nextCall())) {
        calls.push_back({{"sequence", call.sequence},
                         {"operation", call.operation},
                         {"status", call.status},
                         {"call", call.text}});
        text += "  " + std::to_string(call.sequence) + "  " + call.text + "\n";
    }
    reply.add("calls", std::move(calls), text);
}

void showStart(Agent& agent, Reply& reply) {
    agent.requiredState();
    agent.start.show(reply);
}

struct Section {
    std::string_view name;
    void (*show)(Agent& agent, Reply& reply);
};

constexpr Section kSections[]{
    {"members", showMembers}, {"groups", showGroups}, {"entries", showEntries},
    {"handles", showHandles}, {"status", showStatus}, {"asic", showAsic},
    {"calls", showCalls},     {"start", showStart},
};

} // namespace

void show(Agent& agent, std::string_view section, Reply& reply) {
    std::ranges::find(kSections, section, &Section::name)->show(agent, reply);
}

} // namespace LagAgent
