#include "asic/ActionProfile.h"

namespace asic {

Status ActionProfile::addMember(ScopeIndex scope, const Action& action, Handle* member) {
    return members_.add(Member{scope, action}, member);
}

Status ActionProfile::modifyMember(Handle member, const Action& action) noexcept {
    Member* const record = members_.find(member);
    if (!record) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    record->action = action;
    return P4_PD_STATUS_SUCCESS;
}

Status ActionProfile::deleteMember(Handle member) noexcept {
    const Member* const record = members_.find(member);
    if (!record) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    if (record->users != 0) {
        return P4_PD_STATUS_IN_USE;
    }
    members_.erase(member);
    return P4_PD_STATUS_SUCCESS;
}

Status ActionProfile::createGroup(ScopeIndex scope, std::uint16_t maxSize, Handle* group) {
    if (maxSize == 0 || maxSize > groupSizeLimit_) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    return groups_.add(Group{scope, SelectorGroup(maxSize)}, group);
}

Status ActionProfile::deleteGroup(Handle group) noexcept {
    const Group* const record = groups_.find(group);
    if (!record) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    if (record->users != 0) {
        return P4_PD_STATUS_IN_USE;
    }
    for (const auto& membership : record->selector.memberships()) {
        --members_.find(membership.member)->users;
    }
    groups_.erase(group);
    return P4_PD_STATUS_SUCCESS;
}

Status ActionProfile::addToGroup(Handle group, Handle member) {
    Group* const groupRecord = groups_.find(group);
    Member* const memberRecord = members_.find(member);
    if (!groupRecord || !memberRecord) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    if (groupRecord->scope != memberRecord->scope) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    if (groupRecord->selector.find(member)) {
        return P4_PD_STATUS_ALREADY_EXISTS;
    }
    if (groupRecord->selector.full()) {
        return P4_PD_STATUS_NO_SPACE;
    }
    groupRecord->selector.add(member);
    ++memberRecord->users;
    return P4_PD_STATUS_SUCCESS;
}

Status ActionProfile::removeFromGroup(Handle group, Handle member) noexcept {
    Group* const record = groups_.find(group);
    if (!record || !record->selector.find(member)) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    record->selector.remove(member);
    --members_.find(member)->users;
    return P4_PD_STATUS_SUCCESS;
}

Status ActionProfile::setMemberState(Handle group, Handle member, std::uint32_t state) noexcept {
    if (state != P4_PD_MEMBER_ACTIVE && state != P4_PD_MEMBER_INACTIVE) {
        return P4_PD_STATUS_INVALID_ARG;
    }
    Group* const record = groups_.find(group);
    if (!record || !record->selector.find(member)) {
        return P4_PD_STATUS_OBJ_NOT_FOUND;
    }
    record->selector.activeIs(member, state == P4_PD_MEMBER_ACTIVE);
    return P4_PD_STATUS_SUCCESS;
}

Status ActionProfile::checkTarget(ScopeIndex scope, Target target) const noexcept {
    const auto check = [scope](const auto* record) -> Status {
        if (!record) {
            return P4_PD_STATUS_OBJ_NOT_FOUND;
        }
        return record->scope == scope ? P4_PD_STATUS_SUCCESS : P4_PD_STATUS_INVALID_ARG;
    };
    return target.isGroup ? check(groups_.find(target.handle))
                          : check(members_.find(target.handle));
}

std::uint32_t& ActionProfile::users(Target target) noexcept {
    return target.isGroup ? groups_.find(target.handle)->users
                          : members_.find(target.handle)->users;
}

} // namespace asic
