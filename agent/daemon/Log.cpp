#include "agent/daemon/Log.h"

#include <sys/stat.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "agent/outcome/Text.h"

namespace LagAgent {

namespace {

struct LevelNames {
    const char* name;
    const char* journalPriority;
};

const LevelNames& namesOf(LogLevel level) {
    static constexpr std::array<LevelNames, 4> kNames{
        {{"debug", "<7>"}, {"info", "<6>"}, {"warning", "<4>"}, {"error", "<3>"}}};
    return kNames.at(static_cast<std::size_t>(level));
}

/// The journal names the file that it reads in the environment, which may have been redirected
/// since.
bool isJournal(int fd) {
    struct stat file {};
    const char* stream = std::getenv("JOURNAL_STREAM");
    return stream && ::fstat(fd, &file) == 0 &&
           std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino) == stream;
}

/// "2026-11-21T11:12:13.123Z"
std::string now() {
    using namespace std::chrono;
    const auto time = system_clock::now().time_since_epoch();
    const std::time_t seconds = duration_cast<std::chrono::seconds>(time).count();
    const auto fraction = static_cast<int>(duration_cast<milliseconds>(time).count() % 1000);
    std::tm utc{};
    ::gmtime_r(&seconds, &utc);
    std::array<char, 32> text{};
    const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text.data() + size, text.size() - size, ".%03dZ", fraction);
    return text.data();
}

std::string logfmt(const Json& fields) {
    std::string text;
    for (const auto& [name, value] : fields.items()) {
        text += (text.empty() ? "" : " ") + name + "=";
        text += value.is_string() ? logfmtValue(value.get_ref<const std::string&>()) : value.dump();
    }
    return text;
}

} // namespace

std::string logfmtValue(std::string_view value) {
    std::string escaped;
    for (const char c : value) {
        escaped += c == '"' || c == '\\' ? std::string{'\\', c} : printable({&c, 1});
    }
    const bool isPlain =
        !value.empty() && escaped == value && value.find_first_of(" =") == std::string_view::npos;
    return isPlain ? escaped : '"' + escaped + '"';
}

Log::Log(int fd, LogOptions options) : file_(fd), options_(options), isJournal_(isJournal(fd)) {}

void Log::write(LogLevel level, std::string_view event,
                std::initializer_list<LogField> fields) const {
    if (level < options_.level) {
        return;
    }
    if (!flush() || !put(line(level, event, fields))) {
        ++dropped_;
    }
}

bool Log::flush() const {
    rest_.erase(0, file_.write(rest_));
    if (rest_.empty() && dropped_ != 0 &&
        put(line(LogLevel::warning, "log-dropped", {{"events", dropped_}}))) {
        dropped_ = 0;
    }
    return rest_.empty() && dropped_ == 0;
}

std::string Log::line(LogLevel level, std::string_view event,
                      std::initializer_list<LogField> fields) const {
    Json record = Json::object();
    if (!isJournal_) {
        record["ts"] = now();
    }
    record["level"] = namesOf(level).name;
    record["event"] = event;
    for (const auto& field : fields) {
        record[std::string(field.name)] = field.value;
    }
    return (isJournal_ ? namesOf(level).journalPriority : "") +
           (options_.json ? record.dump(-1, ' ', true, Json::error_handler_t::replace)
                          : logfmt(record)) +
           "\n";
}

/// Writes the line as far as the file takes it; false when that is not at all.
bool Log::put(std::string line) const {
    const std::size_t written = file_.write(line);
    if (written != 0) {
        rest_ = line.substr(written);
    }
    return written != 0;
}

} // namespace LagAgent
