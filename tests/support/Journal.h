#pragma once

#include <iostream>
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

    void add(std::string line) {
        if (isEchoed_) {
            std::cerr << line << '\n';
        }
        lines_.push_back(std::move(line));
    }
    const Lines& lines() const noexcept { return lines_; }
    /// The lines so far; the journal is empty afterwards.
    Lines take() { return std::exchange(lines_, {}); }
    void clear() { lines_.clear(); }
    /// Also writes each line to standard error, where the test of a process that dies sees it.
    void echoIs(bool echo) { isEchoed_ = echo; }

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
    bool isEchoed_ = false;
    Lines lines_;
    std::map<const void*, std::string> names_;
};

} // namespace test_support
