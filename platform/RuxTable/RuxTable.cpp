#include "platform/RuxTable/RuxTable.h"

#include "framework/PtrInterface.h"
#include "framework/ValueString.h"

namespace RuxTable {

namespace {

template <class Id>
constexpr Kel::Type wordType(const char* name) {
    return Kel::Type{.name = name,
                     .kind = Kel::Type::Kind::builtin,
                     .hashable = true,
                     .valueString = [](const void* value) {
                         return Kel::valueToStrep(static_cast<const Id*>(value)->value());
                     }};
}

} // namespace

constinit const Kel::Type RuxMemberId::fwkType_ = wordType<RuxMemberId>("RuxTable::RuxMemberId");
constinit const Kel::Type RuxGroupId::fwkType_ = wordType<RuxGroupId>("RuxTable::RuxGroupId");
constinit const Kel::Type RuxSdkEntryHandle::fwkType_ =
    wordType<RuxSdkEntryHandle>("RuxTable::RuxSdkEntryHandle");
constinit const Kel::Type RuxSdkMemberHandle::fwkType_ =
    wordType<RuxSdkMemberHandle>("RuxTable::RuxSdkMemberHandle");
constinit const Kel::Type RuxSdkGroupHandle::fwkType_ =
    wordType<RuxSdkGroupHandle>("RuxTable::RuxSdkGroupHandle");
constinit const Kel::Type MatchSpecBase::fwkType_{.name = "RuxTable::MatchSpecBase",
                                                  .kind = Kel::Type::Kind::object,
                                                  .base = &Kel::PtrInterface::fwkType_};

namespace {

[[maybe_unused]] const bool kRegistered = [] {
    for (const Kel::Type* type :
         {&RuxMemberId::fwkType_, &RuxGroupId::fwkType_, &RuxSdkEntryHandle::fwkType_,
          &RuxSdkMemberHandle::fwkType_, &RuxSdkGroupHandle::fwkType_, &MatchSpecBase::fwkType_}) {
        Kel::typeNodeIs(*type);
    }
    return true;
}();

} // namespace

} // namespace RuxTable
