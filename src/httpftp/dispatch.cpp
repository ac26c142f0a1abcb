// Dispatch for the HTTP/FTP downloader: it picks its next task, counts running tasks and recovers after a restart.

#include "frame/shapes.h"
#include "httpftp/record.h"

using korvo::OwnedSql;
using korvo::statement;

// The statements write states as digits.
static_assert(HTTP_FTP_TASK_STATE_QUEUED == 1 && HTTP_FTP_TASK_STATE_RUNNING == 2);

// ---- The next task; one procedure over eight statements

namespace {

template <korvo::Template Select> int32_t next_task(HttpFtpTaskRecord *record, int32_t exclude_task_id) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    const OwnedSql exclusion =
        exclude_task_id >= 1 ? statement<"AND task_id != %ld">(exclude_task_id) : statement<"">();
    return korvo::read_row<read_columns>(statement<Select>(exclusion), record);
}

} // namespace

int32_t http_ftp_db_query_next_queued_task(HttpFtpTaskRecord *record, int32_t exclude_task_id) {
    return next_task<
        "SELECT * FROM HTTP_FTP_TASK WHERE task_state = 1 AND task_is_paused = 0 %s ORDER BY task_id ASC LIMIT 1;">(
        record, exclude_task_id);
}

int32_t http_ftp_db_query_next_queued_task_no_rapidshare(HttpFtpTaskRecord *record, int32_t exclude_task_id) {
    return next_task<
        "SELECT * FROM HTTP_FTP_TASK WHERE task_state = 1 AND task_is_paused = 0 AND task_type = 0 %s ORDER BY "
        "task_id ASC LIMIT 1;">(record, exclude_task_id);
}

int32_t http_ftp_db_query_next_queued_task_only_rapidshare(HttpFtpTaskRecord *record, int32_t exclude_task_id) {
    return next_task<
        "SELECT * FROM HTTP_FTP_TASK WHERE task_state = 1 AND task_is_paused = 0 AND task_type = 1 %s ORDER BY "
        "task_id ASC LIMIT 1;">(record, exclude_task_id);
}

int32_t http_ftp_db_query_next_running_task(HttpFtpTaskRecord *record, int32_t exclude_task_id) {
    return next_task<
        "SELECT * FROM HTTP_FTP_TASK WHERE task_state = 2 AND task_is_paused = 0 %s ORDER BY task_id DESC LIMIT 1;">(
        record, exclude_task_id);
}

int32_t http_db_query_next_running_task(HttpFtpTaskRecord *record, int32_t exclude_task_id) {
    return next_task<
        "SELECT * FROM HTTP_FTP_TASK WHERE task_state = 2 AND task_is_paused = 0 AND (task_filename like 'http%%') %s "
        "ORDER BY task_id DESC LIMIT 1;">(record, exclude_task_id);
}

int32_t http_db_query_next_queued_task_no_rapidshare(HttpFtpTaskRecord *record, int32_t exclude_task_id) {
    return next_task<
        "SELECT * FROM HTTP_FTP_TASK WHERE task_state = 1 AND task_is_paused = 0 AND task_type = 0 AND (task_filename "
        "like 'http%%') %s ORDER BY task_id ASC LIMIT 1;">(record, exclude_task_id);
}

int32_t ftp_db_query_next_running_task(HttpFtpTaskRecord *record, int32_t exclude_task_id) {
    return next_task<
        "SELECT * FROM HTTP_FTP_TASK WHERE task_state = 2 AND task_is_paused = 0 AND (task_filename like 'ftp%%') %s "
        "ORDER BY task_id DESC LIMIT 1;">(record, exclude_task_id);
}

int32_t ftp_db_query_next_queued_task(HttpFtpTaskRecord *record, int32_t exclude_task_id) {
    return next_task<
        "SELECT * FROM HTTP_FTP_TASK WHERE task_state = 1 AND task_is_paused = 0 AND (task_filename like 'ftp%%') %s "
        "ORDER BY task_id ASC LIMIT 1;">(record, exclude_task_id);
}

// The ninth excludes no task.
int32_t http_ftp_db_query_next_running_task_without_pid(HttpFtpTaskRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_row<read_columns>(
        "SELECT * FROM HTTP_FTP_TASK WHERE task_state = 2 AND task_is_paused = 0 AND task_pid = 0 ORDER BY task_id "
        "DESC LIMIT 1;",
        record);
}

// ---- Counting running tasks

int32_t http_ftp_db_query_running_task_count() {
    return korvo::read_value("SELECT COUNT(*) FROM HTTP_FTP_TASK WHERE task_state = 2 AND task_is_paused = 0;");
}

int32_t http_ftp_db_query_running_task_count_only_rapidshare() {
    return korvo::read_value(
        "SELECT COUNT(*) FROM HTTP_FTP_TASK WHERE task_state = 2 AND task_is_paused = 0 AND task_type = 1;");
}

int32_t http_ftp_db_query_running_task_count_without_pid() {
    return korvo::read_value(
        "SELECT COUNT(*) FROM HTTP_FTP_TASK WHERE task_state = 2 AND task_is_paused = 0 AND task_pid = 0;");
}

int32_t http_db_query_running_task_count() {
    return korvo::read_value(
        "SELECT COUNT(*) FROM HTTP_FTP_TASK WHERE task_state = 2 AND task_is_paused = 0 AND (task_filename like "
        "'http%');");
}

int32_t ftp_db_query_running_task_count() {
    return korvo::read_value(
        "SELECT COUNT(*) FROM HTTP_FTP_TASK WHERE task_state = 2 AND task_is_paused = 0 AND (task_filename like "
        "'ftp%');");
}

// ---- After a restart

int32_t http_ftp_db_update_pid_to_zero() {
    return korvo::update_checked("UPDATE HTTP_FTP_TASK SET task_pid = 0;");
}

int32_t http_ftp_db_update_download_rate_to_zero() {
    return korvo::update_checked("UPDATE HTTP_FTP_TASK SET task_download_rate = 0;");
}

int32_t http_ftp_db_update_no_pid_runninig_task_to_queue() {
    return korvo::update_checked(
        "UPDATE HTTP_FTP_TASK set task_state = 1 WHERE task_state = 2 AND task_is_paused = 0 AND task_pid = 0;");
}
