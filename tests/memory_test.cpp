// Memory that runs out: every allocation of every operation fails in its turn, once alone and once with all that
// follow. A call then fails with one of its codes and has done nothing, or succeeds and has done everything.

#include "support.h"

#include <cstdlib>
#include <cstring>
#include <optional>

using namespace test;

static sqlite3_mem_methods system_memory;
static int allocations_until_failure = 0; // 0: none fails
static bool failing_goes_on = false;
static bool failed = false;
static int held = 0;

static bool fails() {
    if (allocations_until_failure == 0) {
        return false;
    }
    if (allocations_until_failure > 1) {
        --allocations_until_failure;
        return false;
    }
    failed = true;
    allocations_until_failure = failing_goes_on ? 1 : 0;
    return true;
}

static void *allocate(int size) {
    void *memory = fails() ? nullptr : system_memory.xMalloc(size);
    held += memory != nullptr ? 1 : 0;
    return memory;
}
static void *reallocate(void *memory, int size) {
    return fails() ? nullptr : system_memory.xRealloc(memory, size);
}
static void release(void *memory) {
    held -= memory != nullptr ? 1 : 0;
    system_memory.xFree(memory);
}

// Before anything else uses SQLite. Without lookaside memory, so that small allocations are counted too.
static const bool configured = [] {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &system_memory);
    sqlite3_mem_methods methods = system_memory;
    methods.xMalloc = allocate;
    methods.xRealloc = reallocate;
    methods.xFree = release;
    return sqlite3_config(SQLITE_CONFIG_MALLOC, &methods) == SQLITE_OK &&
           sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0) == SQLITE_OK;
}();

// Valgrind runs these tests too, a hundred times slower; there one allocation in seven has its turn.
static int step() {
    const char *preloaded = std::getenv("LD_PRELOAD");
    return preloaded != nullptr && std::strstr(preloaded, "vgpreload") != nullptr ? 7 : 1;
}

class Memory : public StoreTest, public testing::WithParamInterface<OperationOfTable> {
protected:
    // Starts the operation again and again on the table's rows, once `changed`, and lets memory run out.
    void run_out(const std::string &changed);
};

INSTANTIATE_TEST_SUITE_P(Store, Memory, testing::ValuesIn(all_operations()),
                         [](const auto &of) { return name_of(of.param); });

void Memory::run_out(const std::string &changed) {
    ASSERT_TRUE(configured);
    const Table &table = *GetParam().table;
    const Operation &operation = GetParam().operation;
    std::optional<Connection> beside; // stays open, so that a look at the file costs little
    const auto start = [&] {
        beside.reset();
        start_afresh();
        prepare(table, operation);
        beside.emplace();
        beside->rows(changed);
        return contents(*beside);
    };
    const Rows before = start();
    ASSERT_EQ(call(operation), operation.success);
    const Rows after = contents(*beside);
    const std::string read(scratch, sizeof scratch), listed = delivered;

    int succeeded = 0, injected = 0;
    Rows now = after;
    for (const bool goes_on : {false, true}) {
        failed = true;
        for (int at = 1; failed; at += step()) {
            SCOPED_TRACE("allocation " + std::to_string(at) + (goes_on ? " and all that follow" : ""));
            if (now != before) {
                start();
            }
            const int held_before = held;
            failed = false;
            failing_goes_on = goes_on;
            allocations_until_failure = at;
            const std::int32_t result = call(operation);
            allocations_until_failure = 0;
            injected += failed ? 1 : 0;

            EXPECT_EQ(connections(), 0);
            EXPECT_EQ(held, held_before);
            now = contents(*beside);
            if (result == operation.success) {
                ++succeeded;
                EXPECT_EQ(now, after);
                EXPECT_EQ(std::string(scratch, sizeof scratch), read);
                EXPECT_EQ(delivered, listed);
            } else {
                // An add whose identifier cannot be read back has stored its row, and only then.
                const bool adds = operation.failure == BTDB_ERR_INSERT;
                const bool added = adds && (result == BTDB_ERR_QUERY || (result == BTDB_ERR_OPEN && now != before));
                EXPECT_TRUE(added || result == BTDB_ERR_OPEN || result == failure_of(operation, SQLITE_NOMEM))
                    << result;
                EXPECT_EQ(now, added ? after : before);
                EXPECT_TRUE(scratch_is_clean());
                // Not so what was delivered: SQLite hands a callback NULL for a number that it could not turn into
                // a text, and fails afterwards.
            }
            if (HasFailure()) {
                return;
            }
        }
    }
    EXPECT_GT(injected, 20);
    EXPECT_GE(succeeded, 2) << "the runs that end each round";
}

TEST_P(Memory, RunsOutWithoutAHalfDoneCall) {
    run_out("");
}

// Texts that another program stored as blobs take memory when they are read; a row without it is no row.
TEST_P(Memory, RunsOutWithoutAHalfReadRow) {
    const Table &table = *GetParam().table;
    std::string blobs;
    for (const Field &field : table.fields) {
        if (field.kind == Kind::text) {
            blobs +=
                "UPDATE " + std::string(table.name) + " SET " + field.column + " = CAST(" + field.column + " AS BLOB);";
        }
    }
    prepare(table, GetParam().operation);
    if (GetParam().operation.failure == BTDB_ERR_QUERY) {
        sql(blobs);
        if (call(GetParam().operation) == GetParam().operation.success && !scratch_is_clean()) {
            run_out(blobs);
        }
    }
}
