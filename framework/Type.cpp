#include "framework/Type.h"

#include <algorithm>

#include "framework/ValueString.h"

namespace Kel {

namespace {

std::vector<const Type*>& nodes() {
    static std::vector<const Type*>& nodes = *new std::vector<const Type*>;
    return nodes;
}

template <class Number>
String numberString(const void* value) {
    return valueToStrep(static_cast<unsigned long long>(*static_cast<const Number*>(value)));
}

template <class Text>
String textString(const void* value) {
    return *static_cast<const Text*>(value);
}

template <class Number>
constexpr Type numberType(const char* name) {
    return Type{.name = name, .hashable = true, .valueString = &numberString<Number>};
}

} // namespace

const Attribute* Type::attribute(std::string_view attributeName) const noexcept {
    const auto found = std::ranges::find(attributes, attributeName, &Attribute::name);
    return found == attributes.end() ? nullptr : &*found;
}

const Attribute* Type::attribute(AttributeId id) const noexcept {
    const auto found = std::ranges::find(attributes, id, &Attribute::id);
    return found == attributes.end() ? nullptr : &*found;
}

bool Type::isA(const Type& other) const noexcept {
    for (const Type* type = this; type; type = type->base) {
        if (*type == other) {
            return true;
        }
    }
    return false;
}

String Type::fullName() const {
    if (kind != Kind::pointer) {
        return name;
    }
    return String(name) + "<" + pointee->fullName() + (pointeeIsConst ? " const>" : ">");
}

bool operator==(const Type& a, const Type& b) noexcept {
    if (&a == &b) {
        return true;
    }
    // Only pointer types exist more than once.
    return a.kind == Type::Kind::pointer && b.kind == Type::Kind::pointer &&
           a.pointeeIsConst == b.pointeeIsConst && *a.pointee == *b.pointee;
}

void typeNodeIs(const Type& type) {
    if (std::ranges::find(nodes(), &type) == nodes().end()) {
        nodes().push_back(&type);
    }
}

std::span<const Type* const> typeNodes() noexcept {
    return nodes();
}

const Type* typeNode(std::string_view name) noexcept {
    const auto found = std::ranges::find(
        nodes(), name, [](const Type* type) { return std::string_view(type->name); });
    return found == nodes().end() ? nullptr : *found;
}

namespace BuiltinType {
constinit const Type boolean{
    .name = "bool", .hashable = true, .valueString = [](const void* value) {
        return valueToStrep(*static_cast<const bool*>(value));
    }};
constinit const Type u8 = numberType<U8>("U8");
constinit const Type u16 = numberType<U16>("U16");
constinit const Type u32 = numberType<U32>("U32");
constinit const Type u64 = numberType<U64>("U64");
constinit const Type s32{.name = "S32", .hashable = true, .valueString = [](const void* value) {
                             return format("%d", *static_cast<const std::int32_t*>(value));
                         }};
constinit const Type string{
    .name = "Kel::String", .hashable = true, .valueString = &textString<String>};
constinit const Type name{.name = "Kel::Name", .hashable = true, .valueString = &textString<Name>};
constinit const Type voidPtr{.name = "Kel::VoidPtr", .hashable = true};
} // namespace BuiltinType

} // namespace Kel
