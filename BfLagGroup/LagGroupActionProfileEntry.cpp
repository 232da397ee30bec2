#include "BfLagGroup/LagGroupActionProfileEntry.h"

namespace BfLagGroup {

struct LagGroupActionProfileEntry::Attributes {
    using E = LagGroupActionProfileEntry;
    using Table =
        Kel::EntityAttributeTable<E, Kel::ScalarRow<"memberId", 258, &E::memberId>,
                                  Kel::ScalarRow<"action", E::kAction, &E::action, &E::actionIs>>;
    static constexpr const char* constructorParameters[] = {"memberId", "actionCtor"};
};

constinit const Kel::Type LagGroupActionProfileEntry::fwkType_ =
    Attributes::Table::objectType("BfLagGroup::LagGroupActionProfileEntry", Kel::Entity::fwkType_,
                                  Attributes::constructorParameters);

LagGroupActionProfileEntry::LagGroupActionProfileEntry(RuxTable::RuxMemberId memberId,
                                                       const Action& action)
    : Object(memberId.value()), memberId_(memberId), action_(action) {}

LagGroupActionProfileEntry::~LagGroupActionProfileEntry() {
    notifiees_.deleteAll();
}

void LagGroupActionProfileEntry::actionIs(const Action& action) {
    if (action != action_) {
        action_ = action;
        notifiees_.visit(kAction);
    }
}

} // namespace BfLagGroup
