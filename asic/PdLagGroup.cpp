// PD API: match table lagGroup.

#include "asic/Boundary.h"
#include "pd/p4_pd_velmor_switch.h"

using namespace asic;

namespace {

MatchKey keyOf(const pd::MatchSpec& spec, std::uint32_t priority) noexcept {
    return {spec.egrMd_egrL2AintfUnresolved, spec.egrMd_egrL2AintfUnresolved_mask, priority};
}

constexpr Target toMember(p4_pd_mbr_hdl_t member) noexcept {
    return {member, false};
}
constexpr Target toGroup(p4_pd_grp_hdl_t group) noexcept {
    return {group, true};
}

} // namespace

pipe_status p4_pd_velmor_switch_lagGroup_set_property(p4_pd_sess_hdl_t sess_hdl, int dev_id,
                                                      uint32_t property, uint32_t value) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) { return chip.table().setProperty(property, value); }, sess_hdl, dev_id,
        property, value);
}

pipe_status
p4_pd_velmor_switch_lagGroup_add_entry(p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt,
                                       p4_pd_velmor_switch_lagGroup_match_spec_t* match_spec,
                                       uint32_t priority, p4_pd_mbr_hdl_t mbr_hdl,
                                       p4_pd_entry_hdl_t* entry_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip, ScopeIndex scope) {
            return chip.table().add(scope, keyOf(*match_spec, priority), toMember(mbr_hdl),
                                    entry_hdl);
        },
        sess_hdl, dev_tgt, match_spec, priority, mbr_hdl, entry_hdl);
}

pipe_status p4_pd_velmor_switch_lagGroup_add_entry_with_selector(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt,
    p4_pd_velmor_switch_lagGroup_match_spec_t* match_spec, uint32_t priority,
    p4_pd_grp_hdl_t grp_hdl, p4_pd_entry_hdl_t* entry_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip, ScopeIndex scope) {
            return chip.table().add(scope, keyOf(*match_spec, priority), toGroup(grp_hdl),
                                    entry_hdl);
        },
        sess_hdl, dev_tgt, match_spec, priority, grp_hdl, entry_hdl);
}

pipe_status p4_pd_velmor_switch_lagGroup_modify_entry(p4_pd_sess_hdl_t sess_hdl, int dev_id,
                                                      p4_pd_entry_hdl_t entry_hdl,
                                                      p4_pd_mbr_hdl_t mbr_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) { return chip.table().repoint(entry_hdl, toMember(mbr_hdl)); }, sess_hdl,
        dev_id, entry_hdl, mbr_hdl);
}

pipe_status p4_pd_velmor_switch_lagGroup_modify_entry_with_selector(p4_pd_sess_hdl_t sess_hdl,
                                                                    int dev_id,
                                                                    p4_pd_entry_hdl_t entry_hdl,
                                                                    p4_pd_grp_hdl_t grp_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) { return chip.table().repoint(entry_hdl, toGroup(grp_hdl)); }, sess_hdl,
        dev_id, entry_hdl, grp_hdl);
}

pipe_status p4_pd_velmor_switch_lagGroup_set_default_entry(p4_pd_sess_hdl_t sess_hdl,
                                                           p4_pd_dev_target_t dev_tgt,
                                                           p4_pd_mbr_hdl_t mbr_hdl,
                                                           p4_pd_entry_hdl_t* entry_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip, ScopeIndex scope) {
            return chip.table().setDefault(scope, toMember(mbr_hdl), entry_hdl);
        },
        sess_hdl, dev_tgt, mbr_hdl, entry_hdl);
}

pipe_status p4_pd_velmor_switch_lagGroup_set_default_entry_with_selector(
    p4_pd_sess_hdl_t sess_hdl, p4_pd_dev_target_t dev_tgt, p4_pd_grp_hdl_t grp_hdl,
    p4_pd_entry_hdl_t* entry_hdl) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip, ScopeIndex scope) {
            return chip.table().setDefault(scope, toGroup(grp_hdl), entry_hdl);
        },
        sess_hdl, dev_tgt, grp_hdl, entry_hdl);
}

pipe_status p4_pd_velmor_switch_lagGroup_table_delete(p4_pd_sess_hdl_t sess_hdl, int dev_id,
                                                      p4_pd_entry_hdl_t entry_hdl) {
    return call<pd::operation(__func__)>([&](Chip& chip) { return chip.table().remove(entry_hdl); },
                                         sess_hdl, dev_id, entry_hdl);
}

pipe_status p4_pd_velmor_switch_lagGroup_table_reset_default_entry(p4_pd_sess_hdl_t sess_hdl,
                                                                   p4_pd_dev_target_t dev_tgt) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip, ScopeIndex scope) { return chip.table().resetDefault(scope); }, sess_hdl,
        dev_tgt);
}

// The chip has one copy of its state, so from_hw makes no difference.
pipe_status p4_pd_velmor_switch_lagGroup_get_entry(
    p4_pd_sess_hdl_t sess_hdl, int dev_id, p4_pd_entry_hdl_t entry_hdl, bool from_hw,
    p4_pd_velmor_switch_lagGroup_match_spec_t* match_spec, uint32_t* priority, bool* has_mbr,
    bool* has_grp, p4_pd_mbr_hdl_t* mbr_hdl, p4_pd_grp_hdl_t* grp_hdl, bool* spare) {
    return call<pd::operation(__func__)>(
        [&](Chip& chip) -> Status {
            const Entry* const entry = chip.table().find(entry_hdl);
            if (!entry)
                return P4_PD_STATUS_OBJ_NOT_FOUND;
            const Target target = entry->target;
            *match_spec = {entry->key.value, entry->key.mask};
            *priority = entry->key.priority;
            *has_mbr = !target.isGroup;
            *has_grp = target.isGroup;
            *mbr_hdl = target.isGroup ? kNoHandle : target.handle;
            *grp_hdl = target.isGroup ? target.handle : kNoHandle;
            *spare = false;
            return P4_PD_STATUS_SUCCESS;
        },
        sess_hdl, dev_id, entry_hdl, from_hw, match_spec, priority, has_mbr, has_grp, mbr_hdl,
        grp_hdl, spare);
}
