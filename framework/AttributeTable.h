#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <tuple>
#include <utility>

#include "framework/Collection.h"
#include "framework/PtrInterface.h"
#include "framework/Type.h"

/**
 * Declarative attribute tables.
 *
 * A class lists its attributes, one line each: name, id, accessor, mutator.
 *
 *     struct LagGroupMember::Attributes {
 *         using Table = Kel::EntityAttributeTable<LagGroupMember,
 *             Kel::ScalarRow<"memberId", 258, &LagGroupMember::memberId>,
 *             Kel::ScalarRow<"active", 259, &LagGroupMember::active, &LagGroupMember::activeIs>>;
 *     };
 *
 * The table yields the attribute records, the generic attribute operation and the iterator factory
 * of the class. The listing struct is nested in the class, so that rows may name private members.
 */
namespace Kel {

/// A string literal as a template argument.
template <std::size_t kSize>
struct Literal {
    char text[kSize];
    consteval Literal(const char (&literal)[kSize]) { std::copy_n(literal, kSize, text); }
};

namespace Impl {

/// Result and decayed argument types of a member function.
template <class Function>
struct Signature;
template <class R, class C, class... A>
struct Signature<R (C::*)(A...)> {
    using Result = std::remove_cvref_t<R>;
    using Arguments = std::tuple<std::remove_cvref_t<A>...>;
};
template <class R, class C, class... A>
struct Signature<R (C::*)(A...) const> : Signature<R (C::*)(A...)> {};
template <class R, class C, class... A>
struct Signature<R (C::*)(A...) noexcept> : Signature<R (C::*)(A...)> {};
template <class R, class C, class... A>
struct Signature<R (C::*)(A...) const noexcept> : Signature<R (C::*)(A...)> {};

template <class Field>
struct FieldType;
template <class T, class C>
struct FieldType<T C::*> {
    using Type = T;
};

template <class... T>
struct TypeArray {
    static constexpr std::array<const Type*, sizeof...(T)> types{TypeOf<T>::type...};
};
template <class Tuple>
struct TypesOfTuple;
template <class... T>
struct TypesOfTuple<std::tuple<T...>> : TypeArray<T...> {};

/// The types that a call of the mutator `kFunction` takes; none where there is no mutator.
template <auto kFunction>
constexpr std::span<const Type* const> argumentTypes() {
    if constexpr (std::is_same_v<decltype(kFunction), std::nullptr_t>) {
        return {};
    } else {
        return TypesOfTuple<typename Signature<decltype(kFunction)>::Arguments>::types;
    }
}

template <class T>
void store(void* result, T&& value) {
    if (result) {
        *static_cast<std::remove_cvref_t<T>*>(result) = std::forward<T>(value);
    }
}

template <class T>
const T& argument(const void* const* arguments, std::size_t index) {
    return *static_cast<const T*>(arguments[index]);
}

/// Calls `kFunction` on the object with the arguments; unsupported where there is no function.
template <auto kFunction, class C>
int call(C& object, void* result, const void* const* arguments) {
    if constexpr (std::is_same_v<decltype(kFunction), std::nullptr_t>) {
        return kGenericUnsupported;
    } else {
        using S = Signature<decltype(kFunction)>;
        auto invoke = [&]<std::size_t... I>(std::index_sequence<I...>)->decltype(auto) {
            return (object.*kFunction)(
                argument<std::tuple_element_t<I, typename S::Arguments>>(arguments, I)...);
        };
        constexpr auto indices =
            std::make_index_sequence<std::tuple_size_v<typename S::Arguments>>{};
        if constexpr (std::is_void_v<typename S::Result>) {
            invoke(indices);
        } else {
            store(result, invoke(indices));
        }
        return kGenericDone;
    }
}

template <auto kFunction>
constexpr U32 flagIf(Attribute::Flag flag) {
    return std::is_same_v<decltype(kFunction), std::nullptr_t> ? 0u : flag;
}

/// What the rows have in common: a name, an id, and no iterator unless they are collections.
template <Literal kName, AttributeId kId>
struct Row {
    static constexpr const char* name = kName.text;
    static constexpr AttributeId id = kId;
    static constexpr std::span<const Type* const> keyTypes{};

