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

std::string sums_in_words(const Sums &sums) {
    return std::to_string(sums.rows) + (sums.rows == 1 ? " task, down " : " tasks, down ") + human_bytes(sums.down) +
           "/s, up " + human_bytes(sums.up) + "/s\n";
}

void add_list(CLI::App &app) {
    CLI::App *command = app.add_subcommand("list", "List tasks");
    command->alias("ls");
    command->group(task_group);
    command->footer(filters_in_words() +
                    "Both kinds are listed by start time, with amounts in bytes; BitTorrent tasks\n"
                    "alone (--kind bt) by their place in the queue, with amounts in KiB.");
    struct Options {
        List list;
        const Table *kind = nullptr;
    };
    const auto options = std::make_shared<Options>();
    const auto filter = add_filter(*command);
    add_kind(*command, [options](const Table *kind) { options->kind = kind; });
    options->list.add_options(*command);
    options->list.add_show_passwords(*command);
    const auto path = add_database(*command);
    command->callback([=] {
        Sums sums;
        Sheet sheet = [&] {
            const Connection database = Connection::read(*path);
            return options->list.sheet(database, parts_of(options->kind, *filter ? **filter : filters().front()),
                                       defaults_of(options->kind), {}, &sums);
        }();
        sheet.print();
        if (options->list.style().form == Form::terminal && sums.rows > 0) {
            print(sums_in_words(sums));
        }
    });
}

void add_show(CLI::App &app) {
    CLI::App *command = app.add_subcommand("show", "Show every field of tasks");
    command->group(task_group);
    const auto words = add_tasks(*command);
    struct Options {
        bool json = false;
        bool passwords = false;
        bool human = false;
    };
    const auto options = std::make_shared<Options>();
    command->add_flag("--show-passwords", options->passwords, "Show passwords rather than ********");
    CLI::Option *human = command->add_flag("--human", options->human, "Amounts as people read them, as on a terminal");
    command->add_flag("--json", options->json, "JSON: an array of objects")->excludes(human);
    const auto path = add_database(*command);
    command->callback([=] {
        const Connection database = Connection::read(*path);
        std::vector<Part> parts;
        for (const Task &task : named_tasks(database, *words)) {
            parts.push_back({task.table, "task_id = ?", {std::int64_t{task.id}}});
        }
        const bool for_people = options->human || (output_is_terminal() && !options->json);
        print_records(
            database, parts,
            {options->json ? Form::json_records : Form::records, true, false, for_people, options->passwords});
    });
}

void count(const Connection &database, const Table *kind, const Filter *only) {
    const auto counted = [&](const Filter &filter) {
        std::int64_t rows = 0;
        for (const Part &part : parts_of(kind, filter)) {
            Statement count(database, "SELECT count(*) FROM " + std::string(part.table->name) +
                                          (part.where.empty() ? "" : " WHERE " + part.where));
            count.next();
            rows += count.number(0);
        }
        return std::to_string(rows);
    };
    database.run("BEGIN"); // all of them at one moment
    std::string lines = only != nullptr ? counted(*only) + "\n" : "";
    for (const Filter &filter : filters()) {
        lines += only == nullptr ? std::string(filter.name) + "\t" + counted(filter) + "\n" : "";
    }
    print(lines);
}

void add_count(CLI::App &app) {
    CLI::App *command = app.add_subcommand("count", "Count tasks");
    command->group(task_group);
    command->footer("With a filter the number alone; without one a line for each filter.\n\n" + filters_in_words());
    const auto kind = std::make_shared<const Table *>(nullptr);
    const auto filter = add_filter(*command);
    add_kind(*command, [kind](const Table *only) { *kind = only; });
    const auto path = add_database(*command);
    command->callback([=] { count(Connection::read(*path), *kind, *filter); });
}

} // namespace

void add_list_commands(CLI::App &app) {
    add_list(app);
    add_show(app);
    add_count(app);
}

} // namespace tqctl
