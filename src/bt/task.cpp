// BT_TASK, one row per BitTorrent task: the table, adding, writing progress back, looking up, deleting.

#include "frame/shapes.h"

using korvo::Row;
using korvo::statement;
using korvo::statement_of;

namespace {

// The walk over BT_TASK's columns, in table order.
void read_columns(Row &row, BtTaskRecord &task) {
    row.low_int32(task.task_id)
        .string(task.task_torrent_name)
        .string(task.task_filename)
        .string(task.task_current_tracker)
        .int32(task.task_state)
        .int32(task.task_progress)
        .low_int32(task.task_total_wanted_done)
        .low_int32(task.task_total_wanted)
        .low_int32(task.task_all_time_download)
        .low_int32(task.task_all_time_upload)
        .int32(task.task_download_rate)
        .int32(task.task_upload_rate)
        .int32(task.task_num_peers)
        .int32(task.task_num_seeds)
        .int32(task.task_block_size)
        .string(task.task_pieces)
        .int32(task.task_num_pieces)
        .int32(task.task_announce_interval)
        .string(task.task_start_time)
        .string(task.task_finish_time)
        .int_as_float(task.task_rating)
        .string(task.task_time_left)
        .int32(task.task_is_paused)
        .int32(task.task_queue_position)
        .string(task.task_move_folder)
        .string(task.task_hash)
        .int32(task.task_type)
        .string(task.task_magnet_link)
        .int32(task.task_record);
}

} // namespace

// ---- The table

int32_t bt_db_create_tbl_task() {
    return korvo::create_table(
        "CREATE TABLE BT_TASK \t( task_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, \ttask_torrent_name TEXT, "
        "\ttask_filename TEXT, \ttask_current_tracker TEXT, \ttask_state INTEGER, \ttask_progress INTEGER, "
        "\ttask_total_wanted_done INTEGER, \ttask_total_wanted INTEGER, \ttask_all_time_download INTEGER, "
        "\ttask_all_time_upload INTEGER, \ttask_download_rate INTEGER, \ttask_upload_rate INTEGER, "
        "\ttask_num_peers INTEGER, \ttask_num_seeds INTEGER, \ttask_block_size INTEGER, \ttask_pieces TEXT, "
        "\ttask_num_pieces INTEGER, \ttask_announce_interval INTEGER, \ttask_start_time TEXT, "
        "\ttask_finish_time TEXT, \ttask_rating NUMERIC, \ttask_time_left TEXT, \ttask_is_paused INTEGER, "
        "\ttask_queue_position INTEGER, \ttask_move_folder TEXT, \ttask_hash TEXT, \ttask_type INTEGER, "
        "\ttask_magnet_link TEXT, \ttask_record INTEGER);",
        {"CREATE INDEX idx_task_filename on BT_TASK(task_filename);",
         "CREATE INDEX idx_task_status on BT_TASK(task_state);",
         "CREATE INDEX idx_task_progress on BT_TASK(task_progress);",
         "CREATE INDEX idx_task_is_paused on BT_TASK(task_is_paused);"});
}

int32_t bt_db_remove_tbl_task() {
    return korvo::run("DROP TABLE BT_TASK;", BTDB_ERR_TABLE);
}

int32_t bt_db_flush_tbl_task() {
    return korvo::run("DELETE FROM BT_TASK;", BTDB_ERR_FLUSH);
}

int32_t bt_db_del_task(uint32_t selector, const void *value) {
    static constexpr korvo::SqlOfValue keys[] = {
        statement_of<"DELETE FROM BT_TASK WHERE task_id = %ld;">,
        statement_of<"DELETE FROM BT_TASK WHERE task_torrent_name = '%q';">,
        statement_of<"DELETE FROM BT_TASK WHERE task_filename = '%q';">,
        nullptr, // task_current_tracker is not a key
        statement_of<"DELETE FROM BT_TASK WHERE task_state = %d;">,
        statement_of<"DELETE FROM BT_TASK WHERE task_progress = %d;">,
    };
    return korvo::delete_by_column(keys, selector, value);
}

