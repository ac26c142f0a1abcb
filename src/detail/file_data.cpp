// BT_FDATA, one row per file of a BitTorrent task. Its drop and its delete do not wait for a lock.

#include "frame/shapes.h"

using korvo::OnLock;
using korvo::statement;
using korvo::statement_of;

int32_t bt_fdata_create_tbl() {
    return korvo::create_table(
        "CREATE TABLE BT_FDATA \t( fdata_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, \tfdata_command INTEGER, "
        "\tfdata_task_id INTEGER, \tfdata_checked INTEGER, \tfdata_file_index INTEGER, \tfdata_file_path TEXT );",
        {"CREATE INDEX idx_fdata_command on BT_FDATA(fdata_command);",
         "CREATE INDEX idx_fdata_task_id on BT_FDATA(fdata_task_id);",
         "CREATE INDEX idx_fdata_file_index on BT_FDATA(fdata_file_index);",
         "CREATE INDEX idx_fdata_file_path on BT_FDATA(fdata_file_path);"});
}

int32_t bt_fdata_remove_tbl() {
    return korvo::run("DROP TABLE BT_FDATA;", BTDB_ERR_TABLE, OnLock::fail);
}

int32_t bt_fdata_flush_tbl() {
    return korvo::run("DELETE FROM BT_FDATA;", BTDB_ERR_FLUSH);
}

int32_t bt_fdata_add(const BtFileDataRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::run(
        statement<"INSERT INTO BT_FDATA \t( fdata_command, \tfdata_task_id, \tfdata_checked, \tfdata_file_index, "
                  "\tfdata_file_path ) \tVALUES \t( %d, %ld, %d, %d, '%q' );">(
            record->fdata_command, record->fdata_task_id, record->fdata_checked, record->fdata_file_index,
            record->fdata_file_path),
        BTDB_ERR_INSERT);
}

int32_t bt_fdata_del(uint32_t selector, const void *value) {
    static constexpr korvo::SqlOfValue keys[] = {
        statement_of<"DELETE FROM BT_FDATA WHERE fdata_id = %ld;">,
        statement_of<"DELETE FROM BT_FDATA WHERE fdata_command = %d;">,
        statement_of<"DELETE FROM BT_FDATA WHERE fdata_task_id = %ld;">,
        statement_of<"DELETE FROM BT_FDATA WHERE fdata_checked = %ld;">,
        statement_of<"DELETE FROM BT_FDATA WHERE fdata_file_index = %d;">,
        statement_of<"DELETE FROM BT_FDATA WHERE fdata_file_path = '%q';">,
    };
    return korvo::delete_by_column(keys, selector, value, OnLock::fail);
}

int32_t bt_fdata_query_count(int32_t command, int32_t task_id) {
    if (command < 0 || task_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_value(
        statement<"SELECT COUNT(*) FROM BT_FDATA WHERE fdata_command = %d AND fdata_task_id = %ld;">(command, task_id));
}

int32_t bt_fdata_query(const char *file, TqRowCallback callback, int32_t command, int32_t task_id, void *context) {
    if (command < 0 || task_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::list_rows(
        file, statement<"SELECT * FROM BT_FDATA WHERE fdata_command = %d AND fdata_task_id = %ld;">(command, task_id),
        callback, context);
}

int32_t bt_fdata_query_all(const char *file, TqRowCallback callback, void *context) {
    return korvo::list_rows(file, "SELECT * FROM BT_FDATA;", callback, context);
}

int32_t bt_fdata_update_checked_by_task_id_and_file_index(int32_t task_id, int32_t file_index, int32_t checked) {
    if (checked < 0 || task_id < 0 || file_index < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::update_checked(
        statement<"UPDATE BT_FDATA SET fdata_checked = %d WHERE fdata_task_id = %ld AND fdata_file_index = %d;">(
            checked, task_id, file_index));
}

int32_t bt_fdata_upload(const BtFileDataRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::update_checked(
        statement<"UPDATE BT_FDATA SET \tfdata_command = %d, \tfdata_task_id = %ld, \tfdata_checked = %d, "
                  "\tfdata_file_index = %d, \tfdata_file_path = '%q' \tWHERE fdata_task_id = %ld AND fdata_file_index "
                  "= %d;">(record->fdata_command, record->fdata_task_id, record->fdata_checked,
                           record->fdata_file_index, record->fdata_file_path, record->fdata_task_id,
                           record->fdata_file_index));
}
