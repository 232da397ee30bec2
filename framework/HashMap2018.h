#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "framework/Assert.h"
#include "framework/Hash.h"
#include "framework/Ptr.h"
#include "framework/Words.h"

namespace Kel {

/// The tag of an empty slot of a `HashMap2018`: the greatest hash.
inline constexpr U32 kHashMap2018EmptyTag = std::numeric_limits<U32>::max();

/// A key and its hash. A key that its hash names (`kKeyHashIsExact`) is not stored but computed.
template <class Key, U32 Seed>
class HashMap2018StoredKey {
  public:
    constexpr HashMap2018StoredKey() noexcept = default;
    HashMap2018StoredKey(U32 tag, const Key& key) noexcept : key_(key), tag_(tag) {}

    U32 tag() const noexcept { return tag_; }
    const Key& key() const noexcept { return key_; }

  private:
    Key key_{};
    U32 tag_ = kHashMap2018EmptyTag;
};

template <class Key, U32 Seed>
requires kKeyHashIsExact<Key>
class HashMap2018StoredKey<Key, Seed> {
  public:
    constexpr HashMap2018StoredKey() noexcept = default;
    HashMap2018StoredKey(U32 tag, const Key&) noexcept : tag_(tag) {}

    U32 tag() const noexcept { return tag_; }
    Key key() const noexcept { return keyOfHash<Key>(tag_, Seed); }

  private:
    U32 tag_ = kHashMap2018EmptyTag;
};

/// The nodes of a `HashMap2018` that have the key beside the value. Iteration yields the node.
template <class KeyType, class ValueType>
struct HashMap2018NodeExternKey {
    using Key = KeyType;
    using Value = ValueType;

    /// The node in a collection of the given seed.
    template <U32 Seed>
    class Seeded {
      public:
        using Key = KeyType;
        using Value = ValueType;
        using Member = Seeded;

        constexpr Seeded() noexcept = default;
        Seeded(U32 tag, const Key& key, Value value) noexcept
            : key_(tag, key), value_(std::move(value)) {}

        U32 tag() const noexcept { return key_.tag(); }
        decltype(auto) key() const noexcept { return key_.key(); }
        decltype(auto) fwkKey() const noexcept { return key_.key(); }
        const Value& value() const noexcept { return value_; }
        const Member& member() const noexcept { return *this; }

        /// Stores `value` and returns the one before.
        Value exchangeValue(Value value) noexcept {
            return std::exchange(value_, std::move(value));
        }
        void valueIs(Value value) noexcept { exchangeValue(std::move(value)); }
        Value takeValue() noexcept { return std::move(value_); }

      private:
        /// The value may stand in the padding behind a pointer and its hash.
        [[no_unique_address]] HashMap2018StoredKey<Key, Seed> key_;
        Value value_{};
    };
};

/// The nodes of a `HashMap2018` whose value, a `Ptr`, knows its key; `KeyFunktor()(value)` reads
/// it. The key of a stored object must not change. Iteration yields the value.
template <class KeyType, class ValueType, class KeyFunktorType>
struct HashMap2018NodeInternalKey {
    using Key = KeyType;
    using Value = ValueType;
    using KeyFunktor = KeyFunktorType;

    /// The node in a collection of the given seed.
    template <U32 Seed>
    class Seeded {
      public:
        using Key = KeyType;
        using Value = ValueType;
        using KeyFunktor = KeyFunktorType;
        using Member = Value;

        constexpr Seeded() noexcept = default;
        /// REQUIRES: `key` is the key of `value`.
        Seeded(U32 tag, const Key& key, Value value) : value_(std::move(value)), tag_(tag) {
            assertThat(fwkKey() == key, "fwkKey() == _key");
        }

        U32 tag() const noexcept { return tag_; }
        decltype(auto) fwkKey() const { return KeyFunktor()(value_); }
        decltype(auto) key() const { return fwkKey(); }
        const Value& value() const noexcept { return value_; }
        const Member& member() const noexcept { return value_; }