// ---- Adding

int32_t bt_db_add_task(BtTaskRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    record->task_record = 0;
    return korvo::insert_then_latest_id(
        statement<"INSERT INTO BT_TASK \t( task_torrent_name, \ttask_filename, \ttask_current_tracker, \ttask_state, "
                  "\ttask_progress, \ttask_total_wanted_done, \ttask_total_wanted, \ttask_all_time_download, "
                  "\ttask_all_time_upload, \ttask_download_rate, \ttask_upload_rate, \ttask_num_peers, "
                  "\ttask_num_seeds, \ttask_block_size, \ttask_pieces, \ttask_num_pieces, \ttask_announce_interval, "
                  "\ttask_start_time, \ttask_finish_time, \ttask_rating, \ttask_time_left, \ttask_is_paused, "
                  "\ttask_queue_position, \ttask_move_folder, \ttask_hash, \ttask_type, \ttask_magnet_link, "
                  "\ttask_record) \tVALUES \t( '%q', '%q', '%q', %d, %d, %ld, %ld, %ld, %ld, %d, %d, %d, %d, %d, "
                  "'%q', %d, %d, '%q', '%q', %f, '%q', %d, %d, '%q', '%q', %d, '%q', %d );">(
            record->task_torrent_name, record->task_filename, record->task_current_tracker, record->task_state,
            record->task_progress, record->task_total_wanted_done, record->task_total_wanted,
            record->task_all_time_download, record->task_all_time_upload, record->task_download_rate,
            record->task_upload_rate, record->task_num_peers, record->task_num_seeds, record->task_block_size,
            record->task_pieces, record->task_num_pieces, record->task_announce_interval, record->task_start_time,
            record->task_finish_time, record->task_rating, record->task_time_left, record->task_is_paused,
            record->task_queue_position, record->task_move_folder, record->task_hash, record->task_type,
            record->task_magnet_link, record->task_record),
        bt_db_query_latest_task_id);
}

// ---- Writing progress back

namespace {

// The two whole-record updates write the same columns and differ in their key, the last argument.
template <korvo::Template Update> korvo::OwnedSql progress_of(const BtTaskRecord &task, const char *key) {
    return statement<Update>(task.task_torrent_name, task.task_current_tracker, task.task_state, task.task_progress,
                             task.task_total_wanted_done, task.task_total_wanted, task.task_all_time_download,
                             task.task_all_time_upload, task.task_download_rate, task.task_upload_rate,
                             task.task_num_peers, task.task_num_seeds, task.task_block_size, task.task_pieces,
                             task.task_num_pieces, task.task_announce_interval, task.task_finish_time, task.task_rating,
                             task.task_time_left, task.task_is_paused, task.task_queue_position, key);
}

} // namespace

int32_t bt_db_update_task(const BtTaskRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::update_checked(
        progress_of<"UPDATE BT_TASK SET \ttask_torrent_name = '%q', \ttask_current_tracker = '%q', \ttask_state = %d, "
                    "\ttask_progress = %d, \ttask_total_wanted_done = %ld, \ttask_total_wanted = %ld, "
                    "\ttask_all_time_download = %ld, \ttask_all_time_upload = %ld, \ttask_download_rate = %d, "
                    "\ttask_upload_rate = %d, \ttask_num_peers = %d, \ttask_num_seeds = %d, \ttask_block_size = %d, "
                    "\ttask_pieces = '%q', \ttask_num_pieces = %d, \ttask_announce_interval = %d, "
                    "\ttask_finish_time = '%q', \ttask_rating = %f, \ttask_time_left = '%q', \ttask_is_paused = %d, "
                    "\ttask_queue_position = %d \tWHERE task_torrent_name = '%q';">(*record,
                                                                                    record->task_torrent_name));
}

