#include "store/table.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <korvo_bt_conventions.h>

namespace tqctl {
namespace {

// A column that is a field of a record: its name, offset and width follow from the record.
#define KORVO_FIELD(record, name) #name, offsetof(record, name), sizeof(record::name)

constexpr Column field(std::string_view name, std::size_t offset, std::size_t width, std::string_view title, Kind kind,
                       unsigned uses = nowhere, std::string_view help = {}, std::string_view heading = {}) {
    return {name, title, kind, offset, width, uses, help, {}, heading};
}

constexpr Column computed(std::string_view title, Kind kind, std::string_view expression,
                          std::string_view heading = {}) {
    return {{}, title, kind, 0, 0, nowhere, {}, expression, heading};
}

// ---- BitTorrent tasks

#define BT(name) KORVO_FIELD(BtTaskRecord, name)
constexpr std::array bt_columns{
    field(BT(task_id), "id", Kind::identifier),
    field(BT(task_torrent_name), "name", Kind::text, on_add, "Name of the torrent, also that of its data"),
    field(BT(task_filename), "file", Kind::text, on_add, "Path of the task's own file; removed with it"),
    field(BT(task_current_tracker), "tracker", Kind::address),
    field(BT(task_state), "state", Kind::number),
    field(BT(task_progress), "progress", Kind::number),
    field(BT(task_total_wanted_done), "done", Kind::kib),
    field(BT(task_total_wanted), "wanted", Kind::kib, nowhere, {}, "SIZE"),
    field(BT(task_all_time_download), "downloaded", Kind::kib),
    field(BT(task_all_time_upload), "uploaded", Kind::kib),
    field(BT(task_download_rate), "download_rate", Kind::rate, nowhere, {}, "DOWN"),
    field(BT(task_upload_rate), "upload_rate", Kind::rate, nowhere, {}, "UP"),
    field(BT(task_num_peers), "peers", Kind::number),
    field(BT(task_num_seeds), "seeds", Kind::number),
    field(BT(task_block_size), "block_size", Kind::bytes),
    field(BT(task_pieces), "pieces", Kind::text),
    field(BT(task_num_pieces), "num_pieces", Kind::number),
    field(BT(task_announce_interval), "announce", Kind::number),
    field(BT(task_start_time), "start_time", Kind::text),
    field(BT(task_finish_time), "finish_time", Kind::text),
    field(BT(task_rating), "rating", Kind::real),
    field(BT(task_time_left), "time_left", Kind::text, nowhere, {}, "LEFT"),
    field(BT(task_is_paused), "paused", Kind::flag, on_add, "Pause it from the start"),
    field(BT(task_queue_position), "position", Kind::number, on_add, "Place in the queue", "QUEUE"),
    field(BT(task_move_folder), "folder", Kind::text, on_add | on_set,
          "Where finished data goes, below /share; \"\"\nfor the download folder"),
    field(BT(task_hash), "hash", Kind::text, on_add | on_set, "Info-hash, hexadecimal or base32"),
    field(BT(task_type), "type", Kind::number, on_add, "Type"),
    field(BT(task_magnet_link), "magnet", Kind::address),
    field(BT(task_record), "marker", Kind::number),
    computed("kind", Kind::text, "'bt'"),
    computed("task", Kind::task, "'bt:' || task_id"),
    computed("status", Kind::text,
             "CASE WHEN task_record IN (1, 2, 3) THEN 'removing' WHEN task_state = 5 THEN 'finished' "
             "WHEN task_state = 6 THEN 'seeding' WHEN task_state = 7 THEN 'failed' "
             "WHEN task_is_paused = 1 AND task_state IN (1, 2, 3, 4) THEN 'paused' WHEN task_state = 1 THEN 'queued' "
             "WHEN task_state = 2 THEN 'checking' WHEN task_state = 3 THEN 'metadata' "
             "WHEN task_state = 4 THEN 'downloading' ELSE 'state ' || coalesce(task_state, 'none') END"),
    computed("percent", Kind::percent,
             "CASE WHEN task_total_wanted > 0 THEN max(0, min(100, 100 * task_total_wanted_done / task_total_wanted)) "
             "ELSE task_progress END",
             "DONE"),
    computed("ratio", Kind::real,
             "CASE WHEN task_all_time_download > 0 "
             "THEN round(1.0 * task_all_time_upload / task_all_time_download, 2) END"),
};
#undef BT

// Index names belong to the whole file: the four that both kinds of task have are those of whichever table came first.
constexpr std::array bt_indexes{
    Index{"idx_task_filename", "task_filename"},
    Index{"idx_task_status", "task_state"},
    Index{"idx_task_progress", "task_progress"},
    Index{"idx_task_is_paused", "task_is_paused"},
};

// ---- HTTP and FTP tasks

#define HTTP(name) KORVO_FIELD(HttpFtpTaskRecord, name)
constexpr std::array http_columns{
    field(HTTP(task_id), "id", Kind::identifier),
    field(HTTP(task_pid), "pid", Kind::number),
    field(HTTP(task_filename), "address", Kind::address, on_set, "Source address"),
    field(HTTP(task_state), "state", Kind::number),
    field(HTTP(task_progress), "progress", Kind::number),
    field(HTTP(task_total_size), "wanted", Kind::bytes, nowhere, {}, "SIZE"),
    field(HTTP(task_total_downloaded), "done", Kind::bytes),
    field(HTTP(task_download_rate), "download_rate", Kind::rate, nowhere, {}, "DOWN"),
    field(HTTP(task_start_time), "start_time", Kind::text),
    field(HTTP(task_finish_time), "finish_time", Kind::text),
    field(HTTP(task_time_left), "time_left", Kind::text, nowhere, {}, "LEFT"),
    field(HTTP(task_is_paused), "paused", Kind::flag, on_add, "Pause it from the start"),
    field(HTTP(task_type), "type", Kind::number, on_add, "Type"),
    field(HTTP(task_username), "user", Kind::text, on_add, "User name at the source"),
    field(HTTP(task_password), "password", Kind::password, on_add,
          "Ask for the password at the source, or read\nit from standard input"),
    field(HTTP(task_errcode), "error", Kind::number),
    field(HTTP(task_move_folder), "folder", Kind::text, on_add | on_set,
          "Where finished data goes, below /share; \"\"\nfor the download folder"),
    field(HTTP(task_savename), "save_as", Kind::text, on_add | on_set,
          "Name of the saved file (default: from the\naddress)"),
    field(HTTP(task_queue_position), "position", Kind::number, on_add | on_set, "Place in the queue", "QUEUE"),
    computed("kind", Kind::text, "'http'"),
    computed("task", Kind::task, "'http:' || task_id"),
    computed("status", Kind::text,
             "CASE WHEN task_state = 3 THEN 'finished' WHEN task_state NOT IN (1, 2) OR task_state IS NULL "
             "THEN 'state ' || coalesce(task_state, 'none') "
             "WHEN task_errcode <> 0 AND task_is_paused = 1 THEN 'error ' || task_errcode "
             "WHEN task_is_paused = 1 THEN 'paused' WHEN task_state = 1 THEN 'queued' ELSE 'downloading' END"),
    computed("percent", Kind::percent,
             "CASE WHEN task_total_size > 0 THEN max(0, min(100, 100 * task_total_downloaded / task_total_size)) "
             "ELSE task_progress END",
             "DONE"),
    computed("name", Kind::address, "CASE WHEN task_savename <> '' THEN task_savename ELSE task_filename END"),
};
#undef HTTP

constexpr std::array http_indexes{
    Index{"idx_task_pid", "task_pid"},
    Index{"idx_task_filename", "task_filename"},
    Index{"idx_task_status", "task_state"},
    Index{"idx_task_progress", "task_progress"},
    Index{"idx_task_is_paused", "task_is_paused"},
    Index{"idx_task_type", "task_type"},
};

std::int32_t set_bt_field(std::int32_t id, std::uint32_t column, const void *value) {
    const auto *text = static_cast<const char *>(value);
    return bt_columns[column].title == "hash" ? bt_db_update_task_hash_by_task_id(id, text)
                                              : bt_db_update_task_move_folder_by_task_id(id, text);
}

// ---- Sessions, files and metadata of torrents

#define SESSION(name) KORVO_FIELD(BtSessionRecord, name)
constexpr std::array session_columns{
    field(SESSION(session_id), "id", Kind::identifier),
    field(SESSION(total_download), "downloaded", Kind::mib),
    field(SESSION(total_upload), "uploaded", Kind::mib),
    field(SESSION(download_rate), "download_rate", Kind::rate, nowhere, {}, "DOWN"),
    field(SESSION(upload_rate), "upload_rate", Kind::rate, nowhere, {}, "UP"),
    field(SESSION(pause_all_time), "pause", Kind::number),
};
#undef SESSION

#define FILE_DATA(name) KORVO_FIELD(BtFileDataRecord, name)
constexpr std::array file_columns{
    field(FILE_DATA(fdata_id), "id", Kind::identifier),        field(FILE_DATA(fdata_command), "command", Kind::number),
    field(FILE_DATA(fdata_task_id), "task", Kind::number),     field(FILE_DATA(fdata_checked), "wanted", Kind::flag),
    field(FILE_DATA(fdata_file_index), "index", Kind::number), field(FILE_DATA(fdata_file_path), "path", Kind::text),
};
#undef FILE_DATA

constexpr std::array file_indexes{
    Index{"idx_fdata_command", "fdata_command"},
    Index{"idx_fdata_task_id", "fdata_task_id"},
    Index{"idx_fdata_file_index", "fdata_file_index"},
    Index{"idx_fdata_file_path", "fdata_file_path"},
};

#define INFO(name) KORVO_FIELD(BtInfoDataRecord, name)
constexpr std::array info_columns{
    field(INFO(infodata_id), "id", Kind::identifier),
    field(INFO(infodata_command), "command", Kind::number),
    field(INFO(infodata_task_id), "task", Kind::number),
    field(INFO(infodata_sender_pid), "sender", Kind::number),
    field(INFO(infodata_creation_date), "created", Kind::text),
    field(INFO(infodata_name), "name", Kind::text),
    field(INFO(infodata_comment), "comment", Kind::address),
    field(INFO(infodata_creator), "creator", Kind::text),
    field(INFO(infodata_piece_length), "piece_length", Kind::bytes),
    field(INFO(infodata_num_pieces), "pieces", Kind::number),
    field(INFO(infodata_infohash), "hash", Kind::text),
    field(INFO(infodata_trackers), "trackers", Kind::address),
    field(INFO(infodata_error), "error", Kind::address),
    field(INFO(infodata_next_announce), "next_announce", Kind::text),
    field(INFO(infodata_active_time), "active_time", Kind::number),
    field(INFO(infodata_seeding_time), "seeding_time", Kind::number),
};
#undef INFO

constexpr std::array info_indexes{
    Index{"idx_infodata_command", "infodata_command"},
    Index{"idx_infodata_task_id", "infodata_task_id"},
};

// ---- Feeds, jobs, accounts

#define RSS(name) KORVO_FIELD(BtRssRecord, name)
constexpr std::array rss_columns{
    field(RSS(rss_id), "id", Kind::identifier),
    field(RSS(rss_url), "url", Kind::address, on_add | required | on_remove, "Address of the feed"),
    field(RSS(rss_title), "title", Kind::text, on_add | required, "Title of the item"),
    field(RSS(rss_enclosure_url), "enclosure", Kind::address, on_add, "Address of what it offers"),
    field(RSS(rss_keyword), "keyword", Kind::text, on_add | on_set | on_remove, "Keyword"),
    field(RSS(rss_user_def_title), "feed", Kind::text, on_add | on_set | on_remove, "Your own title of the feed"),
    field(RSS(rss_downloaded), "downloaded", Kind::number, on_add | on_set | on_remove, "Downloaded mark", "GOT"),
};
#undef RSS

constexpr std::array rss_indexes{
    Index{"idx_rss_id", "rss_id"},
    Index{"idx_rss_url", "rss_url"},
    Index{"idx_rss_keyword", "rss_keyword"},
    Index{"idx_rss_user_def_title", "rss_user_def_title"},
    Index{"idx_rss_downloaded", "rss_downloaded"},
};

#define JOB(name) KORVO_FIELD(BtRssJobRecord, name)
constexpr unsigned change = on_add | on_set;
constexpr std::array job_columns{
    field(JOB(rss_job_id), "id", Kind::identifier),
    field(JOB(rss_job_name), "name", Kind::text, change | required | on_remove, "Name"),
    field(JOB(rss_job_filter), "filter", Kind::text, change, "What to download"),
    field(JOB(rss_job_exclusion_filter), "exclude", Kind::text, change, "What not to download"),
    field(JOB(rss_job_url_applied), "url", Kind::address, change | on_remove, "Address of the feed it is for"),
    field(JOB(rss_job_quality), "quality", Kind::number, change, "Quality code"),
    field(JOB(rss_job_interval), "interval", Kind::number, change, "Check interval"),
    field(JOB(rss_job_last_check), "last_check", Kind::seconds, change,
          "Time of the last check, in seconds since 1970"),
    field(JOB(rss_job_enable_episode), "episodes", Kind::number, change, "Episode switch"),
    field(JOB(rss_job_episode), "episode", Kind::text, change, "Episode, as text"),
};
#undef JOB

constexpr std::array job_indexes{
    Index{"idx_rss_job_id", "rss_job_id"},
    Index{"idx_rss_job_url_applied", "rss_job_url_applied"},
};

#define ACCOUNT(name) KORVO_FIELD(BtAccountRecord, name)
constexpr std::array account_columns{
    field(ACCOUNT(account_id), "id", Kind::identifier),
    field(ACCOUNT(account_host), "host", Kind::text, change | required | on_remove, "Host"),
    field(ACCOUNT(account_enable), "enable", Kind::number, change | on_remove, "Enable value (default: 1)"),
    field(ACCOUNT(account_user), "user", Kind::text, change | required, "User name"),
    field(ACCOUNT(account_pass), "password", Kind::password, on_set,
          "Ask for a new password, or read it from\nstandard input"),
};
#undef ACCOUNT

constexpr std::array account_indexes{
    Index{"idx_account_host", "account_host"},
    Index{"idx_account_enable", "account_enable"},
};

#define KORVO_CALL(name) #name, name
// A call that takes a record of its own type.
#define KORVO_RECORD_CALL(name, Record)                                                                                \
#name, [](const void *record) { return name(static_cast<const Record *>(record)); }

} // namespace

const Table bt_task_table{
    .name = "BT_TASK",
    .title = "BitTorrent task",
    .columns = bt_columns,
    .indexes = bt_indexes,
    .for_programs = "task status paused percent done wanted download_rate upload_rate position hash name",
    .for_people = "task status percent wanted download_rate upload_rate time_left peers position name",
    .order = "position, id",
    .record_size = sizeof(BtTaskRecord),
    .create = {KORVO_CALL(bt_db_create_tbl_task)},
    .add = {"bt_db_add_task",
            [](const void *record) {
                BtTaskRecord copy = *static_cast<const BtTaskRecord *>(record); // the library sets the marker in it
                return bt_db_add_task(&copy);
            }},
    .add_returns_id = true,
    .set = {"bt_db_update_task", set_bt_field},
    .remove = {KORVO_CALL(bt_db_del_task)},
};

const Table session_table{
    .name = "BT_SESSION",
    .title = "session",
    .columns = session_columns,
    .for_programs = "id downloaded uploaded download_rate upload_rate pause",
    .for_people = "id downloaded uploaded download_rate upload_rate pause",
    .order = "id",
    .record_size = sizeof(BtSessionRecord),
    .create = {KORVO_CALL(bt_db_create_tbl_session)},
};

const Table http_task_table{
    .name = "HTTP_FTP_TASK",
    .title = "HTTP/FTP task",
    .columns = http_columns,
    .indexes = http_indexes,
    .for_programs = "task status paused percent done wanted download_rate pid position error save_as address",
    .for_people = "task status percent wanted download_rate time_left position name",
    .order = "id",
    .record_size = sizeof(HttpFtpTaskRecord),
    .create = {KORVO_CALL(http_ftp_db_create_tbl_task)},
    .add = {KORVO_RECORD_CALL(http_ftp_db_add_task, HttpFtpTaskRecord)},
    .add_returns_id = true,
    .set = {KORVO_CALL(http_ftp_db_update_task_field_by_id)},
    .remove = {KORVO_CALL(http_ftp_db_del_task)},
};

const Table file_table{
    .name = "BT_FDATA",
    .title = "file",
    .columns = file_columns,
    .indexes = file_indexes,
    .for_programs = "index wanted command path",
    .for_people = "index wanted path",
    .order = "index, id",
    .record_size = sizeof(BtFileDataRecord),
    .task_column = "fdata_task_id",
    .create = {KORVO_CALL(bt_fdata_create_tbl)},
    .add = {KORVO_RECORD_CALL(bt_fdata_add, BtFileDataRecord)},
    .remove = {KORVO_CALL(bt_fdata_del)},
};

const Table info_table{
    .name = "BT_INFODATA",
    .title = "fact",
    .columns = info_columns,
    .indexes = info_indexes,
    .for_programs = "command sender pieces piece_length active_time seeding_time next_announce created creator hash "
                    "comment trackers error name",
    .for_people = "command pieces piece_length created error name",
    .order = "id",
    .record_size = sizeof(BtInfoDataRecord),
    .task_column = "infodata_task_id",
    .create = {KORVO_CALL(bt_infodata_create_tbl)},
    .add = {KORVO_RECORD_CALL(bt_infodata_add, BtInfoDataRecord)},
    .remove = {KORVO_CALL(bt_infodata_del)},
};

const Table rss_table{
    .name = "BT_RSS",
    .title = "item",
    .columns = rss_columns,
    .indexes = rss_indexes,
    .for_programs = "id downloaded url enclosure keyword feed title",
    .for_people = "id downloaded keyword feed title",
    .order = "id",
    .record_size = sizeof(BtRssRecord),
    .create = {KORVO_CALL(bt_rss_create_tbl)},
    .add = {KORVO_RECORD_CALL(bt_rss_add, BtRssRecord)},
    .add_returns_id = true,
    .set = {KORVO_CALL(bt_rss_update_field_by_id)},
    .remove = {KORVO_CALL(bt_rss_del)},
};

const Table job_table{
    .name = "BT_RSS_JOB",
    .title = "job",
    .columns = job_columns,
    .indexes = job_indexes,
    .for_programs = "id quality interval last_check episodes episode url filter exclude name",
    .for_people = "id quality interval last_check episodes filter exclude name",
    .order = "id",
    .record_size = sizeof(BtRssJobRecord),
    .create = {KORVO_CALL(bt_rss_job_create_tbl)},
    .add = {KORVO_RECORD_CALL(bt_rss_job_add, BtRssJobRecord)},
    .add_returns_id = true,
    .set = {KORVO_CALL(bt_rss_job_update_field_by_id)},
    .remove = {KORVO_CALL(bt_rss_job_del)},
};

const Table account_table{
    .name = "BT_ACCOUNT",
    .title = "account",
    .columns = account_columns,
    .indexes = account_indexes,
    .for_programs = "id enable host user password",
    .for_people = "id enable host user password",
    .order = "id",
    .record_size = sizeof(BtAccountRecord),
    .create = {KORVO_CALL(bt_account_create_tbl)},
    .add = {KORVO_RECORD_CALL(bt_account_add, BtAccountRecord)},
    .update = {"bt_account_update",
               [](const void *record, std::int32_t id) {
                   return bt_account_update(static_cast<const BtAccountRecord *>(record), id);
               }},
    .remove = {KORVO_CALL(bt_account_del)},
};

const Column *Table::find(std::string_view wanted) const {
    const auto found = std::ranges::find_if(columns, [=](const Column &column) {
        return column.title == wanted || (!column.name.empty() && column.name == wanted);
    });
    return found != columns.end() ? &*found : nullptr;
}

std::span<const Table *const> all_tables() {
    static constexpr std::array tables{&bt_task_table, &session_table, &http_task_table, &file_table,
                                       &info_table,    &rss_table,     &job_table,       &account_table};
    return tables;
}

const Table *find_table(std::string_view name) {
    const auto tables = all_tables();
    const auto found = std::ranges::find_if(tables, [=](const Table *table) { return table->name == name; });
    return found != tables.end() ? *found : nullptr;
}

std::string create_statement(const Table &table) {
    std::string out = concat("CREATE TABLE ", table.name, "(");
    for (const Column &column : table.columns) {
        if (!column.name.empty()) {
            out += concat(out.back() == '(' ? "" : ",", column.name,
                          column.kind == Kind::identifier ? " INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE"
                          : is_text(column.kind)          ? " TEXT"
                          : column.kind == Kind::real     ? " NUMERIC"
                                                          : " INTEGER");
        }
    }
    return out + ")";
}

std::string create_statement(const Table &table, const Index &index) {
    return concat("CREATE INDEX ", index.name, " on ", table.name, "(", index.column, ")");
}

} // namespace tqctl
