// What the two kinds of task have in common: names of indexes, the source address, single values, the one list of both.

#include "support.h"

#include <algorithm>

namespace test {
namespace {

class BothKinds : public StoreTest {
protected:
    BothKinds() {
        fill(bt_task_table(), 0);
        sql(http_ftp_task_table().schema[0]);
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
    EXPECT_EQ(indexes("HTTP_FTP_TASK"), "pid type " + shared) << "created now that the names are free";
    EXPECT_EQ(bt_db_create_tbl_task(), BTDB_OK);
    EXPECT_EQ(indexes("BT_TASK"), "NULL");
}

// The address of an HTTP or FTP task is truncated, so that it always ends with a NUL.
TEST_F(BothKinds, AddressFillsItsBufferAndReturnsItsFullLength) {
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
        EXPECT_EQ(query(5000, buffer.data()), 0) << "SQL NULL reads as the empty string";
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

TEST_F(BothKinds, NegativeNumbersAreNoValues) {
    sql("INSERT INTO HTTP_FTP_TASK (task_id, task_pid) VALUES (-11, 0), (-12, -1)");
    EXPECT_EQ(http_ftp_db_query_latest_task_id(), BTDB_ERR_QUERY);
    sql("UPDATE HTTP_FTP_TASK SET task_id = -task_id");
    EXPECT_EQ(http_ftp_db_query_pid_by_task_id(11), 0);
    EXPECT_EQ(http_ftp_db_query_pid_by_task_id(12), BTDB_ERR_QUERY);
    EXPECT_EQ(http_ftp_db_query_pid_by_task_id(13), BTDB_ERR_QUERY) << "there is none";
}

} // namespace
} // namespace test
