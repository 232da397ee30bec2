#include "BfLagGroup/LagGroupMember.h"

namespace BfLagGroup {

struct LagGroupMember::Attributes {
    using M = LagGroupMember;
    using Table =
        Kel::EntityAttributeTable<M, Kel::ScalarRow<"memberId", 258, &M::memberId>,
                                  Kel::ScalarRow<"active", M::kActive, &M::active, &M::activeIs>>;
    static constexpr const char* constructorParameters[] = {"memberId"};
};

constinit const Kel::Type LagGroupMember::fwkType_ = Attributes::Table::objectType(
    "BfLagGroup::LagGroupMember", Kel::Entity::fwkType_, Attributes::constructorParameters);

LagGroupMember::LagGroupMember(RuxTable::RuxMemberId memberId)
    : Object(memberId.value()), memberId_(memberId) {}

LagGroupMember::~LagGroupMember() {
    notifiees_.deleteAll();
}

void LagGroupMember::activeIs(bool active) {
    if (active != active_) {
        active_ = active;
        notifiees_.visit(kActive);
    }
}

} // namespace BfLagGroup
