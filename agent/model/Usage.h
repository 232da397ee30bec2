#pragma once

#include <algorithm>
#include <new>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace LagAgent {

/**
 * Which users each thing has, found without a walk over all users.
 *
 * It remembers what is true elsewhere. It is empty until the first question, which has it collected
 * there; from then on it has to be told of every change. When memory runs out it is empty again,
 * and is collected anew.
 */
template <class Thing, class User>
class Usage {
  public:
    using Pair = std::pair<Thing, User>;

    bool isCollected() const noexcept { return isCollected_; }
    void collectedAre(std::vector<Pair> pairs) {
        std::ranges::sort(pairs);
        pairs_ = {pairs.begin(), pairs.end()};
        isCollected_ = true;
    }

    /// Whether the user uses the thing from now on.
    void is(const Thing& thing, const User& user, bool uses) noexcept {
        if (!isCollected_) {
            return;
        }
        try {
            if (uses) {
                pairs_.emplace(thing, user);
            } else {
                pairs_.erase({thing, user});
            }
        } catch (const std::bad_alloc&) {
            pairs_.clear();
            isCollected_ = false;
        }
    }

    /// REQUIRES, as the next: `isCollected()`. By thing, then by user.
    const std::set<Pair>& all() const noexcept { return pairs_; }
    /// The lowest user; none when nobody uses the thing.
    std::optional<User> lowestOf(const Thing& thing) const {
        const auto found = pairs_.lower_bound({thing, User{}});
        std::optional<User> lowest;
        if (found != pairs_.end() && found->first == thing) {
            lowest.emplace(found->second); // which may be an optional itself
        }
        return lowest;
    }

  private:
    std::set<Pair> pairs_;
    bool isCollected_ = false;
};

} // namespace LagAgent
