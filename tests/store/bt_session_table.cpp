// BT_SESSION, described for the shared suites.

#include "tables.h"

namespace test {

#define FIELD(name) KORVO_FIELD(BtSessionRecord, name)

namespace {

const std::vector<Field> fields = {FIELD(session_id),    FIELD(total_download), FIELD(total_upload),
                                   FIELD(download_rate), FIELD(upload_rate),    FIELD(pause_all_time)};

const auto third = sample<BtSessionRecord>(fields, 3);
const auto by_id = sample<BtSessionRecord>(fields, 3, {"session_id"});
BtSessionRecord *const out = scratch_record<BtSessionRecord>();

} // namespace

#define CALL KORVO_CALL

Table bt_session_table() {
    return {
        .name = "BT_SESSION",
        .schema = {creation("BT_SESSION", fields)},
        .record_size = sizeof(BtSessionRecord),
        .fields = fields,
        .create = bt_db_create_tbl_session,
        .drop = bt_db_remove_tbl_session,
        .flush = bt_db_flush_tbl_session,
        .add = with_record<bt_db_add_session>,
        .reads = {read_by<&BtSessionRecord::session_id, bt_db_query_data_by_session_id>},
        .updates = {{with_record<bt_db_update_session>, {"session_id"}, all_but({"session_id"}, fields)}},
        .listings = {{KORVO_LISTING(bt_db_query_session(file, callback, start, end, context)),
                      "SELECT * FROM BT_SESSION ORDER BY session_id"}},
        .operations =
            {adds(CALL(bt_db_add_session, &third),
                  {"INSERT INTO BT_SESSION ( total_download, total_upload, download_rate, upload_rate, pause_all_time) "
                   "VALUES ( 301, 302, 303, 304, 305);",
                   "SELECT session_id FROM BT_SESSION ORDER BY session_id DESC LIMIT 1;"}),
             updates(CALL(bt_db_update_session, &by_id),
                     "UPDATE BT_SESSION SET total_download = 301, total_upload = 302, download_rate = 303, upload_rate "
                     "= 304, pause_all_time = 305 WHERE session_id = 1;"),
             queries(CALL(bt_db_query_data_by_session_id, natural(1), out),
                     "SELECT * FROM BT_SESSION WHERE session_id = 1;"),
             queries(CALL(bt_db_query_session, nullptr, deliver, 0, 0, nullptr),
                     "SELECT * FROM BT_SESSION ORDER BY session_id ;"),
             queries(CALL(bt_db_query_session, nullptr, deliver, 1, 4, nullptr),
                     "SELECT * FROM BT_SESSION ORDER BY session_id LIMIT 3 OFFSET 1;")},
    };
}

} // namespace test
