// The two kinds of task, and how people name one: "bt:3", "http:3", an info-hash. Both kinds count from 1, so a number
// alone names a task only where one kind has it, or where --kind says which.
#ifndef KORVO_TQCTL_TASKS_TASK_H
#define KORVO_TQCTL_TASKS_TASK_H

#include "display/list.h"
#include "options/options.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tqctl {

struct Task {
    const Table *table;
    std::int32_t id;
    bool torrent() const { return table == &bt_task_table; }
};

// "bt" or "http", and "bt:3".
std::string_view kind_of(const Table &table);
std::string name_of(const Task &task);

// What tasks are named by on the command line.
struct TaskWords {
    std::vector<std::string> words;
    const Table *kind = nullptr; // the only one, if there is only one
};

// The argument TASK... and --kind; `kind` is the only one that the command takes, if there is only one.
std::shared_ptr<TaskWords> add_tasks(CLI::App &command, const Table *kind = nullptr, bool required = true);

// The option --kind alone. nullptr for both.
void add_kind(CLI::App &command, const Table *&to);

// The tasks that are named, each once, at least one: in the order of their names for people, which is that of kinds and
// identifiers. A single one that is not there, and a name that fits both kinds, end the command.
std::vector<Task> named_tasks(const Connection &database, const TaskWords &words);

// ---- Filters

struct Filter {
    const char *name;
    std::int32_t code; // of the library, for both kinds
    const char *help;
};
const std::vector<Filter> &filters();
const Filter &filter_named(const std::string &name);
void add_filter(CLI::App &command, const Filter *&to);

// The condition of a filter on tasks of one kind, as the library has it; empty for none. State5 takes finished HTTP/FTP
// tasks.
std::string condition_of(const Table &table, const Filter &filter);

// The rows of one kind, or (nullptr) of both.
std::vector<Part> parts_of(const Table *kind, const Filter &filter);
Defaults defaults_of(const Table *kind);

// Now, as start times are written.
std::string local_time();

} // namespace tqctl

#endif
