#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

/**
 * What happened, one line each, in the order in which it happened. The recording PD library and the
 * recording managers of a test write into one journal, so that their order can be checked.
 */
class Journal {
  public:
    using Lines = std::vector<std::string>;

    void add(std::string line) { lines_.push_back(std::move(line)); }
    const Lines& lines() const noexcept { return lines_; }
    /// The lines so far; the journal is empty afterwards.
    Lines take() { return std::exchange(lines_, {}); }
    void clear() { lines_.clear(); }

    /// Objects are known by their identity; a test names those that it wants to see in lines.
    void nameIs(const void* object, std::string name) {
        names_.insert_or_assign(object, std::move(name));
    }
    std::string name(const void* object) const {
        if (!object) {
            return "null";
        }
        const auto found = names_.find(object);
        return found == names_.end() ? "unnamed" : found->second;
    }

  private:
    Lines lines_;
    std::map<const void*, std::string> names_;
};

} // namespace test_support
