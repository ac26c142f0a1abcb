// Memory that runs out: every allocation of every operation fails in its turn, once alone and once with all that
// follow. A call then fails with one of its codes and has done nothing, or succeeds and has done everything.

#include "files.h"
#include "next.h"
#include "trial.h"

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <new>

namespace fs = std::filesystem;

// ---- The runtime's memory, of which SQLite's is a part. What the tests take for themselves comes from operator new.

namespace {

bool watched = false;
int allocations_until_failure = 0; // 0: none fails
bool failing_goes_on = false;
bool failed = false;
int held = 0;

bool fails() {
    if (!watched || allocations_until_failure == 0) {
        return false;
    }
    if (allocations_until_failure > 1) {
        --allocations_until_failure;
        return false;
    }
    failed = true;
    allocations_until_failure = failing_goes_on ? 1 : 0;
    errno = ENOMEM;
    return true;
}

void *counted(void *memory) {
    held += watched && memory != nullptr ? 1 : 0;
    return memory;
}

} // namespace

#ifdef KORVO_SANITIZE

// A sanitizer has taken the runtime's memory; SQLite's can still be had from SQLite.
namespace {

sqlite3_mem_methods system_memory;

void *allocate(int size) {
    return fails() ? nullptr : counted(system_memory.xMalloc(size));
}
void *reallocate(void *memory, int size) {
    return fails() ? nullptr : system_memory.xRealloc(memory, size);
}
void release(void *memory) {
    held -= watched && memory != nullptr ? 1 : 0;
    system_memory.xFree(memory);
}
bool take_memory() {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &system_memory);
    sqlite3_mem_methods methods = system_memory;
    methods.xMalloc = allocate;
    methods.xRealloc = reallocate;
    methods.xFree = release;
    return sqlite3_config(SQLITE_CONFIG_MALLOC, &methods) == SQLITE_OK;
}
constexpr bool runtime_too = false;

} // namespace

#else

using test::next;

extern "C" {
void *malloc(std::size_t size) {
    static const auto system = next(malloc, "malloc");
    return fails() ? nullptr : counted(system(size));
}
void *calloc(std::size_t count, std::size_t size) {
    static const auto system = next(calloc, "calloc");
    return fails() ? nullptr : counted(system(count, size));
}
void *realloc(void *memory, std::size_t size) {
    static const auto system = next(realloc, "realloc");
    void *grown = fails() ? nullptr : system(memory, size);
    return memory == nullptr ? counted(grown) : grown;
}
void free(void *memory) {
    static const auto system = next(free, "free");
    held -= watched && memory != nullptr ? 1 : 0;
    system(memory);
}
}

// Not watched.
void *operator new(std::size_t size) {
    static const auto system = next(malloc, "malloc");
    return system(size);
}
void operator delete(void *memory) noexcept {
    static const auto system = next(free, "free");
    system(memory);
}
void operator delete(void *memory, std::size_t /*size*/) noexcept {
    operator delete(memory);
}

namespace {

bool take_memory() {
    return true;
}
constexpr bool runtime_too = true;

} // namespace

#endif

namespace {

// Before anything else uses SQLite: without lookaside memory, so that small allocations are counted too.
const bool configured = take_memory() && sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0) == SQLITE_OK;

void watch(int until_failure, bool goes_on) {
    failed = false;
    held = 0;
    failing_goes_on = goes_on;
    allocations_until_failure = until_failure;
    watched = true;
}
void stop_watching() {
    watched = false;
}

} // namespace

// The configuration gives every default, and nobody waits for a daemon.
int Get_Profile_String(const char *, const char *, const char *text, char *buffer, int size) {
    return std::snprintf(buffer, static_cast<std::size_t>(size), "%s", text);
}
extern "C" int clock_nanosleep(clockid_t, int, const timespec *, timespec *) {
    return 0;
}

