#pragma once

#include "framework/Exception.h"
#include "framework/PtrInterface.h"
#include "framework/String.h"
#include "framework/Type.h"

/**
 * Value strings: the text form of values, and the parsers that read it back.
 *
 * Booleans are `True` and `False`, numbers plain decimal digits, a null pointer `None`, any other
 * pointer `Ptr('TYPE', N)`. N is a number that the object gets when a pointer to it is first
 * printed, and keeps until it dies: no text ever becomes an address.
 *
 * Parsers advance `it` towards `end` over what they read, and are safe on any bytes. Where a parser
 * throws, `it` is left wherever reading stopped.
 */
namespace Kel {

KEL_EXPORT String valueToStrep(bool value);
KEL_EXPORT String valueToStrep(unsigned long long value);
inline String valueToStrep(U64 value) {
    return valueToStrep(static_cast<unsigned long long>(value));
}
inline String valueToStrep(U32 value) {
    return valueToStrep(static_cast<unsigned long long>(value));
}
KEL_EXPORT String valueToStrepOfRawPtr(const PtrInterface* object);

/// Consumes exactly `literal`, or throws `ParseException`.
KEL_EXPORT void needString(String::IteratorConst& it, const String::IteratorConst& end,
                           const char* literal);
/// Throws `ParseException` unless `it` is at the end of `text`.
KEL_EXPORT void strepToValueEnd(const String& text, const String::IteratorConst& it);

/// Reads one value. Throws `RangeException` naming `attribute` when there is none, or when the
/// number does not fit.
template <class T>
T deserializeAttr(String::IteratorConst& it, const String::IteratorConst& end,
                  const char* attribute);
template <>
KEL_EXPORT U32 deserializeAttr<U32>(String::IteratorConst& it, const String::IteratorConst& end,
                                    const char* attribute);
template <>
KEL_EXPORT bool deserializeAttr<bool>(String::IteratorConst& it, const String::IteratorConst& end,
                                      const char* attribute);

/**
 * Reads a pointer. An unreadable text, a number that no live object has, or one whose object is not
 * of the class named in the text is a `RangeException`; an object that is not of class `type`
 * (null: any) is a `CannotConvertException`.
 */
KEL_EXPORT Ptr<PtrInterface const>
sequenceToValueOfPtr(String::IteratorConst& it, const String::IteratorConst& end, const Type* type);

/// Throws `CannotConvertException`: the text up to `it` does not denote a `type`.
[[noreturn]] KEL_EXPORT void cannotConvert(const String::IteratorConst& it,
                                           const String::IteratorConst& end, const Type* type);
/// Throws a `RangeException` with the attribute's name added to the message.
[[noreturn]] KEL_EXPORT void rethrowFromDeserializeAttr(const RangeException& exception,
                                                        const char* attribute);

/// Reads a value of any kind with `read()`; a `RangeException` from it is given the attribute's
/// name.
template <class Read>
auto deserializeAttrBy(const char* attribute, Read&& read) {
    try {
        return read();
    } catch (const RangeException& e) {
        rethrowFromDeserializeAttr(e, attribute);
    }
}

/// The value of a whole string: reads one with the parsing constructor of `T`, then requires the
/// end.
template <class T>
T strepToValue(const String& text) {
    String::IteratorConst it = text.begin();
    T value(it, text.end());
    strepToValueEnd(text, it);
    return value;
}

} // namespace Kel
