// BT_SESSION, session totals of the BitTorrent side.

#include "frame/shapes.h"

using korvo::OwnedSql;
using korvo::Row;
using korvo::statement;

namespace {

// The walk over BT_SESSION's columns, in table order.
void read_columns(Row &row, BtSessionRecord &session) {
    row.low_int32(session.session_id)
        .low_int32(session.total_download)
        .low_int32(session.total_upload)
        .low_int32(session.download_rate)
        .low_int32(session.upload_rate)
        .low_int32(session.pause_all_time);
}

int32_t latest_session_id() {
    return korvo::read_value("SELECT session_id FROM BT_SESSION ORDER BY session_id DESC LIMIT 1;");
}

} // namespace

int32_t bt_db_create_tbl_session() {
    return korvo::create_table(
        "CREATE TABLE BT_SESSION \t( session_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, \ttotal_download INTEGER, "
        "\ttotal_upload INTEGER, \tdownload_rate INTEGER, \tupload_rate INTEGER, \tpause_all_time INTEGER);",
        {});
}

int32_t bt_db_remove_tbl_session() {
    return korvo::run("DROP TABLE BT_SESSION;", BTDB_ERR_TABLE);
}

int32_t bt_db_flush_tbl_session() {
    return korvo::run("DELETE FROM BT_SESSION;", BTDB_ERR_FLUSH);
}

int32_t bt_db_add_session(const BtSessionRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::insert_then_latest_id(
        statement<"INSERT INTO BT_SESSION ( total_download, total_upload, download_rate, upload_rate, pause_all_time) "
                  "VALUES ( %ld, %ld, %d, %d, %ld);">(record->total_download, record->total_upload,
                                                      record->download_rate, record->upload_rate,
                                                      record->pause_all_time),
        latest_session_id);
}

int32_t bt_db_update_session(const BtSessionRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::update_checked(
        statement<"UPDATE BT_SESSION SET total_download = %ld, total_upload = %ld, download_rate = %d, upload_rate = "
                  "%d, pause_all_time = %ld WHERE session_id = %d;">(record->total_download, record->total_upload,
                                                                     record->download_rate, record->upload_rate,
                                                                     record->pause_all_time, record->session_id));
}

int32_t bt_db_query_data_by_session_id(int32_t session_id, BtSessionRecord *record) {
    if (record == nullptr || session_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_row<read_columns>(statement<"SELECT * FROM BT_SESSION WHERE session_id = %ld;">(session_id),
                                         record);
}

int32_t bt_db_query_session(const char *file, TqRowCallback callback, int32_t start, int32_t end, void *context) {
    if (!korvo::valid_paging(start, end)) {
        return BTDB_ERR_PARAM;
    }
    const OwnedSql page = korvo::paging(start, end);
    return korvo::list_rows(file, statement<"SELECT * FROM BT_SESSION ORDER BY session_id %s;">(page), callback,
                            context);
}
