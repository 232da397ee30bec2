#pragma once

#include <array>
#include <concepts>
#include <string_view>

#include "framework/Exception.h"
#include "framework/PtrInterface.h"
#include "framework/Type.h"

/**
 * Typed access to attributes by name.
 *
 *     Kel::attributeIs(matchSpec, "priority", Kel::U32{10});
 *     auto port = Kel::attribute<Kel::U16>(actionSpec, "egrL2AintfPort");
 *     auto group = Kel::attribute<LagGroupGroup::Ptr>(profile, "group", RuxTable::RuxGroupId(10));
 *
 * Objects are given by reference or by `Ptr`, plain values by reference; what is const, or behind a
 * pointer to const, can be read but not written. Every value is checked against the attribute table
 * before anything is touched: a value of another type than the attribute's is a `TypeException`, a
 * key that cannot be hashed an `UnhashableException`, an attribute that the class lacks an
 * `UnknownAttributeException`, and an operation that the attribute does not support an
 * `UnsupportedOperationException`. What a mutator throws passes.
 */
namespace Kel {

/// Throws `TypeException`: `attribute` wants a `required`, not a `given`.
[[noreturn]] KEL_EXPORT void throwTypeException(const Attribute& attribute, const Type& required,
                                                const Type& given);
/// Throws `UnhashableException`: `given` cannot be a key of `attribute`.
[[noreturn]] KEL_EXPORT void throwUnhashableException(const Attribute& attribute,
                                                      const Type& given);

namespace GenericIfImpl {

using Kel::throwTypeException;
using Kel::throwUnhashableException;

/// Converts a generic pointer; null stays null, an object of another class is a `TypeException`.
template <class T>
Ptr<T> convertPointer(const Ptr<PtrInterface>& object);

[[noreturn]] KEL_EXPORT void throwConversion(const Type& from, const Type& to);

/// What is accessed: an object or value and its type.
struct Target {
    void* object;
    const Type* type;
};

inline Target target(const PtrInterface& object) {
    return {const_cast<PtrInterface*>(&object), object.fwkType()};
}
template <class T>
Target target(const Ptr<T>& object) {
    if (!object) {
        throw MutatorArgNullPointerException("attribute of a null pointer");
    }
    return target(static_cast<const PtrInterface&>(*object));
}
template <class V>
requires(!std::derived_from<V, PtrInterface> && requires { V::fwkType_; }) Target
    target(const V& value) {
    return {const_cast<V*>(&value), &V::fwkType_};
}

/// A checked call of the generic operation: `given` are the types of the arguments, `resultType`
/// that of the result, or null where none is wanted.
KEL_EXPORT void performChecked(const Target& target, std::string_view name, Operation operation,
                               const Type* resultType, void* result,
                               std::span<const Type* const> given, const void* const* arguments);

template <class Result, class... Arguments>
void perform(const Target& target, std::string_view name, Operation operation, Result* result,
             const Arguments&... arguments) {
    const std::array<const Type*, sizeof...(Arguments)> types{typeOf<Arguments>()...};
    const std::array<const void*, sizeof...(Arguments) + 1> pointers{&arguments..., nullptr};
    const Type* resultType = nullptr;
    if constexpr (!std::is_void_v<Result>) {
        resultType = typeOf<Result>();
    }
    performChecked(target, name, operation, resultType, result, types, pointers.data());
}

template <class Object>
inline constexpr bool kIsConst = std::is_const_v<Object>;
template <class T>
inline constexpr bool kIsConst<Ptr<T>> = std::is_const_v<T>;
template <class T>
inline constexpr bool kIsConst<const Ptr<T>> = std::is_const_v<T>;

/// An object or value whose attributes may be written.
template <class Object>
concept Writable = !kIsConst<std::remove_reference_t<Object>>;

} // namespace GenericIfImpl

/// Reads an attribute; of a collection, the element under a key.
template <class T, class Object, class... Key>
T attribute(const Object& object, std::string_view name, const Key&... key) {
    T result{};
    GenericIfImpl::perform(GenericIfImpl::target(object), name, Operation::read, &result, key...);
    return result;
}

/// Writes an attribute, through its mutator where it has one.
template <GenericIfImpl::Writable Object, class... Value>
void attributeIs(Object&& object, std::string_view name, const Value&... value) {
    GenericIfImpl::perform<void>(GenericIfImpl::target(object), name, Operation::write, nullptr,
                                 value...);
}

/// Deletes the element under a key, or what an instantiating attribute holds.
template <GenericIfImpl::Writable Object, class... Key>
void attributeDel(Object&& object, std::string_view name, const Key&... key) {
    GenericIfImpl::perform<void>(GenericIfImpl::target(object), name, Operation::remove, nullptr,
                                 key...);
}

/// Number of elements of a collection.
template <class Object>
U32 attributeCount(const Object& object, std::string_view name) {
    U32 result = 0;
    GenericIfImpl::perform(GenericIfImpl::target(object), name, Operation::count, &result);
    return result;
}

/// Whether a collection has an element under the key.
template <class Object, class Key>
bool attributeHas(const Object& object, std::string_view name, const Key& key) {
    bool result = false;
    GenericIfImpl::perform(GenericIfImpl::target(object), name, Operation::contains, &result, key);
    return result;
}

/// Calls a function attribute.
template <class T, class Object, class... Argument>
T attributeCall(const Object& object, std::string_view name, const Argument&... argument) {
    T result{};
    GenericIfImpl::perform(GenericIfImpl::target(object), name, Operation::call, &result,
                           argument...);
    return result;
}

template <class T>
Ptr<T> GenericIfImpl::convertPointer(const Ptr<PtrInterface>& object) {
    if (!object) {
        return nullptr;
    }
    Ptr<T> converted = dynamicPtrCast<T>(object);
    if (!converted) {
        throwConversion(*object->fwkType(), *typeOf<std::remove_const_t<T>>());
    }
    return converted;
}

} // namespace Kel
