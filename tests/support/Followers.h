#pragma once

#include <cstring>
#include <optional>
#include <ostream>
#include <type_traits>
#include <utility>
#include <vector>

#include "framework/Kel.h"

namespace test_support {

/// One announcement: which attribute changed and, of a collection, for which key.
template <class Key>
struct Notice {
    Kel::AttributeId id = 0;
    std::optional<Key> key;

    bool operator==(const Notice&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Notice& notice) {
        out << notice.id;
        if constexpr (std::is_integral_v<Key>) {
            if (notice.key) {
                out << '[' << *notice.key << ']';
            }
        }
        return out;
    }
};

/// Follows one object and keeps every announcement. `Key` is what the object's keys are;
/// identifiers of one word may be read as `U32`.
template <class Key>
class FollowerOf : public Kel::PtrInterface::NotifieeConst {
  public:
    explicit FollowerOf(const PtrInterface& object) {
        notifierIs(&object);
        hasNotificationActiveIs(true);
    }
    template <class Object>
    explicit FollowerOf(const Kel::Ptr<Object>& object) : FollowerOf(*object) {}

    void onAttribute(Kel::AttributeId id, const void* key) override {
        notices_.push_back({id, key ? std::optional<Key>(read(key)) : std::nullopt});
    }

    const std::vector<Notice<Key>>& notices() const noexcept { return notices_; }
    /// The announcements so far; there are none afterwards.
    std::vector<Notice<Key>> take() { return std::exchange(notices_, {}); }

  private:
    static Key read(const void* key) {
        if constexpr (std::is_trivially_copyable_v<Key>) {
            Key copy;
            std::memcpy(&copy, key, sizeof copy);
            return copy;
        } else {
            return *static_cast<const Key*>(key);
        }
    }

    std::vector<Notice<Key>> notices_;
};

using Follower = FollowerOf<Kel::U32>;

} // namespace test_support
