#include "agent/restart/Audit.h"

#include <algorithm>
#include <array>
#include <ranges>
#include <set>

#include "agent/ValueType.h"

namespace LagAgent {

using Kind = Finding::Kind;
using RuxTable::RuxGroupId;
using RuxTable::RuxMemberId;

const char* nameOf(Kind kind) {
    constexpr std::array kNames{"corrupt table", "stale record", "reservation", "unknown handle",
                                "missing",       "orphan",       "group twice", "wrong action",
                                "wrong members", "wrong state",  "wrong target"};
    return kNames.at(static_cast<std::size_t>(kind));
}

namespace {

std::string chipName(const char* kind, ChipHandle handle) {
    return std::string("chip ") + kind + " " + std::to_string(handle);
}

std::string handleText(ChipHandle handle) {
    return "handle " + std::to_string(handle);
}

std::string keyText(Glimt::EntryKey key) {
    char text[32];
    std::snprintf(text, sizeof text, "key %#llx", static_cast<unsigned long long>(key));
    return text;
}

class Comparison {
  public:
    explicit Comparison(const Situation& situation)
        : records_(situation.records), chip_(situation.chip), desired_(situation.desired) {
        for (const auto& [handle, entry] : chip_.entries) {
            if (entry.target.isGroup) {
                entriesAt_[entry.target.handle].push_back(entry.name);
            }
        }
    }

    std::vector<Finding> run() {
        for (const auto& corruption : records_.corruptions) {
            add(Kind::corruptTable, corruption, "read in part");
        }
        for (const auto& reservation : records_.reservations) {
            add(Kind::reservation, keyText(reservation.key),
                reservation.isAnonymous
                    ? "member or group " + std::to_string(static_cast<Kel::U32>(reservation.key))
                    : "match entry");
        }
        compareMembers();
        compareGroups();
        compareEntries();
        return std::move(findings_);
    }

  private:
    void add(Kind kind, std::string object, std::string detail) {
        findings_.push_back({kind, std::move(object), std::move(detail)});
    }

    /// Goes over what is recorded of one kind of objects, then over what is desired, then over what
    /// is on the chip. `nameOfKey(key)` names it, `compare(name, chip object, desired object)` sees
    /// what is all three, `orphan(handle, chip object)` what nobody recorded.
    template <class Recorded, class OnChip, class Desired, class NameOf, class Compare,
              class Orphan>
    void compareKind(const Recorded& recorded, const OnChip& onChip, const Desired& desired,
                     NameOf nameOfKey, Compare compare, Orphan orphan) {
        std::set<ChipHandle> handles;
        for (const auto& [key, handle] : recorded) {
            handles.insert(handle);
            const auto object = onChip.find(handle);
            const auto wanted = desired.find(key);
            if (wanted == desired.end()) {
                add(Kind::staleRecord, nameOfKey(key), handleText(handle) + ": not desired");
            }
            if (object == onChip.end()) {
                add(Kind::unknownHandle, nameOfKey(key),
                    handleText(handle) + ": the chip does not know it");
            } else if (wanted != desired.end()) {
                compare(nameOfKey(key), object->second, wanted->second);
            }
        }
        for (const auto& [key, wanted] : desired) {
            if (!recorded.contains(key)) {
                add(Kind::missing, nameOfKey(key), "desired, but not recorded");
            }
        }
        for (const auto& [handle, object] : onChip) {
            if (!handles.contains(handle)) {
                orphan(handle, object);
            }
        }
    }

    void addOrphan(const char* kind, ChipHandle handle) {
        add(Kind::orphan, chipName(kind, handle), "nobody recorded it");
    }

    void compareMembers() {
        compareKind(
            records_.members, chip_.members, desired_.members,
            [](std::uint32_t id) { return nameOf(RuxMemberId(id)); },
            [this](const std::string& name, const ChipMember& is, const DesiredMember& wanted) {
                const auto action = static_cast<std::uint32_t>(wanted.type);
                const bool hasPort = action == P4_PD_ACTION_setLagPort;
                if (is.action != action || (hasPort && is.port != wanted.port)) {
                    add(Kind::wrongAction, name, actionText(is.action, is.port));
                }
            },
            [this](ChipHandle handle, const ChipMember&) { addOrphan("member", handle); });
    }

    static std::string actionText(std::uint32_t action, std::uint16_t port) {
        const std::string name =
            action < actionNames().size() ? actionNames()[action] : "an unknown action";
        return "it has " + name +
               (action == P4_PD_ACTION_setLagPort ? " port " + std::to_string(port) : "");
    }

