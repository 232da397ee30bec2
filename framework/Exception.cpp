#include "framework/Exception.h"

#include "framework/Entity.h"
#include "framework/FrameworkTrace.h"
#include "framework/Type.h"
#include "framework/ValueString.h"

namespace Kel {

namespace {

thread_local const Expect* innermostExpect = nullptr;

String attributeName(const Type& type, AttributeId id) {
    const Attribute* attribute = type.attribute(id);
    return attribute ? String(attribute->name) : format("attribute %u", id);
}

String valueText(const Attribute* attribute, const void* value) {
    const bool printable = attribute && attribute->valueType->valueString;
    return printable ? attribute->valueType->valueString(value) : String("?");
}

String reinstantiationText(const Entity& entity, AttributeId id, const String& newValue,
                           const String& oldValue) {
    const Type& type = *entity.fwkType();
    return String(type.name) + " '" + entity.fullName() + "': cannot change " +
           attributeName(type, id) + " from " + oldValue + " to " + newValue;
}

} // namespace

Exception::Exception(Id id, String&& message) : message_(std::move(message)) {
    if (!Expect::isExpected(id)) {
        trace(1, "unexpected exception: ", message_);
    }
}

Exception::~Exception() = default;

const char* Exception::what() const noexcept {
    return message_.charPtr();
}

Expect::Expect(Exception::Id id) noexcept : id_(id), outer_(innermostExpect) {
    innermostExpect = this;
}

Expect::~Expect() {
    innermostExpect = outer_;
}

bool Expect::isExpected(Exception::Id id) noexcept {
    for (const Expect* scope = innermostExpect; scope; scope = scope->outer_) {
        if (scope->id_ == id) {
            return true;
        }
    }
    return false;
}

InternalException::InternalException(String message) : Exception(kInternal, std::move(message)) {}
InternalException::~InternalException() = default;
Exception::Id InternalException::id() const noexcept {
    return kInternal;
}

void throwMutatorArgNullPointerException(const Type* type, AttributeId id) {
    throwMutatorArgNullPointerException(type->name, attributeName(*type, id).charPtr());
}

void throwMutatorArgNullPointerException(const char* type, const char* attribute) {
    throw MutatorArgNullPointerException(
        format("%s: null pointer given to the mutator of %s", type, attribute));
}

void throwMutatorReinstantiating(const Entity* entity, AttributeId id, const U32& newValue,
                                 const U32& oldValue) {
    throw MutatorReinstantiatingException(
        reinstantiationText(*entity, id, valueToStrep(newValue), valueToStrep(oldValue)));
}

void Impl::throwMutatorReinstVal(const Entity* entity, AttributeId id, const void* newValue,
                                 const void* oldValue) {
    const Attribute* attribute = entity->fwkType()->attribute(id);
    throw MutatorReinstValException(reinstantiationText(*entity, id, valueText(attribute, newValue),
                                                        valueText(attribute, oldValue)));
}

} // namespace Kel
