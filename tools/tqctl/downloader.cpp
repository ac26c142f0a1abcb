// The HTTP/FTP downloader's side, by hand: tqctl next, recover.
#include "failure.h"
#include "output.h"
#include "tasks.h"

#include <memory>
#include <optional>

namespace tqctl {
namespace {

constexpr const char *help_group = "HTTP/FTP downloader";

// ---- next ----------------------------------------------------------------------------------------------------------

// Which tasks a query looks at.
struct Narrowing {
    bool http = false;
    bool ftp = false;
    bool no_rapidshare = false;
    bool only_rapidshare = false;
    bool without_pid = false;

    bool operator==(const Narrowing &) const = default;
};

struct NextQuery {
    const char *state;
    Narrowing narrowing;
    const char *operation;
    std::int32_t (*call)(HttpFtpTaskRecord *record, std::int32_t exclude_task_id);
};

#define TQCTL_NEXT(state, narrowing, operation)                                                                        \
    NextQuery {                                                                                                        \
        state, Narrowing narrowing, #operation, operation                                                              \
    }

// The library has these and no others.
constexpr std::array queries{
    TQCTL_NEXT("queued", {}, http_ftp_db_query_next_queued_task),
    TQCTL_NEXT("queued", {.no_rapidshare = true}, http_ftp_db_query_next_queued_task_no_rapidshare),
    TQCTL_NEXT("queued", {.only_rapidshare = true}, http_ftp_db_query_next_queued_task_only_rapidshare),
    NextQuery{"queued",
              {.http = true, .no_rapidshare = true},
              "http_db_query_next_queued_task_no_rapidshare",
              http_db_query_next_queued_task_no_rapidshare},
    TQCTL_NEXT("queued", {.ftp = true}, ftp_db_query_next_queued_task),
    TQCTL_NEXT("running", {}, http_ftp_db_query_next_running_task),
    TQCTL_NEXT("running", {.http = true}, http_db_query_next_running_task),
    TQCTL_NEXT("running", {.ftp = true}, ftp_db_query_next_running_task),
    NextQuery{"running",
              {.without_pid = true},
              "http_ftp_db_query_next_running_task_without_pid",
              [](HttpFtpTaskRecord *record, std::int32_t) {
                  return http_ftp_db_query_next_running_task_without_pid(record);
              }},
};
#undef TQCTL_NEXT

struct NextOptions {
    std::string state;
    Narrowing narrowing;
    std::int32_t except = 0;
    bool show_passwords = false;
    bool json = false;
};

const NextQuery &query_for(const NextOptions &options) {
    for (const NextQuery &query : queries) {
        if (query.state == options.state && query.narrowing == options.narrowing) {
            return query;
        }
    }
    throw CLI::ValidationError("next", options.state == "queued" || options.state == "running"
                                           ? "these options do not go together for " + options.state + " tasks"
                                           : "\"" + options.state + "\" is neither queued nor running");
}

void next(const NextOptions &options) {
    const NextQuery &query = query_for(options);
    if (options.narrowing.without_pid && options.except > 0) {
        throw CLI::ValidationError("next", "--without-pid and --except do not go together");
    }
    require_database();
    HttpFtpTaskRecord task{};
    checked(query.operation, query.call(&task, options.except), http_ftp_task_store, "such " + options.state + " task");
    Rows rows = rows_of(task);
    if (!options.show_passwords) {
        mask_http_tasks(rows);
    }
    print_tasks(http_tasks, rows, false, options.json);
}

void add_next(CLI::App &app) {
    CLI::App *command = app.add_subcommand("next", "Show the task that the downloader picks next");
    command->group(help_group);
    command->footer("The oldest queued task, or the newest running one. Paused tasks are passed over.\n"
                    "Nothing is changed: tqctl set claims a task. These go together:\n"
                    "  queued   nothing, --no-rapidshare, --only-rapidshare, --ftp, or\n"
                    "           --http with --no-rapidshare\n"
                    "  running  nothing, --http, --ftp or --without-pid\n"
                    "and --except with all but --without-pid. Exit status 3: there is no such task.");
    const auto options = std::make_shared<NextOptions>();
    command->add_option("STATE", options->state, "queued or running")->required()->type_name("");
    command->add_flag("--http", options->narrowing.http, "Only from http and https addresses");
    command->add_flag("--ftp", options->narrowing.ftp, "Only from ftp addresses");
    command->add_flag("--no-rapidshare", options->narrowing.no_rapidshare, "Only of type 0");
    command->add_flag("--only-rapidshare", options->narrowing.only_rapidshare, "Only of type 1");
    command->add_flag("--without-pid", options->narrowing.without_pid, "Only without a process");
    add_number(
        *command, "--except", "Pass over this task", [options](std::int32_t id) { options->except = id; }, 1);
    command->add_flag("--show-passwords", options->show_passwords, "Show passwords rather than ********");
    command->add_flag("--json", options->json, "A JSON object");
    command->callback([options] { next(*options); });
}

// ---- recover -------------------------------------------------------------------------------------------------------

// Having no row to change is what the library reports like a failure.
void reset(const char *operation, std::int32_t result, bool nothing_to_change) {
    if (result != BTDB_ERR_UPDATE || !nothing_to_change) {
        checked(operation, result, http_ftp_task_store);
    }
}

void recover() {
    require_database();
    const std::int32_t tasks = http_tasks.count(HTTP_FTP_TASK_FILTER_ALL);
    reset("http_ftp_db_update_pid_to_zero", http_ftp_db_update_pid_to_zero(), tasks == 0);
    const std::int32_t running = checked("http_ftp_db_query_running_task_count_without_pid",
                                         http_ftp_db_query_running_task_count_without_pid(), http_ftp_task_store);
    reset("http_ftp_db_update_no_pid_runninig_task_to_queue", http_ftp_db_update_no_pid_runninig_task_to_queue(),
          running == 0);
    reset("http_ftp_db_update_download_rate_to_zero", http_ftp_db_update_download_rate_to_zero(), tasks == 0);
    print("tasks\t" + std::to_string(tasks) + "\nqueued_again\t" + std::to_string(running) + "\n");
}

void add_recover(CLI::App &app) {
    CLI::App *command = app.add_subcommand("recover", "Queue again what a dead downloader left running");
    command->group(help_group);
    command->footer("For HTTP/FTP tasks, while no downloader runs: no task has a process any more,\n"
                    "running tasks that are not paused are queued, all rates are 0. Says how many\n"
                    "tasks there are and how many were queued again.");
    command->callback(recover);
}

} // namespace

void add_downloader_commands(CLI::App &app) {
    add_next(app);
    add_recover(app);
}

} // namespace tqctl
