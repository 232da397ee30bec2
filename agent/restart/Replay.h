#pragma once

#include "agent/Configuration.h"
#include "agent/Progress.h"
#include "agent/restart/Phases.h"
#include "agent/restart/Plan.h"

namespace LagAgent {

/**
 * Carries a plan out: through the driver's model and table wherever the driver knows the object,
 * and through its PD interface object for what it does not know.
 *
 * What a PD call throws leaves `run`; the chip then forwards as well as before, and the next start
 * makes a new plan from what it finds. The same holds after death at any instant.
 */
class Replay {
  public:
    Replay(Driver& driver, Configuration& configuration, MbbGlimtKey::SharedKeyManager& keys,
           const DesiredState& desired)
        : driver_(driver), configuration_(configuration), keys_(keys), desired_(desired) {}

    /// REQUIRES: the factories have just run; the plan was made from what they left.
    void run(const Plan& plan, Progress* progress, Phases& phases);

  private:
    using Match = BfLagGroup::LagGroupMatchSpec::PtrConst;

    void forget(const Plan& plan);
    void adopt(const Plan& plan);

    struct Performer;
    static const Performer kPerformers[];

    void oldIdle(const Step& step);
    void memberSet(const Step& step);
    void groupMake(const Step& step);
    void groupJoin(const Step& step);
    void groupIdle(const Step& step);
    void entryPoint(const Step& step);
    void entryPark(const Step& step);
    void voidMake(const Step& step);
    void entryVoid(const Step& step);
    void voidRemove(const Step& step);
    void entryRemove(const Step& step);
    void groupRemove(const Step& step);
    void memberRemove(const Step& step);

    Match write(const EntryName& entry, const DesiredState::Target& target);
    Match matchOf(const EntryName& entry);

    Driver& driver_;
    Configuration& configuration_;
    MbbGlimtKey::SharedKeyManager& keys_;
    const DesiredState& desired_;
    /// The match objects of the entries that keep their handle, and of those written since.
    std::map<EntryName, Match> matches_;
    /// The member that sends nowhere, while there is one.
    ChipHandle void_ = 0;
};

} // namespace LagAgent
