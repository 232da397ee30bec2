#include "agent/restart/LateJoins.h"

#include <optional>

namespace LagAgent {

namespace {

/// The chip's own operations, and what has not joined yet.
struct Bound {
    BfPdLagGroup::PdOperations chip;
    std::set<LateJoins::Membership> outside;
};
std::optional<Bound> bound;

pipe_status setState(p4_pd_sess_hdl_t session, int device, p4_pd_grp_hdl_t group,
                     p4_pd_mbr_hdl_t member, std::uint32_t state) {
    const auto found = bound->outside.find({group, member});
    if (found == bound->outside.end()) {
        return bound->chip.p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set(
            session, device, group, member, state);
    }
    if (state == P4_PD_MEMBER_INACTIVE) {
        return P4_PD_STATUS_SUCCESS;
    }
    const pipe_status status =
        bound->chip.p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group(session, device,
                                                                                 group, member);
    if (status == P4_PD_STATUS_SUCCESS) {
        bound->outside.erase(found);
    }
    return status;
}

pipe_status leave(p4_pd_sess_hdl_t session, int device, p4_pd_grp_hdl_t group,
                  p4_pd_mbr_hdl_t member) {
    if (bound->outside.erase({group, member}) != 0) {
        return P4_PD_STATUS_SUCCESS;
    }
    return bound->chip.p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group(
        session, device, group, member);
}

} // namespace

LateJoins::~LateJoins() {
    if (pd_) {
        pd_->dlHandleIs(pd_->dlHandle());
        bound.reset();
    }
}

void LateJoins::bind(BfPdLagGroup::BfPdLagGroupIntf& pd, std::set<Membership> memberships) {
    if (memberships.empty()) {
        return;
    }
    pd_ = &pd;
    bound.emplace(pd, std::move(memberships));
    pd.p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set.functionIs(
        reinterpret_cast<void*>(setState));
    pd.p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group.functionIs(
        reinterpret_cast<void*>(leave));
}

} // namespace LagAgent
