// HTTP_FTP_TASK, described for the shared suites; with it the listing of both kinds of task.

#include "tables.h"

#include <cstring>

namespace test {

#define FIELD(name) KORVO_FIELD(HttpFtpTaskRecord, name)

static const std::vector<Field> fields = {
    FIELD(task_id),          FIELD(task_pid),         FIELD(task_filename),         FIELD(task_state),
    FIELD(task_progress),    FIELD(task_total_size),  FIELD(task_total_downloaded), FIELD(task_download_rate),
    FIELD(task_start_time),  FIELD(task_finish_time), FIELD(task_time_left),        FIELD(task_is_paused),
    FIELD(task_type),        FIELD(task_username),    FIELD(task_password),         FIELD(task_errcode),
    FIELD(task_move_folder), FIELD(task_savename),    FIELD(task_queue_position),
};

// What the whole-record update writes.
static std::vector<std::string> progress() {
    return all_but({"task_id", "task_pid", "task_start_time", "task_type", "task_username", "task_password",
                    "task_move_folder", "task_savename", "task_queue_position"},
                   fields);
}

static const auto third = sample<HttpFtpTaskRecord>(fields, 3);
static const auto by_address = sample<HttpFtpTaskRecord>(fields, 3, {"task_filename"});

// Without the blank that other tables have before the last bracket.
static std::string third_inserted() {
    std::string statement = insertion("HTTP_FTP_TASK", fields, &third);
    return statement.erase(statement.size() - 3, 1);
}

static std::int32_t first_address() {
    char address[1024]; // its first byte is cleared also when the address cannot be read
    const std::int32_t length = http_ftp_db_query_filename_by_task_id(1, address);
    std::memcpy(scratch, address, length < 0 ? 0 : sizeof address);
    return length;
}

static HttpFtpTaskRecord *const out = scratch_record<HttpFtpTaskRecord>();
static const std::int32_t lowest = INT32_MIN;
static const std::int64_t large = INT64_MIN;

#define CALL KORVO_CALL
#define SELECT "SELECT * FROM HTTP_FTP_TASK "
#define COUNT "SELECT COUNT(*) FROM HTTP_FTP_TASK "
#define SET "UPDATE HTTP_FTP_TASK SET \t"
#define UNFINISHED(paused) "(task_is_paused = " paused ") AND (task_state = 2 OR task_state = 1)"
#define QUEUED "WHERE task_state = 1 AND task_is_paused = 0"
#define RUNNING "WHERE task_state = 2 AND task_is_paused = 0"
#define OLDEST " ORDER BY task_id ASC LIMIT 1;"
#define NEWEST " ORDER BY task_id DESC LIMIT 1;"
#define HTTP "(task_filename like 'http%')"
#define FTP "(task_filename like 'ftp%')"

// A query of the downloader, over rows that it finds.
static Operation picks(const char *name, Call call, const char *statement, const char *rows,
                       std::int32_t success = BTDB_OK) {
    Operation operation = queries(name, call, statement, success);
    operation.before = rows;
    return operation;
}
#define ROWS(values) "UPDATE HTTP_FTP_TASK SET task_is_paused = 0, task_pid = 0, " values
#define QUEUED_ROWS(type, scheme) ROWS("task_state = 1, task_type = " type ", task_filename = '" scheme "'")
#define RUNNING_ROWS(type, scheme) ROWS("task_state = 2, task_type = " type ", task_filename = '" scheme "'")

// The listing of both kinds needs the other table too.
static Operation lists_both(const char *name, Call call, const char *statement) {
    return picks(name, call, statement, bt_task_table().schema[0].c_str());
}
#define BOTH(bt_where, http_ftp_where, page)                                                                           \
    "SELECT task_start_time,task_id,task_torrent_name,task_state,task_download_rate,task_upload_rate,task_rating,"     \
    "task_total_wanted_done,\ttask_total_wanted,task_progress,task_finish_time,task_time_left,task_is_paused,"         \
    "task_queue_position, 0,'bt' FROM BT_TASK " bt_where " \tunion SELECT task_start_time,task_id,task_filename,"      \
    "task_state,task_download_rate,0,0,task_total_downloaded,task_total_size,task_progress,task_finish_time,\t"        \
    "task_time_left,task_is_paused, task_queue_position, task_errcode, 'http' FROM HTTP_FTP_TASK " http_ftp_where      \
    " ORDER BY task_start_time " page
#define BT_UNFINISHED(paused)                                                                                          \
    "WHERE (task_is_paused = " paused ") AND (task_state >= 1 AND task_state <= 4 OR task_state = 7)"

static std::vector<Operation> task_operations() {
    return {
        deletes(CALL(http_ftp_db_del_task(4, &lowest)), "DELETE FROM HTTP_FTP_TASK WHERE task_progress = -2147483648;"),
        adds(CALL(http_ftp_db_add_task(&third)), {third_inserted()}),
        updates(CALL(http_ftp_db_update_task(&by_address)),
                SET + assignments(fields, &by_address, progress()) + " \tWHERE task_filename = 't1''02';"),
        updates(CALL(http_ftp_db_update_pid_by_task_id(1, -7)), SET "task_pid = -7 \tWHERE task_id = 1;"),
        updates(CALL(http_ftp_db_update_task_field_by_id(1, 7, &large)),
                SET "task_download_rate = -9223372036854775808 \tWHERE task_id = 1;"),
        queries(CALL(first_address()), "SELECT task_filename FROM HTTP_FTP_TASK WHERE task_id = 1;", 5),
        queries(CALL(http_ftp_db_query_pid_by_task_id(1)), "SELECT task_pid FROM HTTP_FTP_TASK WHERE task_id = 1;",
                101),
        queries(CALL(http_ftp_db_query_data_by_task_id(1, out)), SELECT "WHERE task_id = 1;"),
        queries(CALL(http_ftp_db_query_latest_task_id()),
                "SELECT task_id FROM HTTP_FTP_TASK ORDER BY task_id DESC LIMIT 1;", 2),

        picks(CALL(http_ftp_db_query_next_queued_task(out, 0)), SELECT QUEUED " " OLDEST, QUEUED_ROWS("9", "x")),
        picks(CALL(http_ftp_db_query_next_queued_task(out, 1)), SELECT QUEUED " AND task_id != 1" OLDEST,
              QUEUED_ROWS("9", "x")),
        picks(CALL(http_ftp_db_query_next_queued_task_no_rapidshare(out, -1)),
              SELECT QUEUED " AND task_type = 0 " OLDEST, QUEUED_ROWS("0", "x")),
        picks(CALL(http_ftp_db_query_next_queued_task_only_rapidshare(out, INT32_MIN)),
              SELECT QUEUED " AND task_type = 1 " OLDEST, QUEUED_ROWS("1", "x")),
        picks(CALL(http_ftp_db_query_next_running_task(out, INT32_MAX)),
              SELECT RUNNING " AND task_id != 2147483647" NEWEST, RUNNING_ROWS("9", "x")),
        picks(CALL(http_ftp_db_query_next_running_task_without_pid(out)), SELECT RUNNING " AND task_pid = 0" NEWEST,
              RUNNING_ROWS("9", "x")),
        picks(CALL(http_db_query_next_running_task(out, 2)), SELECT RUNNING " AND " HTTP " AND task_id != 2" NEWEST,
              RUNNING_ROWS("9", "http:")),
        picks(CALL(http_db_query_next_queued_task_no_rapidshare(out, 0)),
              SELECT QUEUED " AND task_type = 0 AND " HTTP " " OLDEST, QUEUED_ROWS("0", "http:")),
        picks(CALL(ftp_db_query_next_running_task(out, 0)), SELECT RUNNING " AND " FTP " " NEWEST,
              RUNNING_ROWS("9", "ftp:")),
        picks(CALL(ftp_db_query_next_queued_task(out, 1)), SELECT QUEUED " AND " FTP " AND task_id != 1" OLDEST,
              QUEUED_ROWS("9", "ftp:")),
        picks(CALL(http_ftp_db_query_running_task_count()), COUNT RUNNING ";", RUNNING_ROWS("9", "x"), 2),
        picks(CALL(http_ftp_db_query_running_task_count_only_rapidshare()), COUNT RUNNING " AND task_type = 1;",
              RUNNING_ROWS("1", "x"), 2),
        picks(CALL(http_ftp_db_query_running_task_count_without_pid()), COUNT RUNNING " AND task_pid = 0;",
              RUNNING_ROWS("9", "x"), 2),
        picks(CALL(http_db_query_running_task_count()), COUNT RUNNING " AND " HTTP ";", RUNNING_ROWS("9", "http:"), 2),
        picks(CALL(ftp_db_query_running_task_count()), COUNT RUNNING " AND " FTP ";", RUNNING_ROWS("9", "ftp:"), 2),
        updates(CALL(http_ftp_db_update_pid_to_zero()), "UPDATE HTTP_FTP_TASK SET task_pid = 0;"),
        updates(CALL(http_ftp_db_update_download_rate_to_zero()), "UPDATE HTTP_FTP_TASK SET task_download_rate = 0;"),
        {CALL(http_ftp_db_update_no_pid_runninig_task_to_queue()),
         BTDB_OK,
         BTDB_ERR_UPDATE,
         {"UPDATE HTTP_FTP_TASK set task_state = 1 " RUNNING " AND task_pid = 0;"},
         true,
         RUNNING_ROWS("9", "x")},

        queries(CALL(http_ftp_db_query_task_count(0)), COUNT ";", 2),
        queries(CALL(http_ftp_db_query_task_count(1)), COUNT "WHERE " UNFINISHED("0") ";"),
        queries(CALL(http_ftp_db_query_task_count(2)), COUNT "WHERE task_state = 3;"),
        queries(CALL(http_ftp_db_query_task_count(3)), COUNT "WHERE task_state = 2 AND task_download_rate > 0;"),
        queries(CALL(http_ftp_db_query_task_count(4)), COUNT "WHERE task_download_rate = 0;"),
        queries(CALL(http_ftp_db_query_task_count(5)), COUNT "WHERE " UNFINISHED("1") ";"),
        queries(CALL(http_ftp_db_query_task_count_by_filename("t1'02")), COUNT "WHERE task_filename = 't1''02';", 1),
        queries(CALL(http_ftp_db_query_task(nullptr, deliver, -1, 0, 0, 0, nullptr)), SELECT "  ;"),
        queries(CALL(http_ftp_db_query_task(nullptr, deliver, 0, 10, 20, 5, nullptr)),
                SELECT "WHERE " UNFINISHED("1") "  LIMIT 10 OFFSET 10;"),

        lists_both(CALL(tq_db_query_task(nullptr, deliver, -1, 0, 0, 0, nullptr)), BOTH("", "", "")),
        lists_both(CALL(tq_db_query_task(nullptr, deliver, 0, 0, 5, 1, nullptr)),
                   BOTH(BT_UNFINISHED("0"), "WHERE " UNFINISHED("0"), "LIMIT 5 OFFSET 0")),
        lists_both(CALL(tq_db_query_task(nullptr, deliver, 0, 7, 7, 2, nullptr)),
                   BOTH("WHERE task_state = 5 OR task_state = 6", "WHERE task_state = 3", "LIMIT 0 OFFSET 7")),
        lists_both(
            CALL(tq_db_query_task(nullptr, deliver, 0, 0, 0, 3, nullptr)),
            BOTH("WHERE task_state >= 1 AND task_state <= 6 AND (task_download_rate > 0 OR task_upload_rate > 0)",
                 "WHERE task_state = 2 AND task_download_rate > 0", "")),
        lists_both(
            CALL(tq_db_query_task(nullptr, deliver, 0, 0, 0, 4, nullptr)),
            BOTH("WHERE task_state >= 1 AND task_state <= 7 AND (task_download_rate = 0 AND task_upload_rate = 0)",
                 "WHERE task_download_rate = 0", "")),
        lists_both(CALL(tq_db_query_task(nullptr, deliver, 0, 0, 0, 5, nullptr)),
                   BOTH(BT_UNFINISHED("1"), "WHERE  " UNFINISHED("1"), "")),
        lists_both(CALL(tq_db_query_task(nullptr, deliver, 0, 0, 0, 6, nullptr)),
                   BOTH("WHERE task_state = 5", "WHERE task_state = 3", "")),
    };
}

static const std::vector<Refusal> refusals = {
    {CALL(http_ftp_db_add_task(nullptr))},
    {CALL(http_ftp_db_update_task(nullptr))},
    {CALL(http_ftp_db_update_task_field_by_id(1, 3, nullptr))},
    {CALL(http_ftp_db_update_task_field_by_pid(1, 3, nullptr))},
    {CALL(http_ftp_db_query_filename_by_task_id(1, nullptr))},
    {CALL(http_ftp_db_query_filename_by_task_id(-1, scratch))},
    {CALL(http_ftp_db_query_pid_by_task_id(-1))},
    {CALL(http_ftp_db_query_data_by_task_id(1, nullptr))},
    {CALL(http_ftp_db_query_data_by_task_id(-1, out))},
    {CALL(http_ftp_db_query_next_queued_task(nullptr, 0))},
    {CALL(http_ftp_db_query_next_queued_task_no_rapidshare(nullptr, 0))},
    {CALL(http_ftp_db_query_next_queued_task_only_rapidshare(nullptr, 0))},
    {CALL(http_ftp_db_query_next_running_task(nullptr, 0))},
    {CALL(http_ftp_db_query_next_running_task_without_pid(nullptr))},
    {CALL(http_db_query_next_running_task(nullptr, 0))},
    {CALL(http_db_query_next_queued_task_no_rapidshare(nullptr, 0))},
    {CALL(ftp_db_query_next_running_task(nullptr, 0))},
    {CALL(ftp_db_query_next_queued_task(nullptr, 0))},
    {CALL(http_ftp_db_query_task_count(6))},
    {CALL(http_ftp_db_query_task_count(-1))},
    {CALL(http_ftp_db_query_task(nullptr, deliver, 0, 0, 0, 6, nullptr))},
    {CALL(http_ftp_db_query_task(nullptr, deliver, 0, 0, 0, INT32_MIN, nullptr))},
    {CALL(http_ftp_db_query_task_count_by_filename(nullptr))},
    {CALL(tq_db_query_task(nullptr, deliver, 0, 0, 0, 7, nullptr))},
    {CALL(tq_db_query_task(nullptr, deliver, 0, 0, 0, -1, nullptr))},
    {CALL(tq_db_query_task(nullptr, deliver, 0, 2, 1, 0, nullptr))},
    {CALL(tq_db_query_task(nullptr, deliver, 0, -1, 0, 0, nullptr))},
};

// The rate is narrow in the record and wide for these.
template <auto update> static std::int32_t set(std::int32_t key, std::uint32_t field, const void *value) {
    std::int32_t rate = 0;
    if (value != nullptr && field == HTTP_FTP_TASK_FIELD_DOWNLOAD_RATE) {
        std::memcpy(&rate, value, sizeof rate);
        const std::int64_t wide = rate;
        return update(key, field, &wide);
    }
    return update(key, field, value);
}

Table http_ftp_task_table() {
    return {
        .name = "HTTP_FTP_TASK",
        .schema = {creation("HTTP_FTP_TASK", fields), "CREATE INDEX idx_task_pid on HTTP_FTP_TASK(task_pid);",
                   "CREATE INDEX idx_task_filename on HTTP_FTP_TASK(task_filename);",
                   "CREATE INDEX idx_task_status on HTTP_FTP_TASK(task_state);",
                   "CREATE INDEX idx_task_progress on HTTP_FTP_TASK(task_progress);",
                   "CREATE INDEX idx_task_is_paused on HTTP_FTP_TASK(task_is_paused);",
                   "CREATE INDEX idx_task_type on HTTP_FTP_TASK(task_type);"},
        .record_size = sizeof(HttpFtpTaskRecord),
        .fields = fields,
        .create = http_ftp_db_create_tbl_task,
        .drop = http_ftp_db_remove_tbl_task,
        .flush = http_ftp_db_flush_tbl_task,
        .add = with_record<http_ftp_db_add_task>,
        .reads = {read_by<&HttpFtpTaskRecord::task_id, http_ftp_db_query_data_by_task_id>},
        .updates = {{with_record<http_ftp_db_update_task>, {"task_filename"}, progress()},
                    {[](const void *record) {
                         const auto &task = *static_cast<const HttpFtpTaskRecord *>(record);
                         return http_ftp_db_update_pid_by_task_id(task.task_id, task.task_pid);
                     },
                     {"task_id"},
                     {"task_pid"}}},
        .setters = {{"by id",
                     set<http_ftp_db_update_task_field_by_id>,
                     "task_id",
                     {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 15, 16, 17, 18}},
                    {"by pid",
                     set<http_ftp_db_update_task_field_by_pid>,
                     "task_pid",
                     {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 15, 16, 17, 18}}},
        .remove = http_ftp_db_del_task,
        .selectors = {0, 1, 2, 3, 4},
        .listings = {{KORVO_LISTING(http_ftp_db_query_task(file, callback, 0, start, end, 0, context)),
                      "SELECT * FROM HTTP_FTP_TASK"}},
        .refusals = refusals,
        .operations = task_operations(),
    };
}

} // namespace test
