#include "framework/Trace.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <source_location>
#include <utility>
#include <vector>

#include "framework/Exception.h"
#include "framework/FrameworkTrace.h"
#include "framework/String.h"

namespace Kel {

namespace {

constexpr U8 kEveryLevel = 255;

using Setting = std::pair<std::string, U8>;

/// Parses "FACILITY=LEVEL[,...]"; false when the text is anything else.
bool parseSettings(std::string_view text, std::vector<Setting>& settings) {
    while (true) {
        const std::string_view item = text.substr(0, text.find(','));
        const std::size_t equals = item.find('=');
        if (equals == std::string_view::npos || equals == 0) {
            return false;
        }
        const char* const end = item.data() + item.size();
        U8 level = 0;
        const auto [stop, error] = std::from_chars(item.data() + equals + 1, end, level);
        if (error != std::errc() || stop != end) {
            return false;
        }
        settings.emplace_back(item.substr(0, equals), level);
        if (item.size() == text.size()) {
            return true;
        }
        text.remove_prefix(item.size() + 1);
    }
}

} // namespace

/// The facilities that exist, and the levels set for names, whether they exist yet or not.
class TraceRegistry {
  public:
    static TraceRegistry& instance() {
        static TraceRegistry& registry = *new TraceRegistry; // outlives every facility
        return registry;
    }

    void add(TraceHandle& handle, bool on) {
        const auto found = levels_.find(handle.name_);
        handle.level_ = found != levels_.end() ? found->second : on ? kEveryLevel : U8{0};
        handle.next_ = first_;
        first_ = &handle;
    }

    void remove(TraceHandle& handle) {
        for (TraceHandle** link = &first_; *link; link = &(*link)->next_) {
            if (*link == &handle) {
                *link = handle.next_;
                return;
            }
        }
    }

    void levelIs(std::string_view facility, U8 level) {
        levels_.insert_or_assign(std::string(facility), level);
        for (TraceHandle* handle = first_; handle; handle = handle->next_) {
            if (handle->name_ == facility) {
                handle->level_ = level;
            }
        }
    }

    void sinkIs(std::function<void(std::string_view)> sink) { sink_ = std::move(sink); }

    void write(const String& line) {
        if (const auto sink = sink_) { // a copy: the sink may set another one
            sink(line);
        } else {
            std::fprintf(stderr, "%s\n", line.charPtr());
        }
    }

  private:
    TraceRegistry() {
        const char* setting = std::getenv("KEL_TRACE");
        std::vector<Setting> settings;
        if (!setting || !*setting) {
            return;
        }
        if (!parseSettings(setting, settings)) {
            std::fprintf(stderr, "KEL_TRACE: not of the form FACILITY=LEVEL[,...]: %s\n", setting);
            return;
        }
        for (const auto& [facility, level] : settings) {
            levels_.insert_or_assign(facility, level);
        }
    }

    TraceHandle* first_ = nullptr;
    std::map<std::string, U8, std::less<>> levels_;
    std::function<void(std::string_view)> sink_;
};

TraceHandle::TraceHandle(const char* name, bool on) : name_(name), next_(nullptr) {
    TraceRegistry::instance().add(*this, on);
}

TraceHandle::~TraceHandle() {
    level_ = 0;
    TraceRegistry::instance().remove(*this);
}

void traceLevelIs(std::string_view facility, U8 level) {
    TraceRegistry::instance().levelIs(facility, level);
}

void traceLevelsIs(std::string_view setting) {
    std::vector<Setting> settings;
    if (!parseSettings(setting, settings)) {
        throw RangeException("trace levels are FACILITY=LEVEL[,FACILITY=LEVEL...], level 0 to 255, "
                             "not '" +
                             String(setting) + "'");
    }
    for (const auto& [facility, level] : settings) {
        traceLevelIs(facility, level);
    }
}

void traceSinkIs(std::function<void(std::string_view line)> sink) {
    TraceRegistry::instance().sinkIs(std::move(sink));
}

TraceStream& TraceStream::operator<<(std::string_view text) {
    text_ += text;
    return *this;
}

TraceStream& TraceStream::appendNumber(U64 number) {
    text_ += std::to_string(number);
    return *this;
}

void TraceHelper::trace(const char* source, U32 line, const char* function) {
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(now);
    const auto micros = duration_cast<microseconds>(now.time_since_epoch()).count() % 1'000'000;
    std::tm local{};
    localtime_r(&seconds, &local);
    char clock[32];
    std::strftime(clock, sizeof clock, "%Y-%m-%d %H:%M:%S", &local);
    TraceRegistry::instance().write(format("%s.%06lld %s %u %s:%u %s %s", clock,
                                           static_cast<long long>(micros), handle_.name(), level_,
                                           source, line, function, stream_.text_.c_str()));
}

void trace(U8 level, std::string_view text, std::string_view detail) {
    static TraceHandle& handle = *new TraceHandle("Kel", false); // outlives every object
    tracePoint(handle, level, "framework", std::source_location::current().line(), "trace", text,
               detail);
}

} // namespace Kel
