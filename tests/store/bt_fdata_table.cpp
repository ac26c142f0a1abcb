// BT_FDATA, described for the shared suites.

#include "tables.h"

namespace test {

#define FIELD(name) KORVO_FIELD(BtFileDataRecord, name)

namespace {

const std::vector<Field> fields = {FIELD(fdata_id),      FIELD(fdata_command),    FIELD(fdata_task_id),
                                   FIELD(fdata_checked), FIELD(fdata_file_index), FIELD(fdata_file_path)};
const std::vector<std::string> of_file = {"fdata_task_id", "fdata_file_index"};

const auto third = sample<BtFileDataRecord>(fields, 3);
const auto by_file = sample<BtFileDataRecord>(fields, 3, of_file);

} // namespace

#define CALL KORVO_CALL
#define FIRST "FROM BT_FDATA WHERE fdata_command = 101 AND fdata_task_id = 102;"

Table bt_fdata_table() {
    return {
        .name = "BT_FDATA",
        .schema = {creation("BT_FDATA", fields, " "), "CREATE INDEX idx_fdata_command on BT_FDATA(fdata_command);",
                   "CREATE INDEX idx_fdata_task_id on BT_FDATA(fdata_task_id);",
                   "CREATE INDEX idx_fdata_file_index on BT_FDATA(fdata_file_index);",
                   "CREATE INDEX idx_fdata_file_path on BT_FDATA(fdata_file_path);"},
        .record_size = sizeof(BtFileDataRecord),
        .fields = fields,
        .create = bt_fdata_create_tbl,
        .drop = bt_fdata_remove_tbl,
        .flush = bt_fdata_flush_tbl,
        .add = with_record<bt_fdata_add>,
        .add_returns_id = false,
        .updates = {{with_record<bt_fdata_upload>, of_file, all_but({"fdata_id"}, fields)},
                    {[](void *record) {
                         const auto &row = as<BtFileDataRecord>(record);
                         return bt_fdata_update_checked_by_task_id_and_file_index(
                             row.fdata_task_id, row.fdata_file_index, row.fdata_checked);
                     },
                     of_file,
                     {"fdata_checked"}}},
        .remove = bt_fdata_del,
        .selectors = {0, 1, 2, 3, 4, 5},
        .drop_and_remove_wait = false,
        .listings = {{KORVO_LISTING(bt_fdata_query(file, callback, 101, 102, context)), "SELECT * " FIRST, false},
                     {KORVO_LISTING(bt_fdata_query_all(file, callback, context)), "SELECT * FROM BT_FDATA", false}},
        .operations =
            {adds(CALL(bt_fdata_add, &third), {insertion("BT_FDATA", fields, &third, " ")}, BTDB_OK),
             updates(CALL(bt_fdata_upload, &by_file), "UPDATE BT_FDATA SET \t" +
                                                          assignments(fields, &by_file, all_but({"fdata_id"}, fields)) +
                                                          " \tWHERE fdata_task_id = 102 AND fdata_file_index = 104;"),
             updates(CALL(bt_fdata_update_checked_by_task_id_and_file_index, natural(102), natural(104), natural(7)),
                     "UPDATE BT_FDATA SET fdata_checked = 7 WHERE fdata_task_id = 102 AND fdata_file_index = 104;"),
             queries(CALL(bt_fdata_query_count, natural(101), natural(102)), "SELECT COUNT(*) " FIRST, 1),
             queries(CALL(bt_fdata_query, nullptr, deliver, natural(101), natural(102), nullptr), "SELECT * " FIRST),
             queries(CALL(bt_fdata_query_all, nullptr, deliver, nullptr), "SELECT * FROM BT_FDATA;")},
    };
}

} // namespace test
