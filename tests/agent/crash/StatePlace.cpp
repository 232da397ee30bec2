#include "tests/agent/crash/StatePlace.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <system_error>
#include <utility>
#include <vector>

#include "posix/FileDescriptor.h"

namespace LagAgent::Crash {

namespace fs = std::filesystem;
using Posix::FileDescriptor;

namespace {

void require(bool isGood, const fs::path& path) {
    if (!isGood) {
        throw std::system_error(errno, std::generic_category(), path.string());
    }
}

fs::path newRoot() {
    for (std::string name : {std::string("/dev/shm/"), testing::TempDir()}) {
        name += "agent-crash-XXXXXX";
        if (::mkdtemp(name.data())) {
            return name;
        }
    }
    throw std::system_error(errno, std::generic_category(), "make a temporary directory");
}

/// A range of bytes from one file to the same place in another.
void copyBytes(const FileDescriptor& from, const FileDescriptor& to, off_t begin, off_t end,
               const fs::path& path) {
    std::vector<char> buffer(static_cast<std::size_t>(end - begin));
    const auto size = static_cast<ssize_t>(buffer.size());
    require(::pread(from.get(), buffer.data(), buffer.size(), begin) == size, path);
    require(::pwrite(to.get(), buffer.data(), buffer.size(), begin) == size, path);
}

/// Holes stay holes: nearly all of a chip's file is room for the calls to come.
void copyFile(const fs::path& source, const fs::path& copy) {
    const FileDescriptor from(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
    require(bool(from), source);
    struct stat status {};
    require(::fstat(from.get(), &status) == 0, source);
    const FileDescriptor to(::open(copy.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    require(bool(to) && ::ftruncate(to.get(), status.st_size) == 0, copy);
    for (off_t at = 0; (at = ::lseek(from.get(), at, SEEK_DATA)) >= 0;) {
        const off_t end = ::lseek(from.get(), at, SEEK_HOLE);
        require(end > at, source);
        copyBytes(from, to, at, end, source);
        at = end;
    }
}

} // namespace

StatePlace::StatePlace() : root_(newRoot()) {}

StatePlace::StatePlace(StatePlace&& other) noexcept : root_(std::exchange(other.root_, {})) {}

StatePlace StatePlace::copyOf(const StatePlace& other) {
    StatePlace copy;
    require(::mkdir(copy.directory().c_str(), 0700) == 0, copy.directory());
    for (const auto& file : fs::directory_iterator(other.directory())) {
        copyFile(file.path(), copy.file(file.path().filename()));
    }
    return copy;
}

StatePlace::~StatePlace() {
    if (root_.empty()) {
        return;
    }
    if (testing::Test::HasFailure()) {
        std::cerr << "the state directory is kept: " << directory() << "\n";
        return;
    }
    std::error_code ignored;
    fs::remove_all(root_, ignored);
}

} // namespace LagAgent::Crash
