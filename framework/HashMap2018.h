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

/// A node of a `HashMap2018` that stores the key beside the value. Iteration yields the node.
template <class KeyType, class ValueType>
class HashMap2018NodeExternKey {
  public:
    using Key = KeyType;
    using Value = ValueType;
    using Member = HashMap2018NodeExternKey;

    HashMap2018NodeExternKey(Key key, Value value) noexcept
        : key_(std::move(key)), value_(std::move(value)) {}

    const Key& key() const noexcept { return key_; }
    const Key& fwkKey() const noexcept { return key_; }
    const Value& value() const noexcept { return value_; }
    const Member& member() const noexcept { return *this; }

    /// Stores `value` and returns the one before.
    Value exchangeValue(Value value) noexcept { return std::exchange(value_, std::move(value)); }
    void valueIs(Value value) noexcept { exchangeValue(std::move(value)); }
    Value takeValue() noexcept { return std::move(value_); }

  private:
    Key key_;
    Value value_;
};

/// A node of a `HashMap2018` whose value, a `Ptr`, knows its key; `KeyFunktor()(value)` reads it.
/// The key of a stored object must not change. Iteration yields the value.
template <class KeyType, class ValueType, class KeyFunktorType>
class HashMap2018NodeInternalKey {
  public:
    using Key = KeyType;
    using Value = ValueType;
    using KeyFunktor = KeyFunktorType;
    using Member = Value;

    /// REQUIRES: `key` is the key of `value`.
    HashMap2018NodeInternalKey(const Key& key, Value value) : value_(std::move(value)) {
        assertThat(fwkKey() == key, "fwkKey() == _key");
    }
    /// For a value that is its own witness of its key.
    explicit HashMap2018NodeInternalKey(Value value) noexcept : value_(std::move(value)) {}

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
    Value value_;
};

template <class Map>
class HashMap2018IteratorGeneric;