        /// Stores another value with the same key and returns the one before.
        Value exchangeValue(Value _value) {
            assertThat(fwkKey() == KeyFunktor()(_value), "fwkKey() == KeyFunktor()( _value )");
            return std::exchange(value_, std::move(_value));
        }
        void valueIs(Value value) { exchangeValue(std::move(value)); }
        Value takeValue() noexcept { return std::move(value_); }

      private:
        Value value_{};
        U32 tag_ = kHashMap2018EmptyTag;
    };
};

template <class Map>
class HashMap2018IteratorGeneric;

/// Bits in words that somebody else owns.
struct HashMap2018Bits {
    static constexpr U32 kWordBits = 64;

    static constexpr U32 wordsFor(U32 bits) noexcept { return (bits + kWordBits - 1) / kWordBits; }

    bool test(U32 at) const noexcept { return (words[at / kWordBits] >> at % kWordBits) & 1; }
    void set(U32 at) const noexcept { words[at / kWordBits] |= U64{1} << at % kWordBits; }
    void clear(U32 at) const noexcept { words[at / kWordBits] &= ~(U64{1} << at % kWordBits); }

    U64* words;
};

/**
 * A keyed collection with open addressing; `NodeKind` is one of the two kinds above.
 *
 * Structure: an array of nodes ("slots"), and for each a bit that says whether it is used. A node
 * carries its tag, the hash of its key; the home of a node is the slot whose index is the top n
 * bits of the tag. An unused slot is a default node, with the greatest tag. Invariants:
 *
 *  - The nodes stand in ascending order of (tag, key word) through the whole array.
 *  - A node stands at its home or behind it, and there is no unused slot between home and node.
 *  - Behind the 2^n homes follow some slots of slack, so a run of neighbours that starts at the
 *    last homes goes on there: nothing wraps. The last `kProbe` slots always stay unused.
 *
 *        home     0   1   2   3   4   5   6   7   slack . . .
 *        tag      0a  1c  1f  -   -   53  5e  7d  7f   -   -
 *        used     1   1   1   0   0   1   1   1   1    0   0
 *
 * As an unused slot has the greatest tag, a search starts at the home and stops at the first tag
 * that is not less; it looks at the bits only for a key whose hash is that tag. An insertion moves
 * the rest of the run back by one, a deletion moves the nodes of the run that are not at home
 * forward by one. Growing doubles the homes when thirteen sixteenths are used and copies in order;
 * a run that would reach the last slots gets more slack.
 *
 * Speed is a matter of how much memory an operation touches. So a key that its tag names is not
 * stored (a handle under an id takes 8 bytes), and walks and insertions find the used and unused
 * slots from the bits. A second set of bits, eight for each home, answers most searches for absent
 * keys: bit p is set exactly while there is a node whose tag has the top n + 3 bits p. Nodes of
 * one p are neighbours, so a deletion sees from the neighbours whether to clear it.
 *
 * Since the order does not depend on the array, an iterator that notices a change finds its place
 * again by (tag, key word): the loop body may delete, insert, and make the collection grow, and
 * each node that is a member throughout is visited exactly once. But nodes move: a reference to a
 * node or to a value in it is good only until the next insertion or deletion.
 *
 * A value that is handed out or replaced is released after the collection is consistent again.
 * When memory runs out, an insertion throws `std::bad_alloc` and nothing has changed. Keys are
 * single words (`WordKey`). One thread at a time.
 */
template <class NodeKind, U32 Seed, class Allocator = std::allocator<NodeKind>>
class HashMap2018 {
  public:
    using Node = typename NodeKind::template Seeded<Seed>;
    using Key = typename Node::Key;
    using Value = typename Node::Value;
    using Iterator = HashMap2018IteratorGeneric<HashMap2018>;
    using iterator = Iterator;
    using const_iterator = Iterator;
    using value_type = typename Node::Member;

    static constexpr U32 kSeed = Seed;
    static_assert(WordKey<Key>, "the order of the nodes needs keys that are one word");
    static_assert(std::is_nothrow_default_constructible_v<Node>, "unused slots are default nodes");
    static_assert(std::is_nothrow_move_assignable_v<Node>, "nodes are moved when memory is out");

