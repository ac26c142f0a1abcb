// What HTTP_FTP_TASK alone does: index names it shares with BT_TASK, wide numbers, the source address, the downloader's
// queries, the filters, many writers.

#include "support.h"
#include "task_filters.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <strings.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace test;

class HttpFtpTask : public StoreTest {
protected:
    HttpFtpTask() { fill(table, 0); }
    const Table table = http_ftp_task_table();
};

TEST_F(StoreTest, SharedIndexNamesGoToTheTaskTableThatIsCreatedFirst) {
    const auto indexes = [](const char *name) {
        std::string names;
        for (const Row &row :
             sql("SELECT substr(name, 10) FROM sqlite_master WHERE type = 'index' AND sql NOT NULL AND "
                 "tbl_name = '" +
                 std::string(name) + "' ORDER BY rowid")) {
            names += row[0] + " ";
        }
        return names;
    };
    const std::string shared = "filename status progress is_paused ";
    EXPECT_EQ(bt_db_create_tbl_task(), BTDB_OK);
    EXPECT_EQ(http_ftp_db_create_tbl_task(), BTDB_OK);
    EXPECT_EQ(indexes("BT_TASK"), shared);
    EXPECT_EQ(indexes("HTTP_FTP_TASK"), "pid type ");

    EXPECT_EQ(bt_db_remove_tbl_task(), BTDB_OK);
    EXPECT_EQ(indexes("HTTP_FTP_TASK"), "pid type ") << "not regained by itself";
    EXPECT_EQ(http_ftp_db_create_tbl_task(), BTDB_ERR_TABLE);
    EXPECT_EQ(indexes("HTTP_FTP_TASK"), "pid type " + shared) << "made up for, since the names are free";

    start_afresh();
    EXPECT_EQ(http_ftp_db_create_tbl_task(), BTDB_OK);
    EXPECT_EQ(bt_db_create_tbl_task(), BTDB_OK);
    EXPECT_EQ(indexes("HTTP_FTP_TASK"), "pid " + shared + "type ");
    EXPECT_EQ(indexes("BT_TASK"), "");
}

// ---- Fields

TEST_F(HttpFtpTask, SizesAndTheRateAreSetWideAndTheRateIsReadNarrow) {
    HttpFtpTaskRecord task = {};
    task.task_total_size = INT64_MAX;
    task.task_total_downloaded = INT64_MIN;
    task.task_pid = 5;
    const std::int32_t id = http_ftp_db_add_task(&task);
    EXPECT_EQ(http_ftp_db_query_data_by_task_id(id, &task), BTDB_OK);
    EXPECT_EQ(task.task_total_size, INT64_MAX);
    EXPECT_EQ(task.task_total_downloaded, INT64_MIN);
    std::int64_t wide = 0x1'0000'0007;
    for (const auto &[key, update] :
         {std::pair{id, &http_ftp_db_update_task_field_by_id}, {5, http_ftp_db_update_task_field_by_pid}}) {
        for (const std::uint32_t field : {HTTP_FTP_TASK_FIELD_TOTAL_SIZE, HTTP_FTP_TASK_FIELD_TOTAL_DOWNLOADED,
                                          HTTP_FTP_TASK_FIELD_DOWNLOAD_RATE}) {
            wide += 0x1'0000'0000;
            EXPECT_EQ(update(key, field, &wide), BTDB_OK);
            EXPECT_EQ(stored(table)[0][field], std::to_string(wide));
        }
    }
    EXPECT_EQ(http_ftp_db_query_data_by_task_id(id, &task), BTDB_OK);
    EXPECT_EQ(task.task_total_downloaded, wide - 0x1'0000'0000);
    EXPECT_EQ(task.task_download_rate, 7);
}

TEST_F(HttpFtpTask, FieldUpdateByNoProcessReachesEveryTaskWithoutOne) {
    sql("INSERT INTO HTTP_FTP_TASK (task_pid, task_state) VALUES (0, 2), (5, 2), (0, 3)");
    const std::int32_t queued = HTTP_FTP_TASK_STATE_QUEUED;
    EXPECT_EQ(http_ftp_db_update_task_field_by_pid(0, HTTP_FTP_TASK_FIELD_STATE, &queued), BTDB_OK);
    EXPECT_EQ(sql("SELECT task_state FROM HTTP_FTP_TASK ORDER BY task_id"), (Rows{{"1"}, {"2"}, {"1"}}));
}

