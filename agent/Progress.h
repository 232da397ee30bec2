#pragma once

#include <cstddef>
#include <string_view>

namespace LagAgent {

/// Told how far a long piece of work is.
class Progress {
  public:
    virtual ~Progress() = default;
    virtual void show(std::string_view phase, std::size_t done, std::size_t total) = 0;
};

} // namespace LagAgent
