#pragma once

#include <chrono>
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
        if (!phases_.empty() && phases_[current_].name == name) {
            return;
        }
        end();
        current_ = 0;
        while (current_ < phases_.size() && phases_[current_].name != name) {
            ++current_;
        }
        if (current_ == phases_.size()) {
            phases_.push_back({name});
        }
    }
    /// Ends the phase under way.
    void end() {
        const auto now = Clock::now();
        if (!phases_.empty()) {
            phases_[current_].time += now - since_;
        }
        since_ = now;
    }

    const std::vector<Phase>& all() const noexcept { return phases_; }

  private:
    std::vector<Phase> phases_;
    std::size_t current_ = 0;
    Clock::time_point since_ = Clock::now();
};

} // namespace LagAgent
