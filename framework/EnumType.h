#pragma once

#include <ostream>
#include <span>

#include "framework/Exception.h"
#include "framework/Type.h"
#include "framework/ValueString.h"

namespace Kel {

/**
 * A registered enumeration: its enumerators are numbered from 0 without gaps and each has a string.
 *
 * The value string is "Value('TYPE', 'ENUMERATOR')". A number that is no enumerator can be held and
 * printed (as the number), but neither named nor made with `instance`.
 */
template <class Number>
class EnumType {
  public:
    constexpr EnumType(const char* typeName, std::span<const char* const> enumerators)
        : typeName_(typeName), enumerators_(enumerators) {}

    constexpr const char* typeName() const noexcept { return typeName_; }
    /// Number of enumerators; the largest value is one less.
    Number size() const noexcept { return static_cast<Number>(enumerators_.size()); }

    /// The number itself; throws `RangeException` when no enumerator has it.
    Number instance(Number value) const {
        requireEnumerator(value);
        return value;
    }
    /// The enumerator of that string; throws `RangeException` when there is none.
    Number instance(const String& name) const {
        for (Number value = 0; value < size(); ++value) {
            if (name == enumerators_[value]) {
                return value;
            }
        }
        throw RangeException(String(typeName_) + " has no enumerator '" + name + "'");
    }
    /// The string of an enumerator; throws `RangeException` when no enumerator has that number.
    String stringValue(Number value) const {
        requireEnumerator(value);
        return enumerators_[value];
    }
    String valueToStrep(Number value) const {
        return String("Value('") + typeName_ + "', " +
               (value < size() ? "'" + String(enumerators_[value]) + "'"
                               : Kel::valueToStrep(static_cast<unsigned long long>(value))) +
               ")";
    }
    /// Reads one value string. Throws `ParseException` for another text, `RangeException` for an
    /// unknown enumerator.
    Number sequenceToValue(String::IteratorConst& it, const String::IteratorConst& end) const {
        needString(it, end, "Value('");
        needString(it, end, typeName_);
        needString(it, end, "', '");
        const String::IteratorConst start = it;
        while (it != end && *it != '\'') {
            ++it;
        }
        const String name(std::string_view(start, static_cast<std::size_t>(it - start)));
        needString(it, end, "')");
        return instance(name);
    }
    std::ostream& operatorLessLess(std::ostream& out, Number value) const {
        return value < size() ? out << enumerators_[value] : out << value;
    }

  private:
    void requireEnumerator(Number value) const {
        if (value >= size()) {
            throw RangeException(String(typeName_) + " has no enumerator " +
                                 Kel::valueToStrep(static_cast<unsigned long long>(value)));
        }
    }

    const char* typeName_;
    std::span<const char* const> enumerators_;
};

/// The generic support of an enumeration, with the enumeration's own type in its signatures.
template <class Number>
struct GenericIfEnumMethods {
    /// The type record of enumeration `E`, whose enumerators `kEnumType` lists.
    template <class E, const EnumType<Number>* kEnumType>
    static constexpr Type type() {
        return Type{.name = kEnumType->typeName(),
                    .kind = Type::Kind::enumeration,
                    .hashable = true,
                    .genericIf = &genericIf<E>,
                    .valueString =
                        [](const void* value) {
                            return kEnumType->valueToStrep(
                                static_cast<Number>(*static_cast<const E*>(value)));
                        },
                    .enumeration = kEnumType};
    }

  private:
    template <class E>
    static int genericIf(void* object, void* result, const Attribute* attribute,
                         Operation operation, const void* const* arguments) {
        if (attribute) {
            return kGenericUnknown;
        }
        const E value = *static_cast<const E*>(object);
        const auto done = [result](bool holds) {
            if (result) {
                *static_cast<bool*>(result) = holds;
            }
            return kGenericDone;
        };
        switch (operation) {
        case Operation::isDefault:
            return done(value == E{});
        case Operation::isEqual:
            return done(value == *static_cast<const E*>(arguments[0]));
        default:
            return kGenericUnsupported;
        }
    }
};

} // namespace Kel
