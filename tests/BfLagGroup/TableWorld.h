#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "BfLagGroup/Factories.h"
#include "tests/support/Assertions.h"
#include "tests/support/LiveObjects.h"
#include "tests/support/RecordingManagers.h"
#include "tests/support/RecordingPd.h"

namespace table_test {

using namespace BfLagGroup;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using RuxTable::RuxSdkEntryHandle;
using RuxTable::RuxSdkGroupHandle;
using RuxTable::RuxSdkMemberHandle;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// Every number differs, so that none can stand in for another.
inline constexpr U32 kSession = 7;
inline constexpr U8 kDevice = 3;
inline constexpr U16 kPipe = 2;
inline constexpr U32 kFirstEntryHandle = 1000;

/// A call of the match table's PD functions as the recording library renders it. `rest` is what
/// follows the device.
inline std::string pdName(const std::string& operation) {
    return "p4_pd_velmor_switch_lagGroup_" + operation;
}
inline std::string pdLine(const std::string& operation, const std::string& rest) {
    return pdName(operation) + "(session=7, dev=3" + (rest.empty() ? "" : ", ") + rest + ")";
}

inline LagGroupMatchSpec::Ptr newMatch(U32 value, U32 mask, U32 priority) {
    const auto match = LagGroupMatchSpec::LagGroupMatchSpecIs();
    Kel::attributeIs(match, "egrMdEgrL2AintfUnresolved", value);
    Kel::attributeIs(match, "egrMdEgrL2AintfUnresolvedMask", mask);
    Kel::attributeIs(match, "priority", priority);
    return match;
}

inline LagGroupMemberOrGroupOrNone toMember(U32 id) {
    return {id, true};
}
inline LagGroupMemberOrGroupOrNone toGroup(U32 id) {
    return {id, false};
}

/// What the handle maps hold, by the agent's numbers; entries by the names of their keys.
struct Handles {
    std::map<std::string, U32> entries;
    std::map<U32, U32> members, groups;

    bool operator==(const Handles&) const = default;
    friend void PrintTo(const Handles& handles, std::ostream* out) {
        *out << testing::PrintToString(handles.entries) << testing::PrintToString(handles.members)
             << testing::PrintToString(handles.groups);
    }
};

/// Over the recording PD library, with nothing of the driver made yet. No object of the driver may
/// be left when it ends.
struct Platform {
    LagGroupTable::Ptr makeTable(U16 pipe = kPipe) {
        return lagGroupTableFactory(keys, status, pd.dlHandle(), kSession, kDevice, pipe,
                                    "librecording_pd.so");
    }

    test_support::LiveObjects live;
    test_support::Journal journal;
    test_support::RecordingPd pd{&journal};
    test_support::RecordingKeyManager::Ptr keys = new test_support::RecordingKeyManager(journal);
    test_support::RecordingStatusManager::Ptr status =
        new test_support::RecordingStatusManager(journal);
};

/**
 * A table with the members 1 and 2 (handles 101 and 102) and the groups 10 and 20 (handles 210 and
 * 220), the match key "m" and the default match spec, named "default". The journal starts empty.
 */
struct TableWorld : Platform {
    TableWorld() {
        table = makeTable();
        for (const U32 member : {1u, 2u}) {
            handles().memberIs(RuxMemberId(member), RuxSdkMemberHandle(100 + member));
        }
        for (const U32 group : {10u, 20u}) {
            handles().groupIs(RuxGroupId(group), RuxSdkGroupHandle(200 + group));
        }
        journal.nameIs(m.ptr(), "m");
        journal.nameIs(table->defaultMatchSpec().ptr(), "default");
        pd.handleIs(kFirstEntryHandle);
        forget();
    }

    LagGroupTableHandles& handles() const { return *table->helper()->sdkHandles(); }
    LagGroupMatchSpec::Ptr defaultMatch() const { return table->defaultMatchSpec(); }

    void write(const LagGroupMatchSpec::Ptr& match, const LagGroupMemberOrGroupOrNone& target) {
        table->entryIs(LagGroupTableEntry(match, target));
    }
    /// Writes the entry and forgets the calls that this took.
    void have(const LagGroupMatchSpec::Ptr& match, const LagGroupMemberOrGroupOrNone& target) {
        write(match, target);
        forget();
    }
    void forget() {
        pd.takeCalls();
        journal.clear();
    }

    Handles snapshot() const {
        Handles snapshot;
        for (const auto& node : handles().entry()) {
            snapshot.entries.emplace(test_support::matchText(journal, node.key()),
                                     node.value().value());
        }
        for (const auto& node : handles().member()) {
            snapshot.members.emplace(node.key().value(), node.value().value());
        }
        for (const auto& node : handles().group()) {
            snapshot.groups.emplace(node.key().value(), node.value().value());
        }
        return snapshot;
    }
    /// The handle of a key's entry; 0 when the key has none.
    U32 entryHandle(const LagGroupMatchSpec::Ptr& match) const {
        return handles().entry(match).value();
    }

    LagGroupMatchSpec::Ptr m = newMatch(5, 255, 10);
    LagGroupTable::Ptr table;
};

} // namespace table_test
