// BitTorrent tasks behind the commands for tasks.
#include "failure.h"
#include "magnet.h"
#include "tasks.h"

#include <charconv>
#include <cmath>
#include <memory>

namespace tqctl {
namespace {

using Value = FieldOption::Value;
using Record = BtTaskRecord;

std::string required_hash(const std::string &what, const std::string &text) {
    const auto hash = info_hash(text);
    if (!hash) {
        throw CLI::ValidationError(what, "\"" + text + "\" is neither 40 hexadecimal digits nor 32 of base32");
    }
    return *hash;
}

void take_hash(Record &record, const std::string &what, const std::string &value) {
    fill(what, record.task_hash, required_hash(what, value));
}

void take_rating(Record &record, const std::string &what, const std::string &value) {
    const char *end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, record.task_rating);
    if (error != std::errc() || stop != end || !std::isfinite(record.task_rating)) {
        throw CLI::ValidationError(what, "\"" + value + "\" is not a finite number");
    }
}

constexpr std::array fields{
    Field<Record>{{"--name", Value::text, "Torrent name"}, take<&Record::task_torrent_name>},
    Field<Record>{{"--hash", Value::text, "Info-hash, hexadecimal or base32"}, take_hash},
    Field<Record>{{"--file", Value::text, "Path of the task's own file"}, take<&Record::task_filename>},
    Field<Record>{{"--folder", Value::text, "Folder for finished data"}, take<&Record::task_move_folder>},
    Field<Record>{{"--tracker", Value::text, "Tracker in use"}, take<&Record::task_current_tracker>},
    Field<Record>{{"--state", Value::number, "State"}, take<&Record::task_state>},
    Field<Record>{{"--progress", Value::number, "Progress"}, take<&Record::task_progress>},
    Field<Record>{{"--done", Value::number, "Amount of wanted data done"}, take<&Record::task_total_wanted_done>},
    Field<Record>{{"--wanted", Value::number, "Amount of data wanted"}, take<&Record::task_total_wanted>},
    Field<Record>{{"--downloaded", Value::number, "Total downloaded"}, take<&Record::task_all_time_download>},
    Field<Record>{{"--uploaded", Value::number, "Total uploaded"}, take<&Record::task_all_time_upload>},
    Field<Record>{{"--download-rate", Value::number, "Current download rate"}, take<&Record::task_download_rate>},
    Field<Record>{{"--upload-rate", Value::number, "Current upload rate"}, take<&Record::task_upload_rate>},
    Field<Record>{{"--peers", Value::number, "Number of peers"}, take<&Record::task_num_peers>},
    Field<Record>{{"--seeds", Value::number, "Number of seeds"}, take<&Record::task_num_seeds>},
    Field<Record>{{"--block-size", Value::number, "Block size"}, take<&Record::task_block_size>},
    Field<Record>{{"--num-pieces", Value::number, "Number of pieces"}, take<&Record::task_num_pieces>},
    Field<Record>{{"--announce", Value::number, "Tracker announce interval"}, take<&Record::task_announce_interval>},
    Field<Record>{{"--position", Value::number, "Place in the queue"}, take<&Record::task_queue_position>},
    Field<Record>{{"--type", Value::number, "Type"}, take<&Record::task_type>},
    Field<Record>{{"--pieces", Value::text, "Pieces, as text"}, take<&Record::task_pieces>},
    Field<Record>{{"--start-time", Value::text, "Start time"}, take<&Record::task_start_time>},
    Field<Record>{{"--finish-time", Value::text, "Finish time"}, take<&Record::task_finish_time>},
    Field<Record>{{"--time-left", Value::text, "Time left"}, take<&Record::task_time_left>},
    Field<Record>{{"--rating", Value::text, "Rating"}, take_rating},
    Field<Record>{{"--paused", Value::flag, "The task is paused"}, take<&Record::task_is_paused>},
};

void take_magnet(Record &record, const std::string &link, const Given &given) {
    const auto [magnet, fault] = read_magnet(link);
    if (fault != nullptr) {
        throw CLI::ValidationError("ADDRESS", fault);
    }
    fill("ADDRESS", record.task_magnet_link, link);
    if (!has(given, "--hash")) {
        fill("ADDRESS", record.task_hash, magnet.hash);
    }
    if (!has(given, "--name")) {
        fill("ADDRESS", record.task_torrent_name, magnet.name.empty() ? magnet.hash : magnet.name);
    }
}

std::function<std::int32_t()> prepare(const std::string &magnet, const Given &given) {
    const auto record = std::make_shared<Record>();
    for (const auto &[option, value] : given) {
        field_of(fields, bt_tasks, option).take(*record, option, value);
    }
    if (!magnet.empty()) {
        take_magnet(*record, magnet, given);
    }
    if (record->task_torrent_name[0] == '\0') {
        throw CLI::ValidationError("add", "needs a magnet link, an address or --name");
    }
    if (!has(given, "--start-time")) {
        fill("--start-time", record->task_start_time, local_time());
    }
    return [record] { return bt_db_add_task(record.get()); };
}

// ---- set

std::vector<FieldOption> set_options() {
    return {{"--folder", Value::text, "Folder for finished data; \"\" for none"},
            {"--hash", Value::text, "Info-hash, hexadecimal or base32"},
            {"--marker", Value::number, "Marker, from 0"}};
}

std::vector<FieldChange> changes(std::int32_t id, const Given &given) {
    std::vector<FieldChange> all;
    for (const auto &[option, value] : given) {
        if (option == "--folder") {
            require_fit(option, value, Record{}.task_move_folder);
            all.push_back({option, "bt_db_update_task_move_folder_by_task_id", [id, folder = value] {
                               return bt_db_update_task_move_folder_by_task_id(id, folder.c_str());
                           }});
        } else if (option == "--hash") {
            all.push_back({option, "bt_db_update_task_hash_by_task_id", [id, hash = required_hash(option, value)] {
                               return bt_db_update_task_hash_by_task_id(id, hash.c_str());
                           }});
        } else if (option == "--marker") {
            const auto marker = static_cast<std::int32_t>(read_number(option, value, 0, INT32_MAX));
            all.push_back(
                {option, "bt_db_update_recode_by_task_id", [=] { return bt_db_update_recode_by_task_id(id, marker); }});
        } else {
            throw CLI::ValidationError(option, "not an option for " + std::string(bt_tasks.title) + "s");
        }
    }
    return all;
}

// ---- Reading

void require(std::int32_t id) {
    Record record{};
    checked("bt_db_query_data_by_task_id", bt_db_query_data_by_task_id(id, &record), bt_task_store,
            named(bt_tasks, id));
}

// A row rather than the record, in which longer texts would be cut and the rating rounded.
Rows read(std::int32_t id) {
    Rows rows;
    const std::int32_t result = bt_db_query_data_by_task_id_with_callback(Rows::collect, id, &rows);
    rows.rethrow_failure();
    if (result != 0 || rows.rows.empty()) {
        require(id); // says what is wrong
        throw Failure(Exit::failed, "tqctl: " + named(bt_tasks, id) + " could not be read at first; try again");
    }
    return rows;
}

Rows list(std::int32_t start, std::int32_t end, std::int32_t filter) {
    Rows rows;
    const std::int32_t result = bt_db_query_task(nullptr, Rows::collect, 0, start, end, filter, &rows);
    rows.rethrow_failure();
    checked("bt_db_query_task", result, bt_task_store);
    return rows;
}

const std::vector<Column> columns{
    {"id", "task_id", Kind::number},
    {"state", "task_state", Kind::number, Audience::programs},
    {"status", "status", Kind::text, Audience::people},
    {"paused", "task_is_paused", Kind::flag, Audience::programs},
    {"progress", "task_progress", Kind::number, Audience::programs},
    {"done", "task_total_wanted_done", Kind::share, Audience::people, "task_total_wanted"},
    {"done", "task_total_wanted_done", Kind::number, Audience::programs},
    {"wanted", "task_total_wanted", Kind::number, Audience::programs},
    {"download_rate", "task_download_rate", Kind::number, Audience::programs},
    {"down", "task_download_rate", Kind::number, Audience::people},
    {"upload_rate", "task_upload_rate", Kind::number, Audience::programs},
    {"up", "task_upload_rate", Kind::number, Audience::people},
    {"peers", "task_num_peers", Kind::number, Audience::people},
    {"position", "task_queue_position", Kind::number, Audience::programs},
    {"queue", "task_queue_position", Kind::number, Audience::people},
    {"hash", "task_hash", Kind::text, Audience::programs},
    {"file", "task_filename", Kind::text, Audience::seekers},
    {"tracker", "task_current_tracker", Kind::text, Audience::seekers},
    {"downloaded", "task_all_time_download", Kind::number, Audience::seekers},
    {"uploaded", "task_all_time_upload", Kind::number, Audience::seekers},
    {"seeds", "task_num_seeds", Kind::number, Audience::seekers},
    {"block_size", "task_block_size", Kind::number, Audience::seekers},
    {"pieces", "task_pieces", Kind::text, Audience::seekers},
    {"num_pieces", "task_num_pieces", Kind::number, Audience::seekers},
    {"announce", "task_announce_interval", Kind::number, Audience::seekers},
    {"start_time", "task_start_time", Kind::text, Audience::seekers},
    {"finish_time", "task_finish_time", Kind::text, Audience::seekers},
    {"rating", "task_rating", Kind::number, Audience::seekers},
    {"time_left", "task_time_left", Kind::text, Audience::seekers},
    {"folder", "task_move_folder", Kind::text, Audience::seekers},
    {"type", "task_type", Kind::number, Audience::seekers},
    {"magnet", "task_magnet_link", Kind::text, Audience::seekers},
    {"marker", "task_record", Kind::number, Audience::seekers},
    {"name", "task_torrent_name", Kind::text},
};

std::int32_t count(std::int32_t filter) {
    return checked("bt_db_query_task_count", bt_db_query_task_count(filter), bt_task_store);
}

void forget(std::int32_t id) {
    checked("bt_db_del_task", bt_db_del_task(0, &id), bt_task_store);
}

} // namespace

