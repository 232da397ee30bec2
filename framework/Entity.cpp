#include "framework/Entity.h"

#include <utility>

#include "framework/ValueString.h"

namespace Kel {

struct Entity::Attributes {
    using Table = EntityAttributeTable<Entity>;
};

constinit const Type Entity::fwkType_ =
    Entity::Attributes::Table::objectType("Kel::Entity", PtrInterface::fwkType_);

EntityChildren::Iterator::Iterator(const EntityChildren& children, Entity* at)
    : children_(&children), at_(at), serial_(at ? at->childSerial_ : 0),
      changes_(children.changes_) {}

EntityChildren::Iterator& EntityChildren::Iterator::operator++() {
    Entity* next = nullptr;
    if (changes_ == children_->changes_) {
        next = at_->next_;
    } else {
        next = children_->first_;
        while (next && next->childSerial_ <= serial_) {
            next = next->next_;
        }
    }
    return *this = Iterator(*children_, next);
}

Entity* EntityChildren::lookup(const Name& component) const {
    for (Entity* child : *this) {
        if (child->component() == component) {
            return child;
        }
    }
    return nullptr;
}

Entity::Entity(Name name)
    : notifiees_(*this), name_(std::make_unique<const Name>(std::move(name))) {}

Entity::Entity(U64 number) : notifiees_(*this), number_(number) {}

Entity::~Entity() {
    detach();
    while (children_.first_) {
        children_.first_->detach();
    }
}

NotifieeList* Entity::notifieeList() const {
    return const_cast<NotifieeList*>(&notifiees_);
}

Name Entity::name() const {
    return name_ ? *name_ : Name(valueToStrep(static_cast<unsigned long long>(number_)));
}

Name Entity::component() const {
    return *parentAttrName_ ? Name(String(parentAttrName_) + "[" + name() + "]") : name();
}

Name Entity::fullName() const {
    return parent_ ? Name(parent_->fullName() + "/" + component()) : component();
}

void Entity::parentIs(const Kel::Ptr<Entity>& parent) {
    if (parent.ptr() != parent_) {
        handleParent(parent.ptr(), "");
        notifiees_.visit(kParent);
    }
}

void Entity::handleParent(Entity* parent, const char* attrName) {
    if (parent == this || (children_.first_ && isAncestorOf(parent))) [[unlikely]] {
        throw RangeException("entity '" + fullName() + "' cannot be its own ancestor");
    }
    if (parent != parent_) {
        detach();
        if (parent) {
            attach(*parent);
        }
    }
    parentAttrName_ = parent ? attrName : "";
}

bool Entity::isAncestorOf(const Entity* entity) const noexcept {
    while (entity && entity != this) {
        entity = entity->parent_;
    }
    return entity != nullptr;
}

void Entity::attach(Entity& parent) noexcept {
    parent_ = &parent;
    EntityChildren& siblings = parent.children_;
    previous_ = siblings.last_;
    (previous_ ? previous_->next_ : siblings.first_) = this;
    siblings.last_ = this;
    ++siblings.size_;
    ++siblings.changes_;
    childSerial_ = ++siblings.latestSerial_;
}

void Entity::detach() noexcept {
    if (!parent_) {
        return;
    }
    EntityChildren& siblings = parent_->children_;
    (previous_ ? previous_->next_ : siblings.first_) = next_;
    (next_ ? next_->previous_ : siblings.last_) = previous_;
    --siblings.size_;
    ++siblings.changes_;
    parent_ = nullptr;
    previous_ = next_ = nullptr;
    parentAttrName_ = "";
}

} // namespace Kel
