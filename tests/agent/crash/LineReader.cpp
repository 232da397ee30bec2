#include "tests/agent/crash/LineReader.h"

#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace LagAgent::Crash {

std::optional<std::string> LineReader::next() {
    for (;;) {
        if (const auto end = buffer_.find('\n', at_); end != std::string::npos) {
            std::string line = buffer_.substr(at_, end - at_);
            at_ = end + 1;
            return line;
        }
        buffer_.erase(0, at_);
        at_ = 0;
        char bytes[4096];
        const ssize_t size = ::read(pipe_, bytes, sizeof bytes);
        if (size > 0) {
            buffer_.append(bytes, static_cast<std::size_t>(size));
        } else if (size == 0 || errno != EINTR) {
            return std::nullopt;
        }
    }
}

bool writeLine(int pipe, std::string line) {
    line += '\n';
    for (std::string_view left = line; !left.empty();) {
        const ssize_t size = ::write(pipe, left.data(), left.size());
        if (size < 0 && errno != EINTR) {
            return false;
        }
        left.remove_prefix(size < 0 ? 0 : static_cast<std::size_t>(size));
    }
    return true;
}

} // namespace LagAgent::Crash
