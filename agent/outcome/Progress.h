#pragma once

#include <cstddef>
#include <string_view>

namespace LagAgent {

/// Told how far something is that takes long; what it does with that is its own matter.
class Progress {
  public:
    Progress() = default;
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    virtual ~Progress() = default;

    /// `done` of `total` are done in that phase; a total of 0 is not known. May be called for every
    /// single step.
    virtual void show(std::string_view phase, std::size_t done, std::size_t total) = 0;

    /// Other output is about to be written to the same place.
    virtual void hide() {}
};

} // namespace LagAgent
