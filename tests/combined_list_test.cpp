// Both kinds of task in one list: its columns, its order across the tables, its pages, its pairs of filters.

#include "support.h"
#include "task_filters.h"

#include <algorithm>

using namespace test;

class CombinedList : public StoreTest {
protected:
    CombinedList() {
        fill(bt_task_table(), 0);
        sql(http_ftp_task_table().schema[0]);
    }

    // The kind and the identifier of each.
    static std::vector<std::string> list(std::int32_t filter, std::int32_t start = 0, std::int32_t end = 0) {
        std::vector<std::string> keys;
        Listed listed;
        EXPECT_EQ(tq_db_query_task(nullptr, note, 0, start, end, filter, &listed), BTDB_OK);
        for (const Row &row : listed.rows) {
            keys.push_back(row.at(15) + row.at(1));
        }
        return keys;
    }
};

TEST_F(CombinedList, BringsBothKindsIntoSixteenColumns) {
    insert(http_ftp_task_table(), Record(http_ftp_task_table(), 1).row());
    insert(bt_task_table(), Record(bt_task_table(), 1).row());
    sql("UPDATE HTTP_FTP_TASK SET task_total_size = 5000000000, task_start_time = 'later'");
    sql("UPDATE BT_TASK SET task_start_time = 'earlier', task_rating = 2.75");
    Listed both;
    EXPECT_EQ(tq_db_query_task(nullptr, note, 0, 0, 0, BT_TASK_FILTER_ALL, &both), BTDB_OK);
    EXPECT_EQ(both.names,
              (Row{"task_start_time", "task_id", "task_torrent_name", "task_state", "task_download_rate",
                   "task_upload_rate", "task_rating", "task_total_wanted_done", "task_total_wanted", "task_progress",
                   "task_finish_time", "task_time_left", "task_is_paused", "task_queue_position", "0", "'bt'"}));
    EXPECT_EQ(both.rows, (Rows{{"earlier", "1", "t1'01", "104", "110", "111", "2.75", "106", "107", "105", "t1'19",
                                "t1'21", "122", "123", "0", "bt"},
                               {"later", "1", "t1'02", "103", "107", "0", "0", "106", "5000000000", "104", "t1'09",
                                "t1'10", "111", "118", "115", "http"}}));
}

TEST_F(CombinedList, OrdersByStartTimeAsTextAndPagesAcrossTheKinds) {
    sql("INSERT INTO BT_TASK (task_id, task_start_time) VALUES (1, '9'), (2, '2026-01-02'), (3, ''), (4, 'b');"
        "INSERT INTO HTTP_FTP_TASK (task_id, task_start_time) VALUES (1, '10'), (2, '2026-01-01'), (3, 'B'), (7, 'a')");
    const std::vector<std::string> all = {"bt3", "http1", "http2", "bt2", "bt1", "http3", "http7", "bt4"};
    EXPECT_EQ(list(BT_TASK_FILTER_ALL), all);
    for (const auto &[start, end] : {std::pair{0, 5}, {2, 3}, {3, 8}, {5, 100}, {4, 4}, {8, 9}}) {
        const auto size = static_cast<int>(all.size());
        EXPECT_EQ(list(BT_TASK_FILTER_ALL, start, end),
                  std::vector<std::string>(all.begin() + std::min(start, size), all.begin() + std::min(end, size)));
    }
}

TEST_F(CombinedList, KeepsTasksApartThatDifferInNothingButTheirKey) {
    sql("INSERT INTO BT_TASK (task_id) VALUES (1), (2); INSERT INTO HTTP_FTP_TASK (task_id) VALUES (1), (2)");
    std::vector<std::string> listed = list(BT_TASK_FILTER_ALL);
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(listed, (std::vector<std::string>{"bt1", "bt2", "http1", "http2"}));
}

TEST_F(CombinedList, EachFilterIsAPair) {
    std::vector<State> tasks;
    for (int state = 0; state <= 8; ++state) {
        for (int paused = 0; paused <= 2; ++paused) {
            for (const int download : {-1, 0, 9}) {
                for (const int upload : {0, 9}) {
                    tasks.push_back({static_cast<int>(tasks.size()) + 1, state, paused, download, upload});
                }
            }
        }
    }
    std::string rows;
    for (const State &task : tasks) {
        const std::string head = rows.empty() ? "(" : ", (";
        rows += head + std::to_string(task.id) + ", " + std::to_string(task.state) + ", " +
                std::to_string(task.paused) + ", " + std::to_string(task.download) + ", " +
                std::to_string(task.upload) + ")";
    }
    const std::string common = " (task_id, task_state, task_is_paused, task_download_rate, ";
    sql("INSERT INTO BT_TASK" + common + "task_upload_rate) VALUES " + rows + "; INSERT INTO HTTP_FTP_TASK" + common +
        "task_errcode) VALUES " + rows);
    for (std::int32_t filter = BT_TASK_FILTER_ALL; filter <= BT_TASK_FILTER_STATE_5; ++filter) {
        SCOPED_TRACE(filter);
        std::vector<std::string> expected, listed = list(filter);
        for (const State &task : tasks) {
            if (selects_bt(filter, task)) {
                expected.push_back("bt" + std::to_string(task.id));
            }
            if (selects_http_ftp(filter, task)) {
                expected.push_back("http" + std::to_string(task.id));
            }
        }
        std::sort(expected.begin(), expected.end());
        std::sort(listed.begin(), listed.end()); // equal start times come in no defined order
        EXPECT_EQ(listed, expected);
    }
}

TEST_F(CombinedList, NeedsBothTablesAndStopsWhenTold) {
    sql("INSERT INTO BT_TASK (task_id) VALUES (1), (2)");
    Listed stopped;
    stopped.stop_after = 1;
    EXPECT_EQ(tq_db_query_task(nullptr, note, 0, 0, 0, 0, &stopped), BTDB_ERR_QUERY);
    EXPECT_EQ(stopped.rows.size(), 1U);

    sql("VACUUM INTO '" + std::string(other_file) + "'; DROP TABLE HTTP_FTP_TASK");
    for (const auto &[file, result, rows] :
         {std::tuple<const char *, std::int32_t, std::size_t>{nullptr, BTDB_ERR_QUERY, 0},
          {other_file, BTDB_OK, 2},
          {"/mnt/missing/tq.db", BTDB_ERR_OPEN, 0}}) {
        Listed listed;
        EXPECT_EQ(tq_db_query_task(file, note, 0, 0, 0, 0, &listed), result);
        EXPECT_EQ(listed.rows.size(), rows);
    }
}
