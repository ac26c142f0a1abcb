// tqctl remove, clear, forget.
//
// What would go is found by the library's own code, and looked at again afterwards: what stayed is said. A torrent's
// daemon is asked to let go first, so that it does not write again what was deleted.
#include "removal/delete_paths.h"
#include "store/message_queue.h"
#include "tasks/commands.h"
#include "tasks/task.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <future>
#include <iostream>
#include <korvo_bt_conventions.h>
#include <thread>
#include <unistd.h>

namespace tqctl {
namespace {

namespace fs = std::filesystem;

struct Options {
    bool delete_data = false;
    bool dry_run = false;
    bool yes = false;
};

// ---- What would go -------------------------------------------------------------------------------------------------

struct Plan {
    Task task;
    bool data_too = false;
    std::string name{}; // the torrent's, or the address
    std::int32_t pid = 0;
    std::vector<korvo::NamedPath> paths{}; // those with something there
};

std::string path_of(const korvo::NamedPath &path) {
    return path.kind == korvo::NamedPath::Kind::own_file ? std::string(path.name)
                                                         : concat("/share/", path.folder, "/", path.name);
}

template <class Paths> void take_paths(Plan &plan, const Paths &paths) {
    for (const korvo::NamedPath &path : paths) {
        const bool twice = std::ranges::any_of(
            plan.paths, [&](const korvo::NamedPath &other) { return path_of(other) == path_of(path); });
        if (!twice && korvo::find_path(path) != korvo::Found::nothing) {
            plan.paths.push_back(path);
        }
    }
}

Plan plan_for(const Task &task, bool data_too) {
    Plan plan{task, data_too};
    bool found = false;
    if (task.torrent()) {
        BtTaskRecord record;
        found = bt_db_query_data_by_task_id(task.id, &record) == BTDB_OK;
        if (found) {
            plan.name = record.task_torrent_name;
            if (data_too && record.task_total_wanted == 0) {
                warn(name_of(task) + " has no metadata yet: what has its name is something else and stays");
                plan.data_too = false;
            }
            take_paths(plan, korvo::torrent_paths(record, plan.data_too));
        }
    } else {
        HttpFtpTaskRecord record;
        found = http_ftp_db_query_data_by_task_id(task.id, &record) == BTDB_OK;
        if (found) {
            plan.name = without_passwords(record.task_filename);
            plan.pid = record.task_pid;
            take_paths(plan, korvo::download_paths(record, data_too));
        }
    }
    if (!found) {
        const Connection database = Connection::read(); // says why, if it knows
        throw has_row(database, *task.table, task.id)
            ? Failure(Exit::failed, name_of(task) + " could not be read by the library; try again")
            : no_such_row(*task.table, task.id);
    }
    return plan;
}

std::uintmax_t size_of(const fs::path &path) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(path, error);
    if (!fs::is_directory(status)) {
        return fs::is_regular_file(status) ? fs::file_size(path, error) : 0;
    }
    std::uintmax_t size = 0;
    for (auto at = fs::recursive_directory_iterator(path, fs::directory_options::skip_permission_denied, error);
         !error && at != fs::recursive_directory_iterator(); at.increment(error)) {
        const bool file = fs::is_regular_file(at->symlink_status(error));
        const std::uintmax_t more = file ? at->file_size(error) : 0;
        size += error ? 0 : more;
        error.clear();
    }
    return size;
}

std::string in_words(const Plan &plan, Charset charset) {
    std::string lines = "task\t" + name_of(plan.task) + "\t" + escaped(plan.name, charset) + "\n";
    lines += plan.pid > 0 ? concat("process\t", plan.pid, "\n") : "";
    for (const korvo::NamedPath &path : plan.paths) {
        const std::string name = path_of(path);
        const bool directory = korvo::find_path(path) == korvo::Found::directory;
        lines += (directory ? "directory\t" : "file\t") + escaped(name, charset) + "\t" +
                 human_bytes(static_cast<std::int64_t>(size_of(name))) + "\n";
    }
    return lines;
}

bool agreed(std::size_t tasks) {
    tell("Remove " + (tasks == 1 ? "this task" : concat("these ", tasks, " tasks")) + "? [y/N] ");
    std::string answer;
    std::getline(std::cin, answer);
    answer = lower(answer);
    return answer == "y" || answer == "yes";
}

// ---- Removing ------------------------------------------------------------------------------------------------------

// Asks the daemon to let go of torrents, and waits until it has or it is clear that none runs.
void release(const std::vector<Plan> &plans) {
    bool listening = false;
    for (const Plan &plan : plans) {
        if (plan.task.torrent()) {
            const std::int32_t id = plan.task.id;
            const std::int32_t marker = plan.data_too ? TQ_MARKER_REMOVE_WITH_DATA : TQ_MARKER_REMOVE;
            written(
                "bt_db_update_recode_by_task_id", [=] { return bt_db_update_recode_by_task_id(id, marker); },
                bt_task_table, id);
            listening |= tell_daemon(TQ_COMMAND_RELEASE, id, plan.data_too ? 1 : 0);
        }
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(TQ_RELEASE_WAIT_SECONDS);
    const auto held = [](const Connection &database, const Task &task) {
        return task.torrent() && Statement(database, "SELECT 1 FROM BT_TASK WHERE task_id = ? AND task_record <> ?",
                                           {std::int64_t{task.id}, std::int64_t{TQ_MARKER_RELEASED}})
                                     .next();
    };
    while (listening && std::chrono::steady_clock::now() < end) {
        const Connection database = Connection::read();
        listening = std::ranges::any_of(plans, [&](const Plan &plan) { return held(database, plan.task); });
        std::this_thread::sleep_for(std::chrono::milliseconds(listening ? 100 : 0));
    }
}

// What of a task is still there, in words; empty for nothing.
std::string left_of(const Connection &database, const Plan &plan) {
    std::string left;
    const auto add = [&](const std::string &what) { left += (left.empty() ? "" : ", ") + what; };
    if (has_row(database, *plan.task.table, plan.task.id)) {
        add("its row");
    }
    for (const Table *details : {&file_table, &info_table}) {
        if (plan.task.torrent() &&
            Statement(database, concat("SELECT 1 FROM ", details->name, " WHERE ", details->task_column, " = ?"),
                      {std::int64_t{plan.task.id}})
                .next()) {
            add(concat("rows of ", details->name, " (tqctl doctor --fix deletes them)"));
        }
    }
    for (const korvo::NamedPath &path : plan.paths) {
        if (korvo::find_path(path) != korvo::Found::nothing) {
            add(path_of(path));
        }
    }
    return left;
}

void remove_all(const std::vector<Plan> &plans) {
    constexpr std::size_t at_once = 16; // the removal of a torrent takes three seconds
    std::vector<std::future<std::int32_t>> running;
    const auto finish = [&] {
        for (auto &each : running) {
            each.wait(); // what stayed is looked at below, whatever the library says
        }
        running.clear();
    };
    for (const Plan &plan : plans) {
        if (!plan.task.torrent()) { // a downloader sees the process and then the row go, with little time between
            http_ftp_task_remove(plan.task.id, plan.data_too ? 1 : 0);
            continue;
        }
        running.push_back(std::async(std::launch::async, bt_task_remove, plan.task.id, plan.data_too ? 1 : 0));
        if (running.size() == at_once) {
            finish();
        }
    }
    finish();
    const Connection database = Connection::read();
    std::size_t incomplete = 0;
    for (const Plan &plan : plans) {
        if (const std::string left = left_of(database, plan); !left.empty()) {
            warn("of " + name_of(plan.task) + " there is still " + left);
            ++incomplete;
        }
    }
    if (incomplete > 0) {
        throw Failure(Exit::failed, concat(incomplete, " of ", plans.size(), " tasks could not be removed completely"));
    }
}

void remove(const std::vector<Task> &tasks, const Options &options) {
    std::vector<Plan> plans;
    std::string words;
    const Charset charset = charset_of(options.dry_run ? STDOUT_FILENO : STDERR_FILENO);
    for (const Task &task : tasks) {
        plans.push_back(plan_for(task, options.delete_data));
        words += in_words(plans.back(), charset);
    }
    if (options.dry_run) {
        return print(words);
    }
    require_writable();
    if (!options.yes) {
        if (isatty(STDIN_FILENO) == 0) {
            throw Failure(Exit::usage, "standard input is not a terminal; --yes removes without asking");
        }
        tell(words);
        if (!agreed(tasks.size())) {
            throw Failure(Exit::failed, "nothing was removed");
        }
    }
    if (isatty(STDERR_FILENO) != 0 && std::ranges::any_of(tasks, &Task::torrent)) {
        warn("removing; torrents take a few seconds");
    }
    release(plans);
    remove_all(plans);
}

// The deletes of details do not wait for a lock.
void delete_rows(const Table &table, std::string_view title, std::int32_t task_id) {
    constexpr int attempts = 30;
    const std::uint32_t column = table.position(*table.find(title));
    for (int attempt = 1; table.remove.run(column, &task_id) != BTDB_OK; ++attempt) {
        if (attempt == attempts) {
            written(
                table.remove.name, [&] { return table.remove.run(column, &task_id); }, table);
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

void forget(const std::vector<Task> &tasks) {
    require_writable();
    std::vector<Plan> plans;
    for (const Task &task : tasks) {
        plans.push_back({task});
    }
    release(plans);
    for (const Task &task : tasks) {
        if (task.torrent()) {
            delete_rows(file_table, "task", task.id);
            delete_rows(info_table, "task", task.id);
        }
        delete_rows(*task.table, "id", task.id);
    }
}

std::shared_ptr<Options> add_options(CLI::App &command) {
    auto options = std::make_shared<Options>();
    command.add_flag("--dry-run", options->dry_run, "Only print what would be removed");
    command.add_flag("--yes", options->yes, "Do not ask");
    return options;
}

void add_remove(CLI::App &app) {
    CLI::App *command = app.add_subcommand("remove", "Remove tasks with their files");
    command->alias("rm");
    command->footer("Removes the row, the process of an HTTP/FTP task, a torrent's own files, and\n"
                    "what was downloaded only with --delete-data. A torrent's daemon is asked to let\n"
                    "go first; torrents take three seconds and more. Exit status 1: something stayed.");
    const auto words = add_tasks(*command);
    const auto options = add_options(*command);
    command->add_flag("--delete-data", options->delete_data, "Delete what was downloaded, too");
    command->callback([=] { remove(named_tasks(Connection::read(), *words), *options); });
}

void add_clear(CLI::App &app) {
    CLI::App *command = app.add_subcommand("clear", "Remove finished tasks; what they downloaded stays");
    command->footer("Seeding torrents are finished too. A torrent's own files go as with remove.");
    const auto kind = std::make_shared<const Table *>(nullptr);
    add_kind(*command, *kind);
    const auto options = add_options(*command);
    command->callback([=] {
        std::vector<Task> tasks;
        const Connection database = Connection::read();
        for (const Part &part : parts_of(*kind, filter_named("finished"))) {
            Statement rows(database, "SELECT task_id" + part.from());
            while (rows.next()) {
                tasks.push_back({part.table, static_cast<std::int32_t>(rows.number(0))});
            }
        }
        if (tasks.empty()) {
            throw Failure(Exit::not_there, "no task is finished");
        }
        remove(tasks, *options);
    });
}

void add_forget(CLI::App &app) {
    CLI::App *command = app.add_subcommand("forget", "Delete the rows of tasks; all files stay");
    const auto words = add_tasks(*command);
    command->callback([=] { forget(named_tasks(Connection::read(), *words)); });
}

} // namespace

void add_remove_commands(CLI::App &app) {
    add_remove(app);
    add_clear(app);
    add_forget(app);
}

} // namespace tqctl