namespace test {
namespace {

// ---- Every operation of every table

class Memory : public StoreTest, public testing::WithParamInterface<OperationOfTable> {
protected:
    // Starts the operation again and again on the table's rows, once `changed`, and lets memory run out.
    void run_out(const OperationOfTable &of, int step, const std::string &changed = "");
};

INSTANTIATE_TEST_SUITE_P(Store, Memory, testing::ValuesIn(operations_to_try()),
                         [](const auto &of) { return name_of(of.param); });

void Memory::run_out(const OperationOfTable &of, int step, const std::string &changed) {
    ASSERT_TRUE(configured);
    Trial trial(of, changed);
    int injected = 0;
    for (const bool goes_on : {false, true}) {
        failed = true;
        for (int at = 1; failed; at += step) {
            SCOPED_TRACE("allocation " + std::to_string(at) + (goes_on ? " and all that follow" : ""));
            const bool succeeded = trial.attempt([&] { watch(at, goes_on); }, stop_watching);
            EXPECT_EQ(held, 0);
            EXPECT_TRUE(failed || succeeded);
            injected += failed ? 1 : 0;
            if (HasFailure()) {
                return;
            }
        }
    }
    EXPECT_GT(injected, 20 / step);
    tally("allocations that failed", injected);
}

TEST_P(Memory, RunsOutWithoutAHalfDoneCall) {
    run_out(GetParam(), effort(13, 7, 1));
}

// Texts that another program stored as blobs take memory when they are read, where what SQLite has of it leaves no room
// for the NUL, as with this length; a row without it is no row.
TEST_P(Memory, RunsOutWithoutAHalfReadRow) {
    const Table &table = *GetParam().table;
    std::string blobs;
    for (const Field &field : table.fields) {
        if (field.kind == Kind::text) {
            blobs +=
                "UPDATE " + std::string(table.name) + " SET " + field.column + " = CAST(printf('%038d', 0) AS BLOB);";
        }
    }
    OperationOfTable reads = GetParam();
    prepare(table, reads.operation);
    if (reads.operation.failure == BTDB_ERR_QUERY) {
        sql(blobs);
        reads.operation.success = call(reads.operation); // may be a text's length
        if (reads.operation.success >= 0 && !scratch_is_clean()) {
            run_out(reads, effort(13, 2, 1), blobs);
        }
    }
}

// ---- What is done besides the tables

const char *const log_file = "/tmp/log";

class MemoryOfServices : public StoreTest {
protected:
    // Lets memory run out in the work, each time after the preparation.
    static void run_out(const std::function<void()> &prepare, const std::function<void()> &work,
                        const std::function<void()> &check) {
        int injected = 0;
        for (const bool goes_on : {false, true}) {
            failed = true;
            for (int at = 1; failed && !HasFailure(); at += effort(61, 17, 1)) {
                SCOPED_TRACE("allocation " + std::to_string(at) + (goes_on ? " and all that follow" : ""));
                prepare();
                watch(at, goes_on);
                work();
                stop_watching();
                check();
                injected += failed ? 1 : 0;
            }
        }
        EXPECT_TRUE(injected > 0 || !runtime_too);
        tally("allocations that failed", injected);
    }
    ~MemoryOfServices() override { fs::remove_all("/share/Download"); }
};

TEST_F(MemoryOfServices, RunsOutWhileTasksAreRemoved) {
    int32_t bt = 0, http = 0, results[2] = {};
    run_out(
        [&] {
            start_afresh();
            bt_db_create_tbl_task();
            http_ftp_db_create_tbl_task();
            bt_fdata_create_tbl(); // or the removal tries its deletes again and again
            bt_infodata_create_tbl();
            for (const char *file : {"/share/Download/a/b/c", "/share/Download/d", "/share/Download/other"}) {
                write_file(file);
            }
            BtTaskRecord task = {};
            task.task_torrent_name[0] = 'a';
            bt = bt_db_add_task(&task);
            HttpFtpTaskRecord download = {};
            download.task_savename[0] = 'd';
            http = http_ftp_db_add_task(&download);
        },
        [&] {
            results[0] = bt_task_remove(bt, 1);
            results[1] = http_ftp_task_remove(http, 1);
        },
        [&] {
            for (const int kind : {0, 1}) {
                const Rows rows = sql(kind == 0 ? "SELECT 1 FROM BT_TASK" : "SELECT 1 FROM HTTP_FTP_TASK");
                EXPECT_TRUE(results[kind] == BTDB_OK || (results[kind] == BTDB_ERR_NO_TASK && rows.size() == 1));
            }
            EXPECT_TRUE(fs::exists("/share/Download/other"));
            EXPECT_TRUE(results[0] == BTDB_OK || fs::exists("/share/Download/a/b/c"));
            EXPECT_TRUE(results[1] == BTDB_OK || fs::exists("/share/Download/d"));
        });
}

TEST_F(MemoryOfServices, RunsOutWhileALogFileIsWritten) {
    run_out(
        [] {
            std::remove(log_file);
            err_setdest(log_file, LOGDEST_LOGFILE); // would end the process, with status 1
        },
        [] { err_log(1, ~0U, "%s\n", "a message"); },
        [] {
            err_setdest(nullptr, LOGDEST_STDERR);
            const std::string text = content(log_file);
            EXPECT_TRUE(text.empty() || text.ends_with(": a message\n")) << text;
        });
}

} // namespace
} // namespace test
