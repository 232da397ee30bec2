#include "tests/pd-conformance/Snapshot.h"

#include "pd/p4_pd_velmor_switch.h"

#include <cstdint>
#include <sstream>

namespace pd_test {

namespace {

// Calls visit(handle) for every handle of a walk.
template <class First, class Next, class Where, class Visit>
void walk(First first, Next next, Where where, Visit visit) {
    std::uint32_t handle = 0;
    for (pipe_status status = first(0, where, &handle); status == 0;
         status = next(0, where, handle, &handle))
        visit(handle);
}

void writeEntry(std::ostream& out, int device, std::uint32_t handle, const char* kind) {
    p4_pd_velmor_switch_lagGroup_match_spec_t spec{};
    std::uint32_t priority = 0;
    std::uint32_t member = 0;
    std::uint32_t group = 0;
    bool hasMember = false;
    bool hasGroup = false;
    bool spare = false;
    const pipe_status status = p4_pd_velmor_switch_lagGroup_get_entry(
        0, device, handle, true, &spec, &priority, &hasMember, &hasGroup, &member, &group, &spare);
    out << kind << ' ' << handle << ": " << status << ' ' << spec.egrMd_egrL2AintfUnresolved << '/'
        << spec.egrMd_egrL2AintfUnresolved_mask << " priority " << priority << " member "
        << hasMember << ' ' << member << " group " << hasGroup << ' ' << group << '\n';
}

void writeMember(std::ostream& out, int device, std::uint32_t handle) {
    std::uint32_t action = 0;
    p4_pd_velmor_switch_setLagPort_action_spec_t spec{};
    const pipe_status status =
        p4_pd_velmor_switch_lagPortActionProfile_get_member(0, device, handle, &action, &spec);
    out << "member " << handle << ": " << status << " action " << action << " port "
        << spec.action_egrL2AintfPort << '\n';
}

void writeGroup(std::ostream& out, int device, std::uint32_t group) {
    std::uint16_t size = 0;
    std::uint32_t count = 0;
    const pipe_status status =
        p4_pd_velmor_switch_lagPortActionProfile_get_group(0, device, group, &size, &count);
    out << "group " << group << ": " << status << " size " << size << " members " << count << ':';
    std::uint32_t member = 0;
    for (pipe_status more = p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member(
             0, device, group, &member);
         more == 0; more = p4_pd_velmor_switch_lagPortActionProfile_get_next_group_member(
                        0, device, group, member, &member)) {
        std::uint32_t state = 0;
        p4_pd_velmor_switch_lagPortActionProfile_group_member_state_get(0, device, group, member,
                                                                        &state);
        out << ' ' << member << (state == P4_PD_MEMBER_ACTIVE ? "+" : "-");
    }
    out << '\n';
}

void writeScope(std::ostream& out, p4_pd_dev_target_t scope) {
    const int device = scope.device_id;
    p4_pd_velmor_switch_usage_t usage{};
    p4_pd_velmor_switch_get_usage(0, scope, &usage);
    out << "scope " << scope.dev_pipe_id << ": " << usage.entries << ' ' << usage.members << ' '
        << usage.groups << '\n';
    std::uint32_t byDefault = 0;
    if (p4_pd_velmor_switch_lagGroup_get_default_entry_handle(0, scope, &byDefault) == 0)
        writeEntry(out, device, byDefault, "default");
    walk(p4_pd_velmor_switch_lagGroup_get_first_entry_handle,
         p4_pd_velmor_switch_lagGroup_get_next_entry_handle, scope,
         [&](std::uint32_t handle) { writeEntry(out, device, handle, "entry"); });
    walk(p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle,
         p4_pd_velmor_switch_lagPortActionProfile_get_next_member_handle, scope,
         [&](std::uint32_t handle) { writeMember(out, device, handle); });
    walk(p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle,
         p4_pd_velmor_switch_lagPortActionProfile_get_next_group_handle, scope,
         [&](std::uint32_t handle) { writeGroup(out, device, handle); });
}

} // namespace

std::string snapshot(int device) {
    std::ostringstream out;
    p4_pd_velmor_switch_usage_t usage{};
    for (std::uint16_t pipe = 0; p4_pd_velmor_switch_get_usage(0, {device, pipe}, &usage) == 0;
         ++pipe)
        writeScope(out, {device, pipe});
    writeScope(out, {device, P4_PD_ALL_PIPES});
    return out.str();
}

} // namespace pd_test
