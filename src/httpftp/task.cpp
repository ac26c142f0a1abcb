// HTTP_FTP_TASK, one row per HTTP or FTP task: the table, adding, updating whole or by column, looking up, deleting.

#include "frame/shapes.h"
#include "httpftp/record.h"

using korvo::OwnedSql;
using korvo::statement;
using korvo::statement_of;

// In table order.
void read_columns(korvo::Row &row, HttpFtpTaskRecord &task) {
    row.low_int32(task.task_id)
        .int32(task.task_pid)
        .string(task.task_filename)
        .int32(task.task_state)
        .int32(task.task_progress)
        .int64(task.task_total_size)
        .int64(task.task_total_downloaded)
        .int32(task.task_download_rate)
        .string(task.task_start_time)
        .string(task.task_finish_time)
        .string(task.task_time_left)
        .int32(task.task_is_paused)
        .int32(task.task_type)
        .string(task.task_username)
        .string(task.task_password)
        .int32(task.task_errcode)
        .string(task.task_move_folder)
        .string(task.task_savename)
        .int32(task.task_queue_position);
}

// ---- The table

int32_t http_ftp_db_create_tbl_task() {
    return korvo::create_table(
        "CREATE TABLE HTTP_FTP_TASK \t( task_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, \ttask_pid INTEGER, "
        "\ttask_filename TEXT, \ttask_state INTEGER, \ttask_progress INTEGER, \ttask_total_size INTEGER, "
        "\ttask_total_downloaded INTEGER, \ttask_download_rate INTEGER, \ttask_start_time TEXT, \ttask_finish_time "
        "TEXT, \ttask_time_left TEXT, \ttask_is_paused INTEGER, \ttask_type INTEGER, \ttask_username TEXT, "
        "\ttask_password TEXT, \ttask_errcode INTEGER, \ttask_move_folder TEXT, \ttask_savename TEXT, "
        "\ttask_queue_position INTEGER);",
        {"CREATE INDEX idx_task_pid on HTTP_FTP_TASK(task_pid);",
         "CREATE INDEX idx_task_filename on HTTP_FTP_TASK(task_filename);",
         "CREATE INDEX idx_task_status on HTTP_FTP_TASK(task_state);",
         "CREATE INDEX idx_task_progress on HTTP_FTP_TASK(task_progress);",
         "CREATE INDEX idx_task_is_paused on HTTP_FTP_TASK(task_is_paused);",
         "CREATE INDEX idx_task_type on HTTP_FTP_TASK(task_type);"});
}

int32_t http_ftp_db_remove_tbl_task() {
    return korvo::run("DROP TABLE HTTP_FTP_TASK;", BTDB_ERR_TABLE);
}

int32_t http_ftp_db_flush_tbl_task() {
    return korvo::run("DELETE FROM HTTP_FTP_TASK;", BTDB_ERR_FLUSH);
}

int32_t http_ftp_db_del_task(uint32_t field, const void *value) {
    static constexpr korvo::SqlOfValue keys[] = {
        statement_of<"DELETE FROM HTTP_FTP_TASK WHERE task_id = %ld;">,
        statement_of<"DELETE FROM HTTP_FTP_TASK WHERE task_pid = %d;">,
        statement_of<"DELETE FROM HTTP_FTP_TASK WHERE task_filename = '%q';">,
        statement_of<"DELETE FROM HTTP_FTP_TASK WHERE task_state = %d;">,
        statement_of<"DELETE FROM HTTP_FTP_TASK WHERE task_progress = %d;">,
    };
    return korvo::delete_by_column(keys, field, value);
}

// ---- Adding and updating whole records

int32_t http_ftp_db_add_task(const HttpFtpTaskRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::insert_returning_id(
        statement<"INSERT INTO HTTP_FTP_TASK \t( task_pid, \ttask_filename, \ttask_state, \ttask_progress, "
                  "\ttask_total_size, \ttask_total_downloaded, \ttask_download_rate, \ttask_start_time, "
                  "\ttask_finish_time, \ttask_time_left, \ttask_is_paused, \ttask_type, \ttask_username, "
                  "\ttask_password, \ttask_errcode, \ttask_move_folder, \ttask_savename, \ttask_queue_position) "
                  "\tVALUES \t( %d, '%q', %d, %d, %lld, %lld, %d, '%q', '%q', '%q', %d, %d, '%q', '%q', %d, '%q', "
                  "'%q', %d);">(record->task_pid, record->task_filename, record->task_state, record->task_progress,
                                record->task_total_size, record->task_total_downloaded, record->task_download_rate,
                                record->task_start_time, record->task_finish_time, record->task_time_left,
                                record->task_is_paused, record->task_type, record->task_username, record->task_password,
                                record->task_errcode, record->task_move_folder, record->task_savename,
                                record->task_queue_position));
}

