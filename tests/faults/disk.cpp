#include "disk.h"
#include "trial.h"

#include <algorithm>
#include <cstring>
#include <sqlite3.h>
#include <utility>

namespace test::disk {

namespace {

const Accident *armed = nullptr;
int until_accident = 0;
bool accident_goes_on = false;
bool happened = false;
std::function<void(long long)> on_waiting;
long long waited = 0;

} // namespace

void instead_of_waiting(std::function<void(long long)> called) {
    on_waiting = std::move(called);
    waited = 0;
}

void arm(const Accident &accident, int count, bool goes_on) {
    armed = &accident;
    until_accident = count;
    accident_goes_on = goes_on;
    happened = false;
}

bool disarm() {
    armed = nullptr;
    return happened;
}

namespace {

// Whether this operation has its accident now.
bool strikes(On operation) {
    if (armed == nullptr || std::find(armed->on.begin(), armed->on.end(), operation) == armed->on.end() ||
        (happened && !accident_goes_on) || (!happened && --until_accident > 0)) {
        return false;
    }
    happened = true;
    static const char *const names[] = {"open", "delete",   "access", "read", "write",
                                        "sync", "truncate", "lock",   "size"};
    tally(std::string("file operations that failed: ") + names[static_cast<int>(operation)]);
    return true;
}

// SQLITE_OK, or what the operation is to return.
int meets(On operation, int error) {
    return !strikes(operation) ? SQLITE_OK : armed->is_full ? SQLITE_FULL : error;
}

// ---- The layer below SQLite. Behind each of our files stands the system's.

sqlite3_vfs *below;

struct File {
    sqlite3_file base;
    sqlite3_file *real() { return reinterpret_cast<sqlite3_file *>(this + 1); }
};

sqlite3_file *real(sqlite3_file *file) {
    return reinterpret_cast<File *>(file)->real();
}

// An operation that passes on its arguments unless it meets an accident.
template <On on, int error, auto method, class... Args> int passes(sqlite3_file *file, Args... args) {
    const int met = meets(on, error);
    return met != SQLITE_OK ? met : (real(file)->pMethods->*method)(real(file), args...);
}
template <auto method, class... Args> int passes_always(sqlite3_file *file, Args... args) {
    return (real(file)->pMethods->*method)(real(file), args...);
}

int close(sqlite3_file *file) {
    return real(file)->pMethods->xClose(real(file));
}

using Methods = sqlite3_io_methods;

const sqlite3_io_methods methods = {
    .iVersion = 1,
    .xClose = close,
    .xRead = passes<On::read, SQLITE_IOERR_READ, &Methods::xRead, void *, int, sqlite3_int64>,
    .xWrite = passes<On::write, SQLITE_IOERR_WRITE, &Methods::xWrite, const void *, int, sqlite3_int64>,
    .xTruncate = passes<On::truncate, SQLITE_IOERR_TRUNCATE, &Methods::xTruncate, sqlite3_int64>,
    .xSync = passes<On::sync, SQLITE_IOERR_FSYNC, &Methods::xSync, int>,
    .xFileSize = passes<On::size, SQLITE_IOERR_FSTAT, &Methods::xFileSize, sqlite3_int64 *>,
    .xLock = passes<On::lock, SQLITE_IOERR_LOCK, &Methods::xLock, int>,
    .xUnlock = passes_always<&Methods::xUnlock, int>,
    .xCheckReservedLock = passes<On::lock, SQLITE_IOERR_CHECKRESERVEDLOCK, &Methods::xCheckReservedLock, int *>,
    .xFileControl = passes_always<&Methods::xFileControl, int, void *>,
    .xSectorSize = passes_always<&Methods::xSectorSize>,
    .xDeviceCharacteristics = passes_always<&Methods::xDeviceCharacteristics>,
    .xShmMap = nullptr, // no shared memory and no mapped pages in version 1
    .xShmLock = nullptr,
    .xShmBarrier = nullptr,
    .xShmUnmap = nullptr,
    .xFetch = nullptr,
    .xUnfetch = nullptr,
};

int open(sqlite3_vfs * /*vfs*/, const char *name, sqlite3_file *file, int flags, int *out) {
    file->pMethods = nullptr; // nothing to close, should it fail
    const int met = meets(On::open, SQLITE_CANTOPEN);
    const int result = met != SQLITE_OK ? met : below->xOpen(below, name, real(file), flags, out);
    file->pMethods = result == SQLITE_OK ? &methods : nullptr;
    return result;
}

int remove(sqlite3_vfs * /*vfs*/, const char *name, int sync) {
    const int met = meets(On::remove, SQLITE_IOERR_DELETE);
    return met != SQLITE_OK ? met : below->xDelete(below, name, sync);
}

int access(sqlite3_vfs * /*vfs*/, const char *name, int flags, int *out) {
    const int met = meets(On::access, SQLITE_IOERR_ACCESS);
    return met != SQLITE_OK ? met : below->xAccess(below, name, flags, out);
}

int sleep(sqlite3_vfs * /*vfs*/, int microseconds) {
    if (!on_waiting) {
        return below->xSleep(below, microseconds);
    }
    on_waiting(waited += microseconds);
    return microseconds;
}

// Before anything else uses SQLite.
const bool registered = [] {
    below = sqlite3_vfs_find(nullptr);
    static sqlite3_vfs vfs = *below;
    vfs.zName = "accidents";
    vfs.szOsFile = static_cast<int>(sizeof(File)) + below->szOsFile;
    vfs.xOpen = open;
    vfs.xDelete = remove;
    vfs.xAccess = access;
    vfs.xSleep = sleep;
    return sqlite3_vfs_register(&vfs, 1) == SQLITE_OK;
}();

} // namespace

} // namespace test::disk
