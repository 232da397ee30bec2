#pragma once

#include <memory>

#include "framework/AllocTrack.h"
#include "framework/AttributeTable.h"
#include "framework/Exception.h"
#include "framework/Notifiee.h"
#include "framework/NotifieeList.h"

namespace Kel {

class Entity;

/// The entities that name one entity as their parent, in the order in which they came. Look-up by
/// name is linear: it serves tools, not the running system. A walk tolerates any change under way.
class KEL_EXPORT EntityChildren {
  public:
    class Iterator {
      public:
        explicit Iterator(const EntityChildren& children, Entity* at);
        Entity* const& operator*() const noexcept { return at_; }
        Iterator& operator++();
        bool operator!=(const Iterator& other) const noexcept { return at_ != other.at_; }

      private:
        const EntityChildren* children_;
        Entity* at_;
        /// By which the place is found again after a change, when the child may be gone.
        U64 serial_;
        U64 changes_;
    };

    Entity* lookup(const Name& component) const;
    U32 size() const noexcept { return size_; }
    Iterator begin() const { return Iterator(*this, first_); }
    Iterator end() const { return Iterator(*this, nullptr); }

  private:
    friend class Entity;
    Entity* first_ = nullptr;
    Entity* last_ = nullptr;
    U32 size_ = 0;
    U64 changes_ = 0;
    U64 latestSerial_ = 0;
};

/**
 * A named object in a tree.
 *
 * The parent owns its children through its own attributes; the child keeps a non-owning reference
 * back, which its parent's death clears. The element of a keyed collection is named after its key.
 */
class KEL_EXPORT Entity : public Object<Entity, PtrInterface> {
  public:
    static constexpr AttributeId kParent = 138;

    explicit Entity(Name name);
    /// An entity named after a key that is a number; the text is made when somebody asks for it.
    explicit Entity(U64 number);
    ~Entity() override;

    NotifieeList* notifieeList() const override;

    Name name() const;
    /// The path from the root, such as "lagGroup/group[10]/member[3]".
    Name fullName() const;
    /// The last component of `fullName()`: the name, or "attribute[name]" in a keyed collection.
    Name component() const;
    Kel::Ptr<Entity> parent() const { return parent_; }
    /// The attribute of the parent that holds this entity; empty when there is none.
    Name parentAttrName() const { return parentAttrName_; }
    /// The children.
    const EntityChildren& entity() const noexcept { return children_; }

    /// Makes `parent` the parent, null detaches; the entity then belongs to no attribute of it, and
    /// the change is announced. Nothing happens when it is the parent already. Throws
    /// `RangeException` and changes nothing when `parent` is this entity or one of its descendants.
    void parentIs(const Kel::Ptr<Entity>& parent);
    /// The same for the attribute `attrName` of the parent (a string that outlives the entity), and
    /// unannounced: it is part of a change of that attribute, which the parent announces. Throws
    /// likewise.
    void handleParent(Entity* parent, const char* attrName);

    static const Type fwkType_;

  protected:
    NotifieeList notifiees_;
    /// Protected, as the attribute tables of derived classes name it.
    EntityChildren children_;

  private:
    friend class EntityChildren;
    friend class EntityChildren::Iterator;
    template <class C, class... Rows>
    friend struct EntityRows;
    struct Attributes;

    bool isAncestorOf(const Entity* entity) const noexcept;
    void attach(Entity& parent) noexcept;
    void detach() noexcept;

    /// Null for an entity that is named after `number_`.
    std::unique_ptr<const Name> name_;
    U64 number_ = 0;
    Entity* parent_ = nullptr;
    const char* parentAttrName_ = "";
    Entity* previous_ = nullptr;
    Entity* next_ = nullptr;
    /// Rises in the order in which children come to one parent.
    U64 childSerial_ = 0;
};

template <>
struct CollectionTraits<EntityChildren> {
    using Key = Name;
    using Value = Ptr<Entity>;

    static Value lookup(const EntityChildren& children, const Key& component) {
        return children.lookup(component);
    }
    static bool contains(const EntityChildren& children, const Key& component) {
        return children.lookup(component) != nullptr;
    }
    static U32 slots(const EntityChildren& children) { return children.size(); }
    static Key keyOf(const Entity* child) { return child->component(); }
    static Value valueOf(Entity* child) { return child; }
};

/// The attribute table of an entity class: the five attributes of every entity, then its own.
template <class C, class... Rows>
struct EntityRows {
    using Table =
        AttributeTable<C, ScalarRow<"name", 130, &Entity::name>,
                       ScalarRow<"parent", Entity::kParent, &Entity::parent, &Entity::parentIs>,
                       ScalarRow<"parentAttrName", 139, &Entity::parentAttrName>,
                       ScalarRow<"fullName", 141, &Entity::fullName>,
                       CollectionRow<"entity", 143, &Entity::children_>, Rows...>;
};
template <class C, class... Rows>
using EntityAttributeTable = typename EntityRows<C, Rows...>::Table;

} // namespace Kel
