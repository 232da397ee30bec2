#include "framework/GenericIf.h"

namespace Kel {

namespace {

String attributeText(const Attribute& attribute) {
    return String(attribute.owner->name) + "." + attribute.name;
}

const char* operationText(Operation operation) {
    switch (operation) {
    case Operation::read:
        return "read";
    case Operation::write:
        return "written";
    case Operation::remove:
        return "deleted";
    case Operation::count:
    case Operation::slots:
        return "counted";
    case Operation::contains:
        return "searched";
    case Operation::call:
        return "called";
    default:
        return "compared";
    }
}

/// What the operation takes; empty for one that the attribute does not have.
std::span<const Type* const> requiredTypes(const Attribute& attribute, Operation operation) {
    switch (operation) {
    case Operation::write:
        return attribute.writeTypes;
    case Operation::read:
    case Operation::remove:
    case Operation::contains:
    case Operation::call:
        return attribute.keyTypes;
    default:
        return {};
    }
}

bool isSupported(const Attribute& attribute, Operation operation) {
    switch (operation) {
    case Operation::read:
        return attribute.has(Attribute::readable);
    case Operation::write:
        return attribute.has(Attribute::writable);
    case Operation::remove:
        return attribute.has(Attribute::removable);
    case Operation::call:
        return attribute.has(Attribute::function);
    default:
        return attribute.has(Attribute::collection);
    }
}

[[noreturn]] void throwUnsupported(const Attribute& attribute, Operation operation) {
    throw UnsupportedOperationException(attributeText(attribute) + " cannot be " +
                                        operationText(operation));
}

[[noreturn]] void throwUnknown(const Type& type, std::string_view name) {
    throw UnknownAttributeException(String(type.name) + " has no attribute '" + String(name) + "'");
}

void checkArguments(const Attribute& attribute, Operation operation,
                    std::span<const Type* const> given) {
    const auto required = requiredTypes(attribute, operation);
    if (given.size() != required.size()) {
        throw TypeException(attributeText(attribute) +
                            format(" takes %zu argument%s to be %s, not %zu", required.size(),
                                   required.size() == 1 ? "" : "s", operationText(operation),
                                   given.size()));
    }
    for (std::size_t i = 0; i < given.size(); ++i) {
        if (*given[i] == *required[i]) {
            continue;
        }
        if (required[i]->hashable && !given[i]->hashable && attribute.has(Attribute::collection) &&
            operation != Operation::write) {
            throwUnhashableException(attribute, *given[i]);
        }
        throwTypeException(attribute, *required[i], *given[i]);
    }
}

} // namespace

void throwTypeException(const Attribute& attribute, const Type& required, const Type& given) {
    throw TypeException(attributeText(attribute) + " wants a " + required.fullName() + ", not a " +
                        given.fullName());
}

void throwUnhashableException(const Attribute& attribute, const Type& given) {
    throw UnhashableException(attributeText(attribute) + ": a " + given.fullName() +
                              " cannot be a key");
}

void GenericIfImpl::throwConversion(const Type& from, const Type& to) {
    throw TypeException("a " + from.fullName() + " is not a " + to.fullName());
}

void GenericIfImpl::performChecked(const Target& target, std::string_view name, Operation operation,
                                   const Type* resultType, void* result,
                                   std::span<const Type* const> given,
                                   const void* const* arguments) {
    const Attribute* attribute = target.type->attribute(name);
    if (!attribute) {
        throwUnknown(*target.type, name);
    }
    if (!isSupported(*attribute, operation)) {
        throwUnsupported(*attribute, operation);
    }
    checkArguments(*attribute, operation, given);
    const bool yieldsValue = operation == Operation::read || operation == Operation::call;
    if (yieldsValue && !(*resultType == *attribute->valueType)) {
        throwTypeException(*attribute, *attribute->valueType, *resultType);
    }
    switch (target.type->genericIf(target.object, result, attribute, operation, arguments)) {
    case kGenericDone:
        return;
    case kGenericUnsupported:
        throwUnsupported(*attribute, operation);
    default:
        throwUnknown(*target.type, name);
    }
}

} // namespace Kel
