// HTTP/FTP tasks behind the commands for tasks.
#include "failure.h"
#include "tasks.h"
#include "text.h"

#include <memory>

namespace tqctl {
namespace {

using Value = FieldOption::Value;
using Record = HttpFtpTaskRecord;

// One field of a task that is there, from a record that holds the new value.
template <auto Member> std::int32_t set(std::int32_t id, std::uint32_t code, const Record &record) {
    return http_ftp_db_update_task_field_by_id(id, code, &(record.*Member));
}

std::int32_t set_rate(std::int32_t id, std::uint32_t code, const Record &record) {
    const std::int64_t rate = record.task_download_rate; // the library takes 64 bits of it here
    return http_ftp_db_update_task_field_by_id(id, code, &rate);
}

struct HttpField {
    FieldOption option;
    void (*take)(Record &record, const std::string &what, const std::string &value);
    std::uint32_t code = 0;
    std::int32_t (*set)(std::int32_t id, std::uint32_t code, const Record &record) = nullptr; // the add alone sets it
};

template <auto Member> constexpr HttpField field(const char *option, Value value, const char *help) {
    return {{option, value, help}, take<Member>};
}
template <auto Member>
constexpr HttpField field(const char *option, Value value, const char *help, std::uint32_t code) {
    return {{option, value, help}, take<Member>, code, set<Member>};
}

constexpr std::array fields{
    field<&Record::task_state>("--state", Value::number, "State", HTTP_FTP_TASK_FIELD_STATE),
    field<&Record::task_progress>("--progress", Value::number, "Progress", HTTP_FTP_TASK_FIELD_PROGRESS),
    field<&Record::task_total_downloaded>("--done", Value::number, "Amount of wanted data done",
                                          HTTP_FTP_TASK_FIELD_TOTAL_DOWNLOADED),
    field<&Record::task_total_size>("--wanted", Value::number, "Amount of data wanted", HTTP_FTP_TASK_FIELD_TOTAL_SIZE),
    HttpField{{"--download-rate", Value::number, "Current download rate"},
              take<&Record::task_download_rate>,
              HTTP_FTP_TASK_FIELD_DOWNLOAD_RATE,
              set_rate},
    field<&Record::task_start_time>("--start-time", Value::text, "Start time", HTTP_FTP_TASK_FIELD_START_TIME),
    field<&Record::task_finish_time>("--finish-time", Value::text, "Finish time", HTTP_FTP_TASK_FIELD_FINISH_TIME),
    field<&Record::task_time_left>("--time-left", Value::text, "Time left", HTTP_FTP_TASK_FIELD_TIME_LEFT),
    field<&Record::task_is_paused>("--paused", Value::flag, "The task is paused", HTTP_FTP_TASK_FIELD_IS_PAUSED),
    field<&Record::task_type>("--type", Value::number, "Type"),
    field<&Record::task_move_folder>("--folder", Value::text, "Folder for finished data",
                                     HTTP_FTP_TASK_FIELD_MOVE_FOLDER),
    field<&Record::task_queue_position>("--position", Value::number, "Place in the queue",
                                        HTTP_FTP_TASK_FIELD_QUEUE_POSITION),
    field<&Record::task_savename>("--save-as", Value::text, "Name for the saved file (default: from\nthe address)",
                                  HTTP_FTP_TASK_FIELD_SAVENAME),
    field<&Record::task_username>("--user", Value::text, "User name at the source"),
    field<&Record::task_password>("--password", Value::password,
                                  "Ask for the password at the source, or read\nit from standard input"),
    field<&Record::task_pid>("--pid", Value::number, "Process that downloads it, 0 for none", HTTP_FTP_TASK_FIELD_PID),
    field<&Record::task_errcode>("--error", Value::number, "The downloader's error code", HTTP_FTP_TASK_FIELD_ERRCODE),
    field<&Record::task_filename>("--address", Value::text, "Source address", HTTP_FTP_TASK_FIELD_FILENAME),
};

std::vector<FieldOption> add_options() {
    std::vector<FieldOption> options = options_of(fields);
    options.pop_back(); // the address is an argument of its own
    return options;
}

std::vector<FieldOption> set_options() {
    std::vector<FieldOption> options;
    for (const HttpField &each : fields) {
        if (each.set != nullptr) {
            options.push_back(each.option);
        }
    }
    return options;
}

void take_address(Record &record, const std::string &what, const std::string &address) {
    if (!is_http_ftp_address(address)) {
        throw CLI::ValidationError(what, "not an http, https or ftp address");
    }
    fill(what, record.task_filename, address);
}

std::function<std::int32_t()> prepare(const std::string &address, const Given &given) {
    const auto record = std::make_shared<Record>();
    record->task_state = HTTP_FTP_TASK_STATE_QUEUED;
    for (const auto &[option, value] : given) {
        field_of(fields, http_tasks, option).take(*record, option, value);
    }
    take_address(*record, "ADDRESS", address);
    if (!has(given, "--start-time")) {
        fill("--start-time", record->task_start_time, local_time());
    }
    return [record] { return http_ftp_db_add_task(record.get()); };
}

std::vector<FieldChange> changes(std::int32_t id, const Given &given) {
    const auto record = std::make_shared<Record>();
    std::vector<FieldChange> all;
    for (const auto &[option, value] : given) {
        const HttpField &found = field_of(fields, http_tasks, option);
        found.take(*record, option, value);
        if (option == "--address") {
            take_address(*record, option, value);
        }
        all.push_back({option, "http_ftp_db_update_task_field_by_id",
                       [=, &found] { return found.set(id, found.code, *record); }});
    }
    return all;
}

// ---- Reading

Record record_of(std::int32_t id) {
    Record record{};
    checked("http_ftp_db_query_data_by_task_id", http_ftp_db_query_data_by_task_id(id, &record), http_ftp_task_store,
            named(http_tasks, id));
    return record;
}

Rows list(std::int32_t start, std::int32_t end, std::int32_t filter) {
    Rows rows;
    const std::int32_t result = http_ftp_db_query_task(nullptr, Rows::collect, 0, start, end, filter, &rows);
    rows.rethrow_failure();
    checked("http_ftp_db_query_task", result, http_ftp_task_store);
    return rows;
}

const std::vector<Column> columns{
    {"id", "task_id", Kind::number},
    {"state", "task_state", Kind::number, Audience::programs},
    {"status", "status", Kind::text, Audience::people},
    {"paused", "task_is_paused", Kind::flag, Audience::programs},
    {"progress", "task_progress", Kind::number, Audience::programs},
    {"done", "task_total_downloaded", Kind::share, Audience::people, "task_total_size"},
    {"done", "task_total_downloaded", Kind::number, Audience::programs},
    {"wanted", "task_total_size", Kind::number, Audience::programs},
    {"download_rate", "task_download_rate", Kind::number, Audience::programs},
    {"down", "task_download_rate", Kind::number, Audience::people},
    {"pid", "task_pid", Kind::number},
    {"type", "task_type", Kind::number, Audience::programs},
    {"position", "task_queue_position", Kind::number, Audience::programs},
    {"error", "task_errcode", Kind::number},
    {"start_time", "task_start_time", Kind::text, Audience::seekers},
    {"finish_time", "task_finish_time", Kind::text, Audience::seekers},
    {"time_left", "task_time_left", Kind::text, Audience::seekers},
    {"user", "task_username", Kind::text, Audience::seekers},
    {"password", "task_password", Kind::text, Audience::seekers},
    {"folder", "task_move_folder", Kind::text, Audience::seekers},
    {"save_as", "task_savename", Kind::text, Audience::programs},
    {"address", "task_filename", Kind::text},
};

std::int32_t count(std::int32_t filter) {
    return checked("http_ftp_db_query_task_count", http_ftp_db_query_task_count(filter), http_ftp_task_store);
}

void forget(std::int32_t id) {
    checked("http_ftp_db_del_task", http_ftp_db_del_task(HTTP_FTP_TASK_FIELD_ID, &id), http_ftp_task_store);
}

// Changes a column's values in the rows of HTTP/FTP tasks.
template <class Function> void change_values(Rows &rows, std::string_view column, const Function &changed) {
    const std::size_t position = rows.position(column);
    const std::size_t kind = rows.position("kind");
    for (Row &row : rows.rows) {
        const bool http = kind == rows.names.size() || row[kind] == http_tasks.name;
        if (http && position < row.size() && row[position]) {
            row[position] = changed(*row[position]);
        }
    }
}

} // namespace

const TaskKind http_tasks = {
    .name = "http",
    .title = "HTTP/FTP task",
    .store = &http_ftp_task_store,
    .add_options = add_options,
    .set_options = set_options,
    .prepare = prepare,
    .add_operation = "http_ftp_db_add_task",
    .changes = changes,
    .list = list,
    .read = [](std::int32_t id) { return rows_of(record_of(id)); },
    .columns = &columns,
    .count = count,
    .require = [](std::int32_t id) { record_of(id); },
    .forget = forget,
    .selectable = {[] { return list(0, 0, 0); }, "task_id", [](std::int32_t id) { record_of(id); }},
};

Rows rows_of(const Record &task) {
    Rows rows;
    Row &row = rows.rows.emplace_back();
    const auto add = [&](const char *name, std::string value) {
        rows.names.emplace_back(name);
        row.emplace_back(std::move(value));
    };
    add("task_id", std::to_string(task.task_id));
    add("task_pid", std::to_string(task.task_pid));
    add("task_filename", task.task_filename);
    add("task_state", std::to_string(task.task_state));
    add("task_progress", std::to_string(task.task_progress));
    add("task_total_size", std::to_string(task.task_total_size));
    add("task_total_downloaded", std::to_string(task.task_total_downloaded));
    add("task_download_rate", std::to_string(task.task_download_rate));
    add("task_start_time", task.task_start_time);
    add("task_finish_time", task.task_finish_time);
    add("task_time_left", task.task_time_left);
    add("task_is_paused", std::to_string(task.task_is_paused));
    add("task_type", std::to_string(task.task_type));
    add("task_username", task.task_username);
    add("task_password", task.task_password);
    add("task_errcode", std::to_string(task.task_errcode));
    add("task_move_folder", task.task_move_folder);
    add("task_savename", task.task_savename);
    add("task_queue_position", std::to_string(task.task_queue_position));
    return rows;
}

bool is_http_ftp_address(std::string_view text) {
    const std::size_t colon = text.find("://");
    if (colon == std::string_view::npos || colon + 3 == text.size()) {
        return false;
    }
    const std::string scheme = CLI::detail::to_lower(std::string(text.substr(0, colon)));
    return scheme == "http" || scheme == "https" || scheme == "ftp" || scheme == "ftps";
}

void mask_http_tasks(Rows &rows) {
    if (rows.position("kind") != rows.names.size()) {
        change_values(rows, "task_torrent_name", without_password);
    } else {
        mask(rows, "task_password");
        change_values(rows, "task_filename", without_password);
    }
}

} // namespace tqctl
