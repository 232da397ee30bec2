#pragma once

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "framework/Export.h"
#include "framework/Ptr.h"
#include "framework/String.h"
#include "framework/Words.h"

namespace Kel {

class GenericIterator;
class Type;
template <class Number>
class EnumType;

/// Operation codes of the generic attribute operation.
enum class Operation : U32 {
    read = 0,      ///< a scalar; of a collection, the element of a key (or null, or 0)
    write = 1,     ///< through the mutator, or a plain store where there is none
    remove = 2,    ///< the attribute's Del mutator
    count = 3,     ///< number of elements of a collection (U32)
    slots = 4,     ///< number of buckets or slots of a collection (U32)
    contains = 5,  ///< whether a collection has the key (bool)
    call = 8,      ///< a function attribute with its argument
    isDefault = 9, ///< value types, no attribute: is the value the default one (bool)
    isEqual = 10,  ///< value types, no attribute: is the value equal to the given one (bool)
};

/// Results of the generic attribute operation.
inline constexpr int kGenericDone = 0;
inline constexpr int kGenericUnsupported = 1;
inline constexpr int kGenericUnknown = 2;

/// One attribute of a class, as the generic interface sees it.
struct Attribute {
    enum Flag : U32 {
        readable = 1,
        writable = 2,
        removable = 4,
        collection = 8,
        function = 16,
    };

    const char* name = nullptr;
    AttributeId id = 0;
    const Type* owner = nullptr;
    const Type* valueType = nullptr;
    U32 flags = 0;
    /// What reading, testing and deleting take: the key of a collection, a function's argument.
    std::span<const Type* const> keyTypes{};
    /// What writing takes.
    std::span<const Type* const> writeTypes{};

    bool has(Flag flag) const noexcept { return (flags & flag) != 0; }
};

/**
 * The generic attribute operation of a class.
 *
 * `object` is the object (for counted objects its `PtrInterface*`), `result` a live object of the
 * result's type or null where no result is wanted, `arguments` pointers to the arguments in order.
 * Returns 0 when done, 1 for an operation that the attribute does not support, 2 for an attribute
 * that the class does not have: neither itself nor, of the same type, from a base. The types of the
 * arguments are not checked here; `Kel::attribute` and its siblings do.
 */
using GenericIf = int (*)(void* object, void* result, const Attribute* attribute,
                          Operation operation, const void* const* arguments);

/// Makes an iterator over a collection attribute; null when the attribute is not a collection.
using IteratorFactory = std::unique_ptr<GenericIterator> (*)(void* object,
                                                             const Attribute* attribute);

/**
 * A registered type: its name, its base, its attributes and its generic operation.
 *
 * Types are constants made before any code runs. Compare them with `==`: a pointer type may exist
 * once per library.
 */
class Type {
  public:
    enum class Kind : U8 { builtin, enumeration, value, object, pointer };

    const char* name = nullptr;
    Kind kind = Kind::builtin;
    bool hashable = false;
    bool pointeeIsConst = false;
    const Type* base = nullptr;
    const Type* pointee = nullptr;
    std::span<const Attribute> attributes{};
    GenericIf genericIf = nullptr;
    IteratorFactory iteratorFactory = nullptr;
    /// Value string of a value of this type; null where there is none.
    String (*valueString)(const void* value) = nullptr;
    const EnumType<U32>* enumeration = nullptr;
    /// The names of the constructor's parameters, of a class that is made from its attributes.
    std::span<const char* const> constructorParameters{};

    /// The attribute of that name or id, or null.
    KEL_EXPORT const Attribute* attribute(std::string_view attributeName) const noexcept;
    KEL_EXPORT const Attribute* attribute(AttributeId id) const noexcept;

    /// Whether this type is `other` or derives from it.
    KEL_EXPORT bool isA(const Type& other) const noexcept;
    /// The name, for a pointer type made of its pointee's.
    KEL_EXPORT String fullName() const;

    KEL_EXPORT friend bool operator==(const Type& a, const Type& b) noexcept;
};

/// Registers a type. Every library does this for its types when it is loaded, before any object is
/// made; registering a type again changes nothing.
KEL_EXPORT void typeNodeIs(const Type& type);
/// The registered types, in the order of their registration.
KEL_EXPORT std::span<const Type* const> typeNodes() noexcept;
/// The registered type of that name, or null.
KEL_EXPORT const Type* typeNode(std::string_view name) noexcept;

namespace BuiltinType {
KEL_EXPORT extern const Type boolean;
KEL_EXPORT extern const Type u8;
KEL_EXPORT extern const Type u16;
KEL_EXPORT extern const Type u32;
KEL_EXPORT extern const Type u64;
KEL_EXPORT extern const Type s32;
KEL_EXPORT extern const Type string;
KEL_EXPORT extern const Type name;
KEL_EXPORT extern const Type voidPtr;
} // namespace BuiltinType

/// Finds the registered type of a C++ type: `typeOf<T>()`. Classes name theirs `fwkType_`.
template <class T>
struct TypeOf;
template <class T>
requires requires {
    T::fwkType_;
}
struct TypeOf<T> {
    static constexpr const Type* type = &T::fwkType_;
};

template <const Type* kType>
struct TypeIs {
    static constexpr const Type* type = kType;
};
template <>
struct TypeOf<bool> : TypeIs<&BuiltinType::boolean> {};
template <>
struct TypeOf<U8> : TypeIs<&BuiltinType::u8> {};
template <>
struct TypeOf<U16> : TypeIs<&BuiltinType::u16> {};
template <>
struct TypeOf<U32> : TypeIs<&BuiltinType::u32> {};
template <>
struct TypeOf<U64> : TypeIs<&BuiltinType::u64> {};
template <>
struct TypeOf<std::int32_t> : TypeIs<&BuiltinType::s32> {};
template <>
struct TypeOf<String> : TypeIs<&BuiltinType::string> {};
template <>
struct TypeOf<Name> : TypeIs<&BuiltinType::name> {};
template <>
struct TypeOf<VoidPtr> : TypeIs<&BuiltinType::voidPtr> {};
template <>
struct TypeOf<void*> : TypeIs<&BuiltinType::voidPtr> {};

template <class T>
struct TypeOf<Ptr<T>> {
    static constexpr Type kPointer{.name = "Kel::Ptr",
                                   .kind = Type::Kind::pointer,
                                   .hashable = true,
                                   .pointeeIsConst = std::is_const_v<T>,
                                   .pointee = TypeOf<std::remove_const_t<T>>::type};
    static constexpr const Type* type = &kPointer;
};

template <class T>
constexpr const Type* typeOf() noexcept {
    return TypeOf<std::remove_cvref_t<T>>::type;
}

/// A walk over a collection attribute whose class is known only at run time. It tolerates changes
/// of the collection, as the collection's own iterators do; once the element that it stands on has
/// been deleted, only `advance()` and `atEnd()` make sense.
class GenericIterator {
  public:
    virtual ~GenericIterator() = default;
    virtual bool atEnd() const = 0;
    virtual void advance() = 0;
    /// Stores the current key or element into `result`, a live object of the attribute's key or
    /// value type.
    virtual void key(void* result) const = 0;
    virtual void value(void* result) const = 0;
};

} // namespace Kel
