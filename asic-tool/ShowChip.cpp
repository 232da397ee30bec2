#include "asic-tool/ShowChip.h"

#include <array>
#include <cstdio>
#include <sstream>

#include "asic-tool/Status.h"
#include "asic/SoftwareAsic.h"
#include "pd/ReadBack.h"

namespace asic_tool {

namespace {

constexpr p4_pd_sess_hdl_t kSession = 0;

constexpr auto read = [](auto function, auto... arguments) {
    return isFound(function(kSession, arguments...));
};

/// The descriptions of what a walk visits; one that is gone when it is to be described is left out.
template <class First, class Next, class Describe>
Json describeAll(First first, Next next, p4_pd_dev_target_t scope, Describe describe) {
    Json all = Json::array();
    const auto add = [&](std::uint32_t handle) {
        if (Json one = describe(scope.device_id, handle); !one.is_null()) {
            all.push_back(std::move(one));
        }
    };
    pd::walk(read, first, next, add, scope);
    return all;
}

Json describeMember(int device, std::uint32_t handle) {
    std::uint32_t action = 0;
    p4_pd_velmor_switch_setLagPort_action_spec_t spec{};
    if (!read(p4_pd_velmor_switch_lagPortActionProfile_get_member, device, handle, &action,
              &spec)) {
        return nullptr;
    }
    Json member{{"handle", handle}, {"action", pd::kActionNames.at(action)}};
    if (action == P4_PD_ACTION_setLagPort) {
        member["port"] = spec.action_egrL2AintfPort;
    }
    return member;
}

Json describeGroup(int device, std::uint32_t group) {
    std::uint16_t size = 0;
    std::uint32_t count = 0;
    if (!read(p4_pd_velmor_switch_lagPortActionProfile_get_group, device, group, &size, &count)) {
        return nullptr;
    }
    Json active = Json::array();
    Json inactive = Json::array();
    const auto add = [&](std::uint32_t member) {
        std::uint32_t state = P4_PD_MEMBER_ACTIVE;
        if (read(p4_pd_velmor_switch_lagPortActionProfile_group_member_state_get, device, group,
                 member, &state)) {
            (state == P4_PD_MEMBER_ACTIVE ? active : inactive).push_back(member);
        }
    };
    pd::walk(read, p4_pd_velmor_switch_lagPortActionProfile_get_first_group_member,
             p4_pd_velmor_switch_lagPortActionProfile_get_next_group_member, add, device, group);
    return {{"handle", group}, {"size", size}, {"active", active}, {"inactive", inactive}};
}

Json describeEntry(int device, std::uint32_t handle) {
    velmor_asic_entry_t entry{};
    if (!isFound(velmor_asic_entry_read(device, handle, &entry))) {
        return nullptr;
    }
    Json json{{"handle", handle},
              {"default", entry.default_entry},
              {"value", entry.value},
              {"mask", entry.mask},
              {"priority", entry.priority}};
    const bool isGroup = entry.grp_hdl != 0;
    json[isGroup ? "group" : "member"] = isGroup ? entry.grp_hdl : entry.mbr_hdl;
    return json;
}

Json describeUsage(const p4_pd_velmor_switch_usage_t& usage) {
    const auto of = [](std::uint32_t used, std::uint32_t capacity) {
        return Json{{"used", used}, {"capacity", capacity}};
    };
    return {{"entries", of(usage.entries, usage.entry_capacity)},
            {"members", of(usage.members, usage.member_capacity)},
            {"groups", of(usage.groups, usage.group_capacity)}};
}

Json describeScope(const Json& name, p4_pd_dev_target_t scope,
                   const p4_pd_velmor_switch_usage_t& usage) {
    Json entries =
        describeAll(p4_pd_velmor_switch_lagGroup_get_first_entry_handle,
                    p4_pd_velmor_switch_lagGroup_get_next_entry_handle, scope, describeEntry);
    std::uint32_t byDefault = 0;
    if (read(p4_pd_velmor_switch_lagGroup_get_default_entry_handle, scope, &byDefault)) {
        if (Json entry = describeEntry(scope.device_id, byDefault); !entry.is_null()) {
            entries.push_back(std::move(entry));
        }
    }
    return {
        {"pipe", name},
        {"usage", describeUsage(usage)},
        {"members", describeAll(p4_pd_velmor_switch_lagPortActionProfile_get_first_member_handle,
                                p4_pd_velmor_switch_lagPortActionProfile_get_next_member_handle,
                                scope, describeMember)},
        {"groups", describeAll(p4_pd_velmor_switch_lagPortActionProfile_get_first_group_handle,
                               p4_pd_velmor_switch_lagPortActionProfile_get_next_group_handle,
                               scope, describeGroup)},
        {"entries", std::move(entries)}};
}

std::string hex(const Json& number) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%x", number.get<unsigned>());
    return text.data();
}

void writeHandles(std::ostream& out, const char* name, const Json& handles) {
    out << "  " << name;
    for (const Json& handle : handles) {
        out << ' ' << handle;
    }
    if (handles.empty()) {
        out << " none";
    }
}

void writeScope(std::ostream& out, const Json& scope) {
    const Json& pipe = scope["pipe"];
    out << "pipe " << (pipe.is_string() ? pipe.get<std::string>() : pipe.dump()) << ':';
    for (const auto& [name, usage] : scope["usage"].items()) {
        out << "  " << name << ' ' << usage["used"] << " of " << usage["capacity"];
    }
    out << '\n';
    for (const Json& member : scope["members"]) {
        out << "  member " << member["handle"] << "  " << member["action"].get<std::string>();
        if (member.contains("port")) {
            out << ' ' << member["port"];
        }
        out << '\n';
    }
    for (const Json& group : scope["groups"]) {
        out << "  group " << group["handle"] << "  size " << group["size"];
        writeHandles(out, "active", group["active"]);
        writeHandles(out, "inactive", group["inactive"]);
        out << '\n';
    }
    for (const Json& entry : scope["entries"]) {
        out << "  entry " << entry["handle"] << "  ";
        if (entry["default"]) {
            out << "default";
        } else {
            out << "value " << hex(entry["value"]) << " mask " << hex(entry["mask"]) << " priority "
                << entry["priority"];
        }
        const char* const target = entry.contains("group") ? "group" : "member";
        out << "  to " << target << ' ' << entry[target] << '\n';
    }
}

bool isEmpty(const Json& scope) {
    return scope["members"].empty() && scope["groups"].empty() && scope["entries"].empty();
}

} // namespace

Json describeChip(int device) {
    std::uint64_t generation = 0;
    require(velmor_asic_chip_boot(device, &generation), kCannotBeRead);
    Json scopes = Json::array();
    p4_pd_velmor_switch_usage_t usage{};
    p4_pd_dev_target_t scope{device, 0};
    const auto readUsage = [&] { return p4_pd_velmor_switch_get_usage(kSession, scope, &usage); };
    for (; isFound(readUsage(), P4_PD_STATUS_INVALID_ARG); ++scope.dev_pipe_id) { // behind the last
        scopes.push_back(describeScope(scope.dev_pipe_id, scope, usage));
    }
    scope.dev_pipe_id = P4_PD_ALL_PIPES;
    require(readUsage(), kCannotBeRead);
    scopes.push_back(describeScope("all", scope, usage));
    return {{"boot", generation}, {"scopes", std::move(scopes)}};
}

std::string chipText(const Json& chip) {
    std::ostringstream out;
    out << "boot " << chip["boot"] << '\n';
    for (const Json& scope : chip["scopes"]) {
        if (scope["pipe"].is_string() || !isEmpty(scope)) {
            writeScope(out, scope);
        }
    }
    return out.str();
}

} // namespace asic_tool
