#include "asic/DataPath.h"

namespace asic {

std::optional<velmor_asic_result_t> forward(const Chip& chip, std::uint16_t pipe,
                                            std::uint32_t metadata,
                                            std::uint32_t flowHash) noexcept {
    const MatchTable& table = chip.table();
    const auto pipeScope = chip.scope(pipe);
    if (!pipeScope) {
        return std::nullopt;
    }
    const auto scope = table.visibleScope(*pipeScope);
    if (!scope) {
        return std::nullopt;
    }

    velmor_asic_result_t result{};
    const auto [entry, isDefault] = table.decide(*scope, metadata);
    result.entry_hdl = entry;
    result.default_entry = isDefault;
    if (entry == kNoHandle) {
        result.outcome = VELMOR_ASIC_MISS;
        return result;
    }

    const Target target = table.find(entry)->target;
    Handle member = target.handle;
    if (target.isGroup) {
        result.grp_hdl = target.handle;
        member = chip.profile().groups().find(target.handle)->selector.select(flowHash);
        if (member == kNoHandle) {
            result.outcome = VELMOR_ASIC_DROPPED_NO_ACTIVE_MEMBER;
            return result;
        }
    }
    const Action& action = chip.profile().members().find(member)->action;
    result.outcome = VELMOR_ASIC_FORWARDED;
    result.mbr_hdl = member;
    result.action = action.id;
    result.port = action.port;
    return result;
}

} // namespace asic