TEST_F(HttpFtpTask, AddressIsCutToItsBufferAndTellsItsWholeLength) {
    for (const std::size_t length : {0U, 1U, 1022U, 1023U, 1024U, 1030U}) {
        SCOPED_TRACE(length);
        const auto id = static_cast<std::int32_t>(length + 1);
        const std::string address(length, 'a');
        sql("INSERT INTO HTTP_FTP_TASK (task_id, task_filename) VALUES (" + std::to_string(id) + ", '" + address +
            "')");
        std::string buffer(1025, '\xa5');
        EXPECT_EQ(http_ftp_db_query_filename_by_task_id(id, buffer.data()), length);
        const std::string head = address.substr(0, 1023);
        EXPECT_EQ(buffer, head + std::string(1024 - head.size(), '\0') + '\xa5');
    }
    std::string buffer(1024, '\xa5');
    EXPECT_EQ(http_ftp_db_query_filename_by_task_id(9999, buffer.data()), BTDB_ERR_QUERY);
    EXPECT_EQ(buffer, '\0' + std::string(1023, '\xa5'));
}

TEST_F(HttpFtpTask, ProcessAndLatestIdentifierAreNoNegativeNumbers) {
    EXPECT_EQ(http_ftp_db_query_latest_task_id(), BTDB_ERR_QUERY) << "an empty table";
    sql("INSERT INTO HTTP_FTP_TASK (task_id, task_pid) VALUES (5, 0), (40, -1), (7, 32768)");
    EXPECT_EQ(http_ftp_db_query_pid_by_task_id(5), 0);
    EXPECT_EQ(http_ftp_db_query_pid_by_task_id(40), BTDB_ERR_QUERY);
    EXPECT_EQ(http_ftp_db_query_pid_by_task_id(7), 32768);
    EXPECT_EQ(http_ftp_db_query_pid_by_task_id(6), BTDB_ERR_QUERY);
    EXPECT_EQ(http_ftp_db_query_latest_task_id(), 40);
    sql("DELETE FROM HTTP_FTP_TASK WHERE task_id = 40");
    EXPECT_EQ(http_ftp_db_query_latest_task_id(), 7);
}

// ---- Dispatch

struct Job {
    int id, state, paused, type, pid;
    std::string address;
};

// Every mixture of what the queries look at, under identifiers in an order of their own.
static std::vector<Job> mixed_jobs() {
    std::vector<Job> jobs;
    for (const int state : {0, 1, 2, 3}) {
        for (const int paused : {0, 1, 2}) {
            for (const int type : {0, 1, 2}) {
                for (const int pid : {0, 4711}) {
                    for (const char *address : {"http://a/", "HTTPS://b/", "hTTp", "ftp://c/", "FTPS://d/", "sftp://e/",
                                                " http://f/", "htp://g/", "", "ht%p://h/"}) {
                        jobs.push_back({0, state, paused, type, pid, address});
                    }
                }
            }
        }
    }
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        jobs[i].id = static_cast<int>(i * 323 % jobs.size()) + 1; // 323 and the 720 jobs have no factor in common
    }
    std::sort(jobs.begin(), jobs.end(), [](const Job &a, const Job &b) { return a.id < b.id; });
    return jobs;
}

static void store(const std::vector<Job> &jobs) {
    std::string rows;
    for (const Job &job : jobs) {
        rows += (rows.empty() ? "(" : ", (") + std::to_string(job.id) + ", " + std::to_string(job.state) + ", " +
                std::to_string(job.paused) + ", " + std::to_string(job.type) + ", " + std::to_string(job.pid) + ", " +
                literal(job.address) + ", 9)";
    }
    sql("INSERT INTO HTTP_FTP_TASK (task_id, task_state, task_is_paused, task_type, task_pid, task_filename, "
        "task_download_rate) VALUES " +
        rows);
}

using Wanted = bool (*)(const Job &);
static bool queued(const Job &job) {
    return job.state == 1 && job.paused == 0;
}
static bool running(const Job &job) {
    return job.state == 2 && job.paused == 0;
}
static bool http(const Job &job) {
    return strncasecmp(job.address.c_str(), "http", 4) == 0;
}
static bool ftp(const Job &job) {
    return strncasecmp(job.address.c_str(), "ftp", 3) == 0;
}
#define IF(...) [](const Job &job) { return __VA_ARGS__; }