    template <class C>
    static std::unique_ptr<GenericIterator> iterate(const C&) {
        return nullptr;
    }
};

} // namespace Impl

/// A scalar with an accessor and, unless it is fixed at construction, a mutator.
template <Literal kName, AttributeId kId, auto kAccessor, auto kMutator = nullptr>
struct ScalarRow : Impl::Row<kName, kId> {
    using Value = typename Impl::Signature<decltype(kAccessor)>::Result;
    static constexpr const Type* valueType = TypeOf<Value>::type;
    static constexpr U32 flags = Attribute::readable | Impl::flagIf<kMutator>(Attribute::writable);
    static constexpr auto writeTypes = Impl::argumentTypes<kMutator>();

    template <class C>
    static int apply(C& object, void* result, Operation operation, const void* const* arguments) {
        switch (operation) {
        case Operation::read:
            return Impl::call<kAccessor>(object, result, nullptr);
        case Operation::write:
            return Impl::call<kMutator>(object, result, arguments);
        default:
            return kGenericUnsupported;
        }
    }
};

/// A scalar that is filled by plain stores, without any notification, while its object is built.
template <Literal kName, AttributeId kId, auto kField>
struct FieldRow : Impl::Row<kName, kId> {
    using Value = typename Impl::FieldType<decltype(kField)>::Type;
    static constexpr const Type* valueType = TypeOf<Value>::type;
    static constexpr U32 flags = Attribute::readable | Attribute::writable;
    static constexpr std::span<const Type* const> writeTypes = Impl::TypeArray<Value>::types;

    template <class C>
    static int apply(C& object, void* result, Operation operation, const void* const* arguments) {
        switch (operation) {
        case Operation::read:
            Impl::store(result, object.*kField);
            return kGenericDone;
        case Operation::write:
            object.*kField = Impl::argument<Value>(arguments, 0);
            return kGenericDone;
        default:
            return kGenericUnsupported;
        }
    }
};

/// An attribute whose Is mutator makes the object and whose Del mutator hands it back.
template <Literal kName, AttributeId kId, auto kAccessor, auto kIs, auto kDel>
struct InstanceRow : ScalarRow<kName, kId, kAccessor, kIs> {
    using Scalar = ScalarRow<kName, kId, kAccessor, kIs>;
    static constexpr U32 flags = Scalar::flags | Attribute::removable;

    template <class C>
    static int apply(C& object, void* result, Operation operation, const void* const* arguments) {
        return operation == Operation::remove ? Impl::call<kDel>(object, result, nullptr)
                                              : Scalar::apply(object, result, operation, arguments);
    }
};

/// A keyed collection, given by its field, with its create-or-insert and delete mutators.
template <Literal kName, AttributeId kId, auto kField, auto kIs = nullptr, auto kDel = nullptr>
struct CollectionRow : Impl::Row<kName, kId> {
    using Traits = CollectionTraits<typename Impl::FieldType<decltype(kField)>::Type>;
    using Key = typename Traits::Key;
    static constexpr const Type* valueType = TypeOf<typename Traits::Value>::type;
    static constexpr U32 flags = Attribute::readable | Attribute::collection |
                                 Impl::flagIf<kIs>(Attribute::writable) |
                                 Impl::flagIf<kDel>(Attribute::removable);
    static constexpr std::span<const Type* const> keyTypes = Impl::TypeArray<Key>::types;
    static constexpr auto writeTypes = Impl::argumentTypes<kIs>();

    template <class C>
    static int apply(C& object, void* result, Operation operation, const void* const* arguments) {
        const auto& collection = object.*kField;
        switch (operation) {
        case Operation::read:
            Impl::store(result, Traits::lookup(collection, Impl::argument<Key>(arguments, 0)));
            return kGenericDone;
        case Operation::write:
            return Impl::call<kIs>(object, result, arguments);
        case Operation::remove:
            return Impl::call<kDel>(object, result, arguments);
        case Operation::count:
            Impl::store(result, static_cast<U32>(collection.size()));
            return kGenericDone;
        case Operation::slots:
            Impl::store(result, static_cast<U32>(Traits::slots(collection)));
            return kGenericDone;
        case Operation::contains:
            Impl::store(result, Traits::contains(collection, Impl::argument<Key>(arguments, 0)));
            return kGenericDone;
        default:
            return kGenericUnsupported;
        }
    }

