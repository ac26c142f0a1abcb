// BT_INFODATA, torrent metadata that processes exchange, keyed by command, task and sender. Its drop and both its
// deletes do not wait for a lock.

#include "frame/shapes.h"

using korvo::OnLock;
using korvo::statement;
using korvo::statement_of;

int32_t bt_infodata_create_tbl() {
    return korvo::create_table(
        "CREATE TABLE BT_INFODATA \t( infodata_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, \tinfodata_command "
        "INTEGER, \tinfodata_task_id INTEGER, \tinfodata_sender_pid INTEGER, \tinfodata_creation_date TEXT, "
        "\tinfodata_name TEXT, \tinfodata_comment TEXT, \tinfodata_creator TEXT, \tinfodata_piece_length INTEGER, "
        "\tinfodata_num_pieces INTEGER, \tinfodata_infohash TEXT, \tinfodata_trackers TEXT, \tinfodata_error TEXT, "
        "\tinfodata_next_announce TEXT, \tinfodata_active_time INTEGER, \tinfodata_seeding_time INTEGER \t);",
        {"CREATE INDEX idx_infodata_command on BT_INFODATA(infodata_command);",
         "CREATE INDEX idx_infodata_task_id on BT_INFODATA(infodata_task_id);"});
}

int32_t bt_infodata_remove_tbl() {
    return korvo::run("DROP TABLE BT_INFODATA;", BTDB_ERR_TABLE, OnLock::fail);
}

int32_t bt_infodata_flush_tbl() {
    return korvo::run("DELETE FROM BT_INFODATA;", BTDB_ERR_FLUSH);
}

int32_t bt_infodata_add(const BtInfoDataRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::run(
        statement<"INSERT INTO BT_INFODATA \t( infodata_command, \tinfodata_task_id, \tinfodata_sender_pid, "
                  "\tinfodata_creation_date, \tinfodata_name, \tinfodata_comment, \tinfodata_creator, "
                  "\tinfodata_piece_length, \tinfodata_num_pieces, \tinfodata_infohash, \tinfodata_trackers, "
                  "\tinfodata_error, \tinfodata_next_announce, \tinfodata_active_time, \tinfodata_seeding_time \t) "
                  "\tVALUES \t( %d, %ld, %d, '%q', '%q', '%q', '%q', %d, %d, '%q', '%q', '%q', '%q', %d, %d );">(
            record->infodata_command, record->infodata_task_id, record->infodata_sender_pid,
            record->infodata_creation_date, record->infodata_name, record->infodata_comment, record->infodata_creator,
            record->infodata_piece_length, record->infodata_num_pieces, record->infodata_infohash,
            record->infodata_trackers, record->infodata_error, record->infodata_next_announce,
            record->infodata_active_time, record->infodata_seeding_time),
        BTDB_ERR_INSERT);
}

int32_t bt_infodata_del(uint32_t selector, const void *value) {
    static constexpr korvo::SqlOfValue keys[] = {
        statement_of<"DELETE FROM BT_INFODATA WHERE infodata_id = %ld;">,
        statement_of<"DELETE FROM BT_INFODATA WHERE infodata_command = %d;">,
        statement_of<"DELETE FROM BT_INFODATA WHERE infodata_task_id = %ld;">,
    };
    return korvo::delete_by_column(keys, selector, value, OnLock::fail);
}

int32_t bt_infodata_del_by_task_id_and_pid(int32_t task_id, int32_t sender_pid) {
    if (task_id < 0 || sender_pid < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::run(statement<"DELETE FROM BT_INFODATA WHERE infodata_task_id = %d AND infodata_sender_pid = %d;">(
                          task_id, sender_pid),
                      BTDB_ERR_DELETE, OnLock::fail);
}

// Count and listing take a negative sender as a value like any other.

int32_t bt_infodata_query_count(int32_t command, int32_t task_id, int32_t sender_pid) {
    if (command < 0 || task_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_value(
        statement<"SELECT COUNT(*) FROM BT_INFODATA WHERE infodata_command = %d AND infodata_task_id = %ld AND "
                  "infodata_sender_pid = %d;">(command, task_id, sender_pid));
}

int32_t bt_infodata_query(const char *file, TqRowCallback callback, int32_t command, int32_t task_id,
                          int32_t sender_pid, void *context) {
    if (command < 0 || task_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::list_rows(
        file,
        statement<
            "SELECT * FROM BT_INFODATA WHERE infodata_command = %d AND infodata_task_id = %ld AND infodata_sender_pid "
            "= %d;">(command, task_id, sender_pid),
        callback, context);
}

int32_t bt_infodata_query_all(const char *file, TqRowCallback callback, void *context) {
    return korvo::list_rows(file, "SELECT * FROM BT_INFODATA;", callback, context);
}

int32_t bt_infodata_update(const BtInfoDataRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::update_checked(
        statement<"UPDATE BT_INFODATA SET \tinfodata_command = %d, \tinfodata_task_id = %ld, \tinfodata_sender_pid = "
                  "%d, \tinfodata_creation_date = '%q', \tinfodata_name = '%q', \tinfodata_comment = '%q', "
                  "\tinfodata_creator = '%q', \tinfodata_piece_length = %d, \tinfodata_num_pieces = %d, "
                  "\tinfodata_infohash = '%q', \tinfodata_trackers = '%q', \tinfodata_error = '%q', "
                  "\tinfodata_next_announce = '%q', \tinfodata_active_time = %d, \tinfodata_seeding_time = %d \tWHERE "
                  "infodata_task_id = '%ld';">(
            record->infodata_command, record->infodata_task_id, record->infodata_sender_pid,
            record->infodata_creation_date, record->infodata_name, record->infodata_comment, record->infodata_creator,
            record->infodata_piece_length, record->infodata_num_pieces, record->infodata_infohash,
            record->infodata_trackers, record->infodata_error, record->infodata_next_announce,
            record->infodata_active_time, record->infodata_seeding_time, record->infodata_task_id));
}
