#pragma once

#include <utility>

#include "BfLagGroup/Words.h"
#include "framework/Kel.h"

namespace BfLagGroup {

/**
 * What the state machine's reactors have in common: a counted hold on the model object that they
 * follow, the `initialized` flag, and the frame of the zombie pass.
 *
 * A reactor lives from its construction, which is its first hardware action, until it is marked for
 * deletion, which is its last. It is marked by its owner, or by its own destructor; a reactor
 * without owner has nothing left to do in hardware.
 *
 * `fwkType()` of a reactor is the framework's type of all notifiees, as reactor classes are not
 * registered. Their own `fwkType_` is for attribute tables, which must tell apart what collections
 * of reactors hold.
 *
 * `Model` may be const; a reactor that writes to its model has a mutable one.
 */
template <class Self, class Model>
class KEL_EXPORT Reactor : public Kel::Tracked<Self, Kel::PtrInterface::NotifieeConst> {
    using Notifiee = Kel::PtrInterface::NotifieeConst;

  public:
    /// The model object that the reactor follows; null when there is none.
    const Kel::Ptr<Model>& model() const noexcept { return model_; }

    /// For whoever wants to mark a reactor; the driver itself neither sets nor reads it.
    void initializedIs(bool initialized) noexcept { initialized_ = initialized; }
    bool initialized() const noexcept { return initialized_; }

  protected:
    explicit Reactor(const Kel::Ptr<Model>& model) : model_(model) {
        Notifiee::notifierIs(model_.ptr());
    }

    ~Reactor() override {
        // Releasing the model may end its life, and that is announced: not to a half-dead reactor.
        Notifiee::notifierIs(static_cast<const Kel::PtrInterface*>(nullptr));
    }

    /// The zombie pass of a destructor. `Self` is still whole; whoever it is handed to may take and
    /// drop references.
    void zombiePassOfDestructor() {
        this->kelReferenceTake();
        static_cast<Self*>(this)->Self::kelDoZombieReactors(true);
    }

    /// Follows another model object, or null when `notifier` is of another class; then runs
    /// `catchUp` and registers again, in case a handler has unregistered the reactor meanwhile.
    template <class CatchUp>
    void retarget(const Kel::Ptr<Kel::PtrInterface const>& notifier, CatchUp&& catchUp) {
        // Objects are made non-const; constness is the view of one pointer.
        const Kel::Ptr<Model> next(const_cast<Model*>(dynamic_cast<const Model*>(notifier.ptr())));
        if (next == model_) {
            return;
        }
        const Kel::Pin pin(*this); // who is told while it catches up may let go of it
        const Kel::Ptr<Model> previous = std::exchange(model_, next);
        Notifiee::notifierIs(model_.ptr());
        catchUp();
        this->isRegisteredNotifieeIs(true);
    }

    /**
     * One zombie pass: unless the marked-for-deletion flag has the value already, switches the
     * notifications to its opposite (where `switchesNotifications`), runs `retire`, and sets the
     * flag. When `retire` throws, the flag stays as it was.
     */
    template <class Retire>
    void zombiePass(bool zombie, bool switchesNotifications, Retire&& retire) {
        if (this->kelMarkedForDeletion() == zombie) {
            return;
        }
        if (switchesNotifications) {
            this->hasNotificationActiveIs(!zombie);
        }
        const Kel::Ptr<Self> self(static_cast<Self*>(this));
        retire(self);
        this->kelMarkedForDeletionIs(zombie);
    }

  private:
    Kel::Ptr<Model> model_;
    bool initialized_ = false;
};

/**
 * Retires a reactor that has left its collection: its zombie pass does the last hardware action,
 * and it is detached, also when that action fails. So nothing is retried later: the reactor's
 * destructor finds no owner.
 */
template <class R>
void retireAndDetach(R& reactor) {
    struct Detach {
        R& reactor;
        ~Detach() {
            reactor.ownerDel();
            reactor.hasNotificationActiveIs(false);
        }
    };
    const Detach detach{reactor};
    reactor.kelDoZombieReactors(true);
}

/// A keyed collection of reactors. Those that it still holds when it dies lose their owner first,
/// so that no destructor reaches an owner that is gone.
template <class R, class Key, U32 kSeed>
class OwnedReactors : public Kel::HashMap<R, Key, kSeed> {
  public:
    ~OwnedReactors() { ownerDelAll(); }

    void ownerDelAll() {
        for (auto& reactor : *this) {
            reactor->ownerDel();
        }
    }
};

/**
 * Makes the reactors of a collection agree with the model: `is(element)` for every element, then
 * `del(key)` for every reactor whose key `isInModel` does not know.
 */
template <class Elements, class Reactors, class Is, class Del, class IsInModel>
void followAll(const Elements& elements, const Reactors& reactors, Is&& is, Del&& del,
               IsInModel&& isInModel) {
    for (auto& element : elements) {
        is(element);
    }
    for (auto& reactor : reactors) {
        if (const auto key = reactor->fwkKey(); !isInModel(key)) {
            del(key);
        }
    }
}

} // namespace BfLagGroup

template <class R, class Key, Kel::U32 kSeed>
struct Kel::CollectionTraits<BfLagGroup::OwnedReactors<R, Key, kSeed>>
    : Kel::CollectionTraits<Kel::HashMap<R, Key, kSeed>> {};
