// The layer: each file is the system's, with ours in front of it in one block.
#include "failing_files.hpp"

#include <sqlite3.h>

#include <cstddef>

namespace mox::test {
namespace {

enum class Operation { read, write, sync, other };

struct Plan {
    FileFault fault = FileFault::none;
    unsigned n = 0;
    bool from_then_on = false;
    unsigned calls = 0;

    bool concerns(Operation operation) const {
        switch (fault) {
            case FileFault::short_write:
            case FileFault::no_space:
                return operation == Operation::write;
            case FileFault::failed_sync:
                return operation == Operation::sync;
            default:
                return true;
        }
    }

    // Counts an operation; true when it shall fail.
    bool fails(Operation operation) {
        if (!concerns(operation)) return false;
        ++calls;
        return n != 0 && (calls == n || (from_then_on && calls > n));
    }
};

Plan plan_now;
sqlite3_vfs* the_system = nullptr;

struct OurFile {
    sqlite3_file base;
    sqlite3_file* real;
};

sqlite3_file* real_of(sqlite3_file* file) {
    return reinterpret_cast<OurFile*>(file)->real;
}

int close_file(sqlite3_file* file) {
    return real_of(file)->pMethods->xClose(real_of(file));
}

int read_file(sqlite3_file* file, void* bytes, int size, sqlite3_int64 offset) {
    if (plan_now.fails(Operation::read)) return SQLITE_IOERR_READ;
    return real_of(file)->pMethods->xRead(real_of(file), bytes, size, offset);
}

int write_file(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    if (!plan_now.fails(Operation::write)) {
        return real_of(file)->pMethods->xWrite(real_of(file), bytes, size, offset);
    }
    if (plan_now.fault == FileFault::error) return SQLITE_IOERR_WRITE;
    if (plan_now.fault == FileFault::short_write && size > 1) {
        real_of(file)->pMethods->xWrite(real_of(file), bytes, size / 2, offset);
    }
    return SQLITE_FULL;
}

int truncate_file(sqlite3_file* file, sqlite3_int64 size) {
    if (plan_now.fails(Operation::other)) return SQLITE_IOERR_TRUNCATE;
    return real_of(file)->pMethods->xTruncate(real_of(file), size);
}

int synchronise_file(sqlite3_file*, int) {
    return plan_now.fails(Operation::sync) ? SQLITE_IOERR_FSYNC : SQLITE_OK;
}

int size_of_file(sqlite3_file* file, sqlite3_int64* size) {
    if (plan_now.fails(Operation::other)) return SQLITE_IOERR_FSTAT;
    return real_of(file)->pMethods->xFileSize(real_of(file), size);
}

int lock_file(sqlite3_file* file, int level) {
    if (plan_now.fails(Operation::other)) return SQLITE_IOERR_LOCK;
    return real_of(file)->pMethods->xLock(real_of(file), level);
}

int unlock_file(sqlite3_file* file, int level) {
    if (plan_now.fails(Operation::other)) return SQLITE_IOERR_UNLOCK;
    return real_of(file)->pMethods->xUnlock(real_of(file), level);
}

int check_lock(sqlite3_file* file, int* is_reserved) {
    if (plan_now.fails(Operation::other)) return SQLITE_IOERR_CHECKRESERVEDLOCK;
    return real_of(file)->pMethods->xCheckReservedLock(real_of(file), is_reserved);
}

int control_file(sqlite3_file* file, int what, void* argument) {
    return real_of(file)->pMethods->xFileControl(real_of(file), what, argument);
}

int sector_size(sqlite3_file* file) {
    return real_of(file)->pMethods->xSectorSize(real_of(file));
}

int characteristics(sqlite3_file* file) {
    return real_of(file)->pMethods->xDeviceCharacteristics(real_of(file));
}

constexpr sqlite3_io_methods our_methods = {
    1,         close_file,  read_file,  write_file,   truncate_file, synchronise_file, size_of_file,
    lock_file, unlock_file, check_lock, control_file, sector_size,   characteristics,  nullptr,
    nullptr,   nullptr,     nullptr,    nullptr,      nullptr};

int open_file(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out_flags) {
    auto* const ours = reinterpret_cast<OurFile*>(file);
    ours->base.pMethods = nullptr;
    if (plan_now.fails(Operation::other)) return SQLITE_CANTOPEN;
    ours->real = reinterpret_cast<sqlite3_file*>(ours + 1);
    const int result = the_system->xOpen(the_system, name, ours->real, flags, out_flags);
    if (result == SQLITE_OK) ours->base.pMethods = &our_methods;
    return result;
}

int delete_file(sqlite3_vfs*, const char* name, int synchronises) {
    if (plan_now.fails(Operation::other)) return SQLITE_IOERR_DELETE;
    return the_system->xDelete(the_system, name, synchronises);
}

int access_file(sqlite3_vfs*, const char* name, int flags, int* result) {
    if (plan_now.fails(Operation::other)) return SQLITE_IOERR_ACCESS;
    return the_system->xAccess(the_system, name, flags, result);
}

sqlite3_vfs our_layer;

}  // namespace

FailingFiles::FailingFiles() {
    plan_now = {};
    the_system = sqlite3_vfs_find(nullptr);
    our_layer = *the_system;
    our_layer.pNext = nullptr;
    our_layer.zName = "failing";
    our_layer.szOsFile = static_cast<int>(sizeof(OurFile)) + the_system->szOsFile;
    our_layer.xOpen = open_file;
    our_layer.xDelete = delete_file;
    our_layer.xAccess = access_file;
    sqlite3_vfs_register(&our_layer, 1);
}

FailingFiles::~FailingFiles() {
    sqlite3_vfs_unregister(&our_layer);
    sqlite3_vfs_register(the_system, 1);
}

void FailingFiles::plan(FileFault fault, unsigned n, bool from_then_on) {
    plan_now = {fault, n, from_then_on, 0};
}

unsigned FailingFiles::calls() const {
    return plan_now.calls;
}

}  // namespace mox::test
