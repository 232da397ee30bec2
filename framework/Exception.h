#pragma once

#include <exception>

#include "framework/Export.h"
#include "framework/String.h"
#include "framework/Words.h"

namespace Kel {

class Entity;
class Type;

/**
 * Base of the framework's exceptions: a message, and the id of the kind of failure.
 *
 * Making an exception whose id no `Expect` scope announces leaves a trace line (facility "Kel",
 * level 1), so that a surprising failure shows even when somebody swallows it.
 */
class KEL_EXPORT Exception : public std::exception {
  public:
    using Id = U32;

    static constexpr Id kInternal = 1;
    static constexpr Id kRange = 2;
    static constexpr Id kParse = 3;
    static constexpr Id kType = 4;
    static constexpr Id kMutator = 5;
    static constexpr Id kAttribute = 6;

    ~Exception() override;
    const char* what() const noexcept override;
    virtual Id id() const noexcept = 0;

  protected:
    Exception(Id id, String&& message);

  private:
    String message_;
};

/// A scope in which an exception of the given id is expected, and so is not traced. Scopes nest.
class KEL_EXPORT Expect {
  public:
    explicit Expect(Exception::Id id) noexcept;
    ~Expect();
    Expect(const Expect&) = delete;
    Expect& operator=(const Expect&) = delete;

    static bool isExpected(Exception::Id id) noexcept;

  private:
    Exception::Id id_;
    const Expect* outer_;
};

/// Gives one exception class its id; the id is all in which most of them differ.
template <Exception::Id kId>
class KEL_EXPORT ExceptionOfId : public Exception {
  public:
    explicit ExceptionOfId(String message) : Exception(kId, std::move(message)) {}
    Id id() const noexcept override { return kId; }
};

/// An internal error, such as a call that the hardware refused. Its id is 1.
class KEL_EXPORT InternalException : public Exception {
  public:
    explicit InternalException(String message);
    ~InternalException() override;
    Id id() const noexcept override;
};

/// A value is out of range, or its text cannot be read.
class KEL_EXPORT RangeException : public ExceptionOfId<Exception::kRange> {
    using ExceptionOfId::ExceptionOfId;
};
/// The text of a value string is not what must stand there.
class KEL_EXPORT ParseException : public ExceptionOfId<Exception::kParse> {
    using ExceptionOfId::ExceptionOfId;
};
/// A value or object of another type than required.
class KEL_EXPORT TypeException : public ExceptionOfId<Exception::kType> {
    using ExceptionOfId::ExceptionOfId;
};
/// A key of a type that cannot be hashed.
class KEL_EXPORT UnhashableException : public ExceptionOfId<Exception::kType> {
    using ExceptionOfId::ExceptionOfId;
};
/// A value string denotes an object of another class than required.
class KEL_EXPORT CannotConvertException : public ExceptionOfId<Exception::kType> {
    using ExceptionOfId::ExceptionOfId;
};
/// A mutator got a null pointer for an argument that must not be null; nothing was changed.
class KEL_EXPORT MutatorArgNullPointerException : public ExceptionOfId<Exception::kMutator> {
    using ExceptionOfId::ExceptionOfId;
};
/// A mutator would have to change an attribute that is fixed at construction; nothing was changed.
class KEL_EXPORT MutatorReinstantiatingException : public ExceptionOfId<Exception::kMutator> {
    using ExceptionOfId::ExceptionOfId;
};
/// The same for an attribute that is not a number.
class KEL_EXPORT MutatorReinstValException : public MutatorReinstantiatingException {
    using MutatorReinstantiatingException::MutatorReinstantiatingException;
};
/// The generic attribute interface: the class lacks the attribute.
class KEL_EXPORT UnknownAttributeException : public ExceptionOfId<Exception::kAttribute> {
    using ExceptionOfId::ExceptionOfId;
};
/// The generic attribute interface: the attribute does not support the operation.
class KEL_EXPORT UnsupportedOperationException : public ExceptionOfId<Exception::kAttribute> {
    using ExceptionOfId::ExceptionOfId;
};

[[noreturn]] KEL_EXPORT void throwMutatorArgNullPointerException(const Type* type, AttributeId id);
[[noreturn]] KEL_EXPORT void throwMutatorArgNullPointerException(const char* type,
                                                                 const char* attribute);
[[noreturn]] KEL_EXPORT void throwMutatorReinstantiating(const Entity* entity, AttributeId id,
                                                         const U32& newValue, const U32& oldValue);
namespace Impl {
/// The same for an attribute of any registered type; the values are read through the attribute's
/// value type.
[[noreturn]] KEL_EXPORT void throwMutatorReinstVal(const Entity* entity, AttributeId id,
                                                   const void* newValue, const void* oldValue);
} // namespace Impl

} // namespace Kel
