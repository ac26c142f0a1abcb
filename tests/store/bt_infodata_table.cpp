// BT_INFODATA, described for the shared suites.

#include "tables.h"

namespace test {

#define FIELD(name) KORVO_FIELD(BtInfoDataRecord, infodata_##name)

namespace {

const std::vector<Field> fields = {
    FIELD(id),          FIELD(command),  FIELD(task_id), FIELD(sender_pid),    FIELD(creation_date),
    FIELD(name),        FIELD(comment),  FIELD(creator), FIELD(piece_length),  FIELD(num_pieces),
    FIELD(infohash),    FIELD(trackers), FIELD(error),   FIELD(next_announce), FIELD(active_time),
    FIELD(seeding_time)};

const auto third = sample<BtInfoDataRecord>(fields, 3);
const auto by_task = sample<BtInfoDataRecord>(fields, 3, {"infodata_task_id"});

} // namespace

#define CALL KORVO_CALL
#define FIRST "FROM BT_INFODATA WHERE infodata_command = 101 AND infodata_task_id = 102 AND infodata_sender_pid = 103;"

Table bt_infodata_table() {
    const std::vector<std::string> all = all_but({"infodata_id"}, fields);
    return {
        .name = "BT_INFODATA",
        .schema = {creation("BT_INFODATA", fields, " \t"),
                   "CREATE INDEX idx_infodata_command on BT_INFODATA(infodata_command);",
                   "CREATE INDEX idx_infodata_task_id on BT_INFODATA(infodata_task_id);"},
        .record_size = sizeof(BtInfoDataRecord),
        .fields = fields,
        .create = bt_infodata_create_tbl,
        .drop = bt_infodata_remove_tbl,
        .flush = bt_infodata_flush_tbl,
        .add = with_record<bt_infodata_add>,
        .add_returns_id = false,
        .updates = {{with_record<bt_infodata_update>, {"infodata_task_id"}, all}},
        .remove = bt_infodata_del,
        .selectors = {0, 1, 2},
        .drop_and_remove_wait = false,
        .listings = {{KORVO_LISTING(bt_infodata_query(file, callback, 101, 102, 103, context)), "SELECT * " FIRST,
                      false},
                     {KORVO_LISTING(bt_infodata_query_all(file, callback, context)), "SELECT * FROM BT_INFODATA",
                      false}},
        .operations =
            {adds(CALL(bt_infodata_add, &third), {insertion("BT_INFODATA", fields, &third, " \t")}, BTDB_OK),
             updates(CALL(bt_infodata_update, &by_task), "UPDATE BT_INFODATA SET \t" +
                                                             assignments(fields, &by_task, all) +
                                                             " \tWHERE infodata_task_id = '102';"),
             deletes(CALL(bt_infodata_del_by_task_id_and_pid, natural(102), natural(103)),
                     "DELETE FROM BT_INFODATA WHERE infodata_task_id = 102 AND infodata_sender_pid = 103;", false),
             queries(CALL(bt_infodata_query_count, natural(101), natural(102), 103), "SELECT COUNT(*) " FIRST, 1),
             queries(
                 CALL(bt_infodata_query_count, natural(101), natural(102), -1),
                 "SELECT COUNT(*) FROM BT_INFODATA WHERE infodata_command = 101 AND infodata_task_id = 102 AND infodata_sender_pid = -1;"),
             queries(CALL(bt_infodata_query, nullptr, deliver, natural(101), natural(102), 103, nullptr),
                     "SELECT * " FIRST),
             queries(CALL(bt_infodata_query_all, nullptr, deliver, nullptr), "SELECT * FROM BT_INFODATA;")},
    };
}

} // namespace test
