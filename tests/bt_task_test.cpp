// What BT_TASK alone does: its marker and rating, the file name, the row for a callback, the filters, many writers.

#include "support.h"
#include "task_filters.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

using namespace test;

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
    } const cases[] = {
        {2.75F, "2.75", 2.0F}, {-2.75F, "-2.75", -2.0F}, {0.0000014F, "1.0e-06", 0.0F}, {5.0F, "5", 5.0F}};
    for (const auto &expected : cases) {
        BtTaskRecord task = {};
        task.task_rating = expected.rating;
        const std::int32_t id = bt_db_add_task(&task);
        EXPECT_EQ(sql("SELECT task_rating FROM BT_TASK ORDER BY task_id DESC")[0][0], expected.stored);
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

TEST_F(BtTask, FileNameFillsTheBufferAndTellsItsWholeLength) {
    for (const std::size_t length : {0U, 1U, 1023U, 1024U, 1030U}) {
        SCOPED_TRACE(length);
        const std::string name(length, 'n');
        sql("INSERT INTO BT_TASK (task_id, task_filename) VALUES (" + std::to_string(length + 1) + ", '" + name + "')");
        std::string buffer(1025, '\xa5');
        EXPECT_EQ(bt_db_query_filename_by_task_id(static_cast<std::int32_t>(length + 1), buffer.data()), length);
        const std::string head = name.substr(0, 1024);
        EXPECT_EQ(buffer, head + std::string(1024 - head.size(), '\0') + '\xa5');
    }
    std::string buffer(1024, '\xa5');
    EXPECT_EQ(bt_db_query_filename_by_task_id(9999, buffer.data()), BTDB_ERR_QUERY);
    EXPECT_EQ(buffer, '\0' + std::string(1023, '\xa5'));
    sql("INSERT INTO BT_TASK (task_id) VALUES (5000)");
    EXPECT_EQ(bt_db_query_filename_by_task_id(5000, buffer.data()), 0) << "SQL NULL reads as the empty text";
    EXPECT_EQ(buffer, std::string(1024, '\0'));
}

TEST_F(BtTask, TextKeysAreComparedExactly) {
    BtTaskRecord task = {};
    std::strcpy(task.task_torrent_name, "Name");
    std::strcpy(task.task_hash, "ab_d");
    bt_db_add_task(&task);
    EXPECT_EQ(bt_db_query_data_by_task_torrent_name("name", &task), BTDB_ERR_QUERY);
    EXPECT_EQ(bt_db_query_data_by_task_hash("abcd", &task), BTDB_ERR_QUERY);
    EXPECT_EQ(bt_db_query_data_by_task_hash("ab%", &task), BTDB_ERR_QUERY);
    EXPECT_EQ(bt_db_del_task(1, "name"), BTDB_OK);
    EXPECT_EQ(sql("SELECT count(*) FROM BT_TASK"), (Rows{{"1"}}));
}

TEST_F(BtTask, SingleColumnUpdatesStoreATextWhole) {
    const std::string text(3000, '\'');
    sql("INSERT INTO BT_TASK (task_id) VALUES (1)");
    EXPECT_EQ(bt_db_update_task_move_folder_by_task_id(1, text.c_str()), BTDB_OK);
    EXPECT_EQ(bt_db_update_task_hash_by_task_id(1, text.c_str()), BTDB_OK);
    EXPECT_EQ(sql("SELECT task_move_folder, task_hash FROM BT_TASK"), (Rows{{text, text}}));
}

TEST_F(BtTask, RatesOfAllTasksGoToZero) {
    EXPECT_EQ(bt_db_update_all_task_rate_to_zero(), BTDB_ERR_UPDATE) << "an empty table";
    sql("INSERT INTO BT_TASK (task_download_rate, task_upload_rate, task_num_peers) VALUES (1, 2, 3), (4, 5, 6)");
    const Rows zero = {{"0", "0", "3"}, {"0", "0", "6"}};
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(bt_db_update_all_task_rate_to_zero(), BTDB_OK);
        EXPECT_EQ(sql("SELECT task_download_rate, task_upload_rate, task_num_peers FROM BT_TASK"), zero);
    }
}

