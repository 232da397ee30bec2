#pragma once

#include <bit>
#include <compare>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <set>
#include <string>

#include "framework/HashMap.h"
#include "framework/HashMap2018.h"
#include "framework/PtrInterface.h"

/// What the tests of the keyed collections share: an element that counts its living, an allocator
/// that fails on demand, one adapter for each collection kind, and the checkers of the invariants.
namespace Kel {

/// Looks into a `HashMap` and returns what is wrong with its structure, or an empty text.
template <class Map>
class HashMapChecker;

template <class T, class Key, U32 Seed, class Allocator>
class HashMapChecker<HashMap<T, Key, Seed, Allocator>> {
  public:
    static const char* defectOf(const HashMap<T, Key, Seed, Allocator>& map) {
        if (!std::has_single_bit(map.buckets())) {
            return "the number of buckets is no power of two";
        }
        if (map.size() > map.buckets()) {
            return "there are more elements than buckets";
        }
        U32 found = 0;
        const T* last = nullptr;
        for (U32 i = 0; i < map.buckets(); ++i) {
            for (const T* element = map.buckets_[i]; element; element = element->nextInBucket()) {
                const U32 hash = keyHash(element->fwkKey(), Seed);
                const HashMapLink<T>& link = *element;
                if (link.hash_ != hash) {
                    return "an element remembers another hash than its key has";
                }
                if (map.bucketIndex(hash) != i) {
                    return "an element is not in its bucket";
                }
                if (!element->isMember()) {
                    return "an element does not know that it is a member";
                }
                if (last && !isBefore(last, element)) {
                    return "the elements are not in order";
                }
                last = element;
                ++found;
            }
        }
        return found == map.size() ? "" : "the size is not the number of elements";
    }

  private:
    static bool isBefore(const T* a, const T* b) {
        const U32 hashOfA = static_cast<const HashMapLink<T>*>(a)->hash_;
        const U32 hashOfB = static_cast<const HashMapLink<T>*>(b)->hash_;
        return hashOfA != hashOfB ? hashOfA < hashOfB : std::less<const T*>()(a, b);
    }
};

/// The same for a `HashMap2018`.
template <class Map>
class HashMap2018Checker {
  public:
    /// An array as the collection makes it when it grows.
    static void makeTable(U32 homesLog2, U32 slack) { Map::Table::make(homesLog2, slack); }

    static const char* defectOf(const Map& map) {
        const auto& table = map.table_;
        if (table.capacity == 0) {
            return map.size() == 0 ? "" : "there are nodes without an array";
        }
        for (U32 i = 1; i <= Map::kProbe; ++i) {
            if (table.used.test(table.capacity - i)) {
                return "one of the last slots is in use";
            }
        }
        U32 found = 0;
        std::set<U32> prefixes;
        for (U32 i = 0; i < table.capacity; ++i) {
            if (table.used.test(i)) {
                if (const char* defect = defectAt(table, i)) {
                    return defect;
                }
                prefixes.insert(table.prefix(table.slots[i].tag()));
                ++found;
            } else if (table.slots[i].tag() != Map::kEmptyTag) {
                return "an unused slot has a tag";
            }
        }
        for (U32 prefix = 0; prefix < table.homes() << Map::kPrefixBits; ++prefix) {
            if (table.present.test(prefix) != prefixes.contains(prefix)) {
                return "the bit of a prefix is wrong";
            }
        }
        return found == map.size() ? "" : "the size is not the number of nodes";
    }

  private:
    static const char* defectAt(const typename Map::Table& table, U32 i) {
        const auto& slot = table.slots[i];
        const auto key = slot.fwkKey();
        if (slot.tag() != keyHash(key, Map::kSeed)) {
            return "a node has another tag than its key";
        }
        if (table.home(slot.tag()) > i) {
            return "a node stands before its home";
        }
        if (i == 0 || !table.used.test(i - 1)) {
            return table.home(slot.tag()) == i ? nullptr : "a slot before a shifted node is unused";
        }
        const auto& before = table.slots[i - 1];
        const bool inOrder =
            before.tag() != slot.tag()
                ? before.tag() < slot.tag()
                : keyWord<typename Map::Key>(before.fwkKey()) < keyWord<typename Map::Key>(key);
        return inOrder ? nullptr : "the nodes are not in order";
    }
};

} // namespace Kel

