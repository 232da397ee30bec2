#include "BfLagGroup/LagGroupTableHelper.h"

#include <utility>

#include "BfLagGroup/Site.h"

namespace BfLagGroup {

struct LagGroupTableHelper::Attributes {
    using H = LagGroupTableHelper;
    using Table = Kel::AttributeTable<
        H, Kel::ScalarRow<"deviceId", 130, &H::deviceId>,
        Kel::ScalarRow<"devPipeId", 131, &H::devPipeId>,
        Kel::InstanceRow<"sdkHandles", 132, &H::sdkHandles, &H::sdkHandlesIs, &H::sdkHandlesDel>,
        Kel::InstanceRow<"pdLib", 133, &H::pdLib, &H::pdLibIs, &H::pdLibDel>>;
};

constinit const Kel::Type LagGroupTableHelper::fwkType_ =
    Attributes::Table::objectType("BfLagGroup::LagGroupTableHelper", Kel::PtrInterface::fwkType_);

LagGroupTableHelper::LagGroupTableHelper(U8 deviceId, U16 devPipeId)
    : deviceId_(deviceId), devPipeId_(devPipeId) {}

LagGroupTableHelper::~LagGroupTableHelper() {
    sdkHandlesDel();
    pdLibDel();
}

LagGroupTableHelper::Ptr lagGroupTableHelperFactory(U8 deviceId, U16 devPipeId) {
    LagGroupTableHelper::Ptr helper = new LagGroupTableHelper(deviceId, devPipeId);
    helper->hasNotificationActiveIs(true);
    return helper;
}

LagGroupTableHelper::PdLib& LagGroupTableHelper::failWithoutPdLib() {
    constexpr Site kSite{"PdLib& BfLagGroup::LagGroupTableHelper::requiredPdLib() const",
                         "requiredPdLib"};
    fail("pdLib()", kSite);
}

LagGroupTableHandles& LagGroupTableHelper::failWithoutHandles() {
    constexpr Site kSite{"BfLagGroup::LagGroupTableHandles& "
                         "BfLagGroup::LagGroupTableHelper::requiredHandles() const",
                         "requiredHandles"};
    fail("sdkHandles()", kSite);
}

LagGroupTableHandles::Ptr LagGroupTableHelper::sdkHandlesIs() {
    if (!sdkHandles_) {
        sdkHandles_ = lagGroupTableHandlesFactory();
    }
    return sdkHandles_;
}

LagGroupTableHandles::Ptr LagGroupTableHelper::sdkHandlesDel() {
    return std::exchange(sdkHandles_, nullptr);
}

LagGroupTableHelper::PdLib::Ptr LagGroupTableHelper::pdLibIs(const Kel::Name& pdLibName,
                                                             void* dlHandle, U32 sessionId) {
    if (const PdLib::Ptr present = pdLib_) {
        const bool isSame = present->name() == pdLibName;
        present->dlHandleIs(dlHandle);
        present->sessionIdIs(sessionId);
        if (isSame) {
            return present;
        }
        present->parentIs(nullptr); // where an agent has given it one
    }
    PdLib::Ptr made = new PdLib(pdLibName, dlHandle, sessionId);
    made->hasNotificationActiveIs(true);
    pdLib_ = made;
    return made;
}

LagGroupTableHelper::PdLib::Ptr LagGroupTableHelper::pdLibDel() {
    return std::exchange(pdLib_, nullptr);
}

} // namespace BfLagGroup
