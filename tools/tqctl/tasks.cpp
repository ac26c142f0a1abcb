// Tasks of both kinds: tqctl add, list, show, count, set, remove, forget.
#include "tasks.h"

#include "failure.h"
#include "listing.h"
#include "output.h"
#include "password.h"

#include <array>
#include <cerrno>
#include <ctime>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>

namespace tqctl {

std::string local_time() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[32];
    if (std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local) == 0) {
        throw Failure(Exit::failed, "tqctl: the clock's time cannot be written as a start time");
    }
    return text;
}

void print_tasks(const TaskKind &kind, const Rows &rows, bool several, bool json) {
    std::vector<Column> fields;
    for (const std::string &name : rows.names) {
        const auto column = std::find_if(kind.columns->begin(), kind.columns->end(), [&](const Column &each) {
            return each.source == name && each.kind != Kind::share;
        });
        const Kind shown_as = column != kind.columns->end() ? column->kind : Kind::text; // another program's column
        fields.push_back({name, name, shown_as, Audience::everyone, {}});
    }
    print(!json ? records(rows, fields) : several ? json_table(rows, fields) : json_record(rows, fields));
}

namespace {

constexpr const char *help_group = "Tasks";
constexpr std::array kinds{&bt_tasks, &http_tasks};

// ---- Options -------------------------------------------------------------------------------------------------------

const TaskKind *kind_named(const std::string &name) {
    for (const TaskKind *kind : kinds) {
        if (name == kind->name) {
            return kind;
        }
    }
    throw CLI::ValidationError("--kind", "there is no kind of task \"" + name + "\"");
}

// For commands that are about one task.
std::shared_ptr<const TaskKind *> add_kind(CLI::App &command) {
    auto kind = std::make_shared<const TaskKind *>(&bt_tasks);
    const auto take_name = [kind](const std::string &name) { *kind = kind_named(name); };
    command.add_option_function<std::string>("--kind", take_name, "bt (default) or http")->type_name("NAME");
    return kind;
}

// For commands that are about many; all of them are nullptr.
std::shared_ptr<const TaskKind *> add_kind_or_all(CLI::App &command, std::function<void(const TaskKind *)> tell = {}) {
    auto kind = std::make_shared<const TaskKind *>(nullptr);
    const auto take_name = [kind, tell = std::move(tell)](const std::string &name) {
        *kind = name == "all" ? nullptr : kind_named(name);
        if (tell) {
            tell(*kind);
        }
    };
    command.add_option_function<std::string>("--kind", take_name, "bt, http or all (default)")->type_name("NAME");
    return kind;
}

struct Filter {
    const char *name;
    std::int32_t code;
};

// Codes 0 to 5 are those of both kinds. The last one selects BitTorrent tasks, and with them finished HTTP/FTP tasks in
// what tells of both kinds.
constexpr std::array filters{
    Filter{"all", BT_TASK_FILTER_ALL},           Filter{"running", BT_TASK_FILTER_RUNNING},
    Filter{"finished", BT_TASK_FILTER_FINISHED}, Filter{"active", BT_TASK_FILTER_ACTIVE},
    Filter{"inactive", BT_TASK_FILTER_INACTIVE}, Filter{"paused", BT_TASK_FILTER_PAUSED},
    Filter{"state5", BT_TASK_FILTER_STATE_5},
};

void require_served(const TaskKind *kind, std::int32_t filter) {
    if (kind == &http_tasks && filter == BT_TASK_FILTER_STATE_5) {
        throw CLI::ValidationError("--filter", "state5 is for BitTorrent tasks");
    }
}

} // namespace

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

