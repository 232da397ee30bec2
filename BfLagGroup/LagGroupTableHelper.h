#pragma once

#include "BfLagGroup/LagGroupTableHandles.h"
#include "platform/BfPdLagGroup/BfPdLagGroupIntf.h"

namespace BfLagGroup {

/**
 * What the match table and the action profile's state machine need to touch the chip: the device,
 * the pipe, the PD interface object and the handle maps. One per table, shared by both.
 *
 * Nothing here calls the chip or throws of its own. Destruction releases the maps, then the
 * interface object, and removes nothing from hardware.
 */
class KEL_EXPORT LagGroupTableHelper : public Kel::Object<LagGroupTableHelper, Kel::PtrInterface> {
  public:
    using PdLib = BfPdLagGroup::BfPdLagGroupIntf;

    /// `devPipeId` that means all pipes.
    static constexpr U16 kAllPipes = 0xFFFF;

    LagGroupTableHelper(U8 deviceId, U16 devPipeId);
    ~LagGroupTableHelper() override;

    U8 deviceId() const noexcept { return deviceId_; }
    U16 devPipeId() const noexcept { return devPipeId_; }
    /// Device and pipe as PD calls take them.
    p4_pd_dev_target_t deviceTarget() const noexcept { return {deviceId_, devPipeId_}; }

    /// What the driver works with once both attributes are set; a missing one is a fatal assertion.
    PdLib& requiredPdLib() const { return pdLib_ ? *pdLib_ : failWithoutPdLib(); }
    LagGroupTableHandles& requiredHandles() const {
        return sdkHandles_ ? *sdkHandles_ : failWithoutHandles();
    }

    /// The handle maps; null before `sdkHandlesIs()`.
    const LagGroupTableHandles::Ptr& sdkHandles() const noexcept { return sdkHandles_; }
    /// The handle maps, made when there are none yet; never replaced.
    LagGroupTableHandles::Ptr sdkHandlesIs();
    /// Clears the attribute and returns what it held.
    LagGroupTableHandles::Ptr sdkHandlesDel();

    /// The PD interface object; null before `pdLibIs()`.
    const PdLib::Ptr& pdLib() const noexcept { return pdLib_; }
    /**
     * Binds the PD library. The interface object in place is refreshed with `dlHandle` and
     * `sessionId` whatever the name, since it may still be in somebody's hands; if its name is
     * another one, it is then detached from its parent and replaced.
     */
    PdLib::Ptr pdLibIs(const Kel::Name& pdLibName, void* dlHandle, U32 sessionId);
    PdLib::Ptr pdLibDel();

    static const Kel::Type fwkType_;

  private:
    struct Attributes;

    [[noreturn]] static PdLib& failWithoutPdLib();
    [[noreturn]] static LagGroupTableHandles& failWithoutHandles();

    U8 deviceId_;
    U16 devPipeId_;
    LagGroupTableHandles::Ptr sdkHandles_;
    PdLib::Ptr pdLib_;
};

/// A helper with both pointers null and notifications on.
KEL_EXPORT LagGroupTableHelper::Ptr lagGroupTableHelperFactory(U8 deviceId, U16 devPipeId);

} // namespace BfLagGroup
