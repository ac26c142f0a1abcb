// By hand, with SQLite's C API: what somebody writes who wants the least between the program and the file and still
// checks results, quotes strings and bounds copies.

#include "forms.h"

#include <algorithm>
#include <sqlite3.h>

namespace bench::bare {

namespace {

BtTaskRecord bt_task;

sqlite3 *open_file() {
    sqlite3 *db = nullptr;
    require(sqlite3_open(BTDB_DEFAULT_FILE, &db) == SQLITE_OK, "open");
    sqlite3_busy_timeout(db, 20000);
    return db;
}

void run(const char *sql, const char *what, int (*callback)(void *, int, char **, char **) = nullptr,
         void *context = nullptr) {
    sqlite3 *db = open_file();
    require(sqlite3_exec(db, sql, callback, context, nullptr) == SQLITE_OK, what);
    sqlite3_close(db);
}

int32_t first_number(const char *sql, const char *what) {
    sqlite3 *db = open_file();
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare(db, sql, -1, &statement, nullptr);
    require(sqlite3_step(statement) == SQLITE_ROW, what);
    const int32_t value = sqlite3_column_int(statement, 0);
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return value;
}

} // namespace

void add_bt() {
    const BtTaskRecord &task = some_bt_task();
    char *sql = sqlite3_mprintf(
        "INSERT INTO BT_TASK \t( task_torrent_name, \ttask_filename, \ttask_current_tracker, \ttask_state, "
        "\ttask_progress, \ttask_total_wanted_done, \ttask_total_wanted, \ttask_all_time_download, "
        "\ttask_all_time_upload, \ttask_download_rate, \ttask_upload_rate, \ttask_num_peers, \ttask_num_seeds, "
        "\ttask_block_size, \ttask_pieces, \ttask_num_pieces, \ttask_announce_interval, \ttask_start_time, "
        "\ttask_finish_time, \ttask_rating, \ttask_time_left, \ttask_is_paused, \ttask_queue_position, "
        "\ttask_move_folder, \ttask_hash, \ttask_type, \ttask_magnet_link, \ttask_record) \tVALUES \t( '%q', '%q', "
        "'%q', %d, %d, %ld, %ld, %ld, %ld, %d, %d, %d, %d, %d, '%q', %d, %d, '%q', '%q', %f, '%q', %d, %d, '%q', "
        "'%q', %d, '%q', %d );",
        task.task_torrent_name, task.task_filename, task.task_current_tracker, task.task_state, task.task_progress,
        static_cast<long>(task.task_total_wanted_done), static_cast<long>(task.task_total_wanted),
        static_cast<long>(task.task_all_time_download), static_cast<long>(task.task_all_time_upload),
        task.task_download_rate, task.task_upload_rate, task.task_num_peers, task.task_num_seeds, task.task_block_size,
        task.task_pieces, task.task_num_pieces, task.task_announce_interval, task.task_start_time,
        task.task_finish_time, static_cast<double>(task.task_rating), task.task_time_left, task.task_is_paused,
        task.task_queue_position, task.task_move_folder, task.task_hash, task.task_type, task.task_magnet_link, 0);
    run(sql, "add_bt");
    sqlite3_free(sql);
    require(first_number("SELECT task_id FROM BT_TASK ORDER BY task_id DESC LIMIT 1;", "add_bt") > 0, "add_bt");
}

void add_http_ftp() {
    const HttpFtpTaskRecord &task = some_http_ftp_task();
    char *sql = sqlite3_mprintf(
        "INSERT INTO HTTP_FTP_TASK \t( task_pid, \ttask_filename, \ttask_state, \ttask_progress, \ttask_total_size, "
        "\ttask_total_downloaded, \ttask_download_rate, \ttask_start_time, \ttask_finish_time, \ttask_time_left, "
        "\ttask_is_paused, \ttask_type, \ttask_username, \ttask_password, \ttask_errcode, \ttask_move_folder, "
        "\ttask_savename, \ttask_queue_position) \tVALUES \t( %d, '%q', %d, %d, %lld, %lld, %d, '%q', '%q', '%q', %d, "
        "%d, '%q', '%q', %d, '%q', '%q', %d);",
        task.task_pid, task.task_filename, task.task_state, task.task_progress,
        static_cast<long long>(task.task_total_size), static_cast<long long>(task.task_total_downloaded),
        task.task_download_rate, task.task_start_time, task.task_finish_time, task.task_time_left, task.task_is_paused,
        task.task_type, task.task_username, task.task_password, task.task_errcode, task.task_move_folder,
        task.task_savename, task.task_queue_position);
    run(sql, "add_http_ftp");
    sqlite3_free(sql);
    require(first_number("SELECT task_id FROM HTTP_FTP_TASK ORDER BY task_id DESC LIMIT 1;", "add_http_ftp") > 0,
            "add_http_ftp");
}

void update_bt_by_hash() {
    const BtTaskRecord &task = some_bt_task();
    char *sql = sqlite3_mprintf(
        "UPDATE BT_TASK SET \ttask_torrent_name = '%q', \ttask_current_tracker = '%q', \ttask_state = %d, "
        "\ttask_progress = %d, \ttask_total_wanted_done = %ld, \ttask_total_wanted = %ld, \ttask_all_time_download = "
        "%ld, \ttask_all_time_upload = %ld, \ttask_download_rate = %d, \ttask_upload_rate = %d, \ttask_num_peers = "
        "%d, \ttask_num_seeds = %d, \ttask_block_size = %d, \ttask_pieces = '%q', \ttask_num_pieces = %d, "
        "\ttask_announce_interval = %d, \ttask_finish_time = '%q', \ttask_rating = %f, \ttask_time_left = '%q', "
        "\ttask_is_paused = %d, \ttask_queue_position = %d \tWHERE task_hash = '%q';",
        task.task_torrent_name, task.task_current_tracker, task.task_state, task.task_progress,
        static_cast<long>(task.task_total_wanted_done), static_cast<long>(task.task_total_wanted),
        static_cast<long>(task.task_all_time_download), static_cast<long>(task.task_all_time_upload),
        task.task_download_rate, task.task_upload_rate, task.task_num_peers, task.task_num_seeds, task.task_block_size,
        task.task_pieces, task.task_num_pieces, task.task_announce_interval, task.task_finish_time,
        static_cast<double>(task.task_rating), task.task_time_left, task.task_is_paused, task.task_queue_position,
        task.task_hash);
    sqlite3 *db = open_file();
    require(sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK && sqlite3_total_changes(db) > 0,
            "update_bt_by_hash");
    sqlite3_close(db);
    sqlite3_free(sql);
}

void delete_bt() {
    char *sql = sqlite3_mprintf("DELETE FROM BT_TASK WHERE task_id = %ld;", static_cast<long>(no_id));
    run(sql, "delete_bt");
    sqlite3_free(sql);
}

void create_and_drop() {
    sqlite3 *db = nullptr; // dropping does not wait
    require(sqlite3_open(BTDB_DEFAULT_FILE, &db) == SQLITE_OK, "open");
    require(sqlite3_exec(db, "DROP TABLE BT_ACCOUNT;", nullptr, nullptr, nullptr) == SQLITE_OK, "drop");
    sqlite3_close(db);
    db = open_file();
    for (const char *sql : {"CREATE TABLE BT_ACCOUNT \t( account_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, "
                            "\taccount_host TEXT, \taccount_enable INTEGER, \taccount_user TEXT, \taccount_pass TEXT "
                            "\t);",
                            "CREATE INDEX idx_account_host on BT_ACCOUNT(account_host);",
                            "CREATE INDEX idx_account_enable on BT_ACCOUNT(account_enable);"}) {
        require(sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK, "create");
    }
    sqlite3_close(db);
}

namespace {

template <std::size_t Width> void copy_text(char (&field)[Width], sqlite3_stmt *statement, int column) {
    const void *text = sqlite3_column_text(statement, column);
    const std::size_t length = std::min(static_cast<std::size_t>(sqlite3_column_bytes(statement, column)), Width - 1);
    std::memcpy(field, text, length);
    field[length] = '\0';
}

} // namespace

void read_bt() {
    char *sql = sqlite3_mprintf("SELECT * FROM BT_TASK WHERE task_id = %ld;", static_cast<long>(some_id));
    sqlite3 *db = open_file();
    sqlite3_stmt *row = nullptr;
    sqlite3_prepare(db, sql, -1, &row, nullptr);
    require(sqlite3_step(row) == SQLITE_ROW, "read_bt");
    bt_task.task_id = static_cast<int32_t>(sqlite3_column_int64(row, 0));
    copy_text(bt_task.task_torrent_name, row, 1);
    copy_text(bt_task.task_filename, row, 2);
    copy_text(bt_task.task_current_tracker, row, 3);
    bt_task.task_state = sqlite3_column_int(row, 4);
    bt_task.task_progress = sqlite3_column_int(row, 5);
    bt_task.task_total_wanted_done = static_cast<int32_t>(sqlite3_column_int64(row, 6));
    bt_task.task_total_wanted = static_cast<int32_t>(sqlite3_column_int64(row, 7));
    bt_task.task_all_time_download = static_cast<int32_t>(sqlite3_column_int64(row, 8));
    bt_task.task_all_time_upload = static_cast<int32_t>(sqlite3_column_int64(row, 9));
    bt_task.task_download_rate = sqlite3_column_int(row, 10);
    bt_task.task_upload_rate = sqlite3_column_int(row, 11);
    bt_task.task_num_peers = sqlite3_column_int(row, 12);
    bt_task.task_num_seeds = sqlite3_column_int(row, 13);
    bt_task.task_block_size = sqlite3_column_int(row, 14);
    copy_text(bt_task.task_pieces, row, 15);
    bt_task.task_num_pieces = sqlite3_column_int(row, 16);
    bt_task.task_announce_interval = sqlite3_column_int(row, 17);
    copy_text(bt_task.task_start_time, row, 18);
    copy_text(bt_task.task_finish_time, row, 19);
    bt_task.task_rating = static_cast<float>(sqlite3_column_int(row, 20));
    copy_text(bt_task.task_time_left, row, 21);
    bt_task.task_is_paused = sqlite3_column_int(row, 22);
    bt_task.task_queue_position = sqlite3_column_int(row, 23);
    copy_text(bt_task.task_move_folder, row, 24);
    copy_text(bt_task.task_hash, row, 25);
    bt_task.task_type = sqlite3_column_int(row, 26);
    copy_text(bt_task.task_magnet_link, row, 27);
    bt_task.task_record = sqlite3_column_int(row, 28);
    sqlite3_finalize(row);
    sqlite3_close(db);
    sqlite3_free(sql);
    require(bt_task.task_id == some_id, "read_bt");
}

void read_filename() {
    static char name[1025];
    char *sql = sqlite3_mprintf("SELECT task_filename FROM BT_TASK WHERE task_id = %ld;", static_cast<long>(some_id));
    sqlite3 *db = open_file();
    sqlite3_stmt *row = nullptr;
    sqlite3_prepare(db, sql, -1, &row, nullptr);
    require(sqlite3_step(row) == SQLITE_ROW, "read_filename");
    copy_text(name, row, 0);
    sqlite3_finalize(row);
    sqlite3_close(db);
    sqlite3_free(sql);
    require(name[0] != '\0', "read_filename");
}

void count_bt() {
    require(first_number("SELECT COUNT(*) FROM BT_TASK WHERE (task_is_paused = 0) AND (task_state >= 1 AND task_state "
                         "<= 4 OR task_state = 7);",
                         "count_bt") > 0,
            "count_bt");
}

namespace {

// A page is the one part of a listing that varies.
int list(const char *statement, int start, int end, const char *what) {
    char *page =
        start == 0 && end == 0 ? sqlite3_mprintf("") : sqlite3_mprintf("LIMIT %d OFFSET %d", end - start, start);
    char *sql = sqlite3_mprintf(statement, page);
    int rows = 0;
    run(sql, what, count_row, &rows);
    sqlite3_free(sql);
    sqlite3_free(page);
    return rows;
}

} // namespace

void page_bt() {
    require(list("SELECT * FROM BT_TASK  ORDER BY task_queue_position %s;", 0, 50, "page_bt") == 50, "page_bt");
}

void list_bt() {
    require(list("SELECT * FROM BT_TASK  ORDER BY task_queue_position %s;", 0, 0, "list_bt") > 0, "list_bt");
}

void list_http_ftp() {
    require(list("SELECT * FROM HTTP_FTP_TASK   %s;", 0, 0, "list_http_ftp") > 0, "list_http_ftp");
}

void page_both() {
    require(list("SELECT task_start_time,task_id,task_torrent_name,task_state,task_download_rate,task_upload_rate,"
                 "task_rating,task_total_wanted_done,\ttask_total_wanted,task_progress,task_finish_time,"
                 "task_time_left,task_is_paused,task_queue_position, 0,'bt' FROM BT_TASK  \tunion SELECT "
                 "task_start_time,task_id,task_filename,task_state,task_download_rate,0,0,task_total_downloaded,"
                 "task_total_size,task_progress,task_finish_time,\ttask_time_left,task_is_paused, "
                 "task_queue_position, task_errcode, 'http' FROM HTTP_FTP_TASK  ORDER BY task_start_time %s",
                 0, 50, "page_both") == 50,
            "page_both");
}

} // namespace bench::bare
