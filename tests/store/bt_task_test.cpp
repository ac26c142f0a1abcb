// What BT_TASK alone does: its marker and rating, the row for a callback.

#include "support.h"

#include <cmath>

namespace test {
namespace {

class BtTask : public StoreTest {
protected:
    BtTask() { fill(table, 0); }
    const Table table = bt_task_table();
};

TEST_F(BtTask, AddClearsTheMarkerAndLeavesTheIdentifierToTheTable) {
    BtTaskRecord task = {};
    task.task_id = 77;
    task.task_record = 5;
    EXPECT_EQ(bt_db_add_task(&task), 1);
    EXPECT_EQ(task.task_id, 77);
    EXPECT_EQ(task.task_record, 0);
    EXPECT_EQ(sql("SELECT task_id, task_record FROM BT_TASK"), (Rows{{"1", "0"}}));
}

TEST_F(BtTask, KeepsSixDecimalsOfTheRatingAndReadsItAsAWholeNumber) {
    struct {
        float rating;
        const char *stored;
        float read;
    } const cases[] = {{2.75F, "2.75", 2.0F},
                       {-2.75F, "-2.75", -2.0F},
                       {0.0000014F, "0.000001", 0.0F},
                       {5.0F, "5", 5.0F},
                       {4294967296.0F, "4294967296", 0.0F}};
    for (const auto &expected : cases) {
        BtTaskRecord task = {};
        task.task_rating = expected.rating;
        const int32_t id = bt_db_add_task(&task);
        // As numbers: 32-bit ARM parses decimals less exactly, and stores whole ones otherwise.
        const std::string difference = "abs(task_rating - (" + std::string(expected.stored) + "))";
        EXPECT_EQ(
            sql("SELECT " + difference + " < 1e-7 + abs(task_rating) / 1e15 FROM BT_TASK ORDER BY task_id DESC")[0],
            Row{"1"});
        EXPECT_EQ(bt_db_query_data_by_task_id(id, &task), BTDB_OK);
        EXPECT_EQ(task.task_rating, expected.read);
    }
    const Rows before = stored(table);
    for (const float no_number : {NAN, INFINITY, -INFINITY}) {
        BtTaskRecord task = {};
        task.task_rating = no_number;
        EXPECT_EQ(bt_db_add_task(&task), BTDB_ERR_INSERT);
        EXPECT_EQ(bt_db_update_task(&task), BTDB_ERR_UPDATE);
    }
    EXPECT_EQ(stored(table), before);
}

TEST_F(BtTask, RowForACallbackReportsWhatSqliteReports) {
    insert(table, Record(table, 1).row());
    int calls = 0;
    const TqRowCallback stops = [](void *context, int columns, char **, char **) {
        ++*static_cast<int *>(context);
        return columns == 29 ? 1 : 0;
    };
    EXPECT_EQ(bt_db_query_data_by_task_id_with_callback(stops, 1, &calls), SQLITE_ABORT);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(bt_db_query_data_by_task_id_with_callback(stops, 2, &calls), 0);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(bt_db_query_data_by_task_id_with_callback(nullptr, 1, nullptr), 0);
}

} // namespace
} // namespace test
