#pragma once

#include "framework/Entity.h"
#include "platform/BfPdLagGroup/PdOperations.h"

namespace BfPdLagGroup {

/**
 * The PD interface object: the one road from the driver to the chip.
 *
 * It is an entity named after the PD library. The operations of `PdOperations` are its callables:
 *
 *     pdLib->p4_pd_velmor_switch_lagGroup_table_delete(pdLib->sessionId(), device, handle);
 *
 * They are resolved by name from the library handle whenever the handle is set; a null handle means
 * the process's own symbols, and a handle of no open library resolves nothing. The handle is
 * borrowed: its owner keeps the library open for as long as this object has it.
 */
class KEL_EXPORT BfPdLagGroupIntf : public Kel::Object<BfPdLagGroupIntf, Kel::Entity>,
                                    public PdOperations {
  public:
    BfPdLagGroupIntf(Kel::Name pdLibName, void* dlHandle, Kel::U32 sessionId);

    void* dlHandle() const noexcept { return dlHandle_; }
    Kel::U32 sessionId() const noexcept { return sessionId_; }

    /// Resolves every operation anew, also when the handle is the one it has: the library behind
    /// it may have been opened again.
    void dlHandleIs(void* dlHandle);
    void sessionIdIs(Kel::U32 sessionId);

    static const Kel::Type fwkType_;

  private:
    struct Attributes;
    void resolve() noexcept;

    void* dlHandle_;
    Kel::U32 sessionId_;
};

} // namespace BfPdLagGroup
