#include "agent/restart/Restart.h"

#include "agent/ChipTables.h"
#include "agent/Errors.h"
#include "agent/restart/Audit.h"
#include "agent/restart/Replay.h"
#include "agent/state/PersistentState.h"

namespace LagAgent {

namespace {

/// What the factories met in the tables that they walked.
void noteDamage(const Glimt::TableFile& table, StartReport& report) {
    if (table.corruptions() != 0) {
        report.note("a table of records is damaged and was read in part: " +
                    std::string(table.latestCorruption().charPtr()) + "; it is kept as " +
                    table.damagedCopy().charPtr());
    }
}

void noteRoom(const Plan& plan, StartReport& report) {
    report.missingGroups = plan.missingGroups;
    report.touchedGroups = plan.touchedGroups;
    if (plan.missingGroups != 0) {
        report.note("the chip lacks room for " + std::to_string(plan.missingGroups) +
                    " groups beside the old ones: the groups are exchanged one by one");
    }
    if (!plan.touchedGroups.empty()) {
        std::string names;
        for (const std::uint32_t group : plan.touchedGroups) {
            names += (names.empty() ? "" : ", ") + std::to_string(group);
        }
        report.note("the chip lacks room for even one group more: meanwhile all flows of group " +
                    names + " are on one of its members");
    }
}

} // namespace

Situation readSituation(const ChipTables& chip, PersistentState& state) {
    return {readAllRecords(state.keys()), chip.read(), state.database().read()};
}

void restart(Driver& driver, Configuration& configuration, const ChipTables& chip,
             PersistentState& state, Progress* progress, StartReport& report) {
    const auto& handles = driver.handles();
    report.entries = handles.entry().size();
    report.members = handles.member().size();
    report.groups = handles.group().size();
    noteDamage(state.keys().mbbGlimtTableConfig()->file(), report);
    noteDamage(state.keys().adtGlimtTableConfig()->file(), report);
    noteDamage(state.keys().selGrpGlimtTableConfig()->file(), report);

    report.phases.begin("audit");
    if (progress) {
        progress->show("audit", 0, 0);
    }
    // Only the records that the factories have read as well.
    const Situation situation{readRecords(state.keys()), chip.read(), state.takeDesired()};
    for (const Finding& finding : audit(situation)) {
        ++report.findings[nameOf(finding.kind)];
    }
    const Plan plan = makePlan(situation);
    noteRoom(plan, report);
    if (!plan.obstacle.empty()) {
        throw CommandError(ErrorKind::start, plan.obstacle);
    }

    report.phases.begin("records");
    state.record(driver.table());
    Replay(driver, configuration, state.keys(), situation.desired)
        .run(plan, progress, report.phases);
    report.phases.end();
    report.writes = plan.writes();
    report.orphansRemoved = plan.orphans;
    if (const auto failure = state.takeFailure()) {
        report.note("not every handle could be recorded: " + *failure);
    }
}

} // namespace LagAgent
