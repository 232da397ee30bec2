#include "framework/Entity.h"

namespace Kel {

struct Entity::Attributes {
    using Table = EntityAttributeTable<Entity>;
};

constinit const Type Entity::fwkType_ =
    Entity::Attributes::Table::objectType("Kel::Entity", PtrInterface::fwkType_);

EntityChildren::Iterator::Iterator(Entity* at) : at_(at), next_(at ? at->next_ : nullptr) {}

EntityChildren::Iterator& EntityChildren::Iterator::operator++() {
    *this = Iterator(next_);
    return *this;
}

Entity* EntityChildren::lookup(const Name& component) const {
    for (Entity* child : *this) {
        if (child->component() == component) {
            return child;
        }
    }
    return nullptr;
}

Entity::Entity(Name name) : notifiees_(*this), name_(std::move(name)) {}

Entity::~Entity() {
    detach();
    while (children_.first_) {
        children_.first_->detach();
    }
}

NotifieeList* Entity::notifieeList() const {
    return const_cast<NotifieeList*>(&notifiees_);
}

Name Entity::component() const {
    return *parentAttrName_ ? Name(String(parentAttrName_) + "[" + name_ + "]") : name_;
}

Name Entity::fullName() const {
    return parent_ ? Name(parent_->fullName() + "/" + component()) : component();
}

void Entity::handleParent(Entity* parent, const char* attrName) {
    for (const Entity* ancestor = parent; ancestor; ancestor = ancestor->parent_) {
        if (ancestor == this) {
            throw RangeException("entity '" + fullName() + "' cannot be its own ancestor");
        }
    }
    if (parent != parent_) {
        detach();
        if (parent) {
            attach(*parent);
        }
    }
    parentAttrName_ = parent ? attrName : "";
}

void Entity::attach(Entity& parent) noexcept {
    parent_ = &parent;
    EntityChildren& siblings = parent.children_;
    previous_ = siblings.last_;
    (previous_ ? previous_->next_ : siblings.first_) = this;
    siblings.last_ = this;
    ++siblings.size_;
}

void Entity::detach() noexcept {
    if (!parent_) {
        return;
    }
    EntityChildren& siblings = parent_->children_;
    (previous_ ? previous_->next_ : siblings.first_) = next_;
    (next_ ? next_->previous_ : siblings.last_) = previous_;
    --siblings.size_;
    parent_ = nullptr;
    previous_ = next_ = nullptr;
    parentAttrName_ = "";
}

} // namespace Kel
