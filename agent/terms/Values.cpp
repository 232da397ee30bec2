#include "agent/terms/Values.h"

#include <array>

namespace LagAgent {

using BfLagGroup::LagGroupBaseActionProfileSpec;
using BfLagGroup::LagGroupMatchSpec;

namespace {

template <class Spec>
LagGroupBaseActionProfileSpec::Ptr newSpec() {
    return new Spec;
}

} // namespace

LagGroupBaseActionProfileSpec::Ptr makeAction(BfLagGroup::LagGroupActionProfileType type,
                                              std::uint16_t port) {
    // In the order of `LagGroupActionProfileType`.
    constexpr std::array kSpecs{
        newSpec<BfLagGroup::FixL2SubintfAlignmentActionProfileSpec>,
        newSpec<BfLagGroup::InvalidateUcastEgressPortActionProfileSpec>,
        newSpec<BfLagGroup::SetLagPortActionProfileSpec>,
        newSpec<BfLagGroup::SetPhysicalPortActionProfileSpec>,
        newSpec<BfLagGroup::SetTunnelInfoActionProfileSpec>,
    };
    const auto action = kSpecs.at(static_cast<std::size_t>(type))();
    Kel::attributeIs(action, "egrL2AintfPort", Kel::U16{port});
    return action;
}

LagGroupMatchSpec::PtrConst makeMatch(const MatchKey& key) {
    const auto match = LagGroupMatchSpec::LagGroupMatchSpecIs();
    Kel::attributeIs(match, "egrMdEgrL2AintfUnresolved", Kel::U32{key.value});
    Kel::attributeIs(match, "egrMdEgrL2AintfUnresolvedMask", Kel::U32{key.mask});
    Kel::attributeIs(match, "priority", Kel::U32{key.priority});
    return match;
}

} // namespace LagAgent
