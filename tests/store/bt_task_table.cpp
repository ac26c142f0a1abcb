// BT_TASK, described for the shared suites.

#include "tables.h"
#include "task_filters.h"

#include <iterator>

namespace test {

#define FIELD(name) KORVO_FIELD(BtTaskRecord, task_##name)

namespace {

const std::vector<Field> fields = {
    FIELD(id),
    FIELD(torrent_name),
    FIELD(filename),
    FIELD(current_tracker),
    FIELD(state),
    FIELD(progress),
    FIELD(total_wanted_done),
    FIELD(total_wanted),
    FIELD(all_time_download),
    FIELD(all_time_upload),
    FIELD(download_rate),
    FIELD(upload_rate),
    FIELD(num_peers),
    FIELD(num_seeds),
    FIELD(block_size),
    FIELD(pieces),
    FIELD(num_pieces),
    FIELD(announce_interval),
    FIELD(start_time),
    FIELD(finish_time),
    FIELD(rating),
    FIELD(time_left),
    FIELD(is_paused),
    FIELD(queue_position),
    FIELD(move_folder),
    FIELD(hash),
    FIELD(type),
    FIELD(magnet_link),
    FIELD(record),
};

// What the two whole-record updates write.
std::vector<std::string> progress() {
    return all_but({"task_id", "task_filename", "task_start_time", "task_move_folder", "task_hash", "task_type",
                    "task_magnet_link", "task_record"},
                   fields);
}

BtTaskRecord third = [] {
    auto task = sample<BtTaskRecord>(fields, 3);
    task.task_record = 0; // as the add stores it
    return task;
}();
const auto by_name = sample<BtTaskRecord>(fields, 3, {"task_torrent_name"});
const auto by_hash = sample<BtTaskRecord>(fields, 3, {"task_hash"});

std::string rewriting(const BtTaskRecord &task, const char *where) {
    return "UPDATE BT_TASK SET \t" + assignments(fields, &task, progress()) + " \tWHERE " + where;
}

BtTaskRecord *const out = scratch_record<BtTaskRecord>();
const int32_t lowest = INT32_MIN;

} // namespace

#define CALL KORVO_CALL
#define BY "SELECT * FROM BT_TASK WHERE "
#define LATEST "SELECT task_id FROM BT_TASK ORDER BY task_id DESC LIMIT 1;"

namespace {

std::vector<Operation> task_operations() {
    std::vector<Operation> all = {
        deletes(CALL(bt_db_del_task, 5, &lowest), "DELETE FROM BT_TASK WHERE task_progress = -2147483648;"),
        adds(CALL(bt_db_add_task, &third), {insertion("BT_TASK", fields, &third), LATEST}),
        updates(CALL(bt_db_update_task, &by_name), rewriting(by_name, "task_torrent_name = 't1''01';")),
        updates(CALL(bt_db_update_task_by_hash, &by_hash), rewriting(by_hash, "task_hash = 't1''25';")),
        updates(CALL(bt_db_update_task_move_folder_by_task_id, natural(1), "/share/it's"),
                "UPDATE BT_TASK SET \ttask_move_folder = '/share/it''s' \tWHERE task_id = 1;"),
        updates(CALL(bt_db_update_task_hash_by_task_id, natural(1), "%d'"),
                "UPDATE BT_TASK SET \ttask_hash = '%d''' \tWHERE task_id = 1;"),
        updates(CALL(bt_db_update_all_task_rate_to_zero),
                "UPDATE BT_TASK set task_download_rate = 0, task_upload_rate = 0;"),
        updates(CALL(bt_db_update_recode_by_task_id, natural(1), natural(INT32_MAX)),
                "UPDATE BT_TASK SET task_record = 2147483647 WHERE task_id = 1;"),
        queries(CALL(read_string<bt_db_query_filename_by_task_id>, natural(1), scratch),
                "SELECT task_filename FROM BT_TASK WHERE task_id = 1;", 5),
        queries(CALL(bt_db_query_data_by_task_id, natural(1), out), BY "task_id = 1;"),
        queries(CALL(bt_db_query_data_by_task_torrent_name, "t1'01", out), BY "task_torrent_name = 't1''01';"),
        queries(CALL(bt_db_query_data_by_task_hash, "t1'25", out), BY "task_hash = 't1''25';"),
        queries(CALL(bt_db_query_data_by_task_magnet_link, "t1'27", out), BY "task_magnet_link = 't1''27';"),
        {CALL(bt_db_query_data_by_task_id_with_callback, deliver, natural(1), nullptr),
         BTDB_OK,
         sqlite_code,
         {BY "task_id = 1;"}},
        queries(CALL(bt_db_query_latest_task_id), LATEST, 2),
        queries(CALL(bt_db_query_task, nullptr, deliver, -1, 0, 0, BT_TASK_FILTER_ALL, nullptr),
                "SELECT * FROM BT_TASK  ORDER BY task_queue_position ;"),
        queries(CALL(bt_db_query_task, nullptr, deliver, 0, 10, 30, up_to(6, BT_TASK_FILTER_STATE_5), nullptr),
                BY "task_state = 5 ORDER BY task_queue_position LIMIT 20 OFFSET 10;"),
        queries(CALL(bt_db_query_task_by_task_type, INT32_MIN, deliver, nullptr),
                BY "(task_type = -2147483648) ORDER BY task_queue_position;"),
    };
    for (int32_t filter = 0; filter < std::ssize(bt_where); ++filter) {
        all.push_back(queries(call_of("count " + std::to_string(filter), bt_db_query_task_count, up_to(6, filter)),
                              "SELECT COUNT(*) FROM BT_TASK " + std::string(bt_where[filter]) + ";",
                              filter == BT_TASK_FILTER_ALL ? 2 : 0));
    }
    return all;
}

} // namespace

#define READ_BY(key) read_by<&BtTaskRecord::task_##key, bt_db_query_data_by_task_##key>

Table bt_task_table() {
    return {
        .name = "BT_TASK",
        .schema = {creation("BT_TASK", fields), "CREATE INDEX idx_task_filename on BT_TASK(task_filename);",
                   "CREATE INDEX idx_task_status on BT_TASK(task_state);",
                   "CREATE INDEX idx_task_progress on BT_TASK(task_progress);",
                   "CREATE INDEX idx_task_is_paused on BT_TASK(task_is_paused);"},
        .record_size = sizeof(BtTaskRecord),
        .fields = fields,
        .create = bt_db_create_tbl_task,
        .drop = bt_db_remove_tbl_task,
        .flush = bt_db_flush_tbl_task,
        .add = with_record<bt_db_add_task>,
        .reads = {READ_BY(id), READ_BY(torrent_name), READ_BY(hash), READ_BY(magnet_link)},
        .updates = {{with_record<bt_db_update_task>, {"task_torrent_name"}, progress()},
                    {with_record<bt_db_update_task_by_hash>, {"task_hash"}, progress()},
                    sets("task_id", &BtTaskRecord::task_id, "task_move_folder", &BtTaskRecord::task_move_folder,
                         bt_db_update_task_move_folder_by_task_id),
                    sets("task_id", &BtTaskRecord::task_id, "task_hash", &BtTaskRecord::task_hash,
                         bt_db_update_task_hash_by_task_id),
                    sets("task_id", &BtTaskRecord::task_id, "task_record", &BtTaskRecord::task_record,
                         bt_db_update_recode_by_task_id)},
        .remove = bt_db_del_task,
        .selectors = {0, 1, 2, 4, 5},
        .listings = {{KORVO_LISTING(bt_db_query_task(file, callback, 0, start, end, BT_TASK_FILTER_ALL, context)),
                      "SELECT * FROM BT_TASK ORDER BY task_queue_position"}},
        .operations = task_operations(),
    };
}

} // namespace test
