#include "agent/restart/ModelEntry.h"

#include <tuple>

#include "agent/restart/Mending.h"
#include "agent/terms/Values.h"

namespace LagAgent {

using BfLagGroup::LagGroupActionProfileEntry;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;
using ActionType = BfLagGroup::LagGroupActionProfileType;

namespace {

/// While it lives, the driver's PD operations succeed without touching the chip. One at a time.
class SilentOperations {
  public:
    explicit SilentOperations(BfPdLagGroup::BfPdLagGroupIntf& pd) : pd_(pd) {
        pd_.forEach([](auto& operation) { bind(operation); });
        bindToGive(pd_.p4_pd_velmor_switch_lagPortActionProfile_create_group);
        bindToGive(pd_.p4_pd_velmor_switch_lagGroup_set_default_entry);
        bindToGive(pd_.p4_pd_velmor_switch_lagGroup_set_default_entry_with_selector);
    }
    ~SilentOperations() { pd_.dlHandleIs(pd_.dlHandle()); }
    SilentOperations(const SilentOperations&) = delete;
    SilentOperations& operator=(const SilentOperations&) = delete;

    /// What an operation that gives out a handle gives next.
    static void handleIs(ChipHandle handle) noexcept { handle_ = handle; }

  private:
    template <class... Arguments>
    using Operation = BfPdLagGroup::PdOperation<pipe_status(Arguments...)>;

    template <class... Arguments>
    static void bind(Operation<Arguments...>& operation) {
        pipe_status (*const succeed)(Arguments...) = [](Arguments...) -> pipe_status {
            return P4_PD_STATUS_SUCCESS;
        };
        operation.functionIs(reinterpret_cast<void*>(succeed));
    }
    /// The handle is the last argument of these.
    template <class... Arguments>
    static void bindToGive(Operation<Arguments...>& operation) {
        pipe_status (*const give)(Arguments...) = [](Arguments... arguments) -> pipe_status {
            *std::get<sizeof...(Arguments) - 1>(std::tuple(arguments...)) = handle_;
            return P4_PD_STATUS_SUCCESS;
        };
        operation.functionIs(reinterpret_cast<void*>(give));
    }

    BfPdLagGroup::BfPdLagGroupIntf& pd_;
    static inline ChipHandle handle_ = 0; // the chip's functions have no other way to know it
};

class Entry {
  public:
    Entry(Driver& driver, const DesiredState& desired)
        : driver_(driver), desired_(desired), operations_(driver.helper().requiredPdLib()) {}

    void enterMembers() {
        for (const auto& [id, member] : desired_.members) {
            enterMember(RuxMemberId(id), member.type, member.port);
        }
    }

    void enterGroup(std::uint32_t id, ChipHandle handle) {
        const DesiredGroup& desired = desired_.groups.at(id);
        const RuxMemberId initial(desired.initial);
        const bool hasLeft = !desired.members.contains(desired.initial);
        if (hasLeft) {
            lend(initial, desired.type);
        }
        SilentOperations::handleIs(handle);
        const auto group =
            profile().groupIs(RuxGroupId(id), desired.size, desired.initial, desired.type);
        for (const auto& [member, isActive] : desired.members) {
            group->memberIs(RuxMemberId(member))->activeIs(isActive);
        }
        if (hasLeft) {
            group->memberDel(initial);
            giveBack(initial);
        }
    }

    void enterEntry(const HandleKeeper::Match& match, const DesiredState::Target& target,
                    ChipHandle handle) {
        SilentOperations::handleIs(handle);
        driver_.table().entryIs({match, target});
    }

  private:
    BfLagGroup::LagGroupActionProfile& profile() const { return driver_.profile(); }

    void enterMember(RuxMemberId id, ActionType type, std::uint16_t port) {
        LagGroupActionProfileEntry::Ptr entry =
            new LagGroupActionProfileEntry(id, makeAction(type, port));
        entry->hasNotificationActiveIs(true);
        profile().entryIs(entry);
    }

    /// A group is always made with the member that it began with, also when that has left it since.
    /// For this moment the member is as it was then.
    void lend(RuxMemberId member, ActionType type) {
        if (driver_.handles().member(member).value() == 0) {
            driver_.handles().memberIs(member, RuxTable::RuxSdkMemberHandle(UINT32_MAX));
        }
        enterMember(member, type, 0);
    }

    void giveBack(RuxMemberId member) {
        const auto desired = desired_.members.find(member.value());
        if (desired != desired_.members.end()) {
            enterMember(member, desired->second.type, desired->second.port);
        } else {
            profile().entryDel(member); // takes the handle with it
        }
    }

    Driver& driver_;
    const DesiredState& desired_;
    SilentOperations operations_;
};

} // namespace

void enterModel(Driver& driver, Configuration& configuration, const DesiredState& desired,
                const Identified& identified, const HandleKeeper& handles) {
    Entry entry(driver, desired);
    entry.enterMembers();
    for (const auto& [id, group] : desired.groups) {
        entry.enterGroup(id, identified.groups.at(id));
    }
    for (const auto& [name, target] : desired.entries) {
        const auto& match = handles.match(name);
        entry.enterEntry(match, target, identified.entries.at(name));
        configuration.installedEntryIs(name, {match, target});
    }
}

} // namespace LagAgent
