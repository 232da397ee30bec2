#include "asic/Changes.h"

#include "pd/Operations.h"

#include <algorithm>
#include <string_view>

namespace asic {

namespace {

// ---- One function for each kind of change. The parameter is what the operation's name says: an
// action, or whether the target is a group.

using Words = std::array<std::uint32_t, Change::kMaxWords>;

Action actionOf(std::uint32_t id, std::uint32_t port) noexcept {
    return {id, static_cast<std::uint16_t>(port)};
}
Target targetOf(std::uint32_t isGroup, Handle handle) noexcept {
    return {handle, isGroup != 0};
}

Status setProperty(Chip& chip, ScopeIndex, const Words& words, std::uint32_t) {
    return chip.table().setProperty(words[0], words[1]);
}
Status addEntry(Chip& chip, ScopeIndex scope, const Words& words, std::uint32_t isGroup) {
    Handle entry = kNoHandle;
    return chip.table().add(scope, MatchKey{words[0], words[1], words[2]},
                            targetOf(isGroup, words[3]), &entry);
}
Status modifyEntry(Chip& chip, ScopeIndex, const Words& words, std::uint32_t isGroup) {
    return chip.table().repoint(words[0], targetOf(isGroup, words[1]));
}
Status setDefault(Chip& chip, ScopeIndex scope, const Words& words, std::uint32_t isGroup) {
    Handle entry = kNoHandle;
    return chip.table().setDefault(scope, targetOf(isGroup, words[0]), &entry);
}
Status deleteEntry(Chip& chip, ScopeIndex, const Words& words, std::uint32_t) {
    return chip.table().remove(words[0]);
}
Status resetDefault(Chip& chip, ScopeIndex scope, const Words&, std::uint32_t) {
    return chip.table().resetDefault(scope);
}
Status addMember(Chip& chip, ScopeIndex scope, const Words& words, std::uint32_t action) {
    Handle member = kNoHandle;
    return chip.profile().addMember(scope, actionOf(action, words[0]), &member);
}
Status modifyMember(Chip& chip, ScopeIndex, const Words& words, std::uint32_t action) {
    return chip.profile().modifyMember(words[0], actionOf(action, words[1]));
}
Status deleteMember(Chip& chip, ScopeIndex, const Words& words, std::uint32_t) {
    return chip.profile().deleteMember(words[0]);
}
Status createGroup(Chip& chip, ScopeIndex scope, const Words& words, std::uint32_t) {
    Handle group = kNoHandle;
    return chip.profile().createGroup(scope, static_cast<std::uint16_t>(words[0]), &group);
}
Status deleteGroup(Chip& chip, ScopeIndex, const Words& words, std::uint32_t) {
    return chip.profile().deleteGroup(words[0]);
}
Status addToGroup(Chip& chip, ScopeIndex, const Words& words, std::uint32_t) {
    return chip.profile().addToGroup(words[0], words[1]);
}
Status removeFromGroup(Chip& chip, ScopeIndex, const Words& words, std::uint32_t) {
    return chip.profile().removeFromGroup(words[0], words[1]);
}
Status setMemberState(Chip& chip, ScopeIndex, const Words& words, std::uint32_t) {
    return chip.profile().setMemberState(words[0], words[1], words[2]);
}

// ---- Which operation is which change

using Apply = Status (*)(Chip&, ScopeIndex, const Words&, std::uint32_t);

struct Row {
    std::size_t operation;
    Apply apply;
    std::uint32_t parameter = 0;
    bool adds = false; // to the list that makes the chip
};

consteval std::size_t index(std::string_view name) {
    constexpr std::string_view kPrefix = "p4_pd_velmor_switch_";
    for (std::size_t i = 0; i < pd::kOperations.size(); ++i)
        if (std::string_view(pd::kOperations[i].name).substr(kPrefix.size()) == name)
            return i;
    throw "no such operation";
}

// clang-format off
constexpr Row kRows[] = {
    {index("lagGroup_set_property"), setProperty, 0, true},
    {index("lagGroup_add_entry"), addEntry, false, true},
    {index("lagGroup_add_entry_with_selector"), addEntry, true, true},
    {index("lagGroup_modify_entry"), modifyEntry, false},
    {index("lagGroup_modify_entry_with_selector"), modifyEntry, true},
    {index("lagGroup_set_default_entry"), setDefault, false, true},
    {index("lagGroup_set_default_entry_with_selector"), setDefault, true, true},
    {index("lagGroup_table_delete"), deleteEntry},
    {index("lagGroup_table_reset_default_entry"), resetDefault},
    {index("lagPortActionProfile_add_member_with_fixL2SubintfAlignment"), addMember, P4_PD_ACTION_fixL2SubintfAlignment, true},
    {index("lagPortActionProfile_add_member_with_invalidateUcastEgressPort"), addMember, P4_PD_ACTION_invalidateUcastEgressPort, true},
    {index("lagPortActionProfile_add_member_with_setLagPort"), addMember, P4_PD_ACTION_setLagPort, true},
    {index("lagPortActionProfile_add_member_with_setPhysicalPort"), addMember, P4_PD_ACTION_setPhysicalPort, true},
    {index("lagPortActionProfile_add_member_with_setTunnelInfo"), addMember, P4_PD_ACTION_setTunnelInfo, true},
    {index("lagPortActionProfile_modify_member_with_fixL2SubintfAlignment"), modifyMember, P4_PD_ACTION_fixL2SubintfAlignment},
    {index("lagPortActionProfile_modify_member_with_invalidateUcastEgressPort"), modifyMember, P4_PD_ACTION_invalidateUcastEgressPort},
    {index("lagPortActionProfile_modify_member_with_setLagPort"), modifyMember, P4_PD_ACTION_setLagPort},
    {index("lagPortActionProfile_modify_member_with_setPhysicalPort"), modifyMember, P4_PD_ACTION_setPhysicalPort},
    {index("lagPortActionProfile_modify_member_with_setTunnelInfo"), modifyMember, P4_PD_ACTION_setTunnelInfo},
    {index("lagPortActionProfile_del_member"), deleteMember},
    {index("lagPortActionProfile_create_group"), createGroup, 0, true},
    {index("lagPortActionProfile_del_group"), deleteGroup},
    {index("lagPortActionProfile_add_member_to_group"), addToGroup, 0, true},
    {index("lagPortActionProfile_del_member_from_group"), removeFromGroup},
    {index("lagPortActionProfile_group_member_state_set"), setMemberState, 0, true},
};
// clang-format on

constexpr const Row* rowOf(std::size_t operation) noexcept {
    for (const Row& row : kRows)
        if (row.operation == operation)
            return &row;
    return nullptr;
}

/// The rows by operation; null for an operation that changes no chip.
constexpr auto kRowOf = [] {
    std::array<const Row*, pd::kOperations.size()> rows{};
    for (std::size_t i = 0; i < rows.size(); ++i)
        rows[i] = rowOf(i);
    return rows;
}();

static_assert(
    [] {
        for (std::size_t i = 0; i < pd::kOperations.size(); ++i)
            if ((pd::kOperations[i].kind == pd::Kind::change) != (rowOf(i) != nullptr))
                return false;
        return true;
    }(),
    "every operation that changes a chip has one row, and no other has one");

consteval std::uint16_t operationOf(Apply apply, std::uint32_t parameter = 0) {
    for (const Row& row : kRows)
        if (row.apply == apply && row.parameter == parameter)
            return static_cast<std::uint16_t>(row.operation);
    throw "no such change";
}

constexpr std::array kAddMember{
    operationOf(addMember, P4_PD_ACTION_fixL2SubintfAlignment),
    operationOf(addMember, P4_PD_ACTION_invalidateUcastEgressPort),
    operationOf(addMember, P4_PD_ACTION_setLagPort),
    operationOf(addMember, P4_PD_ACTION_setPhysicalPort),
    operationOf(addMember, P4_PD_ACTION_setTunnelInfo),
};

bool isTaken(const Chip& chip, Handle handle) noexcept {
    return chip.profile().members().find(handle) || chip.profile().groups().find(handle) ||
           chip.table().find(handle);
}

bool isOfChip(const Chip& chip, const Change& change) noexcept {
    return change.operation < pd::kOperations.size() && kRowOf[change.operation] &&
           change.scope < chip.scopes();
}

} // namespace

std::optional<Change> changeOf(const pd::CallRecord& record, const Chip& chip,
                               Handle handle) noexcept {
    const pd::Operation& operation = pd::kOperations[record.operation];
    if (operation.kind != pd::Kind::change || record.arguments.nulls != 0)
        return std::nullopt;
    Change change{.operation = static_cast<std::uint16_t>(record.operation), .handle = handle};
    // The first argument is the session.
    std::size_t word = 1;
    std::size_t words = 0;
    for (std::size_t i = 1; i < operation.argumentCount(); ++i) {
        const auto [kind, direction] = pd::kShapes[record.operation][i];
        const std::size_t count = pd::wordsOf(kind);
        if (word + count > pd::ArgumentWords::kMaxWords)
            return std::nullopt;
        const auto first = record.arguments.words.begin() + static_cast<std::ptrdiff_t>(word);
        word += count;
        if (kind == pd::ValueKind::target) {
            const auto scope = chip.scope(static_cast<std::uint16_t>(first[1]));
            if (!scope)
                return std::nullopt;
            change.scope = *scope;
        } else if (kind != pd::ValueKind::device && direction == pd::Direction::in) {
            if (words + count > Change::kMaxWords)
                return std::nullopt;
            std::copy_n(first, count, change.words.begin() + static_cast<std::ptrdiff_t>(words));
            words += count;
        }
    }
    return change;
}

bool apply(Chip& chip, const Change& change) {
    if (!isOfChip(chip, change))
        return false;
    const Row& row = *kRowOf[change.operation];
    chip.handles().nextIs(change.handle);
    return row.apply(chip, change.scope, change.words, row.parameter) == P4_PD_STATUS_SUCCESS;
}

bool restore(Chip& chip, const Change& change) {
    if (change.handle != kNoHandle && isTaken(chip, change.handle))
        return false;
    return apply(chip, change);
}

bool addsToList(std::size_t operation) noexcept {
    return kRowOf[operation] && kRowOf[operation]->adds;
}

// ---- A whole chip

namespace {

using Visit = std::function<void(const Change&)>;

/// Visits the records of a scope in rising order of their handles.
template <class Table, class Function>
void forEach(const Table& table, ScopeIndex scope, const Function& function) {
    for (Handle handle = table.next(scope, kNoHandle); handle != kNoHandle;
         handle = table.next(scope, handle))
        function(handle, *table.find(handle));
}

void listMembers(const Chip& chip, ScopeIndex scope, const Visit& visit) {
    forEach(chip.profile().members(), scope, [&](Handle handle, const Member& member) {
        visit({kAddMember[member.action.id], scope, handle, {member.action.port}});
    });
}

void listGroups(const Chip& chip, ScopeIndex scope, const Visit& visit) {
    constexpr auto create = operationOf(createGroup);
    constexpr auto join = operationOf(addToGroup);
    constexpr auto setState = operationOf(setMemberState);
    forEach(chip.profile().groups(), scope, [&](Handle handle, const Group& group) {
        visit({create, scope, handle, {group.selector.maxSize()}});
        for (const auto& [member, active] : group.selector.memberships()) {
            visit({join, scope, kNoHandle, {handle, member}});
            if (!active)
                visit({setState, scope, kNoHandle, {handle, member, P4_PD_MEMBER_INACTIVE}});
        }
    });
}

void listEntries(const Chip& chip, ScopeIndex scope, const Visit& visit) {
    constexpr std::array setDefaults{operationOf(setDefault, false), operationOf(setDefault, true)};
    constexpr std::array adds{operationOf(addEntry, false), operationOf(addEntry, true)};
    forEach(chip.table().defaults(), scope, [&](Handle handle, const Entry& entry) {
        visit({setDefaults[entry.target.isGroup], scope, handle, {entry.target.handle}});
    });
    forEach(chip.table().entries(), scope, [&](Handle handle, const Entry& entry) {
        const auto& [value, mask, priority] = entry.key;
        visit({adds[entry.target.isGroup],
               scope,
               handle,
               {value, mask, priority, entry.target.handle}});
    });
}

} // namespace

void listChanges(const Chip& chip, const Visit& visit) {
    const auto allPipes = static_cast<ScopeIndex>(chip.scopes() - 1);
    const bool isSinglePipeline = !chip.table().visibleScope(allPipes);
    if (isSinglePipeline)
        visit({operationOf(setProperty),
               allPipes,
               kNoHandle,
               {P4_PD_PROPERTY_ENTRY_SCOPE, P4_PD_SCOPE_SINGLE_PIPELINE}});
    for (ScopeIndex scope = 0; scope < chip.scopes(); ++scope) {
        listMembers(chip, scope, visit);
        listGroups(chip, scope, visit);
        listEntries(chip, scope, visit);
    }
}

} // namespace asic
