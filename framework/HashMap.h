#pragma once

#include <bit>
#include <cstddef>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "framework/Assert.h"
#include "framework/Hash.h"
#include "framework/Ptr.h"
#include "framework/Words.h"

namespace Kel {

/**
 * What an element of a `HashMap` carries: its place in the one collection that holds it.
 *
 *     class Widget : public Kel::Object<Widget, Kel::Entity>, public Kel::HashMapLink<Widget> {
 *         WidgetId fwkKey() const { return id_; }
 *     };
 */
template <class T>
class HashMapLink {
  public:
    HashMapLink(const HashMapLink&) = delete;
    HashMapLink& operator=(const HashMapLink&) = delete;

    /// Whether some collection holds the element now.
    bool isMember() const noexcept { return member_; }
    /// The next element of the same bucket; null for the last one, and in no collection.
    T* nextInBucket() const noexcept { return next_; }

  protected:
    HashMapLink() = default;
    ~HashMapLink() = default;

  private:
    template <class Element, class Key, U32 Seed, class Allocator>
    friend class HashMap;
    template <class Map>
    friend class HashMapChecker;

    T* next_ = nullptr;
    U32 hash_ = 0;
    bool member_ = false;
};

/**
 * An intrusive keyed collection: holds one counted reference to each element, under the key that
 * the element itself knows (`Key T::fwkKey() const`, constant while it is a member).
 *
 * Structure: 2^n buckets; the bucket of a key is the top n bits of `keyHash(key, Seed)`. A bucket
 * is a singly linked chain through the elements (`HashMapLink`), kept sorted by (hash, address).
 * So the order of the whole collection is that of (hash, address), whatever n is. An insertion
 * allocates nothing but, when there would be more elements than buckets, the doubled bucket array.
 *
 * Iteration rests on that order. An iterator remembers the hash and address of its element and the
 * number of changes the collection had seen; after a change it finds its place again by value. So
 * the loop body may delete and destroy the current element or any other, insert, and make the
 * collection grow: each element that is a member throughout is visited exactly once, and no dead
 * element is touched. An element inserted meanwhile may be visited or not, but no id twice (nor any
 * key that its hash names). The collection itself must live as long as the loop.
 *
 *     for (auto& group : profile->group()) {  // Group* const&
 *         profile->groupDel(group->groupId());
 *     }
 *
 * When the bucket array cannot be allocated, `newMember` throws `std::bad_alloc` and nothing has
 * changed. No other operation throws by itself. One thread at a time.
 */
template <class T, class Key, U32 Seed, class Allocator = std::allocator<T*>>
class HashMap {
  public:
    class Iterator;
    using iterator = Iterator;
    using const_iterator = Iterator;
    using value_type = T*;

    static constexpr U32 kSeed = Seed;

    /// A key with its hash, for a look-up and an insertion of one key.
    using Probe = KeyAndRhashNoSeedArg<Key, Seed>;

    HashMap() noexcept = default;
    HashMap(const HashMap&) = delete;
    HashMap& operator=(const HashMap&) = delete;
    ~HashMap() {
        emptyAllBuckets();
        freeBuckets();
    }

    U32 size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    /// The number of buckets, a power of two; 1 at first.
    U32 buckets() const noexcept { return lastBucket_ + 1; }
    /// The bucket of a key with this hash.
    U32 bucketIndex(U32 hash) const noexcept {
        // With one bucket the shift is by 32, which is defined only on the wider word.
        return static_cast<U32>(static_cast<U64>(hash) >> shift_);
    }

    /// The element under `key`, or null. Takes no reference.
    T* lookup(const Key& key) const { return find(keyHash(key, Seed), key); }
    T* lookup(const Probe& probe) const { return find(probe.keyRhash(), probe.key()); }

    /// Inserts `element`, keeping the given reference. REQUIRES: it is in no collection, and its
    /// key is not in this one.
    void newMember(Ptr<T> element) {
        const Key& key = element->fwkKey();
        insert(std::move(element), key, keyHash(key, Seed));
    }
    /// The same. REQUIRES: `probe` is that of the element's key.
    void newMember(Ptr<T> element, const Probe& probe) {
        insert(std::move(element), probe.key(), probe.keyRhash());
    }

