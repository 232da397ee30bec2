#include "agent/restart/Step.h"

#include "agent/ValueType.h"

namespace LagAgent {

using Kind = Step::Kind;

namespace {

std::string entryOperation(const Step& step) {
    const std::string what = !step.entry ? "set_default" : step.isNew ? "add" : "modify";
    return "lagGroup_" + what + (step.isToGroup ? "_entry_with_selector" : "_entry");
}

std::string memberOperation(const Step& step) {
    return std::string("lagPortActionProfile_") + (step.isNew ? "add" : "modify") +
           "_member_with_" + actionNames().at(step.action);
}

} // namespace

std::string operationOf(const Step& step) {
    switch (step.kind) {
    case Kind::memberSet:
    case Kind::voidMake:
        return memberOperation(step);
    case Kind::groupMake:
        return "lagPortActionProfile_create_group";
    case Kind::groupJoin:
        return "lagPortActionProfile_add_member_to_group";
    case Kind::oldIdle:
    case Kind::groupIdle:
        return "lagPortActionProfile_group_member_state_set";
    case Kind::entryPoint:
    case Kind::entryPark:
    case Kind::entryVoid:
        return entryOperation(step);
    case Kind::entryRemove:
        return step.entry ? "lagGroup_table_delete" : "lagGroup_table_reset_default_entry";
    case Kind::groupRemove:
        return "lagPortActionProfile_del_group";
    case Kind::voidRemove:
    case Kind::memberRemove:
        return "lagPortActionProfile_del_member";
    case Kind::kCount:
        break;
    }
    return {};
}

std::string objectOf(const Step& step) {
    const auto group = nameOf(RuxTable::RuxGroupId(step.id));
    const auto member = nameOf(RuxTable::RuxMemberId(step.member));
    const auto handle = std::to_string(step.handle);
    switch (step.kind) {
    case Kind::oldIdle:
        return "chip group " + handle + ": chip member " + std::to_string(step.chipMember);
    case Kind::memberSet:
        return nameOf(RuxTable::RuxMemberId(step.id));
    case Kind::groupMake:
        return group;
    case Kind::groupJoin:
    case Kind::groupIdle:
        return group + ": " + member;
    case Kind::entryPoint:
        return nameOf(step.entry);
    case Kind::entryPark:
        return nameOf(step.entry) + ": " + member + " for a while";
    case Kind::entryVoid:
        return nameOf(step.entry) + ": nowhere for a while";
    case Kind::voidMake:
    case Kind::voidRemove:
        return "a member that sends nowhere";
    case Kind::entryRemove:
        return "chip entry " + handle;
    case Kind::groupRemove:
        return "chip group " + handle;
    case Kind::memberRemove:
        return "chip member " + handle;
    case Kind::kCount:
        break;
    }
    return {};
}

} // namespace LagAgent
