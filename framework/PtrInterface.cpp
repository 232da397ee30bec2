#include "framework/PtrInterface.h"

#include <new>

#include "framework/NotifieeList.h"
#include "framework/PrintedObjects.h"
#include "framework/Type.h"

namespace Kel {

bool VFPtrInterface::threadSafePointers_ = false;

constinit const Type PtrInterface::fwkType_{.name = "Kel::PtrInterface",
                                            .kind = Type::Kind::object};

NotifieeList* PtrInterface::notifieeList() const {
    return nullptr;
}

void PtrInterface::hasNotificationActiveIs(bool active) {
    setFlag(kNotificationActiveBit, active);
}

void PtrInterface::handleZeroRef() const {
    // Objects are made non-const; constness is the view of one pointer.
    const_cast<PtrInterface*>(this)->zeroReferencesIs(true);
}

void PtrInterface::zeroReferencesIs(bool zero) {
    if (!zero) {
        return;
    }
    if (NotifieeList* notifiees = notifieeList(); notifiees && notifiees->size() != 0) {
        // Pinned, so that a handler's passing reference does not start zero handling again.
        kelReferenceTake();
        notifiees->visitZeroReferences();
        if (!kelReferenceDrop()) {
            return; // a handler kept a reference: the object lives on
        }
    }
    PrintedObjects::drop(*this);
    // Pinned for good: the destructor may pass the object to code that takes and drops a Ptr.
    kelReferenceTake();
    delete this;
}

const Type* PtrInterface::fwkType() const {
    return &fwkType_;
}

PtrInterface::~PtrInterface() {
    PrintedObjects::drop(*this);
}

void* PtrInterface::kelMemAlloc(std::size_t size) {
    return ::operator new(size);
}

void PtrInterface::kelMemFree(void* memory, std::size_t size) noexcept {
    ::operator delete(memory, size);
}

} // namespace Kel
