#include "posix/FileMapping.h"

#include <sys/mman.h>

#include <cerrno>

#include "posix/StateException.h"

namespace Posix {

FileMapping::FileMapping(const FileDescriptor& file, std::size_t words, const std::string& path) {
    void* const memory = ::mmap(nullptr, words * sizeof(std::uint64_t), PROT_READ | PROT_WRITE,
                                MAP_SHARED, file.get(), 0);
    if (memory == MAP_FAILED) {
        throw StateException(path, "map the file", errno);
    }
    words_ = {static_cast<std::uint64_t*>(memory), words};
}

FileMapping::~FileMapping() {
    if (!words_.empty()) {
        ::munmap(words_.data(), words_.size_bytes());
    }
}

} // namespace Posix
