// Power cuts. The database lies on a disk in memory that remembers what has been synced. At every file operation of
// every writing call the power is cut: of what was written since the last sync any subset survives, in any order, one
// write of it torn. The file must then be as before the call or as after it.

#include "trial.h"

#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <random>

namespace test {
namespace {

// ---- The disk

struct Change {
    std::size_t offset;
    std::string bytes;
    bool truncates; // to the offset

    void apply(std::string &to, std::size_t size) const {
        if (truncates) {
            to.resize(std::min(to.size(), offset));
        } else {
            to.resize(std::max(to.size(), offset + size));
            to.replace(offset, size, bytes, 0, size);
        }
    }
    void apply(std::string &to) const { apply(to, bytes.size()); }
};

struct Inode {
    std::string synced;
    std::vector<Change> unsynced = {};

    std::string content() const {
        std::string content = synced;
        for (const Change &change : unsynced) {
            change.apply(content);
        }
        return content;
    }
};

using Directory = std::map<std::string, std::size_t>; // the number of the inode

struct Disk {
    std::vector<Inode> inodes = {};
    Directory names = {}, synced_names = {};

    void sync_directory() { synced_names = names; }
};

enum class Planted { no_fault, syncs_do_nothing, journal_is_lost };

Disk disk;
std::vector<Disk> *states = nullptr; // one after each change of the disk, while they are wanted
Planted planted = Planted::no_fault;

void changed() {
    if (states != nullptr) {
        states->push_back(disk);
    }
}

using Random = std::minstd_rand;
bool toss(Random &random) {
    return (random() & 1) != 0;
}

std::string survivor(const Inode &inode, Random &random) {
    std::vector<const Change *> changes;
    const auto keep = random() % 5; // of four: none, some, all
    for (const Change &change : inode.unsynced) {
        if (random() % 4 < keep) {
            changes.push_back(&change);
        }
    }
    if (toss(random)) {
        std::shuffle(changes.begin(), changes.end(), random);
    }
    const std::size_t torn = changes.empty() || toss(random) ? changes.size() : random() % changes.size();
    std::string content = inode.synced;
    for (std::size_t at = 0; at < changes.size(); ++at) {
        const std::size_t size = changes[at]->bytes.size();
        changes[at]->apply(content, at == torn && size > 0 ? random() % size : size);
    }
    return content;
}

// What is on the disk when the power is back. A name that was made or deleted since the directory was synced may be
// there or not; with `deletions_last` what was deleted is gone.
Disk after_power_cut(const Disk &before, Random &random, bool deletions_last) {
    Disk after;
    const auto keep = [&](const std::string &name, std::size_t inode) {
        after.names[name] = after.inodes.size();
        after.inodes.push_back({survivor(before.inodes[inode], random)});
    };
    for (const auto &[name, inode] : before.names) {
        const auto synced = before.synced_names.find(name);
        if ((synced != before.synced_names.end() && synced->second == inode) || toss(random)) {
            keep(name, inode);
        }
    }
    for (const auto &[name, inode] : before.synced_names) {
        if (!before.names.contains(name) && !deletions_last && toss(random)) {
            keep(name, inode);
        }
    }
    if (planted == Planted::journal_is_lost) {
        after.names.erase(std::string(database) + "-journal");
    }
    after.sync_directory();
    return after;
}

// ---- SQLite's way to it. One process uses it, so locks need not exclude anybody.

struct File {
    sqlite3_file base;
    std::size_t inode;
    bool journal;
};

Inode &inode_of(sqlite3_file *file) {
    return disk.inodes[reinterpret_cast<File *>(file)->inode];
}

// SQLite's own layer syncs the directory when it syncs a new journal.
int sync(sqlite3_file *file, int) {
    if (planted != Planted::syncs_do_nothing) {
        inode_of(file) = {inode_of(file).content()};
        if (reinterpret_cast<File *>(file)->journal) {
            disk.sync_directory();
        }
    }
    changed();
    return SQLITE_OK;
}

int change(sqlite3_file *file, Change made) {
    inode_of(file).unsynced.push_back(std::move(made));
    changed();
    return SQLITE_OK;
}

int read(sqlite3_file *file, void *to, int size, sqlite3_int64 at) {
    const std::string content = inode_of(file).content();
    const auto from = std::min(static_cast<std::size_t>(at), content.size());
    const std::size_t count = std::min(content.size() - from, static_cast<std::size_t>(size));
    std::memset(to, 0, static_cast<std::size_t>(size));
    std::memcpy(to, content.data() + from, count);
    return count == static_cast<std::size_t>(size) ? SQLITE_OK : SQLITE_IOERR_SHORT_READ;
}

const sqlite3_io_methods methods = {
    .iVersion = 1,
    .xClose = [](sqlite3_file *) { return SQLITE_OK; },
    .xRead = read,
    .xWrite =
        [](sqlite3_file *file, const void *data, int size, sqlite3_int64 at) {
            return change(file, {static_cast<std::size_t>(at),
                                 {static_cast<const char *>(data), static_cast<std::size_t>(size)},
                                 false});
        },
    .xTruncate =
        [](sqlite3_file *file, sqlite3_int64 size) {
            return change(file, {static_cast<std::size_t>(size), {}, true});
        },
    .xSync = sync,
    .xFileSize =
        [](sqlite3_file *file, sqlite3_int64 *size) {
            *size = static_cast<sqlite3_int64>(inode_of(file).content().size());
            return SQLITE_OK;
        },
    .xLock = [](sqlite3_file *, int) { return SQLITE_OK; },
    .xUnlock = [](sqlite3_file *, int) { return SQLITE_OK; },
    .xCheckReservedLock =
        [](sqlite3_file *, int *reserved) {
            *reserved = 0;
            return SQLITE_OK;
        },
    .xFileControl = [](sqlite3_file *, int, void *) { return SQLITE_NOTFOUND; },
    .xSectorSize = [](sqlite3_file *) { return 4096; },
    .xDeviceCharacteristics = [](sqlite3_file *) { return SQLITE_IOCAP_POWERSAFE_OVERWRITE; },
    .xShmMap = nullptr, // no shared memory and no mapped pages in version 1
    .xShmLock = nullptr,
    .xShmBarrier = nullptr,
    .xShmUnmap = nullptr,
    .xFetch = nullptr,
    .xUnfetch = nullptr,
};

int open(sqlite3_vfs *, const char *name, sqlite3_file *file, int flags, int *out) {
    const std::string path = name != nullptr ? name : "temporary " + std::to_string(disk.inodes.size());
    if (!disk.names.contains(path)) {
        if ((flags & SQLITE_OPEN_CREATE) == 0) {
            file->pMethods = nullptr;
            return SQLITE_CANTOPEN;
        }
        disk.names[path] = disk.inodes.size();
        disk.inodes.emplace_back();
        changed();
    }
    new (file) File{{&methods}, disk.names[path], (flags & SQLITE_OPEN_MAIN_JOURNAL) != 0};
    if (out != nullptr) {
        *out = flags;
    }
    return SQLITE_OK;
}

const bool registered = [] {
    static sqlite3_vfs vfs = *sqlite3_vfs_find(nullptr);
    vfs.zName = "power";
    vfs.szOsFile = sizeof(File);
    vfs.xOpen = open;
    vfs.xDelete = [](sqlite3_vfs *, const char *name, int sync) {
        const bool there = disk.names.erase(name) != 0;
        if (sync != 0) {
            disk.sync_directory();
        }
        changed();
        return there ? SQLITE_OK : SQLITE_IOERR_DELETE_NOENT;
    };
    vfs.xAccess = [](sqlite3_vfs *, const char *name, int, int *there) {
        *there = disk.names.contains(name) ? 1 : 0;
        return SQLITE_OK;
    };
    return sqlite3_vfs_register(&vfs, 1) == SQLITE_OK;
}();

// ---- The cuts

// What can be read after a power cut: nothing when the file is damaged.
std::optional<Rows> readable() {
    sqlite3 *db = nullptr;
    Listed checked;
    const bool whole = sqlite3_open(database, &db) == SQLITE_OK &&
                       sqlite3_exec(db, "PRAGMA integrity_check", note, &checked, nullptr) == SQLITE_OK &&
                       checked.rows == Rows{{"ok"}};
    sqlite3_close(db);
    return whole ? std::optional(contents()) : std::nullopt;
}

void sync_everything() {
    for (Inode &inode : disk.inodes) {
        inode = {inode.content()};
    }
    disk.sync_directory();
}

// Cuts the power at every change of the disk that the operation makes, so many times each. How many of the results are
// neither as before the call nor as after it, or lack what a returned call had acknowledged.
int violations(const OperationOfTable &of, int subsets) {
    disk = {};
    prepare(*of.table, of.operation);
    sync_everything();
    const Rows before = contents();

    std::vector<Disk> during;
    states = &during;
    EXPECT_EQ(call(of.operation), of.operation.success);
    states = nullptr;
    const Disk returned = disk;
    const Rows after = contents();
    if (after == before) {
        return 0;
    }
    Random random(1);
    int wrong = 0;
    const auto cut = [&](const Disk &state, bool deletions_last, bool acknowledged) {
        disk = after_power_cut(state, random, deletions_last);
        const std::optional<Rows> now = readable();
        tally("power cuts");
        wrong += now && (*now == after || (*now == before && !acknowledged)) ? 0 : 1;
    };
    for (int subset = 0; subset < subsets; ++subset) {
        for (const Disk &state : during) {
            cut(state, toss(random), false);
        }
        // Deleting the journal is what commits, and SQLite does not sync the directory afterwards: where the file
        // system delays the deletion, a power cut undoes the last call as a whole.
        cut(returned, true, true);
        cut(returned, false, false);
    }
    return wrong;
}

class Power : public StoreTest, public testing::WithParamInterface<OperationOfTable> {
protected:
    Power() { EXPECT_TRUE(registered); }
};

INSTANTIATE_TEST_SUITE_P(Faults, Power, testing::ValuesIn(operations_to_try()),
                         [](const auto &of) { return name_of(of.param); });

TEST_P(Power, MayFailAtAnyFileOperation) {
    EXPECT_EQ(violations(GetParam(), effort(1, 2, 30)), 0);
}

// The disk itself is on trial here: what should go wrong does.
TEST(PowerTest, FindsPlantedFaults) {
    for (const Planted fault : {Planted::syncs_do_nothing, Planted::journal_is_lost}) {
        planted = fault;
        int wrong = 0;
        for (const OperationOfTable &of : operations_to_try()) {
            wrong += violations(of, 1);
        }
        planted = Planted::no_fault;
        EXPECT_GT(wrong, 0) << static_cast<int>(fault);
        tally(fault == Planted::journal_is_lost ? "violations seen without the journal"
                                                : "violations seen without syncs",
              wrong);
    }
}

} // namespace
} // namespace test
