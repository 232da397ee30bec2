#pragma once

#include <memory>

#include "framework/HashMap.h"
#include "framework/HashMap2018.h"
#include "framework/Type.h"

namespace Kel {

/**
 * How the generic attribute interface sees a keyed collection: its key, what a look-up yields
 * (a pointer that may be null, or a plain value that may be the default), its second size figure.
 */
template <class Collection>
struct CollectionTraits;

template <class T, class K, U32 kSeed>
struct CollectionTraits<HashMap<T, K, kSeed>> {
    using Map = HashMap<T, K, kSeed>;
    using Key = K;
    using Value = Ptr<T>;

    static Value lookup(const Map& map, const Key& key) { return map.lookup(key); }
    static bool contains(const Map& map, const Key& key) { return map.lookup(key) != nullptr; }
    static U32 slots(const Map& map) { return map.buckets(); }
    static Key keyOf(const T* element) { return element->fwkKey(); }
    static Value valueOf(T* element) { return element; }
};

template <class N, U32 kSeed>
struct CollectionTraits<HashMap2018<N, kSeed>> {
    using Map = HashMap2018<N, kSeed>;
    using Node = typename Map::Node;
    using Key = typename Node::Key;
    using Value = typename Node::Value;

    static Value lookup(const Map& map, const Key& key) {
        const Node* node = map.lookupNodeG(key);
        return node ? node->value() : Value{};
    }
    static bool contains(const Map& map, const Key& key) { return map.lookupNodeG(key) != nullptr; }
    static U32 slots(const Map& map) { return map.slots(); }
    static Key keyOf(const Node& node) { return node.fwkKey(); }
    static Value valueOf(const Node& node) { return node.value(); }
    /// Nodes with an internal key are iterated as their values.
    static Key keyOf(const Value& value) { return typename Node::KeyFunktor()(value); }
    static Value valueOf(const Value& value) { return value; }
};

template <class Collection>
class CollectionIterator : public GenericIterator {
    using Traits = CollectionTraits<Collection>;

  public:
    explicit CollectionIterator(const Collection& collection)
        : at_(collection.begin()), end_(collection.end()) {}

    bool atEnd() const override { return !(at_ != end_); }
    void advance() override { ++at_; }
    void key(void* result) const override {
        *static_cast<typename Traits::Key*>(result) = Traits::keyOf(*at_);
    }
    void value(void* result) const override {
        *static_cast<typename Traits::Value*>(result) = Traits::valueOf(*at_);
    }

  private:
    mutable decltype(std::declval<const Collection&>().begin()) at_;
    decltype(std::declval<const Collection&>().end()) end_;
};

} // namespace Kel
