#include "agent/command/Commands.h"

#include "agent/command/AuditWork.h"
#include "agent/command/Expectations.h"
#include "agent/command/Show.h"
#include "agent/command/ValueType.h"
#include "agent/command/View.h"
#include "agent/outcome/Errors.h"
#include "agent/outcome/Text.h"
#include "agent/restart/PersistentState.h"

namespace LagAgent {

using MemberId = RuxTable::RuxMemberId;
using GroupId = RuxTable::RuxGroupId;

namespace {

// ---- Members and groups --------------------------------------------------------------------

MemberId memberOf(const Arguments& arguments, std::string_view parameter = "id") {
    return MemberId(arguments.number(parameter));
}

GroupId groupOf(const Arguments& arguments, std::string_view parameter = "id") {
    return GroupId(arguments.number(parameter));
}

Configuration::ActionType actionOf(const Arguments& arguments) {
    return static_cast<Configuration::ActionType>(arguments.number("action"));
}

std::uint16_t portOf(const Arguments& arguments) {
    return static_cast<std::uint16_t>(arguments.number("port", 0));
}

void memberAdd(Configuration& configuration, const Arguments& a) {
    configuration.memberAdd(memberOf(a), actionOf(a), portOf(a));
}

void memberSet(Configuration& configuration, const Arguments& a) {
    configuration.memberSet(memberOf(a), actionOf(a), portOf(a));
}

void memberDel(Configuration& configuration, const Arguments& a) {
    configuration.memberDel(memberOf(a));
}

void groupAdd(Configuration& configuration, const Arguments& a) {
    configuration.groupAdd(groupOf(a), a.number("size"), memberOf(a, "initial"), actionOf(a));
}

void groupDel(Configuration& configuration, const Arguments& a) {
    configuration.groupDel(groupOf(a));
}

void groupMemberAdd(Configuration& configuration, const Arguments& a) {
    configuration.groupMemberAdd(groupOf(a, "group"), memberOf(a, "member"));
}

void groupMemberDel(Configuration& configuration, const Arguments& a) {
    configuration.groupMemberDel(groupOf(a, "group"), memberOf(a, "member"));
}

void groupMemberSet(Configuration& configuration, const Arguments& a) {
    configuration.groupMemberSet(groupOf(a, "group"), memberOf(a, "member"),
                                 a.word("state") == "active");
}

// ---- Entries -------------------------------------------------------------------------------

EntryName entryOf(const Arguments& a) {
    if (!a.has("value")) {
        return std::nullopt;
    }
    return MatchKey{a.number("value"), a.number("mask"), a.number("priority", 0)};
}

void entrySet(Configuration& configuration, const Arguments& a) {
    configuration.entrySet(entryOf(a), {a.number("id"), a.word("target") == "member"});
}

void entryDel(Configuration& configuration, const Arguments& a) {
    configuration.entryDel(entryOf(a));
}

// ---- Looking, and the ASIC's controls ------------------------------------------------------

void showModel(const View& view, const Arguments&, Reply& reply) {
    for (const char* section : {"members", "groups", "entries"}) {
        show(view, section, reply);
    }
}

void showSection(const View& view, const Arguments& a, Reply& reply) {
    show(view, a.word("section"), reply);
}

void sendFlows(Flows& flows, const Arguments& a, Reply& reply) {
    flows.send(a.number("value"), a.number("count")).show(reply);
}

void fault(const AsicControl& asic, const Arguments& a) {
    asic.planFault(operationName(a.number("operation")), a.number("nth"), a.number("status"),
                   a.word("mode") == "always");
}

void faultClear(const AsicControl& asic, const Arguments&) {
    asic.clearFaults();
}

// ---- The state over restarts ---------------------------------------------------------------

void auditNow(PersistentState& state, const View& view, const Arguments&, Reply& reply) {
    reply.workIs(std::make_shared<AuditWork>(state, view, showFindings));
}

void auditSteps(PersistentState& state, const View& view, const Arguments&, Reply& reply) {
    reply.workIs(std::make_shared<AuditWork>(state, view, showSteps));
}

void backup(PersistentState& state, const View&, const Arguments& a, Reply&) {
    const std::string& path = a.word("text");
    if (!path.starts_with('/')) {
        refuse("the daemon writes the copy, and knows nothing of your folder: give a path that "
               "begins with '/'");
    }
    if (path.find('\0') != std::string::npos) {
        refuse("a path has no byte 0");
    }
    state.database().backup(path);
}

// ---- The language --------------------------------------------------------------------------

void addHelp(const std::vector<const Command*>& commands, Reply& reply) {
    Listing listing({"command", "what it does"});
    for (const Command* command : commands) {
        listing.add({command->pattern, command->help});
    }
    reply.add("help", std::move(listing), "");
}

void help(const View&, const Arguments&, Reply& reply) {
    addHelp(commandGrammar().commandsOf({}), reply);
}

void helpOn(const View&, const Arguments& a, Reply& reply) {
    const auto commands = commandGrammar().commandsOf(wordsOf(a.word("text")));
    if (commands.empty()) {
        throw CommandError(ErrorKind::usage, "no command begins with " + inQuotes(a.word("text")) +
                                                 ": 'help' lists them all");
    }
    addHelp(commands, reply);
}

void quit(ScriptState& script, const Arguments&) {
    script.isOver = true;
}

constexpr Command kCommands[]{
    {"member add <id> action <action> [port <port>]", memberAdd, "Add a member with its action"},
    {"member set <id> action <action> [port <port>]", memberSet, "Change a member's action"},
    {"member del <id>", memberDel, "Delete a member that nothing uses"},
    {"group add <id> size <size> initial <initial:id> action <action>", groupAdd,
     "Add a group of members with that action; it begins with one"},
    {"group del <id>", groupDel, "Delete a group that no entry points at"},
    {"group member add <group:id> <member:id>", groupMemberAdd, "Put a member into a group"},
    {"group member del <group:id> <member:id>", groupMemberDel, "Take a member out of a group"},
    {"group member set <group:id> <member:id> <state>", groupMemberSet,
     "Make a member of a group active or inactive"},
    {"entry set value <value:number> mask <mask:number> [priority <priority:number>] <target> <id>",
     entrySet, "Point the entry of that key at a member or group"},
    {"entry set default <target> <id>", entrySet, "Point the default entry at a member or group"},
    {"entry del value <value:number> mask <mask:number> [priority <priority:number>]", entryDel,
     "Delete the entry of that key"},
    {"entry del default", entryDel, "Restore the built-in default entry: miss"},
    {"show", showModel, "Show members, groups and entries"},
    {"show <section>", showSection,
     "Show members, groups, entries, handles, status, the asic's tables, the PD calls or the "
     "latest start"},
    {"audit", auditNow,
     "Compare records, chip and desired state, and count the PD writes of a restart"},
    {"audit steps", auditSteps, "Show the PD writes that a restart would make, in order"},
    {"backup <text>", backup,
     "Write a copy of the desired state to a new file, for 'lag-agent restore'"},
    {"flows value <value:number> count <count:flows>", sendFlows,
     "Send flows with that metadata value and show where they go"},
    {"fault <operation> nth <nth> status <status:nth> <mode>", fault,
     "Make the nth call of a PD operation from now fail, once or always from then on"},
    {"fault clear", faultClear, "Drop the planned faults"},
    {"expect error <text>", Expect::error, "The next command fails with a message that has this"},
    {"expect <objects> <count:number>", Expect::objects, "There are so many in the model"},
    {"expect asic <objects> <count:number>", Expect::asicObjects, "There are so many in the ASIC"},
    {"expect asic empty", Expect::asicEmpty, "The ASIC holds nothing"},
    {"expect calls <count:number>", Expect::calls, "The command before made so many PD calls"},
    {"expect calls <operation> <count:number>", Expect::operationCalls,
     "The command before made so many calls of that operation"},
    {"expect port <port> share <low:percent> <high:percent>", Expect::portShare,
     "Of the latest flows the port has that share, in percent"},
    {"expect only port <port>", Expect::onlyPort, "All of the latest flows are on the port"},
    {"expect lost <count:number>", Expect::lost, "So many of the latest flows went nowhere"},
    {"expect moved <count:number>", Expect::moved,
     "So many flows moved since the run of that value before"},
    {"expect moved <direction> port <port>", Expect::movedPort,
     "All flows that were (from) or are (to) on the port moved, at least one, and no other"},
    {"help", help, "List the commands"},
    {"help <text>", helpOn, "List the commands that begin so"},
    {"quit", quit, "End this script or prompt"},
};

} // namespace

std::span<const Command> commandTable() {
    return kCommands;
}

const Grammar& commandGrammar() {
    static const Grammar kGrammar(commandTable());
    return kGrammar;
}

} // namespace LagAgent
