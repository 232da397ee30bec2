#include "agent/desired/WalIndexRoom.h"

#include <fcntl.h>
#include <sqlite3.h>

#include <cerrno>
#include <string>
#include <type_traits>

#include "posix/FileDescriptor.h"

namespace LagAgent {

namespace {

/// The methods of an open database file, with some in the place of SQLite's. SQLite knows them by
/// their first part.
struct Methods {
    sqlite3_io_methods own;
    const sqlite3_io_methods* replaced;
    std::string indexPath;
    /// Closing it drops the locks that SQLite has on the index, so it stays open for as long.
    Posix::FileDescriptor index{};
    off_t allocated = 0;
};

static_assert(std::is_standard_layout_v<Methods>, "its address is that of its first part");

Methods& methodsOf(sqlite3_file* file) {
    return *const_cast<Methods*>(reinterpret_cast<const Methods*>(file->pMethods));
}

/// Gives the index its blocks up to that size; a status of SQLite.
int allocate(Methods& methods, off_t size) {
    if (size <= methods.allocated) {
        return SQLITE_OK;
    }
    if (!methods.index) {
        methods.index = Posix::FileDescriptor(
            ::open(methods.indexPath.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    }
    int result = 0;
    do {
        result = ::fallocate(methods.index.get(), 0, 0, size);
    } while (result != 0 && errno == EINTR);
    // A file system that allocates nothing beforehand is no reason to stop.
    if (result != 0 && errno != EOPNOTSUPP) {
        return errno == ENOSPC || errno == EDQUOT ? SQLITE_FULL : SQLITE_IOERR_SHMSIZE;
    }
    methods.allocated = size;
    return SQLITE_OK;
}

int mapIndex(sqlite3_file* file, int region, int size, int isExtending, void volatile** memory) {
    Methods& methods = methodsOf(file);
    // The first time this opens the index and cuts off what an earlier process left there, so there
    // is nothing to allocate before.
    int status = methods.replaced->xShmMap(file, region, size, 0, memory);
    const bool isThere = *memory != nullptr;
    if (status == SQLITE_OK && (isThere || isExtending)) {
        status = allocate(methods, (off_t{region} + 1) * size);
    }
    if (status == SQLITE_OK && !isThere && isExtending) {
        status = methods.replaced->xShmMap(file, region, size, isExtending, memory);
    }
    return status;
}

int unmapIndex(sqlite3_file* file, int isDeleting) {
    Methods& methods = methodsOf(file);
    const int status = methods.replaced->xShmUnmap(file, isDeleting);
    methods.index = Posix::FileDescriptor();
    methods.allocated = 0;
    return status;
}

int closeFile(sqlite3_file* file) {
    const Methods* methods = &methodsOf(file);
    const int status = methods->replaced->xClose(file);
    delete methods;
    return status;
}

} // namespace

void giveWalIndexRoom(sqlite3* connection) {
    sqlite3_file* file = nullptr;
    sqlite3_file_control(connection, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    if (!file || !file->pMethods || file->pMethods->iVersion < 2 || !file->pMethods->xShmMap) {
        return;
    }
    auto* methods = new Methods{*file->pMethods, file->pMethods,
                                std::string(sqlite3_db_filename(connection, "main")) + "-shm"};
    methods->own.xShmMap = mapIndex;
    methods->own.xShmUnmap = unmapIndex;
    methods->own.xClose = closeFile;
    file->pMethods = &methods->own;
}

} // namespace LagAgent
