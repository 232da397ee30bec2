#include "agent/chip/EntryReadBack.h"

#include "driver-status/PipeStatus.h"

namespace LagAgent {

std::optional<EntryReadBack::Target> EntryReadBack::targetOf(ChipHandle entry,
                                                             const Target& installed) {
    const auto pointee = entry == 0 ? std::nullopt : read(entry);
    if (!pointee) {
        return std::nullopt;
    }
    if (*pointee == handleOf(installed)) {
        return installed;
    }
    if (targets_.empty()) {
        collect(driver_.handles().member(), false);
        collect(driver_.handles().group(), true);
    }
    const auto found = targets_.find(*pointee);
    return found == targets_.end() ? Target() : found->second;
}

std::optional<ChipTarget> EntryReadBack::read(ChipHandle entry) const {
    const auto& pd = driver_.pd();
    p4_pd_velmor_switch_lagGroup_match_spec_t match{};
    std::uint32_t priority = 0, member = 0, group = 0;
    bool hasMember = false, hasGroup = false, spare = false;
    const auto status = pd.p4_pd_velmor_switch_lagGroup_get_entry(
        pd.sessionId(), driver_.helper().deviceId(), entry, false, &match, &priority, &hasMember,
        &hasGroup, &member, &group, &spare);
    if (status != BfTable::kStatusSuccess) {
        return std::nullopt;
    }
    return ChipTarget{hasMember ? member : group, !hasMember};
}

ChipTarget EntryReadBack::handleOf(const Target& target) const {
    const auto& handles = driver_.handles();
    return target.member()
               ? ChipTarget{handles.member(RuxTable::RuxMemberId(target.id())).value(), false}
               : ChipTarget{handles.group(RuxTable::RuxGroupId(target.id())).value(), true};
}

template <class Map>
void EntryReadBack::collect(const Map& map, bool isGroup) {
    for (const auto& node : map) {
        targets_.emplace(ChipTarget{node.value().value(), isGroup},
                         Target(node.key().value(), !isGroup));
    }
}

} // namespace LagAgent
