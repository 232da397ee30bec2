// A PD library that programs no chip: it tells its listener of every call, with every argument, and
// returns what the test ordered. Loaded at run time in the place of the real one.
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "tests/support/RecordingPdControl.h"

namespace {

struct FailureOrder {
    pipe_status status;
    std::uint32_t skip;
    std::uint32_t count;
};

struct Recorder {
    recording_pd_listener* listener = nullptr;
    void* context = nullptr;
    std::map<std::string, FailureOrder, std::less<>> orders;
    std::map<p4_pd_entry_hdl_t, recording_pd_entry> entries;
    std::uint32_t nextHandle = 1;
};

Recorder& recorder() {
    static Recorder instance;
    return instance;
}

pipe_status orderedStatus(const char* function) {
    const auto found = recorder().orders.find(std::string_view(function));
    if (found == recorder().orders.end()) {
        return P4_PD_STATUS_SUCCESS;
    }
    FailureOrder& order = found->second;
    if (order.skip > 0) {
        --order.skip;
        return P4_PD_STATUS_SUCCESS;
    }
    if (order.count == 0) {
        return P4_PD_STATUS_SUCCESS;
    }
    if (order.count != UINT32_MAX) {
        --order.count;
    }
    return order.status;
}

/// One call: collects the arguments in their order, then announces the line and settles the status.
class Call {
  public:
    Call(const char* function, p4_pd_sess_hdl_t session)
        : function_(function), line_(std::string(function) + "(session=") {
        line_ += std::to_string(session);
    }
    Call(const char* function, p4_pd_sess_hdl_t session, int device) : Call(function, session) {
        (*this)("dev", device);
    }
    Call(const char* function, p4_pd_sess_hdl_t session, p4_pd_dev_target_t target)
        : Call(function, session, target.device_id) {
        (*this)("pipe", target.dev_pipe_id);
    }

    template <class Number>
    Call& operator()(const char* name, Number value) {
        line_ += std::string(", ") + name + '=' + std::to_string(value);
        return *this;
    }
    Call& operator()(const p4_pd_velmor_switch_lagGroup_match_spec_t* match) {
        return (*this)("value", match->egrMd_egrL2AintfUnresolved)(
            "mask", match->egrMd_egrL2AintfUnresolved_mask);
    }
    Call& operator()(const p4_pd_velmor_switch_setLagPort_action_spec_t* action) {
        return (*this)("port", action->action_egrL2AintfPort);
    }

    pipe_status result() {
        line_ += ')';
        if (recorder().listener) {
            recorder().listener(recorder().context, line_.c_str());
        }
        return orderedStatus(function_);
    }
    /// The same for a call that creates something: only success writes the handle.
    pipe_status result(std::uint32_t* handle) {
        const pipe_status status = result();
        if (status == P4_PD_STATUS_SUCCESS) {
            *handle = recorder().nextHandle++;
        }
        return status;
    }

  private:
    const char* function_;
    std::string line_;
};

} // namespace

