// File operations that fail, one at a time and from one on, under every operation.

#include "disk.h"
#include "trial.h"

#include <limits>
#include <thread>

namespace test {
namespace {
using disk::Accident;
using disk::On;

class Files : public StoreTest, public testing::WithParamInterface<OperationOfTable> {};

INSTANTIATE_TEST_SUITE_P(Faults, Files, testing::ValuesIn(operations_to_try()),
                         [](const auto &of) { return name_of(of.param); });

const Accident accidents[] = {
    {"open", {On::open}},     {"delete", {On::remove}},
    {"access", {On::access}}, {"read", {On::read}},
    {"write", {On::write}},   {"write to a full disk", {On::write}, true},
    {"sync", {On::sync}},     {"write, then undoing it", {On::write, On::truncate}},
    {"lock", {On::lock}},     {"size", {On::size}},
};

TEST_P(Files, FailWithoutAHalfDoneCall) {
    Trial trial(GetParam());
    for (const Accident &accident : accidents) {
        for (const bool goes_on : {false, true}) {
            bool happened = true;
            for (int at = 1; happened; at += effort(5, 3, 1)) {
                SCOPED_TRACE(std::string(accident.name) + " " + std::to_string(at) +
                             (goes_on ? " and all that follow" : ""));
                const bool succeeded =
                    trial.attempt([&] { disk::arm(accident, at, goes_on); }, [&] { happened = disk::disarm(); });
                EXPECT_TRUE(happened || succeeded);
                if (HasFailure()) {
                    return;
                }
            }
        }
    }
}

// ---- Another process holds the lock

TEST_P(Files, WaitForALockUpToTwentySecondsOrNotAtAll) {
    const Operation &operation = GetParam().operation;
    constexpr long long limit = 20'000'000, for_ever = std::numeric_limits<long long>::max();
    for (const long long held : {1LL, limit - 1, for_ever}) {
        SCOPED_TRACE(held);
        start_afresh();
        prepare(*GetParam().table, operation);
        const Rows before = contents();
        long long waited = 0;
        bool holds = true;
        {
            Connection other;
            other.rows("BEGIN EXCLUSIVE");
            disk::instead_of_waiting([&](long long microseconds) {
                waited = microseconds;
                if (holds && waited >= held) {
                    other.rows("COMMIT");
                    holds = false;
                }
            });
            const bool succeeds = operation.waits && held < for_ever;
            EXPECT_EQ(call(operation), succeeds ? operation.success : failure_of(operation, SQLITE_BUSY));
            EXPECT_EQ(holds, !succeeds);
            EXPECT_EQ(connections(), 0);
            EXPECT_TRUE(succeeds || (scratch_is_clean() && delivered.empty()));
            disk::instead_of_waiting(nullptr);
            EXPECT_TRUE(succeeds || contents(other) == before);
        }
        EXPECT_TRUE(!holds || contents() == before);
        EXPECT_TRUE(!holds || scratch_is_clean());
        // Creating runs each of its statements, whether or not the one before could run.
        const auto waits = static_cast<long long>(creates(operation) ? operation.statements.size() : 1);
        EXPECT_EQ(waited, !operation.waits ? 0 : held == for_ever ? waits * limit : held == 1 ? 1000 : limit);
        tally(operation.waits ? "calls that waited for a lock" : "calls that failed at once on a lock");
    }
}

// Reading the schema is a step of its own, before the statement.
TEST_F(StoreTest, WaitsForTheLockOfEachStep) {
    constexpr long long limit = 20'000'000;
    BtTaskRecord task = {};
    bt_db_create_tbl_task();
    EXPECT_EQ(bt_db_add_task(&task), 1);
    long long waited = 0;
    {
        Connection other;
        other.rows("BEGIN EXCLUSIVE");
        disk::instead_of_waiting([&](long long microseconds) {
            waited = microseconds;
            if (waited == limit) {
                other.rows("COMMIT; BEGIN IMMEDIATE");
            } else if (waited == 2 * limit) {
                other.rows("COMMIT");
            }
        });
        EXPECT_EQ(bt_db_update_all_task_rate_to_zero(), BTDB_OK);
    }
    EXPECT_EQ(waited, 2 * limit);

    waited = 0;
    disk::instead_of_waiting([&](long long microseconds) { waited = microseconds; });
    const auto write = [](void *time, int, char **, char **) {
        std::thread([time] { // where the calls count as the library's own
            EXPECT_EQ(bt_account_remove_tbl(), BTDB_ERR_TABLE);
            EXPECT_EQ(*static_cast<long long *>(time), 0) << "does not wait";
            EXPECT_EQ(bt_db_update_all_task_rate_to_zero(), BTDB_ERR_UPDATE);
        })
            .join();
        return 0;
    };
    bt_account_create_tbl();
    EXPECT_EQ(bt_db_query_task(nullptr, write, 0, 0, 0, 0, &waited), BTDB_OK);
    EXPECT_EQ(waited, limit) << "for its own listing";
    disk::instead_of_waiting(nullptr);
    EXPECT_EQ(bt_account_remove_tbl(), BTDB_OK);
}

} // namespace
} // namespace test
