#include "agent/console/HistoryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "posix/FileDescriptor.h"

namespace LagAgent {

namespace {

/// Makes the folder and those above it that are missing, mode 0700.
void makeFolder(const std::filesystem::path& folder) {
    std::error_code ignored;
    if (!folder.empty() && !std::filesystem::exists(folder, ignored)) {
        makeFolder(folder.parent_path());
        ::mkdir(folder.c_str(), S_IRWXU);
    }
}

/// An absolute path in the environment; anything else counts as none.
std::string pathInEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value && *value == '/' ? value : "";
}

} // namespace

HistoryFile::HistoryFile(std::string path) : path_(std::move(path)) {
    makeFolder(std::filesystem::path(path_).parent_path());
}

std::vector<std::string> HistoryFile::latest() const {
    std::vector<std::string> lines;
    std::ifstream file(path_);
    for (std::string line; std::getline(file, line);) {
        lines.push_back(std::move(line));
    }
    if (lines.size() > kKept) {
        const bool isFarBeyond = lines.size() > 2 * kKept;
        lines.erase(lines.begin(), lines.end() - kKept);
        if (isFarBeyond) {
            keepOnly(lines);
        }
    }
    return lines;
}

bool HistoryFile::add(const std::string& line) const {
    const Posix::FileDescriptor file(::open(
        path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, S_IRUSR | S_IWUSR));
    const std::string text = line + "\n";
    // One write, so that lines of two prompts do not mix.
    return ::write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

/// Another prompt may add to the old file while the new one takes its place; those lines are lost.
void HistoryFile::keepOnly(const std::vector<std::string>& lines) const {
    const std::string name = path_ + ".new";
    std::error_code ignored;
    std::filesystem::remove(name, ignored);
    const HistoryFile shorter(name);
    const auto add = [&](const std::string& line) { return shorter.add(line); };
    if (std::ranges::all_of(lines, add)) {
        std::filesystem::rename(name, path_, ignored);
    } else {
        std::filesystem::remove(name, ignored); // the disk is full: better too long than cut off
    }
}

std::string historyPath(const std::string& program) {
    std::string folder = pathInEnvironment("XDG_STATE_HOME");
    if (folder.empty()) {
        const std::string home = pathInEnvironment("HOME");
        if (home.empty()) {
            return {};
        }
        folder = home + "/.local/state";
    }
    return folder + "/" + program + "/history";
}

} // namespace LagAgent