    /// Removes the element under `key` and hands it over with its reference; null when absent.
    Ptr<T> deleteMember(const Key& key) {
        const U32 hash = keyHash(key, Seed);
        T** place = &buckets_[bucketIndex(hash)];
        while (*place && !isUnder(*place, hash, key)) {
            place = &link(*place).next_;
        }
        return *place ? unlink(place) : nullptr;
    }

    /// Releases all elements; nobody is told. A destructor that runs here finds the collection
    /// consistent: its own object is out, those not yet released are in.
    void emptyAllBuckets() noexcept {
        while (size_ != 0) {
            for (U32 i = 0; i <= lastBucket_; ++i) {
                while (buckets_[i]) {
                    unlink(&buckets_[i]);
                }
            }
        }
    }

    /// Calls `deleteOne(key)` for each element's key. `deleteOne` typically removes the element.
    template <class DeleteOne>
    void memberDelAll(DeleteOne&& deleteOne) {
        for (T* const& element : *this) {
            const Key key = element->fwkKey();
            deleteOne(key);
        }
    }

    /// Removes all elements without telling anybody.
    void _memberDelAll() noexcept { emptyAllBuckets(); }

    Iterator begin() const noexcept { return Iterator(*this); }
    Iterator end() const noexcept { return Iterator(); }

    /// The first element in bucket `index` or a later one; null when these are empty.
    T* findNextBucket(U32 index) const noexcept {
        for (; index <= lastBucket_; ++index) {
            if (buckets_[index]) {
                return buckets_[index];
            }
        }
        return nullptr;
    }

  private:
    void insert(Ptr<T> element, const Key& key, U32 hash) {
        assertThat(!link(element.ptr()).member_, "!element->isMember()");
        if (size_ > lastBucket_) {
            grow();
        }
        T** const place = insertionPlace(hash, key, element.ptr());
        HashMapLink<T>& added = link(element.ptr());
        added.hash_ = hash;
        added.member_ = true;
        added.next_ = *place;
        *place = element.detach();
        ++size_;
        ++changes_;
    }

    template <class Map>
    friend class HashMapChecker;
    using AllocatorTraits = std::allocator_traits<Allocator>;

    static constexpr U32 kMaxShift = 32;
    /// How many buckets ahead a walk over all of them asks for the elements.
    static constexpr U32 kPrefetchAhead = 8;

    static HashMapLink<T>& link(T* element) noexcept { return *element; }

    static bool isUnder(T* element, U32 hash, const Key& key) {
        if constexpr (kKeyHashIsExact<Key>) {
            return link(element).hash_ == hash;
        } else {
            return link(element).hash_ == hash && element->fwkKey() == key;
        }
    }

    /// The order of the collection.
    static bool isBefore(T* element, U32 hash, T* other) noexcept {
        const U32 own = link(element).hash_;
        return own != hash ? own < hash : std::less<T*>()(element, other);
    }

    T* find(U32 hash, const Key& key) const {
        T* element = buckets_[bucketIndex(hash)];
        while (element && link(element).hash_ < hash) {
            element = link(element).next_;
        }
        for (; element && link(element).hash_ == hash; element = link(element).next_) {
            if (isUnder(element, hash, key)) {
                return element;
            }
        }
        return nullptr;
    }

    /// The link that is to point at a new element.
    T** insertionPlace(U32 hash, const Key& key, T* element) {
        T** place = &buckets_[bucketIndex(hash)];
        while (*place && link(*place).hash_ < hash) {
            place = &link(*place).next_;
        }
        T** const sameHash = place;
        for (T* other = *sameHash; other && link(other).hash_ == hash; other = link(other).next_) {
            assertThat(!isUnder(other, hash, key), "!lookup( element->fwkKey() )");
            if (isBefore(other, hash, element)) {
                place = &link(other).next_;
            }
        }
        return place;
    }

