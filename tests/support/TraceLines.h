#pragma once

#include <string>
#include <vector>

#include "framework/Words.h"

namespace test_support {

/// Switches a trace facility to a level and collects its lines, without the time in front, such as
/// "BfLagGroup 9 bf_velmor_switch/kel/BfLagGroup/BfLagGroup:120 entryIs TEXT". Off again when it
/// dies.
class TraceLines {
  public:
    struct Line {
        std::string facility;
        unsigned level = 0;
        std::string source;
        unsigned line = 0;
        std::string function;
        std::string text;
    };

    TraceLines(const char* facility, Kel::U8 level);
    ~TraceLines();
    TraceLines(const TraceLines&) = delete;
    TraceLines& operator=(const TraceLines&) = delete;

    const std::vector<Line>& lines() const noexcept { return lines_; }
    /// Every line as "LEVEL SOURCE FUNCTION: TEXT": what does not change with the source's edits.
    std::vector<std::string> texts() const;

  private:
    const char* facility_;
    std::vector<Line> lines_;
};

} // namespace test_support
