// tqctl list, show, count.
#include "tasks/commands.h"
#include "tasks/task.h"

namespace tqctl {
namespace {

std::string filters_in_words() {
    std::string text = "Filters:\n";
    for (const Filter &filter : filters()) {
        const std::string name = filter.name;
        text += "  " + name + std::string(10 - name.size(), ' ') + filter.help + "\n";
    }
    return text;
}

struct Options {
    List list;
    const Table *kind = nullptr;
    const Filter *filter = nullptr;
};

// The options that say which tasks.
std::shared_ptr<Options> add_options(CLI::App &command) {
    auto options = std::make_shared<Options>();
    add_filter(command, options->filter);
    add_kind(command, options->kind);
    return options;
}

void list(const Options &options, const std::string &path) {
    Sums sums;
    const auto all_of_it = [&] { // before it is printed, the database is closed
        const Filter &filter = options.filter != nullptr ? *options.filter : filters().front();
        return options.list.sheet(Connection::read(path), parts_of(options.kind, filter), defaults_of(options.kind), {},
                                  &sums);
    };
    all_of_it().print();
    if (options.list.style().form == Form::terminal && sums.rows > 0) {
        print(in_words(sums) + "\n");
    }
}

void add_list(CLI::App &app) {
    CLI::App *command = app.add_subcommand("list", "List tasks");
    command->alias("ls");
    command->footer(filters_in_words() +
                    "Both kinds are listed by start time, with amounts in bytes; BitTorrent tasks\n"
                    "alone (--kind bt) by their place in the queue, with amounts in KiB.");
    const auto options = add_options(*command);
    options->list.add_options(*command);
    options->list.add_show_passwords(*command);
    const auto path = add_database(*command);
    command->callback([=] { list(*options, *path); });
}

void add_show(CLI::App &app) {
    CLI::App *command = app.add_subcommand("show", "Show every field of tasks");
    const auto words = add_tasks(*command);
    const auto list = std::make_shared<List>();
    list->add_show_passwords(*command);
    list->add_record_options(*command);
    const auto path = add_database(*command);
    command->callback([=] {
        const Connection database = Connection::read(*path);
        std::vector<Part> parts;
        for (const Task &task : named_tasks(database, *words)) {
            parts.push_back({task.table, "task_id = ?", {std::int64_t{task.id}}});
        }
        list->print_records(database, parts);
    });
}

void count(const Connection &database, const Table *kind, const Filter *only) {
    const auto counted = [&](const Filter &filter) {
        std::int64_t rows = 0;
        for (const Part &part : parts_of(kind, filter)) {
            Statement count(database, "SELECT count(*)" + part.from());
            count.next();
            rows += count.number(0);
        }
        return std::to_string(rows);
    };
    database.run("BEGIN"); // all of them at one moment
    std::string lines = only != nullptr ? counted(*only) + "\n" : "";
    for (const Filter &filter : filters()) {
        lines += only == nullptr ? concat(filter.name, "\t", counted(filter), "\n") : "";
    }
    print(lines);
}

void add_count(CLI::App &app) {
    CLI::App *command = app.add_subcommand("count", "Count tasks");
    command->footer("With a filter the number alone; without one a line for each filter.\n\n" + filters_in_words());
    const auto options = add_options(*command);
    const auto path = add_database(*command);
    command->callback([=] { count(Connection::read(*path), options->kind, options->filter); });
}

} // namespace

void add_list_commands(CLI::App &app) {
    add_list(app);
    add_show(app);
    add_count(app);
}

} // namespace tqctl