    HashMap2018() noexcept = default;
    HashMap2018(const HashMap2018&) = delete;
    HashMap2018& operator=(const HashMap2018&) = delete;
    ~HashMap2018() {
        while (table_.capacity != 0) { // a destructor of a value may insert again
            emptyAllBuckets();
        }
    }

    U32 size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    /// The number of slots, the slack included; 0 before the first insertion.
    U32 slots() const noexcept { return table_.capacity; }

    /// The node under `key`, or null.
    const Node* lookupNodeG(const Key& key) const {
        return const_cast<HashMap2018*>(this)->lookupNodeG(key);
    }
    Node* lookupNodeG(const Key& key) {
        const U32 tag = keyHash(key, Seed);
        if (!table_.present.test(table_.prefix(tag))) {
            return nullptr;
        }
        Node* const slot = firstNotBelow(tag, keyWord(key));
        return isAt(slot, tag, key) ? slot : nullptr;
    }

    /// Inserts a node. REQUIRES: `key` is absent.
    Node* newMemberG(const Key& key, Value value) {
        const U32 tag = keyHash(key, Seed);
        Node* const slot = firstNotBelow(tag, keyWord(key));
        assertThat(!isAt(slot, tag, key), "!lookupNodeG( key )");
        return insert(slot, Node(tag, key, std::move(value)));
    }

    /// Inserts `value` under `key`, or overwrites what is there; true when it was inserted.
    bool memberIs(const Key& key, Value value) {
        const U32 tag = keyHash(key, Seed);
        Node* const slot = firstNotBelow(tag, keyWord(key));
        if (isAt(slot, tag, key)) {
            [[maybe_unused]] const Value replaced = slot->exchangeValue(std::move(value));
            return false;
        }
        insert(slot, Node(tag, key, std::move(value)));
        return true;
    }

    /// Removes the node under `key`; true when there was one, whose value goes to `*removed` if
    /// given.
    bool deleteMemberG(const Key& key, Value* removed = nullptr) {
        Node* const slot = lookupNodeG(key);
        if (!slot) {
            return false;
        }
        Node node = extract(slot);
        if (removed) {
            *removed = node.takeValue();
        }
        return true;
    }

    /// Releases all nodes and the array; nobody is told. Whatever runs here finds the collection
    /// empty.
    void emptyAllBuckets() noexcept {
        const Table released = std::exchange(table_, Table());
        size_ = 0;
        ++changes_;
        released.free();
    }

    /// Calls `deleteOne(key)` for each node's key. `deleteOne` typically removes the node.
    template <class DeleteOne>
    void memberDelAll(DeleteOne&& deleteOne) {
        for (Iterator it = begin(); it; it.advance()) {
            const Key key = it.currNodeMaybeStale()->fwkKey();
            deleteOne(key);
        }
    }

    /// Removes all nodes without telling anybody.
    void _memberDelAll() noexcept { emptyAllBuckets(); }

    Iterator begin() const noexcept { return Iterator(*this); }
    Iterator end() const noexcept { return Iterator(); }

    /// The node that follows `key` in the order, whether or not there is one under `key`; null at
    /// the end. So a walk by keys goes on wherever it was, whatever it has deleted.
    const Node* findNextG(const Key& key) const {
        const U32 index = indexBehind(keyHash(key, Seed), keyWord(key));
        return Iterator(*this, index).currNodeMaybeStale();
    }

  private:
    friend Iterator;
    template <class Map>
    friend class HashMap2018Checker;

    static constexpr U32 kEmptyTag = kHashMap2018EmptyTag;
    /// Whether the tag alone names the key.
    static constexpr bool kIsExact = kKeyHashIsExact<Key>;
    static constexpr U32 kTagBits = 32;
    static constexpr U32 kWordBits = HashMap2018Bits::kWordBits;
    static constexpr U32 kFirstHomesLog2 = 3;
    static constexpr U32 kMaxHomesLog2 = 29;
    /// How many more bits of the tag a prefix has than a home.
    static constexpr U32 kPrefixBits = 3;
    /// How many slots a search looks at in one step.
    static constexpr U32 kProbe = 4;

