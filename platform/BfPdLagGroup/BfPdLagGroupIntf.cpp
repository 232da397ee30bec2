#include "platform/BfPdLagGroup/BfPdLagGroupIntf.h"

#include <dlfcn.h>
#include <link.h>

#include "platform/BfPdLagGroup/Tracing.h"

namespace BfPdLagGroup {

Kel::TraceHandle traceHandle("BfLagGroup", false);

struct BfPdLagGroupIntf::Attributes {
    using Table = Kel::EntityAttributeTable<
        BfPdLagGroupIntf,
        Kel::ScalarRow<"dlHandle", 258, &BfPdLagGroupIntf::dlHandle, &BfPdLagGroupIntf::dlHandleIs>,
        Kel::ScalarRow<"sessionId", 259, &BfPdLagGroupIntf::sessionId,
                       &BfPdLagGroupIntf::sessionIdIs>>;
};

constinit const Kel::Type BfPdLagGroupIntf::fwkType_ =
    Attributes::Table::objectType("BfPdLagGroup::BfPdLagGroupIntf", Kel::Entity::fwkType_);

namespace {

/// Whether the handle is that of a library which is open now. `dlsym` reads what a handle points
/// at, so a stale one must not get there. A handle is the address of the library's link map.
bool isOpenLibrary(const void* handle) noexcept {
    void* const program = dlopen(nullptr, RTLD_LAZY);
    bool isOpen = false;
    for (auto* map = static_cast<const link_map*>(program); map && !isOpen; map = map->l_next) {
        isOpen = map == handle;
    }
    if (program) {
        dlclose(program);
    }
    return isOpen;
}

} // namespace

void traceMissing(const char* name) {
    Kel::tracePoint(traceHandle, 8, "platform/BfPdLagGroup/BfPdLagGroupIntf", __LINE__,
                    "traceMissing", "the PD library lacks ", name);
}

BfPdLagGroupIntf::BfPdLagGroupIntf(Kel::Name pdLibName, void* dlHandle, Kel::U32 sessionId)
    : Object(std::move(pdLibName)), dlHandle_(dlHandle), sessionId_(sessionId) {
    resolve();
}

void BfPdLagGroupIntf::dlHandleIs(void* dlHandle) {
    const bool isChanged = dlHandle != dlHandle_;
    dlHandle_ = dlHandle;
    resolve();
    if (isChanged) {
        notifiees_.visit(258);
    }
}

void BfPdLagGroupIntf::sessionIdIs(Kel::U32 sessionId) {
    if (sessionId != sessionId_) {
        sessionId_ = sessionId;
        notifiees_.visit(259);
    }
}

void BfPdLagGroupIntf::resolve() noexcept {
    void* const library = dlHandle_ ? dlHandle_ : RTLD_DEFAULT;
    const bool isUsable = !dlHandle_ || isOpenLibrary(dlHandle_);
    forEach([&](auto& operation) {
        operation.functionIs(isUsable ? dlsym(library, operation.name()) : nullptr);
    });
}

} // namespace BfPdLagGroup
