// tqctl files: the files of a torrent, and which of them are wanted.
#include "store/message_queue.h"
#include "tasks/commands.h"
#include "tasks/task.h"

#include <korvo_bt_conventions.h>

namespace tqctl {
namespace {

struct Options {
    List list;
    Selection want;
    Selection skip;
};

// The indexes of files that are selected; each single one must be there.
std::vector<std::int32_t> files_in(const Connection &database, const Task &task, const Selection &selection) {
    std::vector<std::int32_t> indexes;
    for (const IdentifierRange &range : selection) {
        Statement files(database,
                        "SELECT DISTINCT fdata_file_index FROM BT_FDATA WHERE fdata_task_id = ? AND "
                        "fdata_file_index BETWEEN ? AND ?",
                        {std::int64_t{task.id}, std::int64_t{range.first}, std::int64_t{range.last}});
        const std::size_t before = indexes.size();
        while (files.next()) {
            indexes.push_back(static_cast<std::int32_t>(files.number(0)));
        }
        if (indexes.size() == before) {
            throw Failure(Exit::not_there, concat(name_of(task), " has no file ", range.first,
                                                  range.first == range.last ? "" : " or after it"));
        }
    }
    return indexes;
}

void choose(const Options &options, const Task &task) {
    const Connection database = Connection::read();
    const auto wanted = files_in(database, task, options.want);
    const auto skipped = files_in(database, task, options.skip);
    require_writable();
    const auto mark = [&](const std::vector<std::int32_t> &indexes, std::int32_t value) {
        for (const std::int32_t index : indexes) {
            written(
                "bt_fdata_update_checked_by_task_id_and_file_index",
                [&] { return bt_fdata_update_checked_by_task_id_and_file_index(task.id, index, value); }, file_table);
        }
    };
    mark(wanted, TQ_FILE_WANTED);
    mark(skipped, TQ_FILE_UNWANTED);
    if (!tell_daemon(TQ_COMMAND_FILES_CHOSEN, task.id)) {
        warn("the choice is stored; no BitTorrent daemon listens now, it will see it when it starts");
    }
}

void add_choice_of_files(CLI::App &command, const char *name, const char *help, Selection &to) {
    const auto take = [&to, name](const std::string &word) {
        const auto ranges = read_selection(word);
        if (!ranges) {
            throw CLI::ValidationError(name, '"' + word + R"(" is no file's index, no range like 3-7 and not "all")");
        }
        to.insert(to.end(), ranges->begin(), ranges->end());
    };
    command.add_option_function<std::string>(name, take, help)->type_name("N,...");
}

} // namespace

void add_files_command(CLI::App &app) {
    CLI::App *command = app.add_subcommand("files", "List a torrent's files, or choose among them");
    command->footer("--want and --skip take indexes from the list: 3, 0-7, 1,4, all. A file may be\n"
                    "listed several times, under different commands of the daemon's.");
    const auto options = std::make_shared<Options>();
    const auto words = add_tasks(*command, &bt_task_table);
    add_choice_of_files(*command, "--want", "Download these files", options->want);
    add_choice_of_files(*command, "--skip", "Do not download these", options->skip);
    options->list.add_options(*command);
    const auto path = add_database(*command);
    command->callback([=] {
        const bool choosing = !options->want.empty() || !options->skip.empty();
        if (choosing && *path != device_database()) {
            throw CLI::ValidationError("files", "--want and --skip are for the device's own database");
        }
        const Connection database = Connection::read(*path);
        for (const Task &task : named_tasks(database, *words)) {
            if (choosing) {
                choose(*options, task);
            } else {
                options->list.print(database, {{&file_table, "fdata_task_id = ?", {std::int64_t{task.id}}}},
                                    defaults_of(file_table));
            }
        }
    });
}

} // namespace tqctl
