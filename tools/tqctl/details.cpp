// What the torrent daemon keeps beside its tasks: tqctl files, info, session.
#include "commands.h"
#include "failure.h"
#include "listing.h"
#include "stores.h"

#include <memory>

namespace tqctl {
namespace {

constexpr const char *group = "Details of torrents";

// Ends the command when a task without rows is no task at all.
void require_task(std::int32_t id) {
    BtTaskRecord record{};
    checked("bt_db_query_data_by_task_id", bt_db_query_data_by_task_id(id, &record), bt_task_store,
            "task " + std::to_string(id));
}

struct DetailOptions {
    explicit DetailOptions(const std::vector<Column> &columns) : listing(columns) {}

    Listing listing;
    std::int32_t id = 0;
};

std::shared_ptr<DetailOptions> add_detail_options(CLI::App &command, const std::vector<Column> &columns) {
    auto options = std::make_shared<DetailOptions>(columns);
    add_number(
        command, "ID", "The task's identifier", [options](std::int32_t id) { options->id = id; }, 0)
        ->required();
    options->listing.add_options(command);
    return options;
}

// Lists the rows of one task whatever their command, which no listing of the library does by itself.
void print_rows_of_task(const DetailOptions &options, const char *operation, const Store &store, int task_column,
                        std::int32_t (*list)(const char *, TqRowCallback, void *)) {
    require_database();
    RowsWith rows(task_column, std::to_string(options.id));
    const std::int32_t result = list(nullptr, RowsWith::collect, &rows);
    rows.rethrow_failure();
    checked(operation, result, store);
    if (rows.rows.empty()) {
        require_task(options.id);
    }
    options.listing.print(rows);
}

void add_files(CLI::App &app) {
    static const std::vector<Column> columns{
        {"id", "fdata_id", Kind::number, Audience::seekers}, {"task", "fdata_task_id", Kind::number, Audience::seekers},
        {"index", "fdata_file_index", Kind::number},         {"checked", "fdata_checked", Kind::number},
        {"command", "fdata_command", Kind::number},          {"path", "fdata_file_path", Kind::text},
    };
    CLI::App *command = app.add_subcommand("files", "List the files of one task");
    command->group(group);
    command->footer("A file may be there several times, under different commands.");
    const auto options = add_detail_options(*command, columns);
    command->callback(
        [options] { print_rows_of_task(*options, "bt_fdata_query_all", file_store, 2, bt_fdata_query_all); });
}

void add_info(CLI::App &app) {
    static const std::vector<Column> columns{
        {"id", "infodata_id", Kind::number, Audience::seekers},
        {"task", "infodata_task_id", Kind::number, Audience::seekers},
        {"command", "infodata_command", Kind::number},
        {"sender", "infodata_sender_pid", Kind::number},
        {"pieces", "infodata_num_pieces", Kind::number},
        {"piece_length", "infodata_piece_length", Kind::number},
        {"active_time", "infodata_active_time", Kind::number, Audience::programs},
        {"seeding_time", "infodata_seeding_time", Kind::number, Audience::programs},
        {"next_announce", "infodata_next_announce", Kind::text, Audience::programs},
        {"created", "infodata_creation_date", Kind::text},
        {"creator", "infodata_creator", Kind::text, Audience::programs},
        {"hash", "infodata_infohash", Kind::text, Audience::programs},
        {"comment", "infodata_comment", Kind::text, Audience::programs},
        {"trackers", "infodata_trackers", Kind::text, Audience::programs},
        {"error", "infodata_error", Kind::text},
        {"name", "infodata_name", Kind::text},
    };
    CLI::App *command = app.add_subcommand("info", "List the facts of one task's torrent");
    command->group(group);
    command->footer("A line for each program that has written some. A terminal shows the most telling\n"
                    "columns; --columns and --json show the others.");
    const auto options = add_detail_options(*command, columns);
    command->callback(
        [options] { print_rows_of_task(*options, "bt_infodata_query_all", info_store, 2, bt_infodata_query_all); });
}

void add_session(CLI::App &app) {
    static const std::vector<Column> columns{
        {"id", "session_id", Kind::number},           {"downloaded", "total_download", Kind::number},
        {"uploaded", "total_upload", Kind::number},   {"download_rate", "download_rate", Kind::number},
        {"upload_rate", "upload_rate", Kind::number}, {"pause", "pause_all_time", Kind::number},
    };
    CLI::App *command = app.add_subcommand("session", "List the session totals");
    command->group(group);
    const auto listing = std::make_shared<Listing>(columns);
    listing->add_options(*command);
    listing->add_paging(*command, "Sessions on a page (default: 20)");
    command->callback([listing] {
        const auto [start, end] = listing->range();
        require_database();
        Rows rows;
        const std::int32_t result = bt_db_query_session(nullptr, Rows::collect, start, end, &rows);
        rows.rethrow_failure();
        checked("bt_db_query_session", result, session_store);
        listing->print(rows);
    });
}

} // namespace

void add_details_commands(CLI::App &app) {
    add_files(app);
    add_info(app);
    add_session(app);
}

} // namespace tqctl