const TaskKind bt_tasks = {
    .name = "bt",
    .title = "BitTorrent task",
    .store = &bt_task_store,
    .add_options = [] { return options_of(fields); },
    .set_options = set_options,
    .prepare = prepare,
    .add_operation = "bt_db_add_task",
    .changes = changes,
    .list = list,
    .read = read,
    .columns = &columns,
    .count = count,
    .require = require,
    .forget = forget,
    .selectable = {[] { return list(0, 0, 0); }, "task_id", require},
};

// Hashes are stored in lower case by this tool, but other programs need not do so: the text is tried as it stands
// first.
std::int32_t bt_task_with_hash(const std::string &hash) {
    Record record{};
    constexpr const char *operation = "bt_db_query_data_by_task_hash";
    const std::string usual = info_hash(hash).value_or(hash);
    std::int32_t result = bt_db_query_data_by_task_hash(hash.c_str(), &record);
    if (result == BTDB_ERR_QUERY && usual != hash) {
        result = bt_db_query_data_by_task_hash(usual.c_str(), &record);
    }
    checked(operation, result, bt_task_store, "task with the hash " + hash);
    return record.task_id;
}

std::int32_t bt_task_with_name(const std::string &name) {
    Record record{};
    checked("bt_db_query_data_by_task_torrent_name", bt_db_query_data_by_task_torrent_name(name.c_str(), &record),
            bt_task_store, "task with the name \"" + name + "\"");
    return record.task_id;
}

} // namespace tqctl