    template <class C>
    static std::unique_ptr<GenericIterator> iterate(const C& object) {
        return std::make_unique<CollectionIterator<std::remove_cvref_t<decltype(object.*kField)>>>(
            object.*kField);
    }
};

/// A computed attribute that takes an argument.
template <Literal kName, AttributeId kId, auto kFunction>
struct FunctionRow : Impl::Row<kName, kId> {
    using S = Impl::Signature<decltype(kFunction)>;
    static constexpr const Type* valueType = TypeOf<typename S::Result>::type;
    static constexpr U32 flags = Attribute::function;
    static constexpr auto keyTypes = Impl::argumentTypes<kFunction>();
    static constexpr std::span<const Type* const> writeTypes{};

    template <class C>
    static int apply(C& object, void* result, Operation operation, const void* const* arguments) {
        return operation == Operation::call ? Impl::call<kFunction>(object, result, arguments)
                                            : kGenericUnsupported;
    }
};

/// The attributes of class `C` and what follows from them.
template <class C, class... Rows>
struct AttributeTable {
    static constexpr AttributeId kFirstId = std::min({Rows::id...});

    static constexpr std::array<Attribute, sizeof...(Rows)> attributes{
        Attribute{.name = Rows::name,
                  .id = Rows::id,
                  .owner = &C::fwkType_,
                  .valueType = Rows::valueType,
                  .flags = Rows::flags,
                  .keyTypes = Rows::keyTypes,
                  .writeTypes = Rows::writeTypes}...};

    static_assert(std::ranges::is_sorted(std::array{Rows::id...}, std::ranges::less_equal{}),
                  "attribute ids ascend");

    static C& objectOf(void* object) noexcept {
        if constexpr (std::derived_from<C, PtrInterface>) {
            return *static_cast<C*>(static_cast<PtrInterface*>(object));
        } else {
            return *static_cast<C*>(object);
        }
    }

    static int genericIf(void* object, void* result, const Attribute* attribute,
                         Operation operation, const void* const* arguments) {
        if (!attribute) {
            return valueOperation(object, result, operation, arguments);
        }
        int outcome = kGenericUnknown;
        static_cast<void>(
            ((isOf<Rows>(*attribute) &&
              (outcome = Rows::apply(objectOf(object), result, operation, arguments), true)) ||
             ...));
        return outcome;
    }

    static std::unique_ptr<GenericIterator> iterator(void* object, const Attribute* attribute) {
        std::unique_ptr<GenericIterator> iterator;
        if (!attribute) {
            return iterator;
        }
        static_cast<void>((
            (isOf<Rows>(*attribute) && (iterator = Rows::iterate(objectOf(object)), true)) || ...));
        return iterator;
    }

    /// The type record of a counted class.
    static constexpr Type objectType(const char* name, const Type& base,
                                     std::span<const char* const> constructorParameters = {}) {
        return Type{.name = name,
                    .kind = Type::Kind::object,
                    .base = &base,
                    .attributes = attributes,
                    .genericIf = &genericIf,
                    .iteratorFactory = &iterator,
                    .constructorParameters = constructorParameters};
    }

    /// The type record of a plain value.
    static constexpr Type valueType(const char* name) {
        return Type{.name = name,
                    .kind = Type::Kind::value,
                    .attributes = attributes,
                    .genericIf = &genericIf,
                    .iteratorFactory = &iterator,
                    .valueString = [](const void* value) {
                        return valueToStrep(*static_cast<const C*>(value));
                    }};
    }

  private:
    /// Whether the record is the row's, or the same one of a base. Every class counts its ids anew:
    /// who comes with another class's record has room for a value of another type.
    template <class R>
    static bool isOf(const Attribute& attribute) noexcept {
        return attribute.id == R::id && (attribute.owner == &C::fwkType_ ||
                                         (attribute.owner && C::fwkType_.isA(*attribute.owner) &&
                                          *attribute.valueType == *R::valueType));
    }

    /// Codes 9 and 10, which plain values alone have.
    static int valueOperation(void* object, void* result, Operation operation,
                              const void* const* arguments) {
        if constexpr (std::derived_from<C, PtrInterface>) {
            return kGenericUnknown;
        } else {
            switch (operation) {
            case Operation::isDefault:
                Impl::store(result, objectOf(object) == C{});
                return kGenericDone;
            case Operation::isEqual:
                Impl::store(result, objectOf(object) == Impl::argument<C>(arguments, 0));
                return kGenericDone;
            default:
                return kGenericUnsupported;
            }
        }
    }
};

} // namespace Kel