    using NodeAllocator = typename std::allocator_traits<Allocator>::template rebind_alloc<Node>;
    using WordAllocator = typename std::allocator_traits<Allocator>::template rebind_alloc<U64>;

    /// What searches meet before there is an array. Never written, never freed.
    inline static constinit Node noSlots_[kProbe]{};
    inline static constinit U64 noBits_ = 0;

    /// The array; a plain record of pointers, so that whole tables are exchanged.
    struct Table {
        Node* slots = noSlots_;
        /// In one block, which begins with `used`.
        HashMap2018Bits used{&noBits_};
        HashMap2018Bits present{&noBits_};
        U32 capacity = 0;
        U32 shift = kTagBits;
        U32 slack = 0;

        U32 homes() const noexcept { return capacity - slack; }
        /// How many nodes the array takes before it grows.
        U32 limit() const noexcept { return homes() - (3 * homes() + 15) / 16; }
        U32 usedWords() const noexcept { return HashMap2018Bits::wordsFor(capacity); }
        /// Eight bits for each home. For 2^29 homes the number of these bits would not fit a U32.
        U32 presentWords() const noexcept { return homes() / (kWordBits >> kPrefixBits); }
        U32 home(U32 tag) const noexcept {
            // Without homes the shift is by 32, which is defined only on the wider word.
            return static_cast<U32>(static_cast<U64>(tag) >> shift);
        }
        U32 prefix(U32 tag) const noexcept { return tag >> (shift - kPrefixBits); }
        U32 index(const Node* slot) const noexcept { return static_cast<U32>(slot - slots); }
        bool isMargin(const Node* slot) const noexcept { return index(slot) + kProbe >= capacity; }

        static Table make(U32 homesLog2, U32 slack) {
            Table made;
            made.slack = slack;
            made.capacity = (U32{1} << homesLog2) + slack;
            made.shift = kTagBits - homesLog2;
            NodeAllocator nodeAllocator;
            WordAllocator wordAllocator;
            made.slots = nodeAllocator.allocate(made.capacity);
            try {
                made.used.words = wordAllocator.allocate(made.usedWords() + made.presentWords());
            } catch (...) {
                nodeAllocator.deallocate(made.slots, made.capacity);
                throw;
            }
            std::uninitialized_value_construct_n(made.slots, made.capacity);
            made.present.words =
                std::uninitialized_fill_n(made.used.words, made.usedWords(), U64{0});
            std::uninitialized_fill_n(made.present.words, made.presentWords(), U64{0});
            return made;
        }

        void free() const noexcept {
            if (capacity != 0) {
                std::destroy_n(slots, capacity);
                NodeAllocator().deallocate(slots, capacity);
                WordAllocator().deallocate(used.words, usedWords() + presentWords());
            }
        }

        /// Whether `slot` holds a node of this tag.
        bool holds(const Node* slot, U32 tag) const noexcept {
            return slot->tag() == tag && (tag != kEmptyTag || used.test(index(slot)));
        }

        bool holdsPrefix(const Node* slot, U32 of) const noexcept {
            return prefix(slot->tag()) == of && holds(slot, slot->tag());
        }

        /// Whether `slot` holds a node that would rather stand before it.
        bool isAwayFromHome(const Node* slot) const noexcept {
            return home(slot->tag()) < index(slot) && holds(slot, slot->tag());
        }

        /// The first unused slot from `slot` on; there is one, as the last slots are unused.
        Node* firstUnused(Node* slot) const noexcept {
            const U32 at = index(slot);
            U32 group = at / kWordBits;
            U64 unused = ~used.words[group] & (~U64{0} << at % kWordBits);
            while (unused == 0) {
                unused = ~used.words[++group];
            }
            return &slots[group * kWordBits + static_cast<U32>(std::countr_zero(unused))];
        }

