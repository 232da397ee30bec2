#include "agent/wire/LineBuffer.h"

#include <utility>

namespace LagAgent {

void LineBuffer::add(std::string_view bytes) {
    bytes_ += bytes;
    if (!hasLine()) {
        findEnd();
    }
}

std::optional<LineBuffer::Line> LineBuffer::next() {
    if (!hasLine()) {
        return std::nullopt;
    }
    Line line{bytes_.substr(0, end_), std::exchange(isTooLong_, false) || end_ > longest_};
    if (line.isTooLong) {
        line.text.clear();
    }
    bytes_.erase(0, end_ + 1);
    searched_ = 0;
    findEnd();
    return line;
}

void LineBuffer::findEnd() {
    end_ = bytes_.find('\n', searched_);
    searched_ = bytes_.size();
    if (!hasLine() && bytes_.size() > longest_) {
        isTooLong_ = true;
        bytes_.clear();
        searched_ = 0;
    }
}

} // namespace LagAgent
