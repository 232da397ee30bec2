#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "agent/restart/Audit.h"
#include "tests/agent/Actions.h"

namespace LagAgent {

inline constexpr MatchKey kKey{0x10, 0xff, 5};

inline DesiredState::Target toMember(std::uint32_t id) {
    return {id, true};
}
inline DesiredState::Target toGroup(std::uint32_t id) {
    return {id, false};
}

/**
 * Two members, with ports 1 and 2, in group 10, of which member 2 is inactive, and an entry that
 * points at the group: desired, recorded, and on a chip that has room for plenty. Members have
 * handles 101 and 102, the group 110, the entry 120.
 */
struct World : Situation {
    World() {
        desired = {
            .members = {{1, {kSetLagPort, 1}}, {2, {kSetLagPort, 2}}},
            .groups = {{10, {4, 1, kSetLagPort, {{1, true}, {2, false}}}}},
            .entries = {{kKey, toGroup(10)}},
        };
        records = {
            .entries = {{.key = 0x500000000, .name = kKey, .handle = 120}},
            .members = {{1, 101}, {2, 102}},
            .groups = {{10, 110}},
        };
        chip = {
            .members = {{101, {P4_PD_ACTION_setLagPort, 1}}, {102, {P4_PD_ACTION_setLagPort, 2}}},
            .groups = {{110, {.size = 4, .members = {{101, true}, {102, false}}}}},
            .entries = {{120, {.name = kKey, .target = {110, true}}}},
            .usage = {.entries = 1,
                      .entry_capacity = 8,
                      .members = 2,
                      .member_capacity = 8,
                      .groups = 1,
                      .group_capacity = 8,
                      .group_size_limit = 8},
        };
    }

    Audit audited() const { return audit(*this); }
    /// "create_group group 10": without what the operations of one kind have in common.
    std::vector<std::string> steps() const {
        std::vector<std::string> lines;
        for (const PdWrite& write : audited().writes) {
            constexpr const char* kPrefixes[]{"p4_pd_velmor_switch_lagPortActionProfile_",
                                              "p4_pd_velmor_switch_lagGroup_"};
            std::string operation = write.operation;
            for (const char* prefix : kPrefixes) {
                operation.erase(0, operation.starts_with(prefix) ? std::strlen(prefix) : 0);
            }
            lines.push_back(operation + " " + write.object);
        }
        return lines;
    }
    /// "wrong action: member 1: it has setLagPort port 9 (1)", with the number of writes.
    std::vector<std::string> findings() const {
        std::vector<std::string> lines;
        for (const auto& [kind, object, detail, writes] : audited().findings) {
            lines.push_back(std::string(nameOf(kind)) + ": " + object + ": " + detail + " (" +
                            std::to_string(writes) + ")");
        }
        return lines;
    }
};

} // namespace LagAgent
