// What the switch holds, in the words of the PD API.
#pragma once

#include <map>

#include "ovs/Types.h"

namespace ovs {

struct Member {
    Action action;
    std::uint32_t users = 0; // groups and entries that refer to it
};

struct Group {
    std::uint16_t maxSize = 0;
    std::map<Handle, bool> members{}; // whether each is active
    std::uint32_t users = 0;          // entries that refer to it
};

/// The default entry has the all-zero key.
struct Entry {
    Key key;
    Target target;
};

/// The value of the key of that handle, or null.
template <class Map>
auto find(Map& map, Handle handle) noexcept {
    const auto found = map.find(handle);
    return found == map.end() ? nullptr : &found->second;
}

/// The lowest handle above `handle`, or kNoHandle. after(map, kNoHandle) is the first.
template <class Map>
Handle after(const Map& map, Handle handle) noexcept {
    const auto found = map.upper_bound(handle);
    return found == map.end() ? kNoHandle : found->first;
}

struct Tables {
    std::map<Handle, Member> members{};
    std::map<Handle, Group> groups{};
    std::map<Handle, Entry> entries{};
    std::map<Handle, Entry> defaults{}; // at most one

    /// The entry or default entry, or null.
    [[nodiscard]] Entry* findEntry(Handle handle) noexcept;
    [[nodiscard]] const Entry* findEntry(Handle handle) const noexcept;

    [[nodiscard]] bool has(Target target) const noexcept;
    /// REQUIRES: has(target).
    [[nodiscard]] std::uint32_t& users(Target target) noexcept;
    void pointTo(Entry& entry, Target target) noexcept;

    /// The entry whose key is the same, that is, in mask, masked value and priority; kNoHandle if
    /// there is none.
    [[nodiscard]] Handle findKey(const Key& key) const noexcept;
    /// Whether a packet can match the key and an entry of the same priority.
    [[nodiscard]] bool overlapsEqual(const Key& key) const noexcept;
};

} // namespace ovs
