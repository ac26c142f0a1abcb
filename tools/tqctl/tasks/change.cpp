// tqctl set, pause, resume, recover.
#include "store/message_queue.h"
#include "tasks/commands.h"
#include "tasks/task.h"
#include "tasks/values.h"

#include <algorithm>
#include <chrono>
#include <korvo_bt_conventions.h>
#include <thread>

namespace tqctl {
namespace {

std::int64_t number_of(const Connection &database, const Task &task, std::string_view title) {
    Statement row(database,
                  concat("SELECT ", task.table->find(title)->sql(), " FROM ", task.table->name, " WHERE task_id = ?"),
                  {std::int64_t{task.id}});
    return row.next() ? row.number(0) : throw no_such_row(*task.table, task.id);
}

// ---- set -----------------------------------------------------------------------------------------------------------

void set(const TaskWords &words, const Given &given) {
    if (given.empty()) {
        throw CLI::ValidationError("set", "needs at least one field");
    }
    const std::vector<Task> tasks = named_tasks(Connection::read(), words);
    std::vector<Values> values;
    for (const Task &task : tasks) { // everything is checked before anything happens
        values.push_back(values_of(given, *task.table, on_set));
        for (auto &[column, value] : values.back()) {
            value = stored_value(*column, value);
            Record(*task.table).set(*column, value, option_of(column->title));
        }
        const bool folder = std::ranges::any_of(given, [](const auto &each) { return each.first == "folder"; });
        if (folder && task.torrent() && number_of(Connection::read(), task, "state") == TQ_BT_STATE_FINISHED) {
            throw Failure(Exit::failed, name_of(task) + " is finished and its data is in its folder already");
        }
    }
    require_writable();
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        set_fields(*tasks[i].table, tasks[i].id, values[i]);
        if (tasks[i].torrent()) {
            tell_daemon(TQ_COMMAND_LOOK, tasks[i].id);
        }
    }
}

void add_set(CLI::App &app) {
    CLI::App *command = app.add_subcommand("set", "Change single fields of tasks");
    const auto words = add_tasks(*command);
    const auto given = add_fields(*command, {&bt_task_table, &http_task_table}, on_set);
    command->callback([=] { set(*words, *given); });
}

// ---- pause, resume -------------------------------------------------------------------------------------------------

// A row of BT_TASK can only be written whole, which would overwrite what the daemon wrote meanwhile. So the daemon does
// it, and is asked again until the effect shows.
void ask_daemon(const Task &task, bool paused) {
    constexpr int seconds = 5;
    constexpr int looks_a_second = 10;
    const std::string wanted = paused ? "pause" : "resume";
    for (int look = 0; look < seconds * looks_a_second; ++look) {
        const Connection database = Connection::read();
        const bool failed = number_of(database, task, "state") == TQ_BT_STATE_FAILED;
        if ((number_of(database, task, "paused") == 1) == paused && !(failed && !paused)) {
            return;
        }
        if (look % looks_a_second == 0 && !tell_daemon(paused ? TQ_COMMAND_PAUSE : TQ_COMMAND_RESUME, task.id)) {
            throw Failure(Exit::failed, "the BitTorrent daemon has to " + wanted + " " + name_of(task) +
                                            ", and it takes no message; is it running? (tqctl msg status)");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1000 / looks_a_second));
    }
    throw Failure(Exit::failed,
                  concat("the BitTorrent daemon was asked to ", wanted, " ", name_of(task), " and has not done it in ",
                         seconds, " seconds; it may still do so. Is it running?"));
}

void set_paused(const Task &task, bool paused) {
    if (task.torrent()) {
        return ask_daemon(task, paused);
    }
    const Table &table = *task.table;
    Values values{{table.find("paused"), paused ? "1" : "0"}};
    if (!paused && number_of(Connection::read(), task, "error") != 0) { // trying a failed one again
        values.insert(values.begin(), {table.find("error"), "0"});
    }
    set_fields(table, task.id, values);
}

void add_pause(CLI::App &app, const char *name, const char *help, bool paused) {
    CLI::App *command = app.add_subcommand(name, help);
    command->footer(concat("A BitTorrent task is ", paused ? "paused" : "resumed",
                           " by its daemon, which is asked for up to five\nseconds; an HTTP/FTP task at once",
                           paused ? "." : ", and one that failed is tried again."));
    const auto words = add_tasks(*command);
    command->callback([=] {
        const std::vector<Task> tasks = named_tasks(Connection::read(), *words);
        require_writable();
        for (const Task &task : tasks) {
            set_paused(task, paused);
        }
    });
}

// ---- recover -------------------------------------------------------------------------------------------------------

struct Step {
    const char *call;
    std::int32_t (*run)();
    const char *condition; // on the rows that it would change
};

void recover() {
    require_writable();
    constexpr std::array steps{
        Step{"http_ftp_db_update_pid_to_zero", http_ftp_db_update_pid_to_zero, "1"},
        Step{"http_ftp_db_update_no_pid_runninig_task_to_queue", http_ftp_db_update_no_pid_runninig_task_to_queue,
             "task_pid = 0 AND task_state = 2 AND task_is_paused = 0"},
        Step{"http_ftp_db_update_download_rate_to_zero", http_ftp_db_update_download_rate_to_zero, "1"},
    };
    for (const Step &step : steps) {
        // Where there is nothing to change, the library reports what it reports of a failure.
        const bool something =
            Statement(Connection::read(), std::string("SELECT 1 FROM HTTP_FTP_TASK WHERE ") + step.condition).next();
        if (something) {
            written(step.call, step.run, http_task_table);
        }
    }
}

void add_recover(CLI::App &app) {
    CLI::App *command = app.add_subcommand("recover", "Put HTTP/FTP tasks in order after their daemon died");
    command->footer("For when no downloader runs: no task has a process any more, running ones are\n"
                    "queued again, rates are 0.");
    command->callback(recover);
}

} // namespace

void add_change_commands(CLI::App &app) {
    add_set(app);
    add_pause(app, "pause", "Pause tasks", true);
    add_pause(app, "resume", "Resume tasks", false);
    add_recover(app);
}

} // namespace tqctl
