#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <functional>
#include <utility>

namespace Kel {

/**
 * A counted pointer to an object derived from `PtrInterface`; may be null.
 *
 * Copying takes a reference, destruction drops one, moving touches no count. Dropping the last
 * reference runs the object's `handleZeroRef()`. A `Ptr` converts from a raw pointer (taking a
 * reference), so a new object is simply `Ptr<T> object = new T(...)`.
 *
 * Comparison and hashing go by the address, never by what the object holds.
 */
template <class T>
class Ptr {
  public:
    using element_type = T;

    constexpr Ptr() noexcept = default;
    constexpr Ptr(std::nullptr_t) noexcept {}
    Ptr(T* object) noexcept : object_(object) { take(); }
    Ptr(const Ptr& other) noexcept : object_(other.object_) { take(); }
    Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}

    template <class U>
    requires(!std::same_as<U, T> && std::convertible_to<U*, T*>) Ptr(const Ptr<U>& other)
    noexcept : object_(other.ptr()) { take(); }
    template <class U>
    requires(!std::same_as<U, T> && std::convertible_to<U*, T*>) Ptr(Ptr<U>&& other)
    noexcept : object_(other.detach()) {}

    ~Ptr() { drop(); }

    Ptr& operator=(const Ptr& other) noexcept {
        Ptr(other).swap(*this);
        return *this;
    }
    Ptr& operator=(Ptr&& other) noexcept {
        // In this order also for an object that is moved to itself.
        T* const taken = std::exchange(other.object_, nullptr);
        const Ptr before = adopt(std::exchange(object_, taken));
        return *this;
    }

    T* ptr() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }

    void swap(Ptr& other) noexcept { std::swap(object_, other.object_); }

    /// Hands the held reference to the caller and becomes null. The counterpart of `adopt`.
    [[nodiscard]] T* detach() noexcept { return std::exchange(object_, nullptr); }

    /// A pointer that takes over a reference which the caller already holds.
    [[nodiscard]] static Ptr adopt(T* object) noexcept {
        Ptr adopted;
        adopted.object_ = object;
        return adopted;
    }

  private:
    void take() const noexcept {
        if (object_) {
            object_->kelReferenceTake();
        }
    }
    void drop() const noexcept {
        if (object_ && object_->kelReferenceDrop()) {
            object_->handleZeroRef();
        }
    }

    T* object_ = nullptr;
};

template <class T, class U>
requires std::equality_comparable_with<T*, U*>
bool operator==(const Ptr<T>& a, const Ptr<U>& b) noexcept {
    return a.ptr() == b.ptr();
}
template <class T, class U>
requires std::equality_comparable_with<T*, U*>
bool operator==(const Ptr<T>& a, U* b) noexcept {
    return a.ptr() == b;
}
template <class T>
bool operator==(const Ptr<T>& a, std::nullptr_t) noexcept {
    return a.ptr() == nullptr;
}

/// Converts down the class tree; null when the object is of another class, or null itself.
template <class T, class U>
Ptr<T> dynamicPtrCast(const Ptr<U>& from) {
    return Ptr<T>(dynamic_cast<T*>(from.ptr()));
}

} // namespace Kel

template <class T>
struct std::hash<Kel::Ptr<T>> {
    std::size_t operator()(const Kel::Ptr<T>& p) const noexcept { return std::hash<T*>{}(p.ptr()); }
};
