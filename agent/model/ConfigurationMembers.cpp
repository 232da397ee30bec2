#include "agent/model/Configuration.h"

#include "agent/desired/StateDatabase.h"
#include "agent/model/Undo.h"
#include "agent/outcome/Errors.h"
#include "agent/terms/Values.h"
#include "driver-status/PdCall.h"

namespace LagAgent {

using BfLagGroup::LagGroupActionProfileEntry;

LagGroupActionProfileEntry::Ptr Configuration::requiredMember(MemberId member) const {
    const auto entry = profile().entry(member);
    if (!entry) {
        refuse("there is no " + nameOf(member) + ": add it with 'member add' first");
    }
    return entry;
}

void Configuration::memberAdd(MemberId member, ActionType type, std::uint16_t port) {
    if (profile().entry(member)) {
        refuse(nameOf(member) + " exists already: change it with 'member set'");
    }
    desire([&](StateDatabase& desired) { desired.memberIs(member, {type, port}); });
    LagGroupActionProfileEntry::Ptr entry =
        new LagGroupActionProfileEntry(member, makeAction(type, port));
    entry->hasNotificationActiveIs(true);
    changeOrUndo([&] { profile().entryIs(entry); },
                 [&] {
                     Silence silence(profile());
                     profile().entryDel(member);
                 });
}

void Configuration::memberSet(MemberId member, ActionType type, std::uint16_t port) {
    const auto entry = requiredMember(member);
    requireNotAbandoned({member.value(), true});
    const auto before = entry->action();
    const auto group = lowestGroupOf(member);
    if (group && type != before->actionType()) {
        refuse(nameOf(member) + " is in " + nameOf(*group) + ", which takes " +
               nameOf(before->actionType()) + " only: take it out first");
    }
    desire([&](StateDatabase& desired) { desired.memberIs(member, {type, port}); });
    changeOrUndo([&] { entry->actionIs(makeAction(type, port)); },
                 [&] {
                     Silence silence(*entry);
                     entry->actionIs(before);
                 });
}

void Configuration::memberDel(MemberId member) {
    const auto entry = requiredMember(member);
    if (const auto group = lowestGroupOf(member)) {
        const bool isLast = profile().group(*group)->members() == 1;
        refuse(nameOf(member) + " is " + (isLast ? "the only member of " : "in ") + nameOf(*group) +
               (isLast ? ": delete the group first" : ": take it out first"));
    }
    requireUnused({member.value(), true});
    if (driver_.handles().member(member).value() == 0) {
        refuse(nameOf(member) +
               " has no handle in hardware: set its action again with 'member set' "
               "first");
    }
    desire([&](StateDatabase& desired) { desired.memberDel(member); });
    if (isAbandoned(member)) {
        abandonedMemberDel(member);
        return;
    }
    changeOrUndo([&] { profile().entryDel(member); },
                 [&] {
                     Silence silence(profile());
                     profile().entryIs(entry);
                 });
}

void Configuration::abandonedMemberDel(MemberId member) {
    driver_.chipMemberDel(driver_.handles().member(member).value());
    driver_.handles().memberDel(member);
    Silence silence(profile());
    profile().entryDel(member);
}

} // namespace LagAgent
