// What HTTP_FTP_TASK alone does: the downloader picks its next task, counts what runs, and recovers after a restart.

#include "support.h"

namespace test {
namespace {

class HttpFtpTask : public StoreTest {
protected:
    HttpFtpTask() { start(); }

    // Identifiers of one digit more than the state: queued, running, and others.
    static void start() {
        start_afresh();
        fill(http_ftp_task_table(), 0);
        sql("INSERT INTO HTTP_FTP_TASK (task_id, task_state, task_is_paused, task_type, task_pid, task_filename, "
            "task_download_rate) VALUES "
            "(11, 1, 0, 0, 0, 'http://a/', 9), (12, 1, 0, 1, 7, 'HTTPS://b/', 9), (13, 1, 0, 0, 7, 'ftp://c/', 9), "
            "(14, 1, 0, 2, 0, 'FTPS://d/', 9), (15, 1, 0, 0, 0, 'sftp://e/', 9), (16, 1, 1, 0, 0, 'http://f/', 9), "
            "(17, 1, 2, 1, 0, 'ftp://g/', 9), (21, 2, 0, 0, 0, 'http://a/', 9), (22, 2, 0, 1, 7, 'HTTPS://b/', 9), "
            "(23, 2, 0, 0, 7, 'ftp://c/', 9), (24, 2, 0, 1, 0, 'FTPS://d/', 9), (25, 2, 0, 2, 0, ' http://e/', 9), "
            "(26, 2, 1, 0, 0, 'http://f/', 9), (27, 2, 2, 1, 0, 'ftp://g/', 9), (31, 3, 0, 0, 0, 'http://a/', 9), "
            "(40, 0, 0, 1, 0, 'ftp://c/', 9)");
    }

    static std::string ids(const std::string &condition) {
        return sql("SELECT group_concat(task_id, ' ') FROM HTTP_FTP_TASK WHERE " + condition)[0][0];
    }
};

TEST_F(HttpFtpTask, DownloaderPicksTheOldestQueuedAndTheNewestRunningOfItsKind) {
    struct {
        int32_t (*pick)(HttpFtpTaskRecord *, int32_t);
        std::vector<int> in_turn;
        bool excludes = true;
    } const queries[] = {
        {http_ftp_db_query_next_queued_task, {11, 12, 13, 14, 15}},
        {http_ftp_db_query_next_queued_task_no_rapidshare, {11, 13, 15}},
        {http_ftp_db_query_next_queued_task_only_rapidshare, {12}},
        {http_db_query_next_queued_task_no_rapidshare, {11}},
        {ftp_db_query_next_queued_task, {13, 14}},
        {http_ftp_db_query_next_running_task, {25, 24, 23, 22, 21}},
        {http_db_query_next_running_task, {22, 21}},
        {ftp_db_query_next_running_task, {24, 23}},
        {[](HttpFtpTaskRecord *record, int32_t) { return http_ftp_db_query_next_running_task_without_pid(record); },
         {25, 24, 21},
         false}};
    for (const auto &[pick, in_turn, excludes] : queries) {
        SCOPED_TRACE(testing::PrintToString(in_turn));
        start();
        HttpFtpTaskRecord found;
        for (std::size_t at = 0; at < in_turn.size(); ++at) {
            for (const int32_t nobody : {0, -1, INT32_MIN, 99999}) {
                found = {};
                EXPECT_EQ(pick(&found, nobody), BTDB_OK);
                EXPECT_EQ(found.task_id, in_turn[at]);
            }
            if (excludes) {
                found = {};
                const bool another = at + 1 < in_turn.size();
                EXPECT_EQ(pick(&found, in_turn[at]), another ? BTDB_OK : BTDB_ERR_QUERY);
                EXPECT_EQ(found.task_id, another ? in_turn[at + 1] : 0);
            }
            sql("DELETE FROM HTTP_FTP_TASK WHERE task_id = " + std::to_string(in_turn[at]));
        }
        found.task_id = 77;
        EXPECT_EQ(pick(&found, 0), BTDB_ERR_QUERY);
        EXPECT_EQ(found.task_id, 77);
    }
}

TEST_F(HttpFtpTask, DownloaderCountsWhatRuns) {
    EXPECT_EQ(http_ftp_db_query_running_task_count(), 5);
    EXPECT_EQ(http_ftp_db_query_running_task_count_only_rapidshare(), 2);
    EXPECT_EQ(http_ftp_db_query_running_task_count_without_pid(), 3);
    EXPECT_EQ(http_db_query_running_task_count(), 2);
    EXPECT_EQ(ftp_db_query_running_task_count(), 2);
}

TEST_F(HttpFtpTask, ResetsRecoverEveryRunningTaskThatIsNotPaused) {
    EXPECT_EQ(http_ftp_db_update_no_pid_runninig_task_to_queue(), BTDB_OK);
    EXPECT_EQ(ids("task_state = 1"), "11 12 13 14 15 16 17 21 24 25");
    EXPECT_EQ(http_ftp_db_update_no_pid_runninig_task_to_queue(), BTDB_ERR_UPDATE) << "none is left";

    EXPECT_EQ(ids("task_pid != 0"), "12 13 22 23");
    EXPECT_EQ(http_ftp_db_update_pid_to_zero(), BTDB_OK);
    EXPECT_EQ(ids("task_pid != 0"), "NULL");
    EXPECT_EQ(http_ftp_db_update_no_pid_runninig_task_to_queue(), BTDB_OK);
    EXPECT_EQ(ids("task_state = 1"), "11 12 13 14 15 16 17 21 22 23 24 25");
    EXPECT_EQ(ids("task_state = 2"), "26 27");

    EXPECT_EQ(http_ftp_db_update_download_rate_to_zero(), BTDB_OK);
    EXPECT_EQ(ids("task_download_rate != 0"), "NULL");
}

TEST_F(HttpFtpTask, ProcessIsNoNegativeNumber) {
    sql("UPDATE HTTP_FTP_TASK SET task_pid = -1 WHERE task_id = 12");
    EXPECT_EQ(http_ftp_db_query_pid_by_task_id(11), 0);
    EXPECT_EQ(http_ftp_db_query_pid_by_task_id(12), BTDB_ERR_QUERY);
    EXPECT_EQ(http_ftp_db_query_pid_by_task_id(13), 7);
    EXPECT_EQ(http_ftp_db_query_pid_by_task_id(10), BTDB_ERR_QUERY);
}

} // namespace
} // namespace test