TEST_F(BtTask, LatestIdIsTheLargestInTheTable) {
    EXPECT_EQ(bt_db_query_latest_task_id(), BTDB_ERR_QUERY) << "an empty table";
    sql("INSERT INTO BT_TASK (task_id) VALUES (5), (40), (7)");
    EXPECT_EQ(bt_db_query_latest_task_id(), 40);
    sql("DELETE FROM BT_TASK WHERE task_id = 40");
    EXPECT_EQ(bt_db_query_latest_task_id(), 7);
    sql("DELETE FROM BT_TASK; INSERT INTO BT_TASK (task_id) VALUES (-3)");
    EXPECT_EQ(bt_db_query_latest_task_id(), BTDB_ERR_QUERY) << "a negative value is none";
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

// ---- Filters

static int note_id(void *context, int /*columns*/, char **values, char ** /*names*/) {
    static_cast<std::vector<int> *>(context)->push_back(std::atoi(values[0]));
    return 0;
}

TEST_F(BtTask, FiltersSelectAndCountTheSameTasksInQueueOrder) {
    // Queue positions run against the identifiers.
    std::vector<State> tasks;
    std::string rows;
    for (int state = -1; state <= 8; ++state) {
        for (int paused = 0; paused <= 2; ++paused) {
            for (int rates = 0; rates < 5; ++rates) {
                static constexpr int download[] = {0, 9, 0, 9, -1}, upload[] = {0, 0, 9, 9, 0};
                const State task = {static_cast<int>(tasks.size()) + 1, state, paused, download[rates], upload[rates]};
                tasks.push_back(task);
                std::string row;
                for (const int value : {task.id, state, paused, task.download, task.upload, 1000 - task.id, state}) {
                    row += (row.empty() ? "(" : ", ") + std::to_string(value);
                }
                rows += (rows.empty() ? "" : ", ") + row + ")";
            }
        }
    }
    sql("INSERT INTO BT_TASK (task_id, task_state, task_is_paused, task_download_rate, task_upload_rate, "
        "task_queue_position, task_type) VALUES " +
        rows);
    std::reverse(tasks.begin(), tasks.end());

    const auto those = [&tasks](const auto &wanted) {
        std::vector<int> ids;
        for (const State &task : tasks) {
            if (wanted(task)) {
                ids.push_back(task.id);
            }
        }
        return ids;
    };
    for (std::int32_t filter = BT_TASK_FILTER_ALL; filter <= BT_TASK_FILTER_STATE_5; ++filter) {
        SCOPED_TRACE(filter);
        const std::vector<int> expected = those([filter](const State &task) { return selects_bt(filter, task); });
        std::vector<int> listed, page;
        EXPECT_EQ(bt_db_query_task(nullptr, note_id, 0, 0, 0, filter, &listed), BTDB_OK);
        EXPECT_EQ(listed, expected);
        EXPECT_EQ(bt_db_query_task_count(filter), expected.size());
        EXPECT_EQ(bt_db_query_task(nullptr, note_id, 0, 2, 5, filter, &page), BTDB_OK);
        EXPECT_EQ(page, std::vector<int>(expected.begin() + 2, expected.begin() + 5));
    }
    for (const std::int32_t type : {-1, 4, 99}) {
        std::vector<int> listed;
        EXPECT_EQ(bt_db_query_task_by_task_type(type, note_id, &listed), BTDB_OK);
        EXPECT_EQ(listed, those([type](const State &task) { return task.state == type; }));
    }
}

// ---- Several processes

TEST_F(BtTask, EightProcessesAddAtOnceAndLoseNothing) {
    constexpr int processes = 8, tasks = 20;
    for (int process = 0; process < processes; ++process) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            int lost = 0;
            for (int i = 0; i < tasks; ++i) {
                BtTaskRecord task = {};
                task.task_type = process;
                task.task_progress = i;
                lost += bt_db_add_task(&task) > i ? 0 : 1;
            }
            _exit(lost);
        }
    }
    for (int process = 0; process < processes; ++process) {
        int status = -1;
        wait(&status);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(sql("SELECT count(*), count(DISTINCT task_type * 100 + task_progress), max(task_id) FROM BT_TASK"),
              (Rows{{"160", "160", "160"}}));
}
