#include "agent/restart/Restart.h"

#include <algorithm>

#include "agent/chip/ChipTables.h"
#include "agent/restart/Audit.h"
#include "agent/restart/Mending.h"
#include "agent/restart/ModelEntry.h"
#include "agent/restart/PersistentState.h"
#include "agent/restart/Removals.h"

namespace LagAgent {

namespace {

/// What the factories met in the tables that they walked.
void noteDamage(const Glimt::TableFile& table, StartReport& report) {
    if (table.corruptions() != 0) {
        report.note("a table of records is damaged and was read in part: " +
                    table.latestCorruption() + "; it is kept as " + table.damagedCopy());
    }
}

/// One restart. The desired state is what it was at its beginning.
class Restarting {
  public:
    Restarting(const RestartContext& context, StartReport& report)
        : context_(context), state_(context.state), report_(report),
          desired_(context.state.takeDesired()), keeper_(context.driver, state_.keys()) {
        state_.record(context.driver.table());
    }

    /// Makes the chip as desired; may be called again after a refused PD call.
    void mend() {
        begin("audit");
        Situation situation{.records = readRecords(state_.keys()),
                            .chip = context_.chip.read(),
                            .desired = desired_,
                            .isNew = state_.isNew(),
                            .isMendingNoted = state_.isMendingNoted()};
        identified_ = identify(situation);
        ChipWriter writer(&context_.driver, situation.chip,
                          [this](const char* operation, const auto&, std::size_t finding) {
                              ++report_.writes[operation];
                              ++identified_.findings[finding].writes;
                          });
        Mending mending(desired_, identified_, writer, &keeper_);
        requireAllowed(mending, situation);
        begin("mending");
        keeper_.take(identified_);
        mending.run();
        noteUndone();
        report_.findings.insert(report_.findings.end(), identified_.findings.begin(),
                                identified_.findings.end());
    }

    /// Neither records nor keys change: all of that is recorded already.
    void enter() {
        begin("model");
        state_.recordsIs(false);
        enterModel(context_.driver, context_.configuration, desired_, identified_, keeper_);
        state_.recordsIs(true);
        context_.lateJoins.bind(context_.driver.helper().requiredPdLib(),
                                std::move(identified_.lateJoins));
        report_.phases.end();
    }

    void dropReservations() {
        // What one may have been for has been identified or removed.
        for (const auto& reservation : state_.keys().reservations()) {
            state_.keys().reservationDel(reservation.key);
        }
    }

  private:
    void begin(const char* phase) {
        report_.phases.begin(phase);
        if (context_.progress) {
            context_.progress->show(phase, 0, 0);
        }
    }

    /// Where the chip can or must not be made as desired, nothing is touched.
    void requireAllowed(const Mending& mending, const Situation& situation) {
        const std::string removals = tooManyRemovals(identified_, situation);
        std::string obstacle = mending.obstacle();
        if (obstacle.empty() && !context_.acceptsLoss && !isAllowed_) {
            obstacle = removals;
        }
        if (!obstacle.empty()) {
            throw CommandError(ErrorKind::start, "this start is refused: " + obstacle);
        }
        isAllowed_ = true; // what a refused PD call has left is this start's own
        state_.mendingBegins(!removals.empty());
    }

    /// More than one command that was cut short leaves cannot be told from memories that were put
    /// back together. It must not happen unseen.
    void noteUndone() {
        const auto undone = std::ranges::count_if(identified_.findings, [](const Finding& finding) {
            return finding.writes != 0 && (finding.kind == Finding::Kind::staleRecord ||
                                           finding.kind >= Finding::Kind::wrongAction);
        });
        if (undone > 1) {
            report_.note(std::to_string(undone) +
                         " objects on the chip were other than desired, and are as desired now; "
                         "if desired.db and the records were put back from older copies, what was "
                         "acknowledged since is undone");
        }
    }

    const RestartContext& context_;
    PersistentState& state_;
    StartReport& report_;
    const DesiredState desired_;
    HandleKeeper keeper_;
    Identified identified_;
    bool isAllowed_ = false;
};

} // namespace

void restart(const RestartContext& context, Retry& retry, StartReport& report) {
    const auto& handles = context.driver.handles();
    auto& keys = context.state.keys();
    report.entries = handles.entry().size();
    report.members = handles.member().size();
    report.groups = handles.group().size();
    noteDamage(keys.mbbGlimtTableConfig()->file(), report);
    noteDamage(keys.adtGlimtTableConfig()->file(), report);
    noteDamage(keys.selGrpGlimtTableConfig()->file(), report);

    Restarting restarting(context, report);
    retry.run([&] { restarting.mend(); });
    context.state.mendingEnds();
    restarting.dropReservations();
    restarting.enter();
    if (const auto failure = context.state.takeFailure()) {
        report.note("not every handle could be recorded: " + *failure);
    }
}

} // namespace LagAgent