namespace {

void add_option(CLI::App &command, const FieldOption &option, const std::shared_ptr<Given> &given,
                const std::string &group) {
    using Value = FieldOption::Value;
    const std::string name = option.name;
    if (option.value == Value::flag || option.value == Value::password) {
        command
            .add_flag_callback(
                name, [given, name] { given->emplace_back(name, "1"); }, option.help)
            ->group(group);
        return;
    }
    const auto take = [given, name](const std::string &value) { given->emplace_back(name, value); };
    command.add_option_function<std::string>(name, take, option.help)
        ->type_name(option.value == Value::number ? "N" : "TEXT")
        ->group(group);
}

// The options of both kinds; those of one kind alone in a group of their own.
void add_fields(CLI::App &command, const std::vector<FieldOption> &bt, const std::vector<FieldOption> &http,
                const std::shared_ptr<Given> &given) {
    const auto contains = [](const std::vector<FieldOption> &options, const FieldOption &option) {
        return std::any_of(options.begin(), options.end(),
                           [&](const FieldOption &each) { return std::string_view(each.name) == option.name; });
    };
    const auto add = [&](const std::vector<FieldOption> &options, const std::vector<FieldOption> &others, bool common,
                         const char *group) {
        for (const FieldOption &option : options) {
            if (contains(others, option) == common) {
                add_option(command, option, given, group);
            }
        }
    };
    add(bt, http, true, "Fields");
    add(bt, http, false, "Fields of BitTorrent tasks");
    add(http, bt, false, "Fields of HTTP/FTP tasks");
}

// ---- add -----------------------------------------------------------------------------------------------------------

struct AddOptions {
    std::string address;
    std::string input;
    std::shared_ptr<Given> given = std::make_shared<Given>();
};

// The kind of task that an address makes; without one it is told by its fields.
const TaskKind &kind_of(const std::string &address) {
    if (is_http_ftp_address(address)) {
        return http_tasks;
    }
    if (address.empty() || CLI::detail::to_lower(address.substr(0, 7)) == "magnet:") {
        return bt_tasks;
    }
    throw CLI::ValidationError("ADDRESS", "neither a magnet link nor an http, https or ftp address");
}

// One address a line, as download tools take it; empty lines and lines that begin with # are none.
std::vector<std::pair<std::size_t, std::string>> numbered_addresses(const std::string &file) {
    std::ifstream stream;
    if (file != "-") {
        stream.open(file);
        if (!stream) {
            throw Failure(Exit::failed, "tqctl: " + file + ": " + std::strerror(errno));
        }
    }
    std::istream &from = file == "-" ? std::cin : stream;
    std::vector<std::pair<std::size_t, std::string>> addresses;
    std::string line;
    for (std::size_t number = 1; std::getline(from, line); ++number) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (!line.empty() && line.front() != '#') {
            addresses.emplace_back(number, line);
        }
    }
    if (from.bad()) {
        throw Failure(Exit::failed, "tqctl: " + file + ": " + std::strerror(errno));
    }
    return addresses;
}

// A password is read when the rest has been understood, and once.
Given with_password(Given given) {
    for (auto &[option, value] : given) {
        if (option == "--password") {
            value = read_password("Password");
        }
    }
    return given;
}

void print_added(const TaskKind &kind, std::int32_t result, const std::string &before = {}) {
    print_new_identifier(kind.add_operation, result, *kind.store, std::string(kind.title), before);
}

// Every line is checked before the first task is added.
void add_all(const std::string &file, const Given &given) {
    const auto addresses = numbered_addresses(file);
    for (const auto &[number, address] : addresses) {
        try {
            if (address.find('\0') != std::string::npos) {
                throw CLI::ValidationError("ADDRESS", "holds a NUL character");
            }
            kind_of(address).prepare(address, given);
        } catch (const CLI::ValidationError &error) {
            throw CLI::ValidationError("--input", "line " + std::to_string(number) + ": " + error.what());
        }
    }
    require_database();
    for (const auto &[number, address] : addresses) {
        const TaskKind &kind = kind_of(address);
        print_added(kind, kind.prepare(address, given)(), std::string(kind.name) + "\t");
    }
}

void add(const AddOptions &options) {
    if (!options.input.empty()) {
        if (!options.address.empty()) {
            throw CLI::ValidationError("add", "takes an address or --input, not both");
        }
        add_all(options.input, with_password(*options.given));
        return;
    }
    const TaskKind &kind = kind_of(options.address);
    kind.prepare(options.address, *options.given);
    require_database();
    print_added(kind, kind.prepare(options.address, with_password(*options.given))());
}

void add_add(CLI::App &app) {
    CLI::App *command = app.add_subcommand("add", "Add tasks, from addresses or from fields");
    command->group(help_group);
    command->footer("Prints the new task's identifier; with --input a line for each: its kind, a TAB,\n"
                    "its identifier. A magnet link makes a BitTorrent task, an http, https or ftp\n"
                    "address an HTTP/FTP task, which is queued. Name and hash come from the magnet\n"
                    "link unless options give them; a link without a name gives its hash as the\n"
                    "name. The start time is now, other fields not given are 0 or empty. What the\n"
                    "numbers count is up to the download programs.");
    const auto options = std::make_shared<AddOptions>();
    command->add_option("ADDRESS", options->address, "Magnet link or address, stored whole");
    command
        ->add_option("--input", options->input,
                     "Add a task for each line of this file;\n- for standard input. Nothing is added\nwhen a line "
                     "is wrong")
        ->type_name("FILE");
    add_fields(*command, bt_tasks.add_options(), http_tasks.add_options(), options->given);
    command->callback([options] { add(*options); });
}

// ---- list, show, count ---------------------------------------------------------------------------------------------

} // namespace

