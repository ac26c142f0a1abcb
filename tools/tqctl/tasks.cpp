// BitTorrent tasks: tqctl add, list, show, count, set, forget.
#include "commands.h"
#include "failure.h"
#include "fields.h"
#include "magnet.h"
#include "output.h"
#include "stores.h"
#include "table.h"

#include <array>
#include <cmath>
#include <ctime>
#include <limits>
#include <memory>
#include <optional>

namespace tqctl {
namespace {

std::string named(std::int32_t id) {
    return "task " + std::to_string(id);
}

// ---- Fields --------------------------------------------------------------------------------------------------------

std::string required_hash(const std::string &what, const std::string &text) {
    const auto hash = info_hash(text);
    if (!hash) {
        throw CLI::ValidationError(what, "\"" + text + "\" is neither 40 hexadecimal digits nor 32 of base32");
    }
    return *hash;
}

// ---- add -----------------------------------------------------------------------------------------------------------

struct NewTask {
    BtTaskRecord record{};
    std::string magnet;
    bool named = false;
    bool hashed = false;
    bool dated = false;
};

void set_now(BtTaskRecord &record) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    if (std::strftime(record.task_start_time, sizeof record.task_start_time, "%Y-%m-%d %H:%M:%S", &local) == 0) {
        throw Failure(Exit::failed, "tqctl: the clock's time cannot be written as a start time");
    }
}

void take_magnet(NewTask &task) {
    const auto [magnet, fault] = read_magnet(task.magnet);
    if (fault != nullptr) {
        throw CLI::ValidationError("MAGNET", fault);
    }
    fill("MAGNET", task.record.task_magnet_link, task.magnet);
    if (!task.hashed) {
        fill("MAGNET", task.record.task_hash, magnet.hash);
    }
    if (!task.named) {
        fill("MAGNET", task.record.task_torrent_name, magnet.name.empty() ? magnet.hash : magnet.name);
    }
}

void add(NewTask &task) {
    if (!task.magnet.empty()) {
        take_magnet(task);
    }
    if (task.record.task_torrent_name[0] == '\0') {
        throw CLI::ValidationError("add", "needs a magnet link or --name");
    }
    if (!task.dated) {
        set_now(task.record);
    }
    require_database();

    print_new_identifier("bt_db_add_task", bt_db_add_task(&task.record), bt_task_store, "task");
}

template <std::size_t Width>
void add_text_field(CLI::App &command, const std::shared_ptr<NewTask> &task, const char *option,
                    char (BtTaskRecord::*field)[Width], const char *help) {
    const auto take = [task, option, field](const std::string &value) { fill(option, task->record.*field, value); };
    command.add_option_function<std::string>(option, take, help);
}

void add_number_fields(CLI::App &command, const std::shared_ptr<NewTask> &task) {
    struct NumberField {
        const char *option;
        std::int32_t BtTaskRecord::*field;
        const char *help;
    };
    static constexpr std::array fields{
        NumberField{"--state", &BtTaskRecord::task_state, "State"},
        NumberField{"--progress", &BtTaskRecord::task_progress, "Progress"},
        NumberField{"--done", &BtTaskRecord::task_total_wanted_done, "Amount of wanted data done"},
        NumberField{"--wanted", &BtTaskRecord::task_total_wanted, "Amount of data wanted"},
        NumberField{"--downloaded", &BtTaskRecord::task_all_time_download, "Total downloaded"},
        NumberField{"--uploaded", &BtTaskRecord::task_all_time_upload, "Total uploaded"},
        NumberField{"--download-rate", &BtTaskRecord::task_download_rate, "Current download rate"},
        NumberField{"--upload-rate", &BtTaskRecord::task_upload_rate, "Current upload rate"},
        NumberField{"--peers", &BtTaskRecord::task_num_peers, "Number of peers"},
        NumberField{"--seeds", &BtTaskRecord::task_num_seeds, "Number of seeds"},
        NumberField{"--block-size", &BtTaskRecord::task_block_size, "Block size"},
        NumberField{"--num-pieces", &BtTaskRecord::task_num_pieces, "Number of pieces"},
        NumberField{"--announce", &BtTaskRecord::task_announce_interval, "Tracker announce interval"},
        NumberField{"--position", &BtTaskRecord::task_queue_position, "Place in the queue; lists sort by it"},
        NumberField{"--type", &BtTaskRecord::task_type, "Type"},
    };
    for (const NumberField &described : fields) {
        const auto take = [task, field = described.field](std::int32_t number) { task->record.*field = number; };
        add_number(command, described.option, described.help, take, std::numeric_limits<std::int32_t>::min());
    }
}

void add_add(CLI::App &app) {
    CLI::App *command = app.add_subcommand("add", "Add a task, from a magnet link or from its fields");
    command->group("BitTorrent tasks");
    command->footer("Prints the new task's identifier. Name and hash come from the magnet link unless\n"
                    "options give them; a link without a name gives its hash as the name. Fields not\n"
                    "given are 0 or empty. What the numbers count is up to the download programs.");
    const auto task = std::make_shared<NewTask>();
    command->add_option("MAGNET", task->magnet, "Magnet link, stored whole");
    const auto take_name = [task](const std::string &name) {
        fill("--name", task->record.task_torrent_name, name);
        task->named = true;
    };
    command->add_option_function<std::string>("--name", take_name, "Torrent name");
    const auto take_hash = [task](const std::string &hash) {
        fill("--hash", task->record.task_hash, required_hash("--hash", hash));
        task->hashed = true;
    };
    command->add_option_function<std::string>("--hash", take_hash, "Info-hash, hexadecimal or base32");
    add_text_field(*command, task, "--file", &BtTaskRecord::task_filename, "Path of the task's own file");
    add_text_field(*command, task, "--folder", &BtTaskRecord::task_move_folder, "Folder for finished data");
    add_text_field(*command, task, "--tracker", &BtTaskRecord::task_current_tracker, "Tracker in use");
    add_number_fields(*command, task);
    add_text_field(*command, task, "--pieces", &BtTaskRecord::task_pieces, "Pieces, as text");
    const auto take_start = [task](const std::string &time) {
        fill("--start-time", task->record.task_start_time, time);
        task->dated = true;
    };
    command->add_option_function<std::string>("--start-time", take_start, "Start time (default: now)");
    add_text_field(*command, task, "--finish-time", &BtTaskRecord::task_finish_time, "Finish time");
    add_text_field(*command, task, "--time-left", &BtTaskRecord::task_time_left, "Time left");
    const auto finite = [](const float rating) {
        return std::isfinite(rating) ? rating : throw CLI::ValidationError("--rating", "is not a finite number");
    };
    const auto take_rating = [task, finite](const float &rating) { task->record.task_rating = finite(rating); };
    command->add_option_function<float>("--rating", take_rating, "Rating");
    command->add_flag_callback(
        "--paused", [task] { task->record.task_is_paused = 1; }, "The task is paused");
    command->callback([task] { add(*task); });
}

// ---- list, show, count ---------------------------------------------------------------------------------------------

struct Filter {
    const char *name;
    std::int32_t code;
};

constexpr std::array filters{
    Filter{"all", BT_TASK_FILTER_ALL},           Filter{"running", BT_TASK_FILTER_RUNNING},
    Filter{"finished", BT_TASK_FILTER_FINISHED}, Filter{"active", BT_TASK_FILTER_ACTIVE},
    Filter{"inactive", BT_TASK_FILTER_INACTIVE}, Filter{"paused", BT_TASK_FILTER_PAUSED},
    Filter{"state5", BT_TASK_FILTER_STATE_5},
};

void add_filter(CLI::App &command, std::function<void(std::int32_t)> take) {
    const auto find = [take = std::move(take)](const std::string &name) {
        for (const Filter &filter : filters) {
            if (name == filter.name) {
                return take(filter.code);
            }
        }
        throw CLI::ValidationError("--filter", "there is no filter \"" + name + "\"");
    };
    command
        .add_option_function<std::string>("--filter", find,
                                          "all, running, finished, active, inactive,\npaused or state5")
        ->type_name("NAME");
}

// Every column of BT_TASK under its own name.
const std::vector<Column> &task_fields() {
    static const std::vector<Column> fields = [] {
        std::vector<Column> columns;
        const auto add = [&](Kind kind, std::initializer_list<std::string_view> names) {
            for (const std::string_view name : names) {
                columns.push_back({name, name, kind, Audience::everyone, {}});
            }
        };
        add(Kind::number, {"task_id"});
        add(Kind::text, {"task_torrent_name", "task_filename", "task_current_tracker"});
        add(Kind::number, {"task_state", "task_progress", "task_total_wanted_done", "task_total_wanted",
                           "task_all_time_download", "task_all_time_upload", "task_download_rate", "task_upload_rate",
                           "task_num_peers", "task_num_seeds", "task_block_size"});
        add(Kind::text, {"task_pieces"});
        add(Kind::number, {"task_num_pieces", "task_announce_interval"});
        add(Kind::text, {"task_start_time", "task_finish_time"});
        add(Kind::number, {"task_rating"});
        add(Kind::text, {"task_time_left"});
        add(Kind::number, {"task_is_paused", "task_queue_position"});
        add(Kind::text, {"task_move_folder", "task_hash"});
        add(Kind::number, {"task_type"});
        add(Kind::text, {"task_magnet_link"});
        add(Kind::number, {"task_record"});
        return columns;
    }();
    return fields;
}

// For programs: these columns stay as they are; new ones would go to the end of the line.
const std::vector<Column> &plain_columns() {
    static const std::vector<Column> columns{
        {"id", "task_id", Kind::number},
        {"state", "task_state", Kind::number},
        {"paused", "task_is_paused", Kind::number},
        {"progress", "task_progress", Kind::number},
        {"done", "task_total_wanted_done", Kind::number},
        {"wanted", "task_total_wanted", Kind::number},
        {"download_rate", "task_download_rate", Kind::number},
        {"upload_rate", "task_upload_rate", Kind::number},
        {"position", "task_queue_position", Kind::number},
        {"hash", "task_hash", Kind::text},
        {"name", "task_torrent_name", Kind::text},
    };
    return columns;
}

const std::vector<Column> &terminal_columns() {
    static const std::vector<Column> columns{
        {"ID", "task_id", Kind::number},
        {"NAME", "task_torrent_name", Kind::text},
        {"STATE", "task_state", Kind::number},
        {"PAUSED", "task_is_paused", Kind::flag},
        {"DONE", "task_total_wanted_done", Kind::share, Audience::people, "task_total_wanted"},
        {"DOWN", "task_download_rate", Kind::number},
        {"UP", "task_upload_rate", Kind::number},
        {"PEERS", "task_num_peers", Kind::number},
        {"QUEUE", "task_queue_position", Kind::number},
    };
    return columns;
}

struct ListOptions {
    std::int32_t filter = BT_TASK_FILTER_ALL;
    std::optional<std::int32_t> page;
    std::optional<std::int32_t> per_page;
    bool json = false;
};

void list(const ListOptions &options) {
    std::int64_t start = 0;
    std::int64_t end = 0; // both 0: everything
    if (options.page || options.per_page) {
        const std::int64_t rows = options.per_page.value_or(20);
        end = rows * options.page.value_or(1);
        start = end - rows;
        if (end > std::numeric_limits<std::int32_t>::max()) {
            throw CLI::ValidationError("--page", "lies beyond the last row that can be counted");
        }
    }
    require_database();

    Rows rows;
    const std::int32_t result = bt_db_query_task(nullptr, Rows::collect, 0, static_cast<std::int32_t>(start),
                                                 static_cast<std::int32_t>(end), options.filter, &rows);
    rows.rethrow_failure();
    checked("bt_db_query_task", result, bt_task_store);
    print(options.json           ? json_table(rows, task_fields())
          : output_is_terminal() ? terminal_table(rows, terminal_columns())
                                 : plain_table(rows, plain_columns()));
}

void add_list(CLI::App &app) {
    CLI::App *command = app.add_subcommand("list", "List tasks in the order of the queue");
    command->group("BitTorrent tasks");
    command->footer("On a terminal a table, else lines with TABs between the fields and the names of\n"
                    "the fields in the first one. Control characters in texts are shown escaped.");
    const auto options = std::make_shared<ListOptions>();
    add_filter(*command, [options](std::int32_t code) { options->filter = code; });
    add_number(
        *command, "--page", "Only this page, from 1", [options](std::int32_t n) { options->page = n; }, 1);
    add_number(
        *command, "--per-page", "Tasks on a page (default: 20)", [options](std::int32_t n) { options->per_page = n; },
        1);
    command->add_flag("--json", options->json, "A JSON array with every field of each task");
    command->callback([options] { list(*options); });
}

struct ShowOptions {
    std::optional<std::int32_t> id;
    std::optional<std::string> hash;
    std::optional<std::string> name;
    bool json = false;
};

// The identifier of the task that a text key names. Hashes are stored in lower case by this tool, but other programs
// need not do so: the text is tried as it stands first.
std::int32_t task_with_hash(const std::string &hash) {
    BtTaskRecord record{};
    constexpr const char *operation = "bt_db_query_data_by_task_hash";
    const std::string usual = info_hash(hash).value_or(hash);
    std::int32_t result = bt_db_query_data_by_task_hash(hash.c_str(), &record);
    if (result == BTDB_ERR_QUERY && usual != hash) {
        result = bt_db_query_data_by_task_hash(usual.c_str(), &record);
    }
    checked(operation, result, bt_task_store, "task with the hash " + hash);
    return record.task_id;
}

std::int32_t task_with_name(const std::string &name) {
    BtTaskRecord record{};
    checked("bt_db_query_data_by_task_torrent_name", bt_db_query_data_by_task_torrent_name(name.c_str(), &record),
            bt_task_store, "task with the name \"" + name + "\"");
    return record.task_id;
}

void require_task(std::int32_t id) {
    BtTaskRecord record{};
    checked("bt_db_query_data_by_task_id", bt_db_query_data_by_task_id(id, &record), bt_task_store, named(id));
}

void show(const ShowOptions &options) {
    if (options.id.has_value() + options.hash.has_value() + options.name.has_value() != 1) {
        throw CLI::ValidationError("show", "needs exactly one of ID, --hash and --name");
    }
    require_database();
    const std::int32_t id = options.hash   ? task_with_hash(*options.hash)
                            : options.name ? task_with_name(*options.name)
                                           : *options.id;

    // Rows rather than the record, in which longer texts would be cut and the rating rounded.
    Rows rows;
    const std::int32_t result = bt_db_query_data_by_task_id_with_callback(Rows::collect, id, &rows);
    rows.rethrow_failure();
    if (result != 0 || rows.rows.empty()) {
        require_task(id); // says what is wrong
        throw Failure(Exit::failed, "tqctl: " + named(id) + " could not be read at first; try again");
    }
    print(options.json           ? json_record(rows, task_fields())
          : output_is_terminal() ? terminal_record(rows, task_fields())
                                 : plain_record(rows, task_fields()));
}

void add_show(CLI::App &app) {
    CLI::App *command = app.add_subcommand("show", "Show every field of one task");
    command->group("BitTorrent tasks");
    command->footer("Of several tasks with the same hash or name, one is shown.");
    const auto options = std::make_shared<ShowOptions>();
    add_number(
        *command, "ID", "The task's identifier", [options](std::int32_t id) { options->id = id; }, 0);
    command->add_option("--hash", options->hash, "The task with this info-hash");
    command->add_option("--name", options->name, "The task with exactly this torrent name");
    command->add_flag("--json", options->json, "A JSON object");
    command->callback([options] { show(*options); });
}

std::int32_t counted(std::int32_t filter) {
    return checked("bt_db_query_task_count", bt_db_query_task_count(filter), bt_task_store);
}

void count(std::optional<std::int32_t> filter) {
    require_database();
    if (filter) {
        print(std::to_string(counted(*filter)) + "\n");
        return;
    }
    std::string lines;
    for (const Filter &each : filters) {
        lines += std::string(each.name) + "\t" + std::to_string(counted(each.code)) + "\n";
    }
    print(lines);
}

void add_count(CLI::App &app) {
    CLI::App *command = app.add_subcommand("count", "Count tasks");
    command->group("BitTorrent tasks");
    command->footer("With a filter the number alone; without one a line for each filter.");
    const auto filter = std::make_shared<std::optional<std::int32_t>>();
    add_filter(*command, [filter](std::int32_t code) { *filter = code; });
    command->callback([filter] { count(*filter); });
}

// ---- set, forget ---------------------------------------------------------------------------------------------------

struct SetOptions {
    std::int32_t id = 0;
    std::optional<std::string> folder;
    std::optional<std::string> hash;
    std::optional<std::int32_t> marker;
};

void set(const SetOptions &options) {
    if (!options.folder && !options.hash && !options.marker) {
        throw CLI::ValidationError("set", "needs at least one of --folder, --hash and --marker");
    }
    require_database();
    // An update does not tell a missing row from a failure.
    require_task(options.id);

    std::string changed;
    const auto done = [&](const char *what, const char *operation, std::int32_t result) {
        try {
            checked(operation, result, bt_task_store);
            changed += std::string(" ") + what;
        } catch (const Failure &failure) {
            throw Failure(failure.exit(), failure.what() + (changed.empty() ? "" : "; changed already:" + changed));
        }
    };
    if (options.folder) {
        done("folder", "bt_db_update_task_move_folder_by_task_id",
             bt_db_update_task_move_folder_by_task_id(options.id, options.folder->c_str()));
    }
    if (options.hash) {
        done("hash", "bt_db_update_task_hash_by_task_id",
             bt_db_update_task_hash_by_task_id(options.id, options.hash->c_str()));
    }
    if (options.marker) {
        done("marker", "bt_db_update_recode_by_task_id", bt_db_update_recode_by_task_id(options.id, *options.marker));
    }
}

void add_set(CLI::App &app) {
    CLI::App *command = app.add_subcommand("set", "Change single fields of one task");
    command->group("BitTorrent tasks");
    const auto options = std::make_shared<SetOptions>();
    add_number(
        *command, "ID", "The task's identifier", [options](std::int32_t id) { options->id = id; }, 0)
        ->required();
    const auto take_folder = [options](const std::string &folder) {
        require_fit("--folder", folder, BtTaskRecord{}.task_move_folder);
        options->folder = folder;
    };
    command->add_option_function<std::string>("--folder", take_folder, "Folder for finished data; \"\" for none");
    const auto take_hash = [options](const std::string &hash) { options->hash = required_hash("--hash", hash); };
    command->add_option_function<std::string>("--hash", take_hash, "Info-hash, hexadecimal or base32");
    add_number(
        *command, "--marker", "Marker, from 0", [options](std::int32_t n) { options->marker = n; }, 0);
    command->callback([options] { set(*options); });
}

void forget(std::int32_t id) {
    require_database();
    // Deleting what is not there is a success to the library.
    require_task(id);
    checked("bt_db_del_task", bt_db_del_task(0, &id), bt_task_store);
}

void add_forget(CLI::App &app) {
    CLI::App *command = app.add_subcommand("forget", "Delete the row of one task; files stay");
    command->group("BitTorrent tasks");
    const auto id = std::make_shared<std::int32_t>();
    add_number(
        *command, "ID", "The task's identifier", [id](std::int32_t n) { *id = n; }, 0)
        ->required();
    command->callback([id] { forget(*id); });
}

} // namespace

void add_task_commands(CLI::App &app) {
    add_add(app);
    add_list(app);
    add_show(app);
    add_count(app);
    add_set(app);
    add_forget(app);
}

} // namespace tqctl
