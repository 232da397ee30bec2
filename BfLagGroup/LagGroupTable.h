#pragma once

#include "BfLagGroup/LagGroupTableHelper.h"
#include "BfLagGroup/LagGroupTableValues.h"
#include "platform/MbbGlimtKey/GlimtKeyManager.h"
#include "platform/RuxTableStatusManager/StatusManager.h"

namespace BfLagGroup {

/**
 * The driver of the match table "lagGroup". Agents make it with
 * `lagGroupTableFactory`, which also sets its scope and restores it.
 *
 * Each request becomes one PD call. The table keeps the handle of every entry (in the helper's
 * `sdkHandles`), but no copy of what an entry points at: the chip is the only record of that, and
 * `entry()` reads it back.
 *
 * An entry is known by its match-spec object; keep that object to change or delete the entry. The
 * entry whose match is the object in `defaultMatchSpec()` is the table's default entry; another
 * match spec with all fields zero is an ordinary key.
 *
 * Caller's order: a member or group must have its hardware handle (through the action profile)
 * before an entry points at it. A missing handle is a fatal assertion. A refused PD call is thrown
 * as an exception of namespace `BfTable`.
 *
 * Destruction removes nothing from hardware.
 */
class KEL_EXPORT LagGroupTable : public Kel::Object<LagGroupTable, Kel::Entity> {
  public:
    using GlimtKeyManager = MbbGlimtKey::GlimtKeyManager;
    using StatusManager = RuxTableStatusManager::StatusManager;

    static constexpr Kel::AttributeId kDefaultMatchSpec = 262;

    /// `glimtKeyManager` and `statusManager` may be null: then no keys are allocated, or no status
    /// is kept.
    LagGroupTable(LagGroupTableHelper::Ptr helper, GlimtKeyManager::Ptr glimtKeyManager,
                  StatusManager::Ptr statusManager);
    ~LagGroupTable() override;

    const LagGroupTableHelper::Ptr& helper() const noexcept { return helper_; }
    const GlimtKeyManager::Ptr& glimtKeyManager() const noexcept { return glimtKeyManager_; }
    const StatusManager::Ptr& statusManager() const noexcept { return statusManager_; }
    /// Always false: all hardware access goes through the PD interface.
    bool useBfRt() const noexcept { return useBfRt_; }

    /// The match spec that stands for the default entry.
    const LagGroupMatchSpec::Ptr& defaultMatchSpec() const noexcept { return defaultMatchSpec_; }
    /// The same, made with all fields zero when there is none.
    LagGroupMatchSpec::Ptr defaultMatchSpecIs();
    /// Clears the attribute and returns what it held.
    LagGroupMatchSpec::Ptr defaultMatchSpecDel();

    /**
     * Adds the entry, or repoints it when its key is present. The default entry is set anew each
     * time.
     *
     * When an add fails, no handle is stored, while the key manager's key stays reserved; when a
     * change fails, the entry stays as it was.
     *
     * REQUIRES: `entry.match()` is not null; the member or group has a handle. A value that is
     * neither member nor group counts as group 0.
     */
    void entryIs(const LagGroupTableEntry& entry);

    /// Removes the entry; for the default entry, restores the table's built-in one. Always returns
    /// an empty entry. When the chip refuses, the handle stays. REQUIRES: the key is present.
    LagGroupTableEntry entryDel(const LagGroupMatchSpec::PtrConst& match);

    /// The entry as the chip has it; empty when the key is absent or the read fails.
    /// REQUIRES: `match` is not null.
    LagGroupTableEntry entry(const LagGroupMatchSpec::PtrConst& match) const;

    /**
     * The entry of a handle as the chip has it; empty when the read fails. Its match is a new
     * object with value and mask, and priority 0 whatever the chip says. What it points at is found
     * by a linear search through the handle maps; it is empty (id 0, no member) when they do not
     * know it.
     */
    LagGroupTableEntry entryByHandle(RuxTable::RuxSdkEntryHandle handle) const;

    static const Kel::Type fwkType_;

  private:
    struct Attributes;

    LagGroupTableHandles& handles() const { return helper_->requiredHandles(); }

    LagGroupTableHelper::Ptr helper_;
    GlimtKeyManager::Ptr glimtKeyManager_;
    StatusManager::Ptr statusManager_;
    bool useBfRt_ = false;
    LagGroupMatchSpec::Ptr defaultMatchSpec_;
};

} // namespace BfLagGroup
