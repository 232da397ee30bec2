#include "BfLagGroup/LagGroupActionProfileSm.h"
#include "BfLagGroup/LagGroupTable.h"

namespace BfLagGroup {

namespace {

/// Every type of the library, in the order in which the framework gets to know them.
constexpr const Kel::Type* kTypes[] = {
    &LagGroupBaseActionProfileSpec::fwkType_,
    &LagGroupTableHelper::fwkType_,
    &LagGroupActionProfile::fwkType_,
    &LagGroupActionProfileEntry::fwkType_,
    &LagGroupMatchSpec::fwkType_,
    &InvalidateUcastEgressPortActionProfileSpec::fwkType_,
    &SetPhysicalPortActionProfileSpec::fwkType_,
    &LagGroupMember::fwkType_,
    &SetTunnelInfoActionProfileSpec::fwkType_,
    &LagGroupActionProfileSm::fwkType_,
    &LagGroupTable::fwkType_,
    &lagGroupActionProfileTypeFwkType,
    &LagGroupTableEntry::fwkType_,
    &LagGroupTableHandles::fwkType_,
    &LagGroupGroup::fwkType_,
    &LagGroupMemberOrGroupOrNone::fwkType_,
    &SetLagPortActionProfileSpec::fwkType_,
    &FixL2SubintfAlignmentActionProfileSpec::fwkType_,
};

/// Runs when the library is loaded, before anyone can make an object of it.
[[maybe_unused]] const bool kRegistered = [] {
    for (const Kel::Type* type : kTypes) {
        Kel::typeNodeIs(*type);
    }
    return true;
}();

} // namespace

} // namespace BfLagGroup
