// The two kinds of task behind the commands that they share: tasks.cpp has the commands, bt_tasks.cpp and
// http_tasks.cpp have what each kind does with them.
#pragma once

#include "commands.h"
#include "fields.h"
#include "stores.h"
#include "table.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace tqctl {

// An option that gives a task's field its value.
struct FieldOption {
    enum class Value { text, number, flag, password };
    const char *name;
    Value value;
    const char *help;
};

// The options that were given, with their values as they were written.
using Given = std::vector<std::pair<std::string, std::string>>;

struct TaskKind {
    std::string_view name;  // as --kind has it
    std::string_view title; // of one task
    const Store *store;

    std::vector<FieldOption> (*add_options)();
    std::vector<FieldOption> (*set_options)();

    // Checks everything about a new task, before anything happens. The result adds it.
    std::function<std::int32_t()> (*prepare)(const std::string &address, const Given &given);
    const char *add_operation;
    std::vector<FieldChange> (*changes)(std::int32_t id, const Given &given);

    // Rows with every field, passwords as they are.
    Rows (*list)(std::int32_t start, std::int32_t end, std::int32_t filter);
    Rows (*read)(std::int32_t id);
    const std::vector<Column> *columns;

    std::int32_t (*count)(std::int32_t filter);
    void (*require)(std::int32_t id); // ends the command unless there is such a task
    void (*forget)(std::int32_t id);
    Selectable selectable;
};

extern const TaskKind bt_tasks;
extern const TaskKind http_tasks;

inline std::string named(const TaskKind &kind, std::int32_t id) {
    return std::string(kind.title) + " " + std::to_string(id);
}

struct RemoveOptions {
    bool yes = false;
    bool delete_data = false;
    bool dry_run = false;
};

void remove_task(const TaskKind &kind, std::int32_t id, const RemoveOptions &options);

// The BitTorrent task that a text names.
std::int32_t bt_task_with_hash(const std::string &hash);
std::int32_t bt_task_with_name(const std::string &name);

// A record as the row of its table.
Rows rows_of(const HttpFtpTaskRecord &task);

// Whether a text is an address that an HTTP/FTP task can have.
bool is_http_ftp_address(std::string_view text);

// Masks the passwords of HTTP/FTP tasks, those in addresses too. Rows with a column "kind" may hold other tasks as
// well.
void mask_http_tasks(Rows &rows);

// Every field of each row under its own name. `several`: JSON has an array even for one.
void print_tasks(const TaskKind &kind, const Rows &rows, bool several, bool json);

// Tasks of both kinds, with the columns of columns_of_both; their passwords as they are.
Rows tasks_of_both(std::int32_t start, std::int32_t end, std::int32_t filter);
extern const std::vector<Column> columns_of_both;

// An option for one of the filters by its name.
void add_filter(CLI::App &command, std::function<void(std::int32_t)> take);

// Adds a column "status", which says in a word what a task does. The rows are of this kind, or (nullptr) have a column
// "kind".
void add_status(Rows &rows, const TaskKind *kind);

// Colours a row that has one.
const char *status_color(const Rows &rows, const Row &row);

// ---- Options that fill records

// Now, as start times are written.
std::string local_time();

inline bool has(const Given &given, std::string_view option) {
    return std::any_of(given.begin(), given.end(), [option](const auto &each) { return each.first == option; });
}

template <auto Member, class Record> void take(Record &record, const std::string &what, const std::string &value) {
    auto &field = record.*Member;
    using Type = std::remove_reference_t<decltype(field)>;
    if constexpr (std::is_array_v<Type>) {
        fill(what, field, value);
    } else {
        using Limits = std::numeric_limits<Type>;
        field = static_cast<Type>(read_number(what, value, Limits::min(), Limits::max()));
    }
}

// An option of `add` and the field that it fills.
template <class Record> struct Field {
    FieldOption option;
    void (*take)(Record &record, const std::string &what, const std::string &value);
};

template <class Fields> std::vector<FieldOption> options_of(const Fields &fields) {
    std::vector<FieldOption> options;
    for (const auto &field : fields) {
        options.push_back(field.option);
    }
    return options;
}

// The field of an option; an option of the other kind is refused.
template <class Fields> const auto &field_of(const Fields &fields, const TaskKind &kind, const std::string &option) {
    const auto field =
        std::find_if(fields.begin(), fields.end(), [&](const auto &each) { return option == each.option.name; });
    if (field == fields.end()) {
        throw CLI::ValidationError(option, "not an option for " + std::string(kind.title) + "s");
    }
    return *field;
}

} // namespace tqctl
