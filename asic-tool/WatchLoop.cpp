#include "asic-tool/WatchLoop.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <ostream>

#include "asic-tool/Json.h"

namespace asic_tool {

namespace {

std::atomic<bool> isStopped = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

} // namespace

void Requests::stop() noexcept {
    isStopped = true;
}

bool Requests::isOver() const noexcept {
    return isAtEnd_ || isStopped;
}

std::size_t Requests::lines(int milliseconds) {
    pollfd input{descriptor_, POLLIN, 0};
    if (isOver() || ::poll(&input, 1, milliseconds) <= 0) {
        return 0;
    }
    std::array<char, 4096> text;
    const ssize_t size = ::read(descriptor_, text.data(), text.size());
    if (size < 0 && errno == EINTR) {
        return 0;
    }
    if (size <= 0) {
        isAtEnd_ = true;
        return isInLine_ ? 1 : 0;
    }
    isInLine_ = text[static_cast<std::size_t>(size) - 1] != '\n';
    return static_cast<std::size_t>(std::count(text.begin(), text.begin() + size, '\n'));
}

std::string reportLine(const FlowWatch::Counts& counts, bool isJson) {
    const auto longest =
        std::chrono::duration_cast<std::chrono::microseconds>(counts.longest).count();
    if (isJson) {
        return Json{{"lookups", counts.lookups},
                    {"no port", counts.noPort},
                    {"wrong port", counts.wrongPort},
                    {"inactive", counts.inactive},
                    {"longest us", longest}}
            .dump();
    }
    return "lookups " + std::to_string(counts.lookups) + "  no port " +
           std::to_string(counts.noPort) + "  wrong port " + std::to_string(counts.wrongPort) +
           "  inactive " + std::to_string(counts.inactive) + "  longest " +
           std::to_string(longest) + " us";
}

bool watchFlows(FlowWatch& watch, Requests& requests, bool isJson, std::ostream& out,
                std::ostream& err) {
    // Looking for a request takes longer than a lookup.
    constexpr int kLookupsBetweenRequests = 64;
    bool wasRight = true;
    while (!requests.isOver()) {
        for (int i = 0; i < kLookupsBetweenRequests; ++i) {
            watch.send();
        }
        if (wasRight && watch.firstFailure()) {
            wasRight = false;
            err << toText(*watch.firstFailure()) << std::endl;
        }
        for (std::size_t lines = requests.lines(0); lines != 0; --lines) {
            out << reportLine(watch.take(), isJson) << std::endl;
        }
    }
    return wasRight;
}

} // namespace asic_tool
