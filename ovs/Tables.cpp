#include "ovs/Tables.h"

#include <algorithm>

namespace ovs {

Entry* Tables::findEntry(Handle handle) noexcept {
    Entry* const entry = find(entries, handle);
    return entry ? entry : find(defaults, handle);
}

const Entry* Tables::findEntry(Handle handle) const noexcept {
    return const_cast<Tables*>(this)->findEntry(handle);
}

bool Tables::has(Target target) const noexcept {
    return target.isGroup ? groups.contains(target.handle) : members.contains(target.handle);
}

std::uint32_t& Tables::users(Target target) noexcept {
    return target.isGroup ? find(groups, target.handle)->users
                          : find(members, target.handle)->users;
}

void Tables::pointTo(Entry& entry, Target target) noexcept {
    ++users(target);
    --users(entry.target);
    entry.target = target;
}

Handle Tables::findKey(const Key& key) const noexcept {
    const auto found = std::ranges::find_if(entries, [&](const auto& entry) {
        const Key& other = entry.second.key;
        return other.mask == key.mask && other.priority == key.priority &&
               (other.value & key.mask) == (key.value & key.mask);
    });
    return found == entries.end() ? kNoHandle : found->first;
}

bool Tables::overlapsEqual(const Key& key) const noexcept {
    return std::ranges::any_of(entries, [&](const auto& entry) {
        const Key& other = entry.second.key;
        return other.priority == key.priority &&
               ((other.value ^ key.value) & other.mask & key.mask) == 0;
    });
}

} // namespace ovs
