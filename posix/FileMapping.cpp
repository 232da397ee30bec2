#include "posix/FileMapping.h"

#include <sys/mman.h>

#include <cerrno>

#include "posix/StateException.h"

namespace Pello {

FileMapping::FileMapping(const FileDescriptor& file, std::size_t words, const Kel::String& path) {
    void* const memory = ::mmap(nullptr, words * sizeof(Kel::U64), PROT_READ | PROT_WRITE,
                                MAP_SHARED, file.get(), 0);
    if (memory == MAP_FAILED) {
        throw StateException(path, "map the file", errno);
    }
    words_ = {static_cast<Kel::U64*>(memory), words};
}

FileMapping::~FileMapping() {
    if (!words_.empty()) {
        ::munmap(words_.data(), words_.size_bytes());
    }
}

} // namespace Pello
