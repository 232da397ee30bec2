#pragma once

#include <algorithm>
#include <chrono>
#include <optional>
#include <string_view>
#include <vector>

namespace LagAgent {

/// How long each phase of a start took, in the order in which they first came.
class Phases {
  public:
    using Clock = std::chrono::steady_clock;

    struct Phase {
        std::string_view name;
        Clock::duration time{};
    };

    /// Ends the phase under way and begins this one, or goes on with it. REQUIRES: the name is of
    /// static storage.
    void begin(std::string_view name) {
        if (current_ && phases_[*current_].name == name) {
            return;
        }
        end();
        const auto found = std::ranges::find(phases_, name, &Phase::name);
        current_ = static_cast<std::size_t>(found - phases_.begin());
        if (found == phases_.end()) {
            phases_.push_back({name});
        }
    }
    /// Ends the phase under way, if there is one.
    void end() {
        const auto now = Clock::now();
        if (current_) {
            phases_[*current_].time += now - since_;
            current_.reset();
        }
        since_ = now;
    }

    const std::vector<Phase>& all() const noexcept { return phases_; }

  private:
    std::vector<Phase> phases_;
    std::optional<std::size_t> current_;
    Clock::time_point since_ = Clock::now();
};

} // namespace LagAgent
