// BT_TASK, described for the shared suites.

#include "tables.h"

#include <cstring>

namespace test {

#define FIELD(name) KORVO_FIELD(BtTaskRecord, name)

static const std::vector<Field> fields = {FIELD(task_id),
                                          FIELD(task_torrent_name),
                                          FIELD(task_filename),
                                          FIELD(task_current_tracker),
                                          FIELD(task_state),
                                          FIELD(task_progress),
                                          FIELD(task_total_wanted_done),
                                          FIELD(task_total_wanted),
                                          FIELD(task_all_time_download),
                                          FIELD(task_all_time_upload),
                                          FIELD(task_download_rate),
                                          FIELD(task_upload_rate),
                                          FIELD(task_num_peers),
                                          FIELD(task_num_seeds),
                                          FIELD(task_block_size),
                                          FIELD(task_pieces),
                                          FIELD(task_num_pieces),
                                          FIELD(task_announce_interval),
                                          FIELD(task_start_time),
                                          FIELD(task_finish_time),
                                          FIELD(task_rating),
                                          FIELD(task_time_left),
                                          FIELD(task_is_paused),
                                          FIELD(task_queue_position),
                                          FIELD(task_move_folder),
                                          FIELD(task_hash),
                                          FIELD(task_type),
                                          FIELD(task_magnet_link),
                                          FIELD(task_record)};

// What the two whole-record updates write.
static std::vector<std::string> progress() {
    return all_but({"task_id", "task_filename", "task_start_time", "task_move_folder", "task_hash", "task_type",
                    "task_magnet_link", "task_record"},
                   fields);
}

static BtTaskRecord third = [] {
    auto task = sample<BtTaskRecord>(fields, 3);
    task.task_record = 0; // as the add stores it
    return task;
}();
static const auto by_name = sample<BtTaskRecord>(fields, 3, {"task_torrent_name"});
static const auto by_hash = sample<BtTaskRecord>(fields, 3, {"task_hash"});

static std::string rewriting(const BtTaskRecord &task, const char *where) {
    return "UPDATE BT_TASK SET \t" + assignments(fields, &task, progress()) + " \tWHERE " + where;
}

static std::int32_t first_filename() {
    char name[1024]; // its first byte is cleared also when the name cannot be read
    const std::int32_t length = bt_db_query_filename_by_task_id(1, name);
    std::memcpy(scratch, name, length < 0 ? 0 : sizeof name);
    return length;
}

static BtTaskRecord *const out = scratch_record<BtTaskRecord>();
static const std::int32_t lowest = INT32_MIN;

#define CALL KORVO_CALL
#define BY "SELECT * FROM BT_TASK WHERE "
#define COUNT "SELECT COUNT(*) FROM BT_TASK "
#define UNFINISHED(is_paused)                                                                                          \
    "WHERE (task_is_paused = " is_paused ") AND (task_state >= 1 AND task_state <= 4 OR task_state = 7)"
#define LATEST "SELECT task_id FROM BT_TASK ORDER BY task_id DESC LIMIT 1;"

static const std::vector<Operation> task_operations = {
    deletes(CALL(bt_db_del_task(5, &lowest)), "DELETE FROM BT_TASK WHERE task_progress = -2147483648;"),
    adds(CALL(bt_db_add_task(&third)), {insertion("BT_TASK", fields, &third), LATEST}),
    updates(CALL(bt_db_update_task(&by_name)), rewriting(by_name, "task_torrent_name = 't1''01';")),
    updates(CALL(bt_db_update_task_by_hash(&by_hash)), rewriting(by_hash, "task_hash = 't1''25';")),
    updates(CALL(bt_db_update_task_move_folder_by_task_id(1, "/share/it's")),
            "UPDATE BT_TASK SET \ttask_move_folder = '/share/it''s' \tWHERE task_id = 1;"),
    updates(CALL(bt_db_update_task_hash_by_task_id(1, "%d'")),
            "UPDATE BT_TASK SET \ttask_hash = '%d''' \tWHERE task_id = 1;"),
    updates(CALL(bt_db_update_all_task_rate_to_zero()),
            "UPDATE BT_TASK set task_download_rate = 0, task_upload_rate = 0;"),
    updates(CALL(bt_db_update_recode_by_task_id(1, INT32_MAX)),
            "UPDATE BT_TASK SET task_record = 2147483647 WHERE task_id = 1;"),
    queries(CALL(first_filename()), "SELECT task_filename FROM BT_TASK WHERE task_id = 1;", 5),
    queries(CALL(bt_db_query_data_by_task_id(1, out)), BY "task_id = 1;"),
    queries(CALL(bt_db_query_data_by_task_torrent_name("t1'01", out)), BY "task_torrent_name = 't1''01';"),
    queries(CALL(bt_db_query_data_by_task_hash("t1'25", out)), BY "task_hash = 't1''25';"),
    queries(CALL(bt_db_query_data_by_task_magnet_link("t1'27", out)), BY "task_magnet_link = 't1''27';"),
    {CALL(bt_db_query_data_by_task_id_with_callback(deliver, 1, nullptr)), BTDB_OK, sqlite_code, {BY "task_id = 1;"}},
    queries(CALL(bt_db_query_latest_task_id()), LATEST, 2),
    queries(CALL(bt_db_query_task_count(0)), COUNT ";", 2),
    queries(CALL(bt_db_query_task_count(1)), COUNT UNFINISHED("0") ";"),
    queries(CALL(bt_db_query_task_count(2)), COUNT "WHERE task_state = 5 OR task_state = 6;"),
    queries(CALL(bt_db_query_task_count(3)),
            COUNT "WHERE task_state >= 1 AND task_state <= 6 AND (task_download_rate > 0 OR task_upload_rate > 0);"),
    queries(CALL(bt_db_query_task_count(4)),
            COUNT "WHERE task_state >= 1 AND task_state <= 7 AND (task_download_rate = 0 AND task_upload_rate = 0);"),
    queries(CALL(bt_db_query_task_count(5)), COUNT UNFINISHED("1") ";"),
    queries(CALL(bt_db_query_task_count(6)), COUNT "WHERE task_state = 5;"),
    queries(CALL(bt_db_query_task(nullptr, deliver, -1, 0, 0, BT_TASK_FILTER_ALL, nullptr)),
            "SELECT * FROM BT_TASK  ORDER BY task_queue_position ;"),
    queries(CALL(bt_db_query_task(nullptr, deliver, 0, 10, 30, BT_TASK_FILTER_PAUSED, nullptr)),
            "SELECT * FROM BT_TASK " UNFINISHED("1") " ORDER BY task_queue_position LIMIT 20 OFFSET 10;"),
    queries(CALL(bt_db_query_task_by_task_type(126, deliver, nullptr)),
            BY "(task_type = 126) ORDER BY task_queue_position;"),
};

static const std::vector<Refusal> refusals = {
    {CALL(bt_db_add_task(nullptr))},
    {CALL(bt_db_update_task(nullptr))},
    {CALL(bt_db_update_task_by_hash(nullptr))},
    {CALL(bt_db_update_task_move_folder_by_task_id(1, nullptr))},
    {CALL(bt_db_update_task_move_folder_by_task_id(-1, ""))},
    {CALL(bt_db_update_task_hash_by_task_id(1, nullptr))},
    {CALL(bt_db_update_task_hash_by_task_id(-1, ""))},
    {CALL(bt_db_update_recode_by_task_id(1, -1))},
    {CALL(bt_db_update_recode_by_task_id(-1, 1))},
    {CALL(bt_db_query_filename_by_task_id(1, nullptr))},
    {CALL(bt_db_query_filename_by_task_id(-1, scratch))},
    {CALL(bt_db_query_data_by_task_id(1, nullptr))},
    {CALL(bt_db_query_data_by_task_id(-1, out))},
    {CALL(bt_db_query_data_by_task_torrent_name("", nullptr))},
    {CALL(bt_db_query_data_by_task_torrent_name(nullptr, out))},
    {CALL(bt_db_query_data_by_task_hash("", nullptr))},
    {CALL(bt_db_query_data_by_task_hash(nullptr, out))},
    {CALL(bt_db_query_data_by_task_magnet_link("", nullptr))},
    {CALL(bt_db_query_data_by_task_magnet_link(nullptr, out))},
    {CALL(bt_db_query_data_by_task_id_with_callback(deliver, -1, nullptr))},
    {CALL(bt_db_query_task_count(7))},
    {CALL(bt_db_query_task_count(-1))},
    {CALL(bt_db_query_task_count(INT32_MIN))},
    {CALL(bt_db_query_task(nullptr, deliver, 0, 0, 0, 7, nullptr))},
    {CALL(bt_db_query_task(nullptr, deliver, 0, 0, 0, -1, nullptr))},
};

#define TASK as<BtTaskRecord>(record)
#define WITH(...) [](const void *record) { return __VA_ARGS__; }
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
                    {WITH(bt_db_update_task_move_folder_by_task_id(TASK.task_id, TASK.task_move_folder)),
                     {"task_id"},
                     {"task_move_folder"}},
                    {WITH(bt_db_update_task_hash_by_task_id(TASK.task_id, TASK.task_hash)), {"task_id"}, {"task_hash"}},
                    {WITH(bt_db_update_recode_by_task_id(TASK.task_id, TASK.task_record)),
                     {"task_id"},
                     {"task_record"}}},
        .remove = bt_db_del_task,
        .selectors = {0, 1, 2, 4, 5},
        .listings = {{KORVO_LISTING(bt_db_query_task(file, callback, 0, start, end, BT_TASK_FILTER_ALL, context)),
                      "SELECT * FROM BT_TASK ORDER BY task_queue_position"}},
        .refusals = refusals,
        .operations = task_operations,
    };
}

} // namespace test