TEST_F(HttpFtpTask, DownloaderPicksTheOldestQueuedAndTheNewestRunningOfItsKind) {
    using Pick = std::int32_t (*)(HttpFtpTaskRecord *, std::int32_t);
    struct {
        const char *name;
        Pick pick;
        bool oldest, excludes;
        Wanted wanted;
    } const queries[] = {
#define QUERY(name, oldest, wanted) {#name, name, oldest, true, wanted}
        QUERY(http_ftp_db_query_next_queued_task, true, queued),
        QUERY(http_ftp_db_query_next_queued_task_no_rapidshare, true, IF(queued(job) && job.type == 0)),
        QUERY(http_ftp_db_query_next_queued_task_only_rapidshare, true, IF(queued(job) && job.type == 1)),
        QUERY(http_db_query_next_queued_task_no_rapidshare, true, IF(queued(job) && job.type == 0 && http(job))),
        QUERY(ftp_db_query_next_queued_task, true, IF(queued(job) && ftp(job))),
        QUERY(http_ftp_db_query_next_running_task, false, running),
        QUERY(http_db_query_next_running_task, false, IF(running(job) && http(job))),
        QUERY(ftp_db_query_next_running_task, false, IF(running(job) && ftp(job))),
        {"without_pid",
         [](HttpFtpTaskRecord *record, std::int32_t) {
             return http_ftp_db_query_next_running_task_without_pid(record);
         },
         false, false, IF(running(job) && job.pid == 0)}};
    for (const auto &query : queries) {
        SCOPED_TRACE(query.name);
        sql("DELETE FROM HTTP_FTP_TASK");
        std::vector<Job> jobs = mixed_jobs();
        store(jobs);
        jobs.erase(std::remove_if(jobs.begin(), jobs.end(), [&](const Job &job) { return !query.wanted(job); }),
                   jobs.end());
        if (!query.oldest) {
            std::reverse(jobs.begin(), jobs.end());
        }
        ASSERT_GT(jobs.size(), 5U);
        HttpFtpTaskRecord found;
        // Each in its turn, until there is none: no other task is ever picked.
        for (std::size_t at = 0; at < jobs.size(); ++at) {
            for (const std::int32_t nobody : {0, -1, INT32_MIN, 99999}) {
                found = {};
                ASSERT_EQ(query.pick(&found, nobody), BTDB_OK);
                EXPECT_EQ(found.task_id, jobs[at].id);
                EXPECT_EQ(found.task_filename, jobs[at].address);
            }
            if (query.excludes) {
                found = {};
                const bool another = at + 1 < jobs.size();
                EXPECT_EQ(query.pick(&found, jobs[at].id), another ? BTDB_OK : BTDB_ERR_QUERY);
                EXPECT_EQ(found.task_id, another ? jobs[at + 1].id : 0);
            }
            sql("DELETE FROM HTTP_FTP_TASK WHERE task_id = " + std::to_string(jobs[at].id));
        }
        found.task_id = 77;
        EXPECT_EQ(query.pick(&found, 0), BTDB_ERR_QUERY);
        EXPECT_EQ(found.task_id, 77);
    }
}

TEST_F(HttpFtpTask, DownloaderCountsWhatRuns) {
    struct {
        std::int32_t (*count)();
        Wanted wanted;
    } const counts[] = {
        {http_ftp_db_query_running_task_count, running},
        {http_ftp_db_query_running_task_count_only_rapidshare, IF(running(job) && job.type == 1)},
        {http_ftp_db_query_running_task_count_without_pid, IF(running(job) && job.pid == 0)},
        {http_db_query_running_task_count, IF(running(job) && http(job))},
        {ftp_db_query_running_task_count, IF(running(job) && ftp(job))},
    };
    for (const auto &each : counts) {
        EXPECT_EQ(each.count(), 0) << "an empty table";
    }
    const std::vector<Job> jobs = mixed_jobs();
    store(jobs);
    for (const auto &each : counts) {
        EXPECT_EQ(each.count(), std::count_if(jobs.begin(), jobs.end(), each.wanted));
    }
}

TEST_F(HttpFtpTask, ResetsRecoverEveryRunningTaskThatIsNotPaused) {
    std::vector<Job> jobs = mixed_jobs();
    int rate = 9;
    const auto expect = [&] {
        Rows rows;
        for (const Job &job : jobs) {
            rows.push_back({std::to_string(job.id), std::to_string(job.state), std::to_string(job.pid),
                            std::to_string(rate), std::to_string(job.paused)});
        }
        EXPECT_EQ(sql("SELECT task_id, task_state, task_pid, task_download_rate, task_is_paused FROM HTTP_FTP_TASK "
                      "ORDER BY task_id"),
                  rows);
    };
    const auto queue = [&jobs] {
        for (Job &job : jobs) {
            job.state = running(job) && job.pid == 0 ? 1 : job.state;
        }
    };
    for (const auto reset : {http_ftp_db_update_pid_to_zero, http_ftp_db_update_no_pid_runninig_task_to_queue,
                             http_ftp_db_update_download_rate_to_zero}) {
        EXPECT_EQ(reset(), BTDB_ERR_UPDATE) << "an empty table";
    }
    store(jobs);
    EXPECT_EQ(http_ftp_db_update_no_pid_runninig_task_to_queue(), BTDB_OK);
    queue();
    expect();
    EXPECT_EQ(http_ftp_db_update_no_pid_runninig_task_to_queue(), BTDB_ERR_UPDATE) << "none is left";

    EXPECT_EQ(http_ftp_db_update_pid_to_zero(), BTDB_OK);
    for (Job &job : jobs) {
        job.pid = 0;
    }
    expect();
    EXPECT_EQ(http_ftp_db_update_no_pid_runninig_task_to_queue(), BTDB_OK);
    queue();
    expect();
    EXPECT_EQ(http_ftp_db_query_running_task_count(), 0);
    EXPECT_EQ(http_ftp_db_update_download_rate_to_zero(), BTDB_OK);
    rate = 0;
    expect();
}