int32_t bt_db_update_task_by_hash(const BtTaskRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::update_checked(
        progress_of<"UPDATE BT_TASK SET \ttask_torrent_name = '%q', \ttask_current_tracker = '%q', \ttask_state = %d, "
                    "\ttask_progress = %d, \ttask_total_wanted_done = %ld, \ttask_total_wanted = %ld, "
                    "\ttask_all_time_download = %ld, \ttask_all_time_upload = %ld, \ttask_download_rate = %d, "
                    "\ttask_upload_rate = %d, \ttask_num_peers = %d, \ttask_num_seeds = %d, \ttask_block_size = %d, "
                    "\ttask_pieces = '%q', \ttask_num_pieces = %d, \ttask_announce_interval = %d, "
                    "\ttask_finish_time = '%q', \ttask_rating = %f, \ttask_time_left = '%q', \ttask_is_paused = %d, "
                    "\ttask_queue_position = %d \tWHERE task_hash = '%q';">(*record, record->task_hash));
}

int32_t bt_db_update_task_move_folder_by_task_id(int32_t task_id, const char *folder) {
    if (folder == nullptr || task_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::update_checked(
        statement<"UPDATE BT_TASK SET \ttask_move_folder = '%q' \tWHERE task_id = %ld;">(folder, task_id));
}

int32_t bt_db_update_task_hash_by_task_id(int32_t task_id, const char *hash) {
    if (hash == nullptr || task_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::update_checked(
        statement<"UPDATE BT_TASK SET \ttask_hash = '%q' \tWHERE task_id = %ld;">(hash, task_id));
}

int32_t bt_db_update_all_task_rate_to_zero() {
    return korvo::update_checked("UPDATE BT_TASK set task_download_rate = 0, task_upload_rate = 0;");
}

int32_t bt_db_update_recode_by_task_id(int32_t task_id, int32_t marker) {
    if (marker < 0 || task_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::update_checked(
        statement<"UPDATE BT_TASK SET task_record = %d WHERE task_id = %ld;">(marker, task_id));
}

// ---- Looking up

int32_t bt_db_query_filename_by_task_id(int32_t task_id, char *buffer) {
    if (buffer == nullptr || task_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_string(statement<"SELECT task_filename FROM BT_TASK WHERE task_id = %ld;">(task_id), buffer,
                              1024);
}

int32_t bt_db_query_data_by_task_id(int32_t task_id, BtTaskRecord *record) {
    if (record == nullptr || task_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_row<read_columns>(statement<"SELECT * FROM BT_TASK WHERE task_id = %ld;">(task_id), record);
}

int32_t bt_db_query_data_by_task_torrent_name(const char *torrent_name, BtTaskRecord *record) {
    if (record == nullptr || torrent_name == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_row<read_columns>(
        statement<"SELECT * FROM BT_TASK WHERE task_torrent_name = '%q';">(torrent_name), record);
}

int32_t bt_db_query_data_by_task_hash(const char *hash, BtTaskRecord *record) {
    if (record == nullptr || hash == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_row<read_columns>(statement<"SELECT * FROM BT_TASK WHERE task_hash = '%q';">(hash), record);
}

int32_t bt_db_query_data_by_task_magnet_link(const char *magnet_link, BtTaskRecord *record) {
    if (record == nullptr || magnet_link == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_row<read_columns>(statement<"SELECT * FROM BT_TASK WHERE task_magnet_link = '%q';">(magnet_link),
                                         record);
}

int32_t bt_db_query_data_by_task_id_with_callback(TqRowCallback callback, int32_t task_id, void *context) {
    if (task_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::list_rows_raw(nullptr, statement<"SELECT * FROM BT_TASK WHERE task_id = %ld;">(task_id), callback,
                                context);
}

int32_t bt_db_query_latest_task_id() {
    return korvo::read_value("SELECT task_id FROM BT_TASK ORDER BY task_id DESC LIMIT 1;");
}
