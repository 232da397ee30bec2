#pragma once

#include <filesystem>
#include <string>

namespace LagAgent::Crash {

/**
 * A state directory in a new directory of its own, in memory where there is room for it. Removed
 * with all it has at the end, unless the test has failed: then it stays, and its path is printed.
 */
class StatePlace {
  public:
    StatePlace();
    /// With a copy of what another place has, as a process that dies now leaves it.
    static StatePlace copyOf(const StatePlace& other);
    ~StatePlace();
    StatePlace(StatePlace&& other) noexcept;
    StatePlace& operator=(StatePlace&&) = delete;

    std::string directory() const { return root_ / "state"; }
    std::string chip() const { return file("chip"); }
    std::filesystem::path file(const std::string& name) const { return root_ / "state" / name; }

  private:
    std::filesystem::path root_; // empty: moved from
};

} // namespace LagAgent::Crash