    Ptr<T> unlink(T** place) noexcept {
        T* const element = *place;
        HashMapLink<T>& removed = link(element);
        *place = removed.next_;
        removed.next_ = nullptr;
        removed.member_ = false;
        --size_;
        ++changes_;
        return Ptr<T>::adopt(element);
    }

    /// Doubles the buckets. As chains are sorted, each falls into two at one point.
    void grow() {
        if (lastBucket_ == std::numeric_limits<U32>::max() / 2) {
            throw std::length_error("HashMap");
        }
        Allocator allocator;
        T** const doubled = AllocatorTraits::allocate(allocator, std::size_t{2} * buckets());
        const U32 splitBit = U32{1} << (shift_ - 1);
        for (U32 i = 0; i <= lastBucket_; ++i) {
            prefetch(i + kPrefetchAhead);
            T** place = std::construct_at(&doubled[2 * i], buckets_[i]);
            while (*place && (link(*place).hash_ & splitBit) == 0) {
                place = &link(*place).next_;
            }
            std::construct_at(&doubled[2 * i + 1], std::exchange(*place, nullptr));
        }
        freeBuckets();
        buckets_ = doubled;
        lastBucket_ = 2 * lastBucket_ + 1;
        --shift_;
        ++changes_;
    }

    void freeBuckets() noexcept {
        if (buckets_ != &onlyBucket_) {
            Allocator allocator;
            AllocatorTraits::deallocate(allocator, buckets_, buckets());
        }
    }

    void prefetch(U32 index) const noexcept {
        if (index <= lastBucket_ && buckets_[index]) {
            __builtin_prefetch(&link(buckets_[index]));
        }
    }

    /// The first element behind (hash, address), where no element needs to be.
    T* firstBehind(U32 hash, [[maybe_unused]] T* address) const noexcept {
        const U32 index = bucketIndex(hash);
        for (T* element = buckets_[index]; element; element = link(element).next_) {
            if constexpr (kKeyHashIsExact<Key>) {
                // One of the same hash has the same key: it has been made again.
                if (link(element).hash_ > hash) {
                    return element;
                }
            } else if (element != address && !isBefore(element, hash, address)) {
                return element;
            }
        }
        return findNextBucket(index + 1);
    }

    T** buckets_ = &onlyBucket_;
    U32 lastBucket_ = 0;
    U32 shift_ = kMaxShift;
    U32 size_ = 0;
    /// So that a collection of at most one element needs no array.
    T* onlyBucket_ = nullptr;
    /// Number of changes so far, by which iterators notice them.
    U64 changes_ = 0;
};

/// A forward iterator; see the collection for what it tolerates.
template <class T, class Key, U32 Seed, class Allocator>
class HashMap<T, Key, Seed, Allocator>::Iterator {
  public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = T*;
    using difference_type = std::ptrdiff_t;
    using pointer = T* const*;
    using reference = T* const&;

    Iterator() noexcept = default;
    explicit Iterator(const HashMap& map) noexcept : map_(&map) { standOn(map.findNextBucket(0)); }

    T* const& operator*() const noexcept { return element_; }
    T* operator->() const noexcept { return element_; }

    Iterator& operator++() noexcept {
        if (changes_ != map_->changes_) [[unlikely]] {
            standOn(map_->firstBehind(hash_, element_));
            return *this;
        }
        T* next = link(element_).next_;
        if (!next) {
            next = nextChain();
        }
        standOn(next);
        return *this;
    }
    Iterator operator++(int) noexcept {
        Iterator before = *this;
        ++*this;
        return before;
    }

    friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
        return a.element_ == b.element_;
    }

  private:
    T* nextChain() const noexcept {
        const U32 index = map_->bucketIndex(hash_) + 1;
        map_->prefetch(index + kPrefetchAhead);
        return map_->findNextBucket(index);
    }

    void standOn(T* element) noexcept {
        element_ = element;
        hash_ = element ? link(element).hash_ : 0;
        changes_ = map_->changes_;
    }

    const HashMap* map_ = nullptr;
    T* element_ = nullptr;
    U64 changes_ = 0;
    U32 hash_ = 0;
};

} // namespace Kel
