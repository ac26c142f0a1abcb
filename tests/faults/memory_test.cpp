// Memory that runs out: every allocation of every operation fails in its turn, once alone and once with all that
// follow. A call then fails with one of its codes and has done nothing, or succeeds and has done everything.

#include "trial.h"

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

class Memory : public StoreTest, public testing::WithParamInterface<OperationOfTable> {
protected:
    // Starts the operation again and again on the table's rows, once `changed`, and lets memory run out.
    void run_out(const std::string &changed);
};

INSTANTIATE_TEST_SUITE_P(Store, Memory, testing::ValuesIn(all_operations()),
                         [](const auto &of) { return name_of(of.param); });

void Memory::run_out(const std::string &changed) {
    ASSERT_TRUE(configured);
    Trial trial(GetParam(), changed);
    int injected = 0;
    const int step = effort(31, 5, 1);
    for (const bool goes_on : {false, true}) {
        failed = true;
        for (int at = 1; failed; at += step) {
            SCOPED_TRACE("allocation " + std::to_string(at) + (goes_on ? " and all that follow" : ""));
            int held_before = 0;
            const bool succeeded = trial.attempt(
                [&] {
                    held_before = held;
                    failed = false;
                    failing_goes_on = goes_on;
                    allocations_until_failure = at;
                },
                [&] {
                    allocations_until_failure = 0;
                    EXPECT_EQ(held, held_before);
                });
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