    void compareGroups() {
        compareKind(
            records_.groups, chip_.groups, desired_.groups,
            [](std::uint32_t id) { return nameOf(RuxGroupId(id)); },
            [this](const std::string& name, const ChipGroup& is, const DesiredGroup& wanted) {
                compareGroup(name, is, wanted);
            },
            [this](ChipHandle handle, const ChipGroup& group) { addOrphanGroup(handle, group); });
    }

    void compareGroup(const std::string& name, const ChipGroup& is, const DesiredGroup& wanted) {
        if (is.size != wanted.size) {
            add(Kind::wrongMembers, name, "its size is " + std::to_string(is.size));
        }
        std::size_t found = 0;
        for (const auto& [id, isActive] : wanted.members) {
            const auto member = nameOf(RuxMemberId(id));
            const auto recorded = records_.members.find(id);
            const auto state = recorded == records_.members.end()
                                   ? is.members.end()
                                   : is.members.find(recorded->second);
            if (state == is.members.end()) {
                add(Kind::wrongMembers, name, member + " is not in it");
                continue;
            }
            ++found;
            if (state->second != isActive) {
                add(Kind::wrongState, name,
                    member + " is " + (state->second ? "active" : "inactive"));
            }
        }
        if (found < is.members.size()) {
            add(Kind::wrongMembers, name,
                "members in it that do not belong there: " +
                    std::to_string(is.members.size() - found));
        }
    }

    /// Tells which recorded group an unrecorded one stands for: the one that its entries should
    /// point at, or else one with the same members.
    void addOrphanGroup(ChipHandle handle, const ChipGroup& group) {
        for (const EntryName& entry : entriesAt_[handle]) {
            const auto wanted = desired_.entries.find(entry);
            if (wanted != desired_.entries.end() && !wanted->second.member() &&
                records_.groups.contains(wanted->second.id())) {
                return addTwice(handle, wanted->second.id());
            }
        }
        for (const auto& [id, recorded] : records_.groups) {
            const auto other = chip_.groups.find(recorded);
            if (other != chip_.groups.end() && !group.members.empty() &&
                std::ranges::equal(std::views::keys(other->second.members),
                                   std::views::keys(group.members))) {
                return addTwice(handle, id);
            }
        }
        addOrphan("group", handle);
    }

    void addTwice(ChipHandle handle, std::uint32_t id) {
        add(Kind::groupTwice, chipName("group", handle),
            "stands for " + nameOf(RuxGroupId(id)) + ", which is recorded with " +
                handleText(records_.groups.at(id)));
    }

    void compareEntries() {
        std::map<EntryName, ChipHandle> recorded;
        std::set<ChipHandle> contradicted;
        for (const auto& record : records_.entries) {
            const auto found = chip_.entries.find(record.handle);
            if (found != chip_.entries.end() && found->second.name != record.name) {
                add(Kind::unknownHandle, nameOf(record.name),
                    handleText(record.handle) + ": the chip has the " + nameOf(found->second.name) +
                        " under it");
                contradicted.insert(record.handle);
            } else {
                recorded.emplace(record.name, record.handle);
            }
        }
        compareKind(
            recorded, chip_.entries, desired_.entries,
            [](const EntryName& name) { return nameOf(name); },
            [this](const std::string& name, const ChipEntry& is,
                   const DesiredState::Target& wanted) { compareTarget(name, is, wanted); },
            [&](ChipHandle handle, const ChipEntry&) {
                if (!contradicted.contains(handle)) {
                    addOrphan("entry", handle);
                }
            });
    }

    void compareTarget(const std::string& name, const ChipEntry& is,
                       const DesiredState::Target& wanted) {
        const auto& handles = wanted.member() ? records_.members : records_.groups;
        const auto target = handles.find(wanted.id());
        const ChipTarget right{target == handles.end() ? 0 : target->second, !wanted.member()};
        if (is.target != right) {
            add(Kind::wrongTarget, name,
                "it points at " +
                    chipName(is.target.isGroup ? "group" : "member", is.target.handle));
        }
    }

    const Records& records_;
    const ChipState& chip_;
    const DesiredState& desired_;
    std::vector<Finding> findings_;
    std::map<ChipHandle, std::vector<EntryName>> entriesAt_;
};

} // namespace

std::vector<Finding> audit(const Situation& situation) {
    return Comparison(situation).run();
}

void show(const std::vector<Finding>& findings, Reply& reply) {
    Listing listing({"finding", "object", "detail"});
    for (const Finding& finding : findings) {
        listing.add({nameOf(finding.kind), finding.object, finding.detail});
    }
    reply.add("findings", listing);
}

} // namespace LagAgent
