// With SQLiteCpp, the way its users write: bound values, a file opened where it is needed.

#include "forms.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <algorithm>

namespace bench::wrapper {

namespace {

BtTaskRecord bt_task;

SQLite::Database open_file(int wait = 20000) {
    return SQLite::Database(BTDB_DEFAULT_FILE, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, wait);
}

int first_number(const char *sql) {
    const SQLite::Database db = open_file();
    SQLite::Statement query(db, sql);
    return query.executeStep() ? query.getColumn(0).getInt() : -1;
}

} // namespace

void add_bt() {
    const BtTaskRecord &task = some_bt_task();
    {
        const SQLite::Database db = open_file();
        SQLite::Statement insert(
            db, "INSERT INTO BT_TASK (task_torrent_name, task_filename, task_current_tracker, task_state, "
                "task_progress, task_total_wanted_done, task_total_wanted, task_all_time_download, "
                "task_all_time_upload, task_download_rate, task_upload_rate, task_num_peers, task_num_seeds, "
                "task_block_size, task_pieces, task_num_pieces, task_announce_interval, task_start_time, "
                "task_finish_time, task_rating, task_time_left, task_is_paused, task_queue_position, "
                "task_move_folder, task_hash, task_type, task_magnet_link, task_record) VALUES (?, ?, ?, ?, ?, ?, ?, "
                "?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
        int at = 0;
        const auto bind = [&](const auto &...values) { (insert.bind(++at, values), ...); };
        bind(task.task_torrent_name, task.task_filename, task.task_current_tracker, task.task_state, task.task_progress,
             task.task_total_wanted_done, task.task_total_wanted, task.task_all_time_download,
             task.task_all_time_upload, task.task_download_rate, task.task_upload_rate, task.task_num_peers,
             task.task_num_seeds, task.task_block_size, task.task_pieces, task.task_num_pieces,
             task.task_announce_interval, task.task_start_time, task.task_finish_time,
             static_cast<double>(task.task_rating), task.task_time_left, task.task_is_paused, task.task_queue_position,
             task.task_move_folder, task.task_hash, task.task_type, task.task_magnet_link, 0);
        require(insert.exec() == 1, "add_bt");
    }
    require(first_number("SELECT task_id FROM BT_TASK ORDER BY task_id DESC LIMIT 1") > 0, "add_bt");
}

void add_http_ftp() {
    const HttpFtpTaskRecord &task = some_http_ftp_task();
    const SQLite::Database db = open_file();
    SQLite::Statement insert(
        db, "INSERT INTO HTTP_FTP_TASK (task_pid, task_filename, task_state, task_progress, task_total_size, "
            "task_total_downloaded, task_download_rate, task_start_time, task_finish_time, task_time_left, "
            "task_is_paused, task_type, task_username, task_password, task_errcode, task_move_folder, task_savename, "
            "task_queue_position) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    int at = 0;
    const auto bind = [&](const auto &...values) { (insert.bind(++at, values), ...); };
    bind(task.task_pid, task.task_filename, task.task_state, task.task_progress, task.task_total_size,
         task.task_total_downloaded, task.task_download_rate, task.task_start_time, task.task_finish_time,
         task.task_time_left, task.task_is_paused, task.task_type, task.task_username, task.task_password,
         task.task_errcode, task.task_move_folder, task.task_savename, task.task_queue_position);
    require(insert.exec() == 1 && db.getLastInsertRowid() > 0, "add_http_ftp");
}

void update_bt_by_hash() {
    const BtTaskRecord &task = some_bt_task();
    const SQLite::Database db = open_file();
    SQLite::Statement update(
        db, "UPDATE BT_TASK SET task_torrent_name = ?, task_current_tracker = ?, task_state = ?, task_progress = ?, "
            "task_total_wanted_done = ?, task_total_wanted = ?, task_all_time_download = ?, task_all_time_upload = ?, "
            "task_download_rate = ?, task_upload_rate = ?, task_num_peers = ?, task_num_seeds = ?, task_block_size = "
            "?, task_pieces = ?, task_num_pieces = ?, task_announce_interval = ?, task_finish_time = ?, task_rating = "
            "?, task_time_left = ?, task_is_paused = ?, task_queue_position = ? WHERE task_hash = ?");
    int at = 0;
    const auto bind = [&](const auto &...values) { (update.bind(++at, values), ...); };
    bind(task.task_torrent_name, task.task_current_tracker, task.task_state, task.task_progress,
         task.task_total_wanted_done, task.task_total_wanted, task.task_all_time_download, task.task_all_time_upload,
         task.task_download_rate, task.task_upload_rate, task.task_num_peers, task.task_num_seeds, task.task_block_size,
         task.task_pieces, task.task_num_pieces, task.task_announce_interval, task.task_finish_time,
         static_cast<double>(task.task_rating), task.task_time_left, task.task_is_paused, task.task_queue_position,
         task.task_hash);
    require(update.exec() > 0, "update_bt_by_hash");
}

void delete_bt() {
    const SQLite::Database db = open_file();
    SQLite::Statement erase(db, "DELETE FROM BT_TASK WHERE task_id = ?");
    erase.bind(1, no_id);
    require(erase.exec() == 0, "delete_bt");
}

void create_and_drop() {
    open_file(0).exec("DROP TABLE BT_ACCOUNT");
    SQLite::Database db = open_file();
    db.exec("CREATE TABLE BT_ACCOUNT (account_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, account_host TEXT, "
            "account_enable INTEGER, account_user TEXT, account_pass TEXT)");
    db.exec("CREATE INDEX idx_account_host ON BT_ACCOUNT(account_host)");
    db.exec("CREATE INDEX idx_account_enable ON BT_ACCOUNT(account_enable)");
}

namespace {

template <std::size_t Width> void take(const SQLite::Column &column, char (&field)[Width]) {
    const char *text = column.getText();
    const std::size_t length = std::min(static_cast<std::size_t>(column.getBytes()), Width - 1);
    std::memcpy(field, text, length);
    field[length] = '\0';
}
void take(const SQLite::Column &column, int32_t &field) {
    field = column.getInt();
}
void take(const SQLite::Column &column, float &field) {
    field = static_cast<float>(column.getInt());
}

} // namespace

void read_bt() {
    const SQLite::Database db = open_file();
    SQLite::Statement query(db, "SELECT * FROM BT_TASK WHERE task_id = ?");
    query.bind(1, some_id);
    require(query.executeStep(), "read_bt");
    int at = 0;
    const auto read = [&](auto &...fields) { (take(query.getColumn(at++), fields), ...); };
    BtTaskRecord &task = bt_task;
    read(task.task_id, task.task_torrent_name, task.task_filename, task.task_current_tracker, task.task_state,
         task.task_progress, task.task_total_wanted_done, task.task_total_wanted, task.task_all_time_download,
         task.task_all_time_upload, task.task_download_rate, task.task_upload_rate, task.task_num_peers,
         task.task_num_seeds, task.task_block_size, task.task_pieces, task.task_num_pieces, task.task_announce_interval,
         task.task_start_time, task.task_finish_time, task.task_rating, task.task_time_left, task.task_is_paused,
         task.task_queue_position, task.task_move_folder, task.task_hash, task.task_type, task.task_magnet_link,
         task.task_record);
    require(task.task_id == some_id, "read_bt");
}

void read_filename() {
    static char name[1025];
    const SQLite::Database db = open_file();
    SQLite::Statement query(db, "SELECT task_filename FROM BT_TASK WHERE task_id = ?");
    query.bind(1, some_id);
    require(query.executeStep(), "read_filename");
    take(query.getColumn(0), name);
}

void count_bt() {
    require(first_number("SELECT COUNT(*) FROM BT_TASK WHERE (task_is_paused = 0) AND (task_state >= 1 AND task_state "
                         "<= 4 OR task_state = 7)") > 0,
            "count_bt");
}

namespace {

int list(const char *sql) {
    const SQLite::Database db = open_file();
    SQLite::Statement query(db, sql);
    int rows = 0;
    while (query.executeStep()) {
        for (int column = 0; column < query.getColumnCount(); ++column) {
            query.getColumn(column).getText();
        }
        ++rows;
    }
    return rows;
}

} // namespace

void page_bt() {
    require(list("SELECT * FROM BT_TASK ORDER BY task_queue_position LIMIT 50 OFFSET 0") == 50, "page_bt");
}

void list_bt() {
    require(list("SELECT * FROM BT_TASK ORDER BY task_queue_position") > 0, "list_bt");
}

void list_http_ftp() {
    require(list("SELECT * FROM HTTP_FTP_TASK") > 0, "list_http_ftp");
}

void page_both() {
    require(
        list("SELECT task_start_time, task_id, task_torrent_name, task_state, task_download_rate, task_upload_rate, "
             "task_rating, task_total_wanted_done, task_total_wanted, task_progress, task_finish_time, task_time_left, "
             "task_is_paused, task_queue_position, 0, 'bt' FROM BT_TASK UNION SELECT task_start_time, task_id, "
             "task_filename, task_state, task_download_rate, 0, 0, task_total_downloaded, task_total_size, "
             "task_progress, task_finish_time, task_time_left, task_is_paused, task_queue_position, task_errcode, "
             "'http' FROM HTTP_FTP_TASK ORDER BY task_start_time LIMIT 50 OFFSET 0") == 50,
        "page_both");
}

} // namespace bench::wrapper