        /// Calls `visitor(Node&)` for each node, in order.
        template <class Visitor>
        void forEachNode(Visitor&& visitor) const {
            for (U32 group = 0; group < usedWords(); ++group) {
                for (U64 rest = used.words[group]; rest != 0; rest &= rest - 1) {
                    visitor(slots[group * kWordBits + static_cast<U32>(std::countr_zero(rest))]);
                }
            }
        }
    };

    bool isAt(const Node* slot, U32 tag, const Key& key) const {
        return table_.holds(slot, tag) && (kIsExact || slot->fwkKey() == key);
    }

    /// The slot where a node of (tag, word) stands if there is one: the first node that does not
    /// come before it, or the unused slot behind the last one that does.
    Node* firstNotBelow(U32 tag, [[maybe_unused]] U64 word) const {
        Node* slot = &table_.slots[table_.home(tag)];
        // From the home on, first come the lesser tags, then the others. Counting the lesser ones
        // in steps of several slots leaves one jump to predict, and that is nearly always right.
        U32 lesser;
        do {
            lesser = 0;
#pragma GCC unroll 4
            for (U32 i = 0; i < kProbe; ++i) {
                lesser += slot[i].tag() < tag ? 1 : 0;
            }
            slot += lesser;
        } while (lesser == kProbe);
        if constexpr (!kIsExact) {
            while (table_.holds(slot, tag) && keyWord<Key>(slot->fwkKey()) < word) {
                ++slot;
            }
        }
        return slot;
    }

    /// Whether `slot` holds the node of (tag, word).
    bool isOf(const Node* slot, U32 tag, [[maybe_unused]] U64 word) const {
        return table_.holds(slot, tag) && (kIsExact || keyWord<Key>(slot->fwkKey()) == word);
    }

    /// The index of the slot behind the node of (tag, word), or behind where it would stand.
    U32 indexBehind(U32 tag, U64 word) const {
        const Node* const slot = firstNotBelow(tag, word);
        return table_.index(slot) + (isOf(slot, tag, word) ? 1 : 0);
    }

    /// Puts `node` at `slot`, its place in the order, and makes room for it.
    Node* insert(Node* slot, Node node) {
        if (size_ >= table_.limit()) {
            rebuild(table_.capacity == 0 ? kFirstHomesLog2 : kTagBits - table_.shift + 1);
            slot = firstNotBelow(node.tag(), keyWord<Key>(node.fwkKey()));
        }
        Node* unused = table_.firstUnused(slot);
        while (table_.isMargin(unused)) {
            rebuild(kTagBits - table_.shift, 2 * table_.slack);
            slot = firstNotBelow(node.tag(), keyWord<Key>(node.fwkKey()));
            unused = table_.firstUnused(slot);
        }
        table_.used.set(table_.index(unused));
        table_.present.set(table_.prefix(node.tag()));
        for (; unused != slot; --unused) {
            *unused = std::move(unused[-1]);
        }
        *slot = std::move(node);
        ++size_;
        ++changes_;
        return slot;
    }

    /// Takes the node out of `slot` and closes the gap.
    Node extract(Node* slot) noexcept {
        const U32 prefix = table_.prefix(slot->tag());
        if (!table_.holdsPrefix(slot + 1, prefix) &&
            (slot == table_.slots || !table_.holdsPrefix(slot - 1, prefix))) {
            table_.present.clear(prefix);
        }
        Node node = std::move(*slot);
        for (; table_.isAwayFromHome(slot + 1); ++slot) {
            *slot = std::move(slot[1]);
        }
        *slot = Node();
        table_.used.clear(table_.index(slot));
        --size_;
        ++changes_;
        return node;
    }

    void rebuild(U32 homesLog2) {
        // With more homes no run becomes longer behind the last one, so the slack suffices.
        rebuild(homesLog2, std::max(table_.slack, 4 + 2 * homesLog2));
    }

