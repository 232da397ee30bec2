#include "framework/ValueString.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "framework/PrintedObjects.h"

namespace Kel {

namespace {

using Iterator = String::IteratorConst;

std::size_t remaining(Iterator it, Iterator end) {
    return static_cast<std::size_t>(end - it);
}

bool consume(Iterator& it, Iterator end, std::string_view literal) {
    if (!std::string_view(it, remaining(it, end)).starts_with(literal)) {
        return false;
    }
    it += literal.size();
    return true;
}

/// The text at hand, cut to a length that is fit for a message.
String excerpt(Iterator it, Iterator end) {
    constexpr std::size_t kLongest = 40;
    return String(std::string_view(it, std::min(remaining(it, end), kLongest)));
}

/// Reads decimal digits that fit 32 bits.
U32 readNumber(Iterator& it, Iterator end) {
    U32 number = 0;
    const auto [stop, error] = std::from_chars(it, end, number);
    if (error == std::errc::result_out_of_range) {
        throw RangeException("number out of range at '" + excerpt(it, end) + "'");
    }
    if (error != std::errc()) {
        throw RangeException("no number at '" + excerpt(it, end) + "'");
    }
    it = stop;
    return number;
}

bool readBool(Iterator& it, Iterator end) {
    if (consume(it, end, "True")) {
        return true;
    }
    if (consume(it, end, "False")) {
        return false;
    }
    throw RangeException("neither True nor False at '" + excerpt(it, end) + "'");
}

const PtrInterface& printedObject(std::string_view typeName, U32 number) {
    const PtrInterface* object = PrintedObjects::object(number);
    if (!object) {
        throw RangeException(format("no live object has number %u", number));
    }
    if (typeName != object->fwkType()->name) {
        throw RangeException(
            format("object %u is a %s, not a %.*s", number, object->fwkType()->name,
                   static_cast<int>(std::min<std::size_t>(typeName.size(), 200)), typeName.data()));
    }
    return *object;
}

} // namespace

String valueToStrep(bool value) {
    return value ? "True" : "False";
}

String valueToStrep(unsigned long long value) {
    return std::to_string(value);
}

String valueToStrepOfRawPtr(const PtrInterface* object) {
    if (!object) {
        return "None";
    }
    return format("Ptr('%s', %u)", object->fwkType()->name, PrintedObjects::numberOf(*object));
}

void needString(Iterator& it, const Iterator& end, const char* literal) {
    if (!consume(it, end, literal)) {
        throw ParseException(String("expected \"") + literal + "\" at '" + excerpt(it, end) + "'");
    }
}

void strepToValueEnd(const String& text, const Iterator& it) {
    if (it != text.end()) {
        throw ParseException("text after the end of the value: '" + excerpt(it, text.end()) + "'");
    }
}

template <>
U32 deserializeAttr<U32>(Iterator& it, const Iterator& end, const char* attribute) {
    return deserializeAttrBy(attribute, [&] { return readNumber(it, end); });
}

template <>
bool deserializeAttr<bool>(Iterator& it, const Iterator& end, const char* attribute) {
    return deserializeAttrBy(attribute, [&] { return readBool(it, end); });
}

Ptr<PtrInterface const> sequenceToValueOfPtr(Iterator& it, const Iterator& end, const Type* type) {
    if (consume(it, end, "None")) {
        return nullptr;
    }
    if (!consume(it, end, "Ptr('")) {
        throw RangeException("no pointer at '" + excerpt(it, end) + "'");
    }
    const Iterator quote = std::find(it, end, '\'');
    const std::string_view typeName(it, remaining(it, quote));
    it = quote;
    if (!consume(it, end, "', ")) {
        throw RangeException("no object number at '" + excerpt(it, end) + "'");
    }
    const U32 number = readNumber(it, end);
    if (!consume(it, end, ")")) {
        throw RangeException("pointer without end at '" + excerpt(it, end) + "'");
    }
    const PtrInterface& object = printedObject(typeName, number);
    if (type && !object.fwkType()->isA(*type)) {
        cannotConvert(it, end, type);
    }
    return &object;
}

void cannotConvert(const Iterator& it, const Iterator& end, const Type* type) {
    String message = "the value does not denote a " + type->fullName();
    if (it != end) {
        message = message + " (before '" + excerpt(it, end) + "')";
    }
    throw CannotConvertException(std::move(message));
}

void rethrowFromDeserializeAttr(const RangeException& exception, const char* attribute) {
    throw RangeException(String("attribute '") + attribute + "': " + exception.what());
}

} // namespace Kel
