#include "agent/model/Configuration.h"

#include <utility>

#include "agent/desired/StateDatabase.h"
#include "agent/outcome/Errors.h"
#include "agent/terms/Values.h"

namespace LagAgent {

using BfLagGroup::LagGroupMatchSpec;

void Configuration::entrySet(const EntryName& entry, const Target& target) {
    const auto handle = target.member() ? driver_.handles().member(MemberId(target.id())).value()
                                        : driver_.handles().group(GroupId(target.id())).value();
    if (handle == 0) {
        const char* kind = target.member() ? "member" : "group";
        refuse("there is no " + nameOf(target) + " in hardware: add it with '" + kind +
               " add' first");
    }
    requireNotAbandoned(target);
    const auto installed = entries_.find(entry);
    const LagGroupMatchSpec::PtrConst match =
        installed != entries_.end() ? installed->second.match
        : entry                     ? makeMatch(*entry)
                : LagGroupMatchSpec::PtrConst(driver_.table().defaultMatchSpec());
    desire([&](StateDatabase& desired) { desired.entryIs(entry, target); });
    // When the chip refuses, the entry stays as it was; a new one is not entered.
    driver_.table().entryIs({match, target});
    installedEntryIs(entry, {match, target});
    if (entryWasSet_) {
        entryWasSet_(match);
    }
}

void Configuration::installedEntryIs(const EntryName& entry, InstalledEntry installed) {
    const auto [place, isNew] = entries_.try_emplace(entry, installed);
    const Target before = std::exchange(place->second, std::move(installed)).target;
    pointingWasChanged(entry, before);
    pointingWasChanged(entry, place->second.target);
}

void Configuration::entryDel(const EntryName& entry) {
    const auto installed = entries_.find(entry);
    if (installed == entries_.end()) {
        refuse(entry ? "there is no " + nameOf(entry) + ": 'show entries' lists the entries"
                     : "no default entry is set: there is nothing to delete");
    }
    if (driver_.handles().entry(installed->second.match).value() == 0) {
        refuse("the " + nameOf(entry) + " has no handle in hardware: set it again first");
    }
    desire([&](StateDatabase& desired) { desired.entryDel(entry); });
    driver_.table().entryDel(installed->second.match);
    const Target before = installed->second.target;
    entries_.erase(installed);
    pointingWasChanged(entry, before);
}

} // namespace LagAgent