    void rebuild(U32 homesLog2, U32 slack) {
        if (homesLog2 > kMaxHomesLog2 || slack > U32{1} << kMaxHomesLog2) {
            throw std::length_error("HashMap2018");
        }
        const Table grown = Table::make(homesLog2, slack);
        U32 next = 0;
        table_.forEachNode([&grown, &next](Node& from) {
            const U32 to = std::max(next, grown.home(from.tag()));
            grown.used.set(to);
            grown.present.set(grown.prefix(from.tag()));
            grown.slots[to] = std::move(from);
            next = to + 1;
        });
        std::exchange(table_, grown).free();
        ++changes_;
    }

    Table table_;
    U32 size_ = 0;
    /// Number of changes so far, by which iterators notice them.
    U64 changes_ = 0;
};

/**
 * Walks over a `HashMap2018`; see there for what it tolerates. Serves range-for, and the explicit
 * form:
 *
 *     for (auto it = map.begin(); it; it.advance()) { use(*it.currNodeMaybeStale()); }
 */
template <class Map>
class HashMap2018IteratorGeneric {
  public:
    using Node = typename Map::Node;
    using iterator_category = std::forward_iterator_tag;
    using value_type = typename Node::Member;
    using difference_type = std::ptrdiff_t;
    using pointer = const value_type*;
    using reference = const value_type&;

    HashMap2018IteratorGeneric() noexcept = default;
    /// Stands on the first node in slot `index` or behind it.
    explicit HashMap2018IteratorGeneric(const Map& map, U32 index = 0) noexcept : map_(&map) {
        seekFrom(index);
    }

    /// Whether the walk is not over.
    explicit operator bool() const noexcept { return node_ != nullptr; }

    /// The node as it was reached, null at the end. Good until the collection changes; after that
    /// it must not be touched.
    const Node* currNodeMaybeStale() const noexcept { return node_; }

    /// The node of this place of the order as the collection is now; null when it was removed.
    const Node* currNodeNonStale() const {
        if (!node_ || changes_ == map_->changes_) {
            return node_;
        }
        const Node* const slot = map_->firstNotBelow(tag_, word_);
        return map_->isOf(slot, tag_, word_) ? slot : nullptr;
    }

    /// Goes on to the next node of the order, whatever happened to the current one.
    void advance() {
        if (changes_ != map_->changes_) [[unlikely]] {
            seekFrom(map_->indexBehind(tag_, word_));
            return;
        }
        rest_ &= rest_ - 1;
        standOnRest();
    }

    reference operator*() const noexcept { return node_->member(); }
    pointer operator->() const noexcept { return &node_->member(); }

    HashMap2018IteratorGeneric& operator++() {
        advance();
        return *this;
    }
    HashMap2018IteratorGeneric operator++(int) {
        HashMap2018IteratorGeneric before = *this;
        advance();
        return before;
    }

    friend bool operator==(const HashMap2018IteratorGeneric& a,
                           const HashMap2018IteratorGeneric& b) noexcept {
        return a.node_ == b.node_;
    }

  private:
    using Key = typename Map::Key;

    void seekFrom(U32 index) noexcept {
        changes_ = map_->changes_;
        if (index >= map_->table_.capacity) {
            node_ = nullptr;
            return;
        }
        group_ = index / Map::kWordBits;
        rest_ = map_->table_.used.words[group_] & (~U64{0} << index % Map::kWordBits);
        standOnRest();
    }

    void standOnRest() {
        while (rest_ == 0) {
            if (++group_ >= map_->table_.usedWords()) {
                node_ = nullptr;
                return;
            }
            rest_ = map_->table_.used.words[group_];
        }
        const U32 index = group_ * Map::kWordBits + static_cast<U32>(std::countr_zero(rest_));
        node_ = &map_->table_.slots[index];
        tag_ = node_->tag();
        if constexpr (!Map::kIsExact) {
            word_ = keyWord<Key>(node_->fwkKey());
        }
    }

    const Map* map_ = nullptr;
    const Node* node_ = nullptr;
    U64 changes_ = 0;
    /// The bits of the nodes not yet passed, among the 64 slots of group `group_`.
    U64 rest_ = 0;
    U32 group_ = 0;
    U32 tag_ = 0;
    /// Tells apart nodes of one tag; 0 where the tag says it all.
    U64 word_ = 0;
};

} // namespace Kel
