// What the two kinds of task have in common: names of indexes, the source address, the latest task, resets, filters.
// And the one list of both: its columns, its order across the tables, its pages.

#include "support.h"
#include "task_filters.h"

#include <algorithm>
#include <set>

namespace test {
namespace {

class BothKinds : public StoreTest {
protected:
    BothKinds() {
        fill(bt_task_table(), 0);
        sql(http_ftp_task_table().schema[0]);
    }

    // The kind and the identifier of each.
    static std::vector<std::string> list(int32_t filter, int32_t start = 0, int32_t end = 0) {
        std::vector<std::string> keys;
        Listed listed;
        EXPECT_EQ(tq_db_query_task(nullptr, note, 0, start, end, filter, &listed), BTDB_OK);
        for (const Row &row : listed.rows) {
            keys.push_back(row.at(15) + row.at(1));
        }
        return keys;
    }
};

TEST_F(StoreTest, SharedIndexNamesGoToTheTaskTableThatIsCreatedFirst) {
    const auto indexes = [](const std::string &table) {
        const Rows names = sql("SELECT group_concat(substr(name, 10), ' ') FROM sqlite_master WHERE type = 'index' AND "
                               "sql NOT NULL AND tbl_name = '" +
                               table + "'");
        return names[0][0];
    };
    const std::string shared = "filename status progress is_paused";
    EXPECT_EQ(bt_db_create_tbl_task(), BTDB_OK);
    EXPECT_EQ(http_ftp_db_create_tbl_task(), BTDB_OK);
    EXPECT_EQ(indexes("BT_TASK"), shared);
    EXPECT_EQ(indexes("HTTP_FTP_TASK"), "pid type");

    EXPECT_EQ(bt_db_remove_tbl_task(), BTDB_OK);
    EXPECT_EQ(indexes("HTTP_FTP_TASK"), "pid type") << "not regained by itself";
    EXPECT_EQ(http_ftp_db_create_tbl_task(), BTDB_ERR_TABLE);
    EXPECT_EQ(indexes("HTTP_FTP_TASK"), "pid type " + shared) << "made up for, since the names are free";
    EXPECT_EQ(bt_db_create_tbl_task(), BTDB_OK);
    EXPECT_EQ(indexes("BT_TASK"), "NULL");
}

// The address of an HTTP or FTP task is cut, so that it always ends.
TEST_F(BothKinds, AddressFillsItsBufferAndTellsItsWholeLength) {
    struct {
        std::string table;
        int32_t (*query)(int32_t, char *);
        std::size_t kept;
    } const kinds[] = {{"BT_TASK", bt_db_query_filename_by_task_id, 1024},
                       {"HTTP_FTP_TASK", http_ftp_db_query_filename_by_task_id, 1023}};
    for (const auto &[table, query, kept] : kinds) {
        std::string buffer(1025, '\xa5');
        EXPECT_EQ(query(9999, buffer.data()), BTDB_ERR_QUERY);
        EXPECT_EQ(buffer, '\0' + std::string(1024, '\xa5'));
        sql("INSERT INTO " + table + " (task_id) VALUES (5000)");
        EXPECT_EQ(query(5000, buffer.data()), 0) << "SQL NULL reads as the empty text";
        for (const std::size_t length : {0U, 1U, 1022U, 1023U, 1024U, 1030U}) {
            SCOPED_TRACE(length);
            const std::string address(length, 'a');
            sql("UPDATE " + table + " SET task_filename = '" + address + "'");
            std::fill(buffer.begin(), buffer.end(), '\xa5');
            EXPECT_EQ(query(5000, buffer.data()), length);
            const std::string head = address.substr(0, kept);
            EXPECT_EQ(buffer, head + std::string(1024 - head.size(), '\0') + '\xa5');
        }
    }
}

TEST_F(BothKinds, LatestTaskHasTheLargestIdentifierThatIsNotNegative) {
    for (const auto &[table, latest] : {std::pair{std::string("BT_TASK"), &bt_db_query_latest_task_id},
                                        {"HTTP_FTP_TASK", &http_ftp_db_query_latest_task_id}}) {
        EXPECT_EQ(latest(), BTDB_ERR_QUERY) << "an empty table";
        sql("INSERT INTO " + table + " (task_id) VALUES (5), (40), (7)");
        EXPECT_EQ(latest(), 40);
        sql("DELETE FROM " + table + "; INSERT INTO " + table + " (task_id) VALUES (-3)");
        EXPECT_EQ(latest(), BTDB_ERR_QUERY);
    }
}

TEST_F(BothKinds, ResetsNeedATaskButNoChange) {
    for (const auto reset : {bt_db_update_all_task_rate_to_zero, http_ftp_db_update_pid_to_zero,
                             http_ftp_db_update_download_rate_to_zero}) {
        EXPECT_EQ(reset(), BTDB_ERR_UPDATE);
        sql("INSERT INTO BT_TASK (task_id) VALUES (1); INSERT INTO HTTP_FTP_TASK (task_id) VALUES (1)");
        for (int time = 0; time < 2; ++time) {
            EXPECT_EQ(reset(), BTDB_OK);
        }
        sql("DELETE FROM BT_TASK; DELETE FROM HTTP_FTP_TASK");
    }
}

// ---- The one list of both

TEST_F(BothKinds, BringsBothKindsIntoSixteenColumns) {
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

TEST_F(BothKinds, OrdersByStartTimeAsTextAndPagesAcrossTheKinds) {
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

TEST_F(BothKinds, EachFilterSelectsAndCountsTheSameTasks) {
    std::vector<State> tasks;
    std::string rows;
    for (int state = -1; state <= 8; ++state) {
        for (int paused = 0; paused <= 2; ++paused) {
            for (const auto &[download, upload] : {std::pair{0, 0}, {0, 9}, {9, 0}, {9, 9}, {-1, 0}}) {
                const State &task = tasks.emplace_back(State{int(tasks.size()), state, paused, download, upload});
                rows += rows.empty() ? "(" : "), (";
                for (const int value : {task.id, state, paused, download}) {
                    rows += std::to_string(value) + ", ";
                }
                rows += std::to_string(upload);
            }
        }
    }
    const std::string common = " (task_id, task_state, task_is_paused, task_download_rate, ";
    sql("INSERT INTO BT_TASK" + common + "task_upload_rate) VALUES " + rows + "); INSERT INTO HTTP_FTP_TASK" + common +
        "task_errcode) VALUES " + rows + ")");

    struct {
        std::string name;
        decltype(&bt_db_query_task) list;
        decltype(&bt_db_query_task_count) count;
        decltype(&selects_bt) selects;
        int32_t last_filter;
    } const kinds[] = {
        {"bt", bt_db_query_task, bt_db_query_task_count, selects_bt, BT_TASK_FILTER_STATE_5},
        {"http", http_ftp_db_query_task, http_ftp_db_query_task_count, selects_http_ftp, HTTP_FTP_TASK_FILTER_PAUSED}};
    for (int32_t filter = BT_TASK_FILTER_ALL; filter <= BT_TASK_FILTER_STATE_5; ++filter) {
        SCOPED_TRACE(filter);
        std::multiset<std::string> of_both;
        for (const auto &kind : kinds) {
            std::multiset<std::string> ids, listed_ids;
            for (const State &task : tasks) {
                if (kind.selects(filter, task)) {
                    ids.insert(std::to_string(task.id));
                    of_both.insert(kind.name + std::to_string(task.id));
                }
            }
            if (filter <= kind.last_filter) {
                Listed listed;
                EXPECT_EQ(kind.list(nullptr, note, 0, 0, 0, filter, &listed), BTDB_OK);
                for (const Row &row : listed.rows) {
                    listed_ids.insert(row[0]);
                }
                EXPECT_EQ(listed_ids, ids);
                EXPECT_EQ(kind.count(filter), ids.size());
            }
        }
        const std::vector<std::string> listed = list(filter);
        EXPECT_EQ(std::multiset<std::string>(listed.begin(), listed.end()), of_both);
    }
}

TEST_F(BothKinds, ListNeedsBothTablesInTheFileItIsGiven) {
    sql("INSERT INTO BT_TASK (task_id) VALUES (1), (2); VACUUM INTO '" + std::string(other_file) +
        "'; DROP TABLE HTTP_FTP_TASK");
    const std::tuple<const char *, int32_t, std::size_t> files[] = {
        {nullptr, BTDB_ERR_QUERY, 0}, {other_file, BTDB_OK, 2}, {"/mnt/missing/tq.db", BTDB_ERR_OPEN, 0}};
    for (const auto &[file, result, rows] : files) {
        Listed listed;
        EXPECT_EQ(tq_db_query_task(file, note, 0, 0, 0, 0, &listed), result);
        EXPECT_EQ(listed.rows.size(), rows);
    }
}

} // namespace
} // namespace test
