#include "agent/restart/Restart.h"

#include "agent/ChipTables.h"
#include "agent/restart/Replay.h"
#include "agent/state/PersistentState.h"

namespace LagAgent {

void restart(Driver& driver, Configuration& configuration, const ChipTables& chip,
             PersistentState& state, Progress* progress, StartReport& report) {
    const auto& handles = driver.handles();
    report.entries = handles.entry().size();
    report.members = handles.member().size();
    report.groups = handles.group().size();

    report.phases.begin("audit");
    const Records records = readRecords(state.keys());
    const ChipState found = chip.read();
    const DesiredState desired = state.takeDesired();
    for (const Finding& finding : audit(records, found, desired)) {
        ++report.findings[nameOf(finding.kind)];
    }
    const Plan plan = makePlan(records, found, desired);
    report.missingGroups = plan.missingGroups;
    report.touchedGroups = plan.touchedGroups;

    report.phases.begin("records");
    state.record(driver.table());
    Replay(driver, configuration, state.keys(), desired).run(plan, progress, report.phases);
    report.writes = plan.writes();
    report.orphansRemoved = plan.orphans;
    report.phases.end();
}

} // namespace LagAgent
