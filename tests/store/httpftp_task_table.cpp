// HTTP_FTP_TASK, described for the shared suites; with it the listing of both kinds of task.

#include "tables.h"
#include "task_filters.h"

#include <iterator>

namespace test {

#define FIELD(name) KORVO_FIELD(HttpFtpTaskRecord, task_##name)

namespace {

const std::vector<Field> fields = {
    FIELD(id),          FIELD(pid),         FIELD(filename),         FIELD(state),
    FIELD(progress),    FIELD(total_size),  FIELD(total_downloaded), FIELD(download_rate),
    FIELD(start_time),  FIELD(finish_time), FIELD(time_left),        FIELD(is_paused),
    FIELD(type),        FIELD(username),    FIELD(password),         FIELD(errcode),
    FIELD(move_folder), FIELD(savename),    FIELD(queue_position),
};

// What the whole-record update writes.
std::vector<std::string> progress() {
    return all_but({"task_id", "task_pid", "task_start_time", "task_type", "task_username", "task_password",
                    "task_move_folder", "task_savename", "task_queue_position"},
                   fields);
}

const auto third = sample<HttpFtpTaskRecord>(fields, 3);
const auto by_address = sample<HttpFtpTaskRecord>(fields, 3, {"task_filename"});

HttpFtpTaskRecord *const out = scratch_record<HttpFtpTaskRecord>();
const int32_t lowest = INT32_MIN;
const int64_t large = INT64_MIN;

} // namespace

#define CALL KORVO_CALL
#define SELECT "SELECT * FROM HTTP_FTP_TASK "
#define COUNT "SELECT COUNT(*) FROM HTTP_FTP_TASK "
#define SET "UPDATE HTTP_FTP_TASK SET \t"
#define QUEUED "WHERE task_state = 1 AND task_is_paused = 0"
#define RUNNING "WHERE task_state = 2 AND task_is_paused = 0"
#define OLDEST " ORDER BY task_id ASC LIMIT 1;"
#define NEWEST " ORDER BY task_id DESC LIMIT 1;"
#define HTTP "(task_filename like 'http%')"
#define FTP "(task_filename like 'ftp%')"

namespace {

// On rows of which each query of the downloader finds some.
Operation dispatches(Operation operation) {
    operation.before = "INSERT INTO HTTP_FTP_TASK (task_state, task_is_paused, task_pid, task_type, task_filename) "
                       "VALUES (1, 0, 0, 0, 'http:'), (1, 0, 0, 1, 'ftp:'), (2, 0, 0, 0, 'http:'), "
                       "(2, 0, 0, 0, 'ftp:'), (2, 0, 7, 1, 'x'), (2, 0, 8, 1, 'http:')";
    return operation;
}

// The listing of both kinds needs the other table too. A finished task goes with BitTorrent's state 5 in it.
Operation lists_both(int32_t filter) {
    const std::string bt_part =
        "SELECT task_start_time,task_id,task_torrent_name,task_state,task_download_rate,task_upload_rate,task_rating,"
        "task_total_wanted_done,\ttask_total_wanted,task_progress,task_finish_time,task_time_left,task_is_paused,"
        "task_queue_position, 0,'bt' FROM BT_TASK ";
    const std::string http_ftp_part =
        " \tunion SELECT task_start_time,task_id,task_filename,task_state,task_download_rate,0,0,"
        "task_total_downloaded,task_total_size,task_progress,task_finish_time,\ttask_time_left,task_is_paused, "
        "task_queue_position, task_errcode, 'http' FROM HTTP_FTP_TASK ";
    std::string where = http_ftp_where[filter == BT_TASK_FILTER_STATE_5 ? HTTP_FTP_TASK_FILTER_FINISHED : filter];
    if (filter == BT_TASK_FILTER_PAUSED) {
        where.insert(where.find('('), " ");
    }
    Operation operation =
        queries(call_of("both kinds " + std::to_string(filter), tq_db_query_task, nullptr, deliver, -1,
                        up_to(9, filter), 9, up_to(6, filter), nullptr),
                bt_part + bt_where[filter] + http_ftp_part + where + " ORDER BY task_start_time LIMIT " +
                    std::to_string(9 - filter) + " OFFSET " + std::to_string(filter));
    operation.before = bt_task_table().schema[0];
    return operation;
}

std::vector<Operation> task_operations() {
    std::vector<Operation> all = {
        deletes(CALL(http_ftp_db_del_task, 4, &lowest), "DELETE FROM HTTP_FTP_TASK WHERE task_progress = -2147483648;"),
        adds(CALL(http_ftp_db_add_task, &third), {insertion("HTTP_FTP_TASK", fields, &third, "", "")}),
        updates(CALL(http_ftp_db_update_task, &by_address),
                SET + assignments(fields, &by_address, progress()) + " \tWHERE task_filename = 't1''02';"),
        updates(CALL(http_ftp_db_update_pid_by_task_id, 1, -7), SET "task_pid = -7 \tWHERE task_id = 1;"),
        updates(CALL(http_ftp_db_update_task_field_by_id, 1, 7, &large),
                SET "task_download_rate = -9223372036854775808 \tWHERE task_id = 1;"),
        updates(CALL(http_ftp_db_update_task_field_by_pid, 101, 7, &large),
                SET "task_download_rate = -9223372036854775808 \tWHERE task_pid = 101;"),
        queries(CALL(read_string<http_ftp_db_query_filename_by_task_id>, natural(1), scratch),
                "SELECT task_filename FROM HTTP_FTP_TASK WHERE task_id = 1;", 5),
        queries(CALL(http_ftp_db_query_pid_by_task_id, natural(1)),
                "SELECT task_pid FROM HTTP_FTP_TASK WHERE task_id = 1;", 101),
        queries(CALL(http_ftp_db_query_data_by_task_id, natural(1), out), SELECT "WHERE task_id = 1;"),
        queries(CALL(http_ftp_db_query_latest_task_id),
                "SELECT task_id FROM HTTP_FTP_TASK ORDER BY task_id DESC LIMIT 1;", 2),
        queries(CALL(http_ftp_db_query_task_count_by_filename, "t1'02"), COUNT "WHERE task_filename = 't1''02';", 1),
        queries(CALL(http_ftp_db_query_task, nullptr, deliver, -1, 0, 0, HTTP_FTP_TASK_FILTER_ALL, nullptr),
                SELECT "  ;"),
        queries(
            CALL(http_ftp_db_query_task, nullptr, deliver, 0, 10, 20, up_to(5, HTTP_FTP_TASK_FILTER_FINISHED), nullptr),
            SELECT "WHERE task_state = 3  LIMIT 10 OFFSET 10;"),
        updates(CALL(http_ftp_db_update_pid_to_zero), "UPDATE HTTP_FTP_TASK SET task_pid = 0;"),
        updates(CALL(http_ftp_db_update_download_rate_to_zero), "UPDATE HTTP_FTP_TASK SET task_download_rate = 0;"),
        dispatches(updates(CALL(http_ftp_db_update_no_pid_runninig_task_to_queue),
                           "UPDATE HTTP_FTP_TASK set task_state = 1 " RUNNING " AND task_pid = 0;")),
    };
    const std::pair<Call, const char *> picks[] = {
        {CALL(http_ftp_db_query_next_queued_task, out, 0), QUEUED " " OLDEST},
        {CALL(http_ftp_db_query_next_queued_task, out, 1), QUEUED " AND task_id != 1" OLDEST},
        {CALL(http_ftp_db_query_next_queued_task_no_rapidshare, out, -1), QUEUED " AND task_type = 0 " OLDEST},
        {CALL(http_ftp_db_query_next_queued_task_only_rapidshare, out, INT32_MIN), QUEUED " AND task_type = 1 " OLDEST},
        {CALL(http_ftp_db_query_next_running_task, out, INT32_MAX), RUNNING " AND task_id != 2147483647" NEWEST},
        {CALL(http_ftp_db_query_next_running_task_without_pid, out), RUNNING " AND task_pid = 0" NEWEST},
        {CALL(http_db_query_next_running_task, out, 2), RUNNING " AND " HTTP " AND task_id != 2" NEWEST},
        {CALL(http_db_query_next_queued_task_no_rapidshare, out, 0), QUEUED " AND task_type = 0 AND " HTTP " " OLDEST},
        {CALL(ftp_db_query_next_running_task, out, 0), RUNNING " AND " FTP " " NEWEST},
        {CALL(ftp_db_query_next_queued_task, out, 1), QUEUED " AND " FTP " AND task_id != 1" OLDEST},
    };
    for (const auto &[call, where] : picks) {
        all.push_back(dispatches(queries(call, SELECT + std::string(where))));
    }
    const std::tuple<Call, const char *, int> counts[] = {
        {CALL(http_ftp_db_query_running_task_count), RUNNING ";", 4},
        {CALL(http_ftp_db_query_running_task_count_only_rapidshare), RUNNING " AND task_type = 1;", 2},
        {CALL(http_ftp_db_query_running_task_count_without_pid), RUNNING " AND task_pid = 0;", 2},
        {CALL(http_db_query_running_task_count), RUNNING " AND " HTTP ";", 2},
        {CALL(ftp_db_query_running_task_count), RUNNING " AND " FTP ";", 1},
    };
    for (const auto &[call, where, count] : counts) {
        all.push_back(dispatches(queries(call, COUNT + std::string(where), count)));
    }
    for (int32_t filter = 0; filter < std::ssize(http_ftp_where); ++filter) {
        all.push_back(
            queries(call_of("count " + std::to_string(filter), http_ftp_db_query_task_count, up_to(5, filter)),
                    COUNT + std::string(http_ftp_where[filter]) + ";", filter == HTTP_FTP_TASK_FILTER_ALL ? 2 : 0));
    }
    for (int32_t filter = 0; filter < std::ssize(bt_where); ++filter) {
        all.push_back(lists_both(filter));
    }
    return all;
}

// The rate is narrow in the record and wide for these.
template <auto update> int32_t set(int32_t key, uint32_t field, const void *value) {
    if (value == nullptr || field != HTTP_FTP_TASK_FIELD_DOWNLOAD_RATE) {
        return update(key, field, value);
    }
    const int64_t wide = *static_cast<const int32_t *>(value);
    return update(key, field, &wide);
}

} // namespace

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
                    sets("task_id", &HttpFtpTaskRecord::task_id, "task_pid", &HttpFtpTaskRecord::task_pid,
                         http_ftp_db_update_pid_by_task_id)},
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
        .operations = task_operations(),
    };
}

} // namespace test