// For programs the names and the order of these stay as they are.
const std::vector<Column> columns_of_both{
    {"kind", "kind", Kind::text},
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
    {"position", "task_queue_position", Kind::number, Audience::programs},
    {"error", "task_errcode", Kind::number, Audience::programs},
    {"start_time", "task_start_time", Kind::text, Audience::programs},
    {"finish_time", "task_finish_time", Kind::text, Audience::seekers},
    {"time_left", "task_time_left", Kind::text, Audience::seekers},
    {"rating", "task_rating", Kind::number, Audience::seekers},
    {"name", "task_torrent_name", Kind::text},
};

Rows tasks_of_both(std::int32_t start, std::int32_t end, std::int32_t filter) {
    Rows rows;
    const std::int32_t result = tq_db_query_task(nullptr, Rows::collect, 0, start, end, filter, &rows);
    rows.rethrow_failure();
    if (result != BTDB_OK) {
        checked("tq_db_query_task", result, bt_task_store.readable() ? http_ftp_task_store : bt_task_store);
    }
    if (!rows.names.empty()) { // the last two have no names of their own
        rows.names[14] = "task_errcode";
        rows.names[15] = "kind";
    }
    return rows;
}

namespace {

struct ListOptions {
    std::shared_ptr<const TaskKind *> kind;
    std::int32_t filter = BT_TASK_FILTER_ALL;
    Listing listing{columns_of_both};
    bool show_passwords = false;
};

void list(const ListOptions &options) {
    const TaskKind *kind = *options.kind;
    require_served(kind, options.filter);
    const auto [start, end] = options.listing.range();
    require_database();
    Rows rows = (kind != nullptr ? kind->list : tasks_of_both)(start, end, options.filter);
    if (kind != &bt_tasks && !options.show_passwords) {
        mask_http_tasks(rows);
    }
    if (!options.listing.json()) { // which has the fields of the table and no others
        add_status(rows, kind);
    }
    options.listing.print(rows);
}

void add_list(CLI::App &app) {
    CLI::App *command = app.add_subcommand("list", "List tasks");
    command->group(help_group);
    command->footer("Tasks of both kinds come in the order of their start times, BitTorrent tasks\n"
                    "alone in the order of the queue, HTTP/FTP tasks alone in no certain order.\n"
                    "On a terminal a table, else lines with TABs between the fields and the names of\n"
                    "the fields in the first one. Control characters in texts are shown escaped.");
    const auto options = std::make_shared<ListOptions>();
    options->kind = add_kind_or_all(*command, [options](const TaskKind *kind) {
        options->listing.use(kind != nullptr ? *kind->columns : columns_of_both);
    });
    add_filter(*command, [options](std::int32_t code) { options->filter = code; });
    options->listing.add_options(*command);
    options->listing.paint(status_color);
    options->listing.add_paging(*command, "Tasks on a page (default: 20)");
    command->add_flag("--show-passwords", options->show_passwords, "Show passwords rather than ********");
    command->callback([options] { list(*options); });
}

struct ShowOptions {
    std::shared_ptr<const TaskKind *> kind;
    std::shared_ptr<Selection> selection;
    std::optional<std::string> hash;
    std::optional<std::string> name;
    bool show_passwords = false;
    bool json = false;
};

Selection single(std::int32_t id) {
    return {{id, id}};
}

void show(const ShowOptions &options) {
    const TaskKind &kind = **options.kind;
    if (!options.selection->empty() + options.hash.has_value() + options.name.has_value() != 1) {
        throw CLI::ValidationError("show", "needs identifiers, --hash or --name, one of the three");
    }
    if (&kind != &bt_tasks && options.selection->empty()) {
        throw CLI::ValidationError("show", "--hash and --name are for BitTorrent tasks");
    }
    require_database();
    const Selection selection = options.hash   ? single(bt_task_with_hash(*options.hash))
                                : options.name ? single(bt_task_with_name(*options.name))
                                               : *options.selection;
    Rows rows;
    for (const std::int32_t id : chosen(selection, kind.selectable)) {
        Rows one = kind.read(id);
        rows.names = one.names;
        rows.rows.push_back(std::move(one.rows.front()));
    }
    if (&kind == &http_tasks && !options.show_passwords) {
        mask_http_tasks(rows);
    }
    print_tasks(kind, rows, selection.size() > 1 || selection[0].first != selection[0].last, options.json);
}

void add_show(CLI::App &app) {
    CLI::App *command = app.add_subcommand("show", "Show every field of tasks");
    command->group(help_group);
    command->footer("Of several tasks with the same hash or name, one is shown.");
    const auto options = std::make_shared<ShowOptions>();
    options->selection = add_selection(*command, "Identifiers: 3, 3-7, all", false);
    options->kind = add_kind(*command);
    command->add_option("--hash", options->hash, "The task with this info-hash");
    command->add_option("--name", options->name, "The task with exactly this torrent name");
    command->add_flag("--show-passwords", options->show_passwords, "Show passwords rather than ********");
    command->add_flag("--json", options->json, "A JSON object; for several tasks an array");
    command->callback([options] { show(*options); });
}

std::int32_t counted(const TaskKind *kind, std::int32_t filter) {
    if (kind != nullptr) {
        return kind->count(filter);
    }
    const bool pairs_with_finished = filter == BT_TASK_FILTER_STATE_5;
    return bt_tasks.count(filter) + http_tasks.count(pairs_with_finished ? HTTP_FTP_TASK_FILTER_FINISHED : filter);
}

void count(const TaskKind *kind, std::optional<std::int32_t> filter) {
    if (filter) {
        require_served(kind, *filter);
    }
    require_database();
    if (filter) {
        print(std::to_string(counted(kind, *filter)) + "\n");
        return;
    }
    std::string lines;
    for (const Filter &each : filters) {
        if (kind != &http_tasks || each.code != BT_TASK_FILTER_STATE_5) {
            lines += std::string(each.name) + "\t" + std::to_string(counted(kind, each.code)) + "\n";
        }
    }
    print(lines);
}

void add_count(CLI::App &app) {
    CLI::App *command = app.add_subcommand("count", "Count tasks");
    command->group(help_group);
    command->footer("With a filter the number alone; without one a line for each filter.");
    const auto kind = add_kind_or_all(*command);
    const auto filter = std::make_shared<std::optional<std::int32_t>>();
    add_filter(*command, [filter](std::int32_t code) { *filter = code; });
    command->callback([kind, filter] { count(*kind, *filter); });
}

// ---- set -----------------------------------------------------------------------------------------------------------

void set(const TaskKind &kind, const Selection &selection, const Given &given) {
    if (given.empty()) {
        throw CLI::ValidationError("set", "needs at least one field");
    }
    kind.changes(0, given); // for its checks, before anything happens
    require_database();
    for (const std::int32_t id : chosen(selection, kind.selectable)) {
        make(kind.changes(id, given), *kind.store);
    }
}

void add_set(CLI::App &app) {
    CLI::App *command = app.add_subcommand("set", "Change single fields of tasks");
    command->group(help_group);
    const auto given = std::make_shared<Given>();
    const auto selection = add_selection(*command, "Identifiers: 3, 3-7, all");
    const auto kind = add_kind(*command);
    add_fields(*command, bt_tasks.set_options(), http_tasks.set_options(), given);
    command
        ->add_flag_callback(
            "--resumed", [given] { given->emplace_back("--paused", "0"); }, "The task is not paused any more")
        ->group("Fields of HTTP/FTP tasks")
        ->excludes("--paused");
    command->callback([=] { set(**kind, *selection, *given); });
}

// ---- remove, forget ------------------------------------------------------------------------------------------------

void add_remove(CLI::App &app) {
    CLI::App *command = app.add_subcommand("remove", "Remove tasks with their files");
    command->group(help_group);
    command->footer("The row, the downloading process and the task's own files go; the data only with\n"
                    "--delete-data. A BitTorrent task takes three seconds.");
    const auto selection = add_selection(*command, "Identifiers: 3, 3-7, all");
    const auto kind = add_kind(*command);
    const auto options = std::make_shared<RemoveOptions>();
    command->add_flag("--delete-data", options->delete_data, "What it has downloaded goes too");
    command->add_flag("--dry-run", options->dry_run, "Only say what would go");
    command->add_flag("--yes", options->yes, "Do not ask");
    command->callback([=] {
        require_database();
        for (const std::int32_t id : chosen(*selection, (*kind)->selectable)) {
            remove_task(**kind, id, *options);
        }
    });
}

void add_forget(CLI::App &app) {
    CLI::App *command = app.add_subcommand("forget", "Delete the rows of tasks; files stay");
    command->group(help_group);
    const auto selection = add_selection(*command, "Identifiers: 3, 3-7, all");
    const auto kind = add_kind(*command);
    command->callback([=] {
        require_database();
        for (const std::int32_t id : chosen(*selection, (*kind)->selectable)) {
            (*kind)->forget(id);
        }
    });
}

} // namespace

void add_task_commands(CLI::App &app) {
    add_add(app);
    add_list(app);
    add_show(app);
    add_count(app);
    add_set(app);
    add_remove(app);
    add_forget(app);
}

} // namespace tqctl