/**
 * A keyed collection with open addressing; `Node` is one of the two kinds above.
 *
 * Structure: an array of slots, each empty or with a node and the node's tag (its hash, shortened
 * by the one value that means "empty"). The home of a node is the slot whose index is the top n
 * bits of the tag. Invariants:
 *
 *  - The nodes stand in ascending order of (tag, key word) through the whole array.
 *  - A node stands at its home or behind it, and there is no empty slot between home and node.
 *  - Behind the 2^n homes follow some slots of slack, so a run of neighbours that starts at the
 *    last homes goes on there: nothing wraps. The last `kProbe` slots always stay empty.
 *
 *        home     0   1   2   3   4   5   6   7   slack . . .
 *        tag      0a  1c  1f  -   -   53  5e  7d  7f   -   -
 *
 * As an empty slot has the greatest tag, a search starts at the home and stops at the first tag
 * that is not less. An insertion moves the rest of the run back by one, a deletion moves the nodes
 * of the run that are not at home forward by one. Growing doubles the homes when more than three
 * quarters are used and copies in order; a run that would reach the last slots gets more slack.
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
template <class NodeType, U32 Seed, class Allocator = std::allocator<NodeType>>
class HashMap2018 {
  public:
    using Node = NodeType;
    using Key = typename Node::Key;
    using Value = typename Node::Value;
    using Iterator = HashMap2018IteratorGeneric<HashMap2018>;
    using iterator = Iterator;
    using const_iterator = Iterator;
    using value_type = typename Node::Member;

    static constexpr U32 kSeed = Seed;
    static_assert(WordKey<Key>, "the order of the nodes needs keys that are one word");
    static_assert(std::is_nothrow_move_constructible_v<Node>, "nodes are moved when memory is out");

    HashMap2018() noexcept = default;
    HashMap2018(const HashMap2018&) = delete;
    HashMap2018& operator=(const HashMap2018&) = delete;
    ~HashMap2018() { emptyAllBuckets(); }

    U32 size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    /// The number of slots, the slack included; 0 before the first insertion.
    U32 slots() const noexcept { return table_.capacity; }

    /// The node under `key`, or null.
    const Node* lookupNodeG(const Key& key) const {
        return const_cast<HashMap2018*>(this)->lookupNodeG(key);
    }
    Node* lookupNodeG(const Key& key) {
        const U32 tag = tagOf(key);
        Slot* const slot = firstNotBelow(tag, keyWord(key));
        return isAt(*slot, tag, key) ? &slot->node : nullptr;
    }

    /// Inserts a node. REQUIRES: `key` is absent.
    Node* newMemberG(const Key& key, Value value) {
        const U32 tag = tagOf(key);
        Slot* const slot = firstNotBelow(tag, keyWord(key));
        assertThat(!isAt(*slot, tag, key), "!lookupNodeG( key )");
        return insert(slot, tag, Node(key, std::move(value)));
    }

    /// Inserts `value` under `key`, or overwrites what is there; true when it was inserted.
    bool memberIs(const Key& key, Value value) {
        const U32 tag = tagOf(key);
        Slot* const slot = firstNotBelow(tag, keyWord(key));
        if (isAt(*slot, tag, key)) {
            [[maybe_unused]] const Value replaced = slot->node.exchangeValue(std::move(value));
            return false;
        }
        insert(slot, tag, Node(key, std::move(value)));
        return true;
    }

    /// Removes the node under `key`; true when there was one, whose value goes to `*removed` if
    /// given.
    bool deleteMemberG(const Key& key, Value* removed = nullptr) {
        const U32 tag = tagOf(key);
        Slot* const slot = firstNotBelow(tag, keyWord(key));
        if (!isAt(*slot, tag, key)) {
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
        released.forEachNode([](Slot& slot) { std::destroy_at(&slot.node); });
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
    void memberDelAll() noexcept { emptyAllBuckets(); }

    Iterator begin() const noexcept { return Iterator(*this); }
    Iterator end() const noexcept { return Iterator(); }

  private:
    friend Iterator;
    template <class Map>
    friend class HashMap2018Checker;

    /// The tag of an empty slot, greater than that of any node.
    static constexpr U32 kEmptyTag = std::numeric_limits<U32>::max();
    static constexpr U32 kTagBits = 32;
    static constexpr U32 kWordBits = 64;
    static constexpr U32 kFirstHomesLog2 = 3;
    static constexpr U32 kMaxHomesLog2 = 30;
    /// How many slots a search looks at in one step.
    static constexpr U32 kProbe = 4;

    /// Raw but for the tag; the node lives only while the tag is not `kEmptyTag`.
    struct Slot {
        constexpr Slot() noexcept {}
        ~Slot() {}

        U32 tag = kEmptyTag;
        union {
            /// Makes an empty slot a constant expression.
            char none = 0;
            Node node;
        };
    };

    using SlotAllocator = typename std::allocator_traits<Allocator>::template rebind_alloc<Slot>;
    using WordAllocator = typename std::allocator_traits<Allocator>::template rebind_alloc<U64>;

    /// What searches meet before there is an array. Never written, never freed.
    inline static constinit Slot noSlots_[kProbe]{};

    /// The array; a plain record of pointers, so that whole tables are exchanged.
    struct Table {
        Slot* slots = noSlots_;
        /// One bit a slot, set for a node, so that a walk does not look at empty slots.
        U64* used = nullptr;
        U32 capacity = 0;
        U32 shift = kTagBits;
        U32 slack = 0;

        U32 homes() const noexcept { return capacity - slack; }
        /// How many nodes the array takes before it grows.
        U32 limit() const noexcept { return homes() / 4 * 3; }
        U32 words() const noexcept { return (capacity + kWordBits - 1) / kWordBits; }
        U32 home(U32 tag) const noexcept {
            // Without homes the shift is by 32, which is defined only on the wider word.
            return static_cast<U32>(static_cast<U64>(tag) >> shift);
        }
        U32 index(const Slot* slot) const noexcept { return static_cast<U32>(slot - slots); }
        bool isMargin(const Slot* slot) const noexcept { return index(slot) + kProbe >= capacity; }

        static Table make(U32 homesLog2, U32 slack) {
            Table made;
            made.slack = slack;
            made.capacity = (U32{1} << homesLog2) + slack;
            made.shift = kTagBits - homesLog2;
            SlotAllocator slotAllocator;
            WordAllocator wordAllocator;
            made.slots = slotAllocator.allocate(made.capacity);
            try {
                made.used = wordAllocator.allocate(made.words());
            } catch (...) {
                slotAllocator.deallocate(made.slots, made.capacity);
                throw;
            }
            std::uninitialized_default_construct_n(made.slots, made.capacity);
            std::uninitialized_fill_n(made.used, made.words(), U64{0});
            return made;
        }

        void free() const noexcept {
            if (capacity != 0) {
                SlotAllocator().deallocate(slots, capacity);
                WordAllocator().deallocate(used, words());
            }
        }

        void markUsed(U32 at) const noexcept { used[at / kWordBits] |= U64{1} << at % kWordBits; }
        void markEmpty(U32 at) const noexcept {
            used[at / kWordBits] &= ~(U64{1} << at % kWordBits);
        }

        /// The first empty slot from `slot` on; there is one, as the last slots are empty.
        Slot* firstEmpty(Slot* slot) const noexcept {
            if (slot->tag == kEmptyTag) {
                return slot;
            }
            const U32 at = index(slot);
            U32 group = at / kWordBits;
            U64 unused = ~used[group] & (~U64{0} << at % kWordBits);
            while (unused == 0) {
                unused = ~used[++group];
            }
            return &slots[group * kWordBits + static_cast<U32>(std::countr_zero(unused))];
        }

        /// Calls `visitor(Slot&)` for each slot with a node, in order.
        template <class Visitor>
        void forEachNode(Visitor&& visitor) const {
            for (U32 group = 0; group < words(); ++group) {
                for (U64 rest = used[group]; rest != 0; rest &= rest - 1) {
                    visitor(slots[group * kWordBits + static_cast<U32>(std::countr_zero(rest))]);
                }
            }
        }
    };

    /// Makes `slot`, which is empty, hold `node`.
    static void fillSlot(Slot* slot, U32 tag, Node&& node) noexcept {
        slot->tag = tag;
        std::construct_at(&slot->node, std::move(node));
    }

    static void moveNode(Slot* from, Slot* to) noexcept {
        fillSlot(to, from->tag, std::move(from->node));
        std::destroy_at(&from->node);
    }

    static U32 tagOf(const Key& key) noexcept {
        return std::min(keyHash(key, Seed), kEmptyTag - 1);
    }

    /// Whether the tag alone names the key: not for the one tag that two hashes share.
    static bool isExact(U32 tag) noexcept { return kKeyHashIsExact<Key> && tag < kEmptyTag - 1; }

    static bool isAt(const Slot& slot, U32 tag, const Key& key) {
        return slot.tag == tag && (isExact(tag) || slot.node.fwkKey() == key);
    }

    /// The slot where a node of (tag, word) stands if there is one: the first node that does not
    /// come before it, or the empty slot behind the last one that does.
    Slot* firstNotBelow(U32 tag, U64 word) const {
        Slot* slot = &table_.slots[table_.home(tag)];
        // From the home on, first come the lesser tags, then the others. Counting the lesser ones
        // in steps of several slots leaves one jump to predict, and that is nearly always right.
        U32 lesser;
        do {
            lesser = 0;
            for (U32 i = 0; i < kProbe; ++i) {
                lesser += slot[i].tag < tag ? 1 : 0;
            }
            slot += lesser;
        } while (lesser == kProbe);
        if (!isExact(tag)) {
            while (slot->tag == tag && keyWord<Key>(slot->node.fwkKey()) < word) {
                ++slot;
            }
        }
        return slot;
    }

    /// Puts `node` at `slot`, its place in the order, and makes room for it.
    Node* insert(Slot* slot, U32 tag, Node node) {
        if (size_ >= table_.limit()) {
            rebuild(table_.capacity == 0 ? kFirstHomesLog2 : kTagBits - table_.shift + 1);
            slot = firstNotBelow(tag, keyWord<Key>(node.fwkKey()));
        }
        Slot* hole = table_.firstEmpty(slot);
        while (table_.isMargin(hole)) {
            rebuild(kTagBits - table_.shift, 2 * table_.slack);
            slot = firstNotBelow(tag, keyWord<Key>(node.fwkKey()));
            hole = table_.firstEmpty(slot);
        }
        table_.markUsed(table_.index(hole));
        for (; hole != slot; --hole) {
            moveNode(hole - 1, hole);
        }
        fillSlot(slot, tag, std::move(node));
        ++size_;
        ++changes_;
        return &slot->node;
    }

    /// Takes the node out of `slot` and closes the gap.
    Node extract(Slot* slot) noexcept {
        Node node = std::move(slot->node);
        std::destroy_at(&slot->node);
        for (Slot* next = slot + 1;
             next->tag != kEmptyTag && table_.home(next->tag) != table_.index(next);
             slot = next++) {
            moveNode(next, slot);
        }
        slot->tag = kEmptyTag;
        table_.markEmpty(table_.index(slot));
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
        table_.forEachNode([&grown, &next](Slot& from) {
            const U32 to = std::max(next, grown.home(from.tag));
            moveNode(&from, &grown.slots[to]);
            grown.markUsed(to);
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
    explicit HashMap2018IteratorGeneric(const Map& map) noexcept : map_(&map) { seekFrom(0); }

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
        const auto* slot = map_->firstNotBelow(tag_, word_);
        return isCurrent(*slot) ? &slot->node : nullptr;
    }

    /// Goes on to the next node of the order, whatever happened to the current one.
    void advance() {
        if (changes_ != map_->changes_) [[unlikely]] {
            relocate();
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

    bool isCurrent(const auto& slot) const {
        return slot.tag == tag_ &&
               (Map::isExact(tag_) || keyWord<Key>(slot.node.fwkKey()) == word_);
    }

    void relocate() {
        const auto* slot = map_->firstNotBelow(tag_, word_);
        if (isCurrent(*slot)) {
            ++slot;
        }
        seekFrom(map_->table_.index(slot));
    }

    /// Stands on the first node in slot `index` or behind it.
    void seekFrom(U32 index) noexcept {
        changes_ = map_->changes_;
        if (index >= map_->table_.capacity) {
            node_ = nullptr;
            return;
        }
        group_ = index / Map::kWordBits;
        rest_ = map_->table_.used[group_] & (~U64{0} << index % Map::kWordBits);
        standOnRest();
    }

    void standOnRest() {
        while (rest_ == 0) {
            if (++group_ >= map_->table_.words()) {
                node_ = nullptr;
                return;
            }
            rest_ = map_->table_.used[group_];
        }
        const U32 index = group_ * Map::kWordBits + static_cast<U32>(std::countr_zero(rest_));
        const auto& slot = map_->table_.slots[index];
        node_ = &slot.node;
        tag_ = slot.tag;
        word_ = Map::isExact(tag_) ? 0 : keyWord<Key>(slot.node.fwkKey());
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