// ---- Listing and counts

TEST_F(HttpFtpTask, FiltersSelectAndCountTheSameTasks) {
    std::vector<State> tasks;
    std::string rows;
    for (int state = 0; state <= 4; ++state) {
        for (int paused = 0; paused <= 2; ++paused) {
            for (const int rate : {-1, 0, 9}) {
                tasks.push_back({static_cast<int>(tasks.size()) + 1, state, paused, rate, 0});
                rows += (rows.empty() ? "(" : ", (") + std::to_string(state) + ", " + std::to_string(paused) + ", " +
                        std::to_string(rate) + ")";
            }
        }
    }
    sql("INSERT INTO HTTP_FTP_TASK (task_state, task_is_paused, task_download_rate) VALUES " + rows);
    const TqRowCallback note_id = [](void *context, int columns, char **values, char **) {
        static_cast<std::vector<int> *>(context)->push_back(columns == 19 ? std::atoi(values[0]) : -1);
        return 0;
    };
    for (std::int32_t filter = HTTP_FTP_TASK_FILTER_ALL; filter <= HTTP_FTP_TASK_FILTER_PAUSED; ++filter) {
        SCOPED_TRACE(filter);
        std::vector<int> expected, listed, page;
        for (const State &task : tasks) {
            if (selects_http_ftp(filter, task)) {
                expected.push_back(task.id);
            }
        }
        EXPECT_EQ(http_ftp_db_query_task(nullptr, note_id, 0, 0, 0, filter, &listed), BTDB_OK);
        EXPECT_EQ(http_ftp_db_query_task(nullptr, note_id, 0, 1, 3, filter, &page), BTDB_OK);
        EXPECT_EQ(http_ftp_db_query_task_count(filter), expected.size());
        EXPECT_EQ(page, std::vector<int>(listed.begin() + 1, listed.begin() + 3));
        std::sort(listed.begin(), listed.end()); // their order is SQLite's own
        EXPECT_EQ(listed, expected);
    }
}

TEST_F(HttpFtpTask, CountsAnAddressExactly) {
    sql("INSERT INTO HTTP_FTP_TASK (task_filename) VALUES ('http://a/b'), ('http://a/b'), ('HTTP://a/b'), ('http://a/b '), "
        "('http://a/%'), ('it''s')");
    for (const auto &[address, count] :
         {std::pair{"http://a/b", 2}, {"HTTP://A/B", 0}, {"http://a/%", 1}, {"http://a/_", 0}, {"it's", 1}, {"", 0}}) {
        EXPECT_EQ(http_ftp_db_query_task_count_by_filename(address), count) << address;
    }
}

// ---- Several processes

TEST_F(HttpFtpTask, EightProcessesAddAtOnceAndEachIsToldItsOwnIdentifier) {
    constexpr int processes = 8, tasks = 20;
    for (int process = 0; process < processes; ++process) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            int wrong = 0;
            for (int i = 0; i < tasks; ++i) {
                HttpFtpTaskRecord task = {};
                task.task_type = process;
                task.task_progress = i;
                const std::int32_t id = http_ftp_db_add_task(&task);
                const bool own = http_ftp_db_query_data_by_task_id(id, &task) == BTDB_OK && task.task_type == process &&
                                 task.task_progress == i;
                wrong += own ? 0 : 1;
            }
            _exit(wrong);
        }
    }
    for (int process = 0; process < processes; ++process) {
        int status = -1;
        wait(&status);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(sql("SELECT count(*), count(DISTINCT task_type * 100 + task_progress), max(task_id) FROM HTTP_FTP_TASK"),
              (Rows{{"160", "160", "160"}}));
}