extern "C" {

void recording_pd_reset() {
    recorder() = Recorder{};
}
void recording_pd_listener_is(recording_pd_listener* listener, void* context) {
    recorder().listener = listener;
    recorder().context = context;
}
void recording_pd_status_is(const char* function, pipe_status status, std::uint32_t skip,
                            std::uint32_t count) {
    recorder().orders.insert_or_assign(function, FailureOrder{status, skip, count});
}
void recording_pd_next_handle_is(std::uint32_t handle) {
    recorder().nextHandle = handle;
}
void recording_pd_entry_is(p4_pd_entry_hdl_t handle, const recording_pd_entry* entry) {
    if (entry) {
        recorder().entries.insert_or_assign(handle, *entry);
    } else {
        recorder().entries.erase(handle);
    }
}

// ---- lagGroup ----------------------------------------------------------------------------------

pipe_status p4_pd_velmor_switch_lagGroup_set_property(p4_pd_sess_hdl_t session, int device,
                                                      std::uint32_t property, std::uint32_t value) {
    return Call(__func__, session, device)("property", property)("value", value).result();
}

pipe_status p4_pd_velmor_switch_lagGroup_add_entry(p4_pd_sess_hdl_t session,
                                                   p4_pd_dev_target_t target,
                                                   p4_pd_velmor_switch_lagGroup_match_spec_t* match,
                                                   std::uint32_t priority, p4_pd_mbr_hdl_t member,
                                                   p4_pd_entry_hdl_t* entry) {
    return Call(__func__, session, target)(match)("priority", priority)("mbr", member)
        .result(entry);
}

pipe_status p4_pd_velmor_switch_lagGroup_add_entry_with_selector(
    p4_pd_sess_hdl_t session, p4_pd_dev_target_t target,
    p4_pd_velmor_switch_lagGroup_match_spec_t* match, std::uint32_t priority, p4_pd_grp_hdl_t group,
    p4_pd_entry_hdl_t* entry) {
    return Call(__func__, session, target)(match)("priority", priority)("grp", group).result(entry);
}

pipe_status p4_pd_velmor_switch_lagGroup_modify_entry(p4_pd_sess_hdl_t session, int device,
                                                      p4_pd_entry_hdl_t entry,
                                                      p4_pd_mbr_hdl_t member) {
    return Call(__func__, session, device)("entry", entry)("mbr", member).result();
}

pipe_status p4_pd_velmor_switch_lagGroup_modify_entry_with_selector(p4_pd_sess_hdl_t session,
                                                                    int device,
                                                                    p4_pd_entry_hdl_t entry,
                                                                    p4_pd_grp_hdl_t group) {
    return Call(__func__, session, device)("entry", entry)("grp", group).result();
}

pipe_status p4_pd_velmor_switch_lagGroup_set_default_entry(p4_pd_sess_hdl_t session,
                                                           p4_pd_dev_target_t target,
                                                           p4_pd_mbr_hdl_t member,
                                                           p4_pd_entry_hdl_t* entry) {
    return Call(__func__, session, target)("mbr", member).result(entry);
}

pipe_status p4_pd_velmor_switch_lagGroup_set_default_entry_with_selector(p4_pd_sess_hdl_t session,
                                                                         p4_pd_dev_target_t target,
                                                                         p4_pd_grp_hdl_t group,
                                                                         p4_pd_entry_hdl_t* entry) {
    return Call(__func__, session, target)("grp", group).result(entry);
}

pipe_status p4_pd_velmor_switch_lagGroup_table_delete(p4_pd_sess_hdl_t session, int device,
                                                      p4_pd_entry_hdl_t entry) {
    return Call(__func__, session, device)("entry", entry).result();
}

pipe_status p4_pd_velmor_switch_lagGroup_table_reset_default_entry(p4_pd_sess_hdl_t session,
                                                                   p4_pd_dev_target_t target) {
    return Call(__func__, session, target).result();
}

pipe_status p4_pd_velmor_switch_lagGroup_get_entry(p4_pd_sess_hdl_t session, int device,
                                                   p4_pd_entry_hdl_t handle, bool fromHardware,
                                                   p4_pd_velmor_switch_lagGroup_match_spec_t* match,
                                                   std::uint32_t* priority, bool* hasMember,
                                                   bool* hasGroup, p4_pd_mbr_hdl_t* member,
                                                   p4_pd_grp_hdl_t* group, bool* spare) {
    const pipe_status status =
        Call(__func__, session, device)("entry", handle)("fromHw", fromHardware).result();
    if (status != P4_PD_STATUS_SUCCESS) {
        return status;
    }
    const auto found = recorder().entries.find(handle);
    if (found == recorder().entries.end()) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    const recording_pd_entry& entry = found->second;
    *match = entry.match_spec;
    *priority = entry.priority;
    *hasMember = entry.has_mbr;
    *hasGroup = entry.has_grp;
    *member = entry.mbr_hdl;
    *group = entry.grp_hdl;
    *spare = false;
    return status;
}

// ---- lagPortActionProfile: members -------------------------------------------------------------

#define RECORDING_PD_ACTION_WITHOUT_DATA(action)                                                   \
    pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_##action(                 \
        p4_pd_sess_hdl_t session, p4_pd_dev_target_t target, p4_pd_mbr_hdl_t* member) {            \
        return Call(__func__, session, target).result(member);                                     \
    }                                                                                              \
    pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_##action(              \
        p4_pd_sess_hdl_t session, int device, p4_pd_mbr_hdl_t member) {                            \
        return Call(__func__, session, device)("mbr", member).result();                            \
    }
RECORDING_PD_ACTION_WITHOUT_DATA(fixL2SubintfAlignment)
RECORDING_PD_ACTION_WITHOUT_DATA(invalidateUcastEgressPort)
RECORDING_PD_ACTION_WITHOUT_DATA(setPhysicalPort)
RECORDING_PD_ACTION_WITHOUT_DATA(setTunnelInfo)
#undef RECORDING_PD_ACTION_WITHOUT_DATA

pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_with_setLagPort(
    p4_pd_sess_hdl_t session, p4_pd_dev_target_t target,
    p4_pd_velmor_switch_setLagPort_action_spec_t* action, p4_pd_mbr_hdl_t* member) {
    return Call(__func__, session, target)(action).result(member);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_modify_member_with_setLagPort(
    p4_pd_sess_hdl_t session, int device, p4_pd_mbr_hdl_t member,
    p4_pd_velmor_switch_setLagPort_action_spec_t* action) {
    return Call(__func__, session, device)("mbr", member)(action).result();
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_del_member(p4_pd_sess_hdl_t session,
                                                                int device,
                                                                p4_pd_mbr_hdl_t member) {
    return Call(__func__, session, device)("mbr", member).result();
}

// ---- lagPortActionProfile: selector groups -----------------------------------------------------

pipe_status p4_pd_velmor_switch_lagPortActionProfile_create_group(p4_pd_sess_hdl_t session,
                                                                  p4_pd_dev_target_t target,
                                                                  std::uint16_t maximumSize,
                                                                  p4_pd_grp_hdl_t* group) {
    return Call(__func__, session, target)("size", maximumSize).result(group);
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_del_group(p4_pd_sess_hdl_t session, int device,
                                                               p4_pd_grp_hdl_t group) {
    return Call(__func__, session, device)("grp", group).result();
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_add_member_to_group(p4_pd_sess_hdl_t session,
                                                                         int device,
                                                                         p4_pd_grp_hdl_t group,
                                                                         p4_pd_mbr_hdl_t member) {
    return Call(__func__, session, device)("grp", group)("mbr", member).result();
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_del_member_from_group(p4_pd_sess_hdl_t session,
                                                                           int device,
                                                                           p4_pd_grp_hdl_t group,
                                                                           p4_pd_mbr_hdl_t member) {
    return Call(__func__, session, device)("grp", group)("mbr", member).result();
}

pipe_status p4_pd_velmor_switch_lagPortActionProfile_group_member_state_set(
    p4_pd_sess_hdl_t session, int device, p4_pd_grp_hdl_t group, p4_pd_mbr_hdl_t member,
    std::uint32_t state) {
    return Call(__func__, session, device)("grp", group)("mbr", member)("state", state).result();
}

} // extern "C"