namespace KelTest {

using Kel::U32;
using Kel::U64;

/// The key that is `n` for keys which are numbers, and for text keys reads so.
template <class Key>
Key keyOf(U32 n) {
    if constexpr (Kel::TextKey<Key>) {
        return Key(std::to_string(n));
    } else {
        return Key(n);
    }
}

/// An id as the system has them.
class Id {
  public:
    Id() = default;
    explicit Id(U32 value) : value_(value) {}
    U32 value() const { return value_; }
    friend auto operator<=>(const Id&, const Id&) = default;

  private:
    U32 value_ = 0;
};

/// An element that counts how many of its kind live, and may run something when it dies.
template <class KeyType>
class ElementOf : public Kel::PtrInterface, public Kel::HashMapLink<ElementOf<KeyType>> {
  public:
    using Key = KeyType;

    explicit ElementOf(Key key) : key_(std::move(key)) { ++live; }
    ~ElementOf() override {
        --live;
        if (atDeath) {
            atDeath(key_);
        }
    }
    Key fwkKey() const { return key_; }

    inline static int live = 0;
    std::function<void(const Key&)> atDeath;

  private:
    Key key_;
};

template <class Key>
struct ElementKeyFunktor {
    Key operator()(const Kel::Ptr<ElementOf<Key>>& element) const { return element->fwkKey(); }
};

/// Fails from the moment when `allocationsLeft` is used up.
struct Memory {
    inline static int allocationsLeft = std::numeric_limits<int>::max();
    inline static int blocks = 0;
    static void reset() { allocationsLeft = std::numeric_limits<int>::max(); }
};

template <class T>
struct FailingAllocator {
    using value_type = T;

    FailingAllocator() = default;
    template <class U>
    explicit FailingAllocator(const FailingAllocator<U>&) {}

    T* allocate(std::size_t count) {
        if (Memory::allocationsLeft <= 0) {
            throw std::bad_alloc();
        }
        --Memory::allocationsLeft;
        ++Memory::blocks;
        return std::allocator<T>().allocate(count);
    }
    void deallocate(T* block, std::size_t count) {
        --Memory::blocks;
        std::allocator<T>().deallocate(block, count);
    }
};

/// The adapters: the same verbs over each kind, for the tests that hold for all of them. The
/// values are elements whose deaths are counted.
template <class KeyType, U32 Seed = 2785377793u>
struct Bucketed {
    using Key = KeyType;
    using Element = ElementOf<Key>;
    using Map = Kel::HashMap<Element, Key, Seed, FailingAllocator<Element*>>;
    using Checker = Kel::HashMapChecker<Map>;

    static void add(Map& map, const Kel::Ptr<Element>& element) { map.newMember(element); }
    static Element* find(const Map& map, const Key& key) { return map.lookup(key); }
    static Kel::Ptr<Element> remove(Map& map, const Key& key) { return map.deleteMember(key); }
    static Element& elementOf(Element* const& item) { return *item; }
    static U32 capacity(const Map& map) { return map.buckets(); }
};

template <class NodeType, class KeyType, U32 Seed>
struct Open {
    using Key = KeyType;
    using Element = ElementOf<Key>;
    using Map = Kel::HashMap2018<NodeType, Seed, FailingAllocator<NodeType>>;
    using Checker = Kel::HashMap2018Checker<Map>;

    static void add(Map& map, const Kel::Ptr<Element>& element) {
        map.newMemberG(element->fwkKey(), element);
    }
    static Element* find(const Map& map, const Key& key) {
        const auto* node = map.lookupNodeG(key);
        return node ? node->value().ptr() : nullptr;
    }
    static Kel::Ptr<Element> remove(Map& map, const Key& key) {
        Kel::Ptr<Element> removed;
        map.deleteMemberG(key, &removed);
        return removed;
    }
    static U32 capacity(const Map& map) { return map.slots(); }
};

template <class Key, U32 Seed = 2785377793u>
struct OpenInternal
    : Open<Kel::HashMap2018NodeInternalKey<Key, Kel::Ptr<ElementOf<Key>>, ElementKeyFunktor<Key>>,
           Key, Seed> {
    static ElementOf<Key>& elementOf(const Kel::Ptr<ElementOf<Key>>& item) { return *item; }
};

template <class Key, U32 Seed = 2785377793u>
struct OpenExternal
    : Open<Kel::HashMap2018NodeExternKey<Key, Kel::Ptr<ElementOf<Key>>>, Key, Seed> {
    template <class Node>
    static ElementOf<Key>& elementOf(const Node& item) {
        return *item.value();
    }
};

} // namespace KelTest
