#pragma once

#include "framework/NotifieeList.h"
#include "framework/PtrInterface.h"

namespace Kel {

/// The context that runs notifications. There is one: the agent's notification thread.
class KEL_EXPORT Activity {
  public:
    const char* name() const noexcept { return name_; }
    static Activity& notification() noexcept;

  private:
    explicit constexpr Activity(const char* name) noexcept : name_(name) {}
    const char* name_;
};

/// One notification on its way to a notifiee: the attribute that changed and, for a collection,
/// the key of the affected element.
struct ActivityConfig {
    AttributeId attributeId = 0;
    const void* key = nullptr;
};

/**
 * Base of everything that follows another object.
 *
 * Derive from it, override `onAttribute`, then call `notifierIs(object)` and
 * `hasNotificationActiveIs(true)`:
 *
 *     struct Log : Kel::PtrInterface::NotifieeConst {
 *         void onAttribute(Kel::AttributeId id, const void* key) override { ... }
 *     };
 *     Log log;
 *     log.notifierIs(profile);
 *     log.hasNotificationActiveIs(true);
 *
 * The registration holds no reference: when the notifier dies, `notifier()` becomes null. When the
 * notifiee dies, it is unregistered. A notifiee may live on the stack.
 */
class KEL_EXPORT PtrInterface::NotifieeConst : public PtrInterface {
  public:
    using Ptr = Kel::Ptr<NotifieeConst>;
    using PtrConst = Kel::Ptr<NotifieeConst const>;

    ~NotifieeConst() override;

    /// Delivers one notification to this notifiee alone, under the rules of a visit.
    virtual void handleNotification(ActivityConfig* config);
    /// An exception is leaving this notifiee's `onAttribute`. Does nothing unless overridden.
    virtual void onNotificationException();
    /// The notifier has lost its last reference and dies unless a reference is taken here and kept.
    virtual void onZeroReferences();
    /// The notifier's attribute `id` changed. Does nothing unless overridden.
    virtual void onAttribute(AttributeId id, const void* key);
    /// The context in which this notifiee is told.
    virtual Activity* kelFwkActivity() const;
    /// The same, under its other name.
    virtual Activity* actsm() const;
    /// Follows `notifier` from now on, or nothing when it is null. A reactor overrides this to
    /// catch up with its new notifier.
    virtual void notifierIs(const Kel::Ptr<PtrInterface const>& notifier);

    /// Registers on `notifier` in place of the present one; null only unregisters. An object that
    /// announces nothing (without `notifieeList()`) cannot be followed, and counts as null.
    void notifierIs(const PtrInterface* notifier);
    const PtrInterface* notifier() const noexcept { return notifier_; }

    /// Unregisters from the notifier without forgetting it, or registers on it again.
    void isRegisteredNotifieeIs(bool registered);
    bool isRegisteredNotifiee() const noexcept { return isRegistered_; }

    static const Type fwkType_;

    const Type* fwkType() const override;

  protected:
    NotifieeConst() = default;

  private:
    friend class Kel::NotifieeList;

    void forgetNotifier() noexcept;
    void dropNotifier() noexcept;

    const PtrInterface* notifier_ = nullptr;
    /// Where this notifiee stands among the slots of the notifier's list, while it is registered.
    U32 slot_ = 0;
    bool isRegistered_ = false;
    /// Its place among the list's unregistered notifiees otherwise.
    NotifieeConst* nextParked_ = nullptr;
};

} // namespace Kel