int32_t http_ftp_db_update_task(const HttpFtpTaskRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::update_checked(
        statement<"UPDATE HTTP_FTP_TASK SET \ttask_filename = '%q', \ttask_state = %d, \ttask_progress = %d, "
                  "\ttask_total_size = %lld, \ttask_total_downloaded = %lld, \ttask_download_rate = %d, "
                  "\ttask_finish_time = '%q', \ttask_time_left = '%q', \ttask_is_paused = %d, \ttask_errcode = %d "
                  "\tWHERE task_filename = '%q';">(
            record->task_filename, record->task_state, record->task_progress, record->task_total_size,
            record->task_total_downloaded, record->task_download_rate, record->task_finish_time, record->task_time_left,
            record->task_is_paused, record->task_errcode, record->task_filename));
}

// ---- Updating one column

int32_t http_ftp_db_update_pid_by_task_id(int32_t task_id, int32_t pid) {
    return korvo::update_checked(
        statement<"UPDATE HTTP_FTP_TASK SET \ttask_pid = %d \tWHERE task_id = %ld;">(pid, task_id));
}

// The columns that may be set on their own, by position. Only adding a task sets its type and login.
constexpr korvo::SqlOfValue fields[] = {
    nullptr,
    statement_of<"task_pid = %d">,
    statement_of<"task_filename = '%q'">,
    statement_of<"task_state = %d">,
    statement_of<"task_progress = %d">,
    statement_of<"task_total_size = %lld">,
    statement_of<"task_total_downloaded = %lld">,
    statement_of<"task_download_rate = %lld">, // 64 bits here, although the record holds 32
    statement_of<"task_start_time = '%q'">,
    statement_of<"task_finish_time = '%q'">,
    statement_of<"task_time_left = '%q'">,
    statement_of<"task_is_paused = %d">,
    nullptr,
    nullptr,
    nullptr,
    statement_of<"task_errcode = %d">,
    statement_of<"task_move_folder = '%q'">,
    statement_of<"task_savename = '%q'">,
    statement_of<"task_queue_position = %d">,
};

int32_t http_ftp_db_update_task_field_by_id(int32_t task_id, uint32_t field, const void *value) {
    if (!korvo::serves(fields, field, value)) {
        return BTDB_ERR_PARAM;
    }
    const OwnedSql set = fields[field](value);
    return korvo::update_checked(statement<"UPDATE HTTP_FTP_TASK SET \t%s \tWHERE task_id = %ld;">(set, task_id));
}

int32_t http_ftp_db_update_task_field_by_pid(int32_t pid, uint32_t field, const void *value) {
    if (field == HTTP_FTP_TASK_FIELD_PID || !korvo::serves(fields, field, value)) {
        return BTDB_ERR_PARAM;
    }
    const OwnedSql set = fields[field](value);
    return korvo::update_checked(statement<"UPDATE HTTP_FTP_TASK SET \t%s \tWHERE task_pid = %d;">(set, pid));
}

// ---- Looking up

int32_t http_ftp_db_query_filename_by_task_id(int32_t task_id, char *buffer) {
    constexpr std::size_t buffer_size = 1024;
    if (buffer == nullptr || task_id < 0) {
        return BTDB_ERR_PARAM;
    }
    const int32_t length = korvo::read_string(
        statement<"SELECT task_filename FROM HTTP_FTP_TASK WHERE task_id = %ld;">(task_id), buffer, buffer_size);
    if (length >= 0) {
        buffer[buffer_size - 1] = '\0'; // an address that fills the buffer is truncated to leave room for the NUL
    }
    return length;
}

int32_t http_ftp_db_query_pid_by_task_id(int32_t task_id) {
    if (task_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_value(statement<"SELECT task_pid FROM HTTP_FTP_TASK WHERE task_id = %ld;">(task_id));
}

int32_t http_ftp_db_query_data_by_task_id(int32_t task_id, HttpFtpTaskRecord *record) {
    if (record == nullptr || task_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_row<read_columns>(statement<"SELECT * FROM HTTP_FTP_TASK WHERE task_id = %ld;">(task_id),
                                         record);
}

int32_t http_ftp_db_query_latest_task_id() {
    return korvo::read_value("SELECT task_id FROM HTTP_FTP_TASK ORDER BY task_id DESC LIMIT 1;");
}
