#include "agent/desired/MendingNote.h"

#include <unistd.h>

#include <array>

#include "posix/StateException.h"

namespace LagAgent {

namespace {

constexpr const char* kFile = "mending";

std::string textOf(const History& history) {
    return "to desired state " + std::to_string(history.state) + " with digest " +
           std::to_string(history.digest) + "\n";
}

} // namespace

void noteMending(const Posix::StateDirectory& directory, const History& history) {
    const std::string text = textOf(history);
    const auto file = directory.create(kFile, text.size());
    if (::pwrite(file.get(), text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
        throw Posix::StateException(directory.pathOf(kFile), "write it", errno);
    }
    directory.publish(kFile);
}

bool isMendingNoted(const Posix::StateDirectory& directory, const History& history) {
    const auto file = directory.open(kFile);
    if (!file) {
        return false;
    }
    std::array<char, 128> text{};
    const ssize_t size = ::pread(file->descriptor.get(), text.data(), text.size(), 0);
    return size > 0 && std::string(text.data(), static_cast<std::size_t>(size)) == textOf(history);
}

void dropMendingNote(const Posix::StateDirectory& directory) noexcept {
    ::unlink(directory.pathOf(kFile).c_str());
}

} // namespace LagAgent
