#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace test_support {

/**
 * The live objects of every class of the driver, by class name. Put one before everything that a
 * test makes: when it goes out of scope, last of all, it fails the test unless as many objects live
 * as at its construction.
 */
class LiveObjects {
  public:
    using Growth = std::map<std::string, std::int64_t>;

    LiveObjects();
    ~LiveObjects();
    LiveObjects(const LiveObjects&) = delete;
    LiveObjects& operator=(const LiveObjects&) = delete;

    /// Classes of which more (or, negative, fewer) objects live now than at the start.
    Growth growth() const;
    /// What lives now is expected to live on: counts from here.
    void restart();

  private:
    std::vector<std::int64_t> start_;
};

} // namespace test_support
