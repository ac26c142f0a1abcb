// Rows that are no tasks: tqctl info, session, rss, job, account. What they have in common is done once; what differs
// is in the descriptions of their tables.
#include "options/password.h"
#include "rows/commands.h"
#include "tasks/task.h"

namespace tqctl {
namespace {

std::string title_of(const Table &table, bool several = true) {
    return std::string(table.title) + (several ? "s" : "");
}

// ---- Lists

CLI::App *add_list(CLI::App &parent, const char *name, const Table &table, const char *help, Part part = {},
                   std::optional<Defaults> defaults = {}) {
    CLI::App *command = parent.add_subcommand(name, help);
    part.table = &table;
    const auto list = std::make_shared<List>();
    list->add_options(*command);
    list->add_show_passwords(*command);
    const auto path = add_database(*command);
    // One column that rows can be selected by: those that remove takes for the same.
    const auto where = std::make_shared<Part>(std::move(part));
    for (const Column &column : table.columns) {
        if (where->where.empty() && (column.uses & on_remove) != 0) {
            const auto take = [where, &column](const std::string &value) {
                where->where += concat(where->where.empty() ? "" : " AND ", column.name, " = ?");
                where->values.emplace_back(value);
            };
            command
                ->add_option_function<std::string>(option_of(column.title), take,
                                                   "Only those with exactly this " + std::string(column.title))
                ->type_name(is_text(column.kind) ? "TEXT" : "N");
        }
    }
    command->callback([=, &table] {
        const Connection database = Connection::read(*path);
        list->print(database, {*where}, defaults.value_or(defaults_of(table)));
    });
    return command;
}

// ---- add, set, remove

void fill(Record &record, const Values &values) {
    for (const auto &[column, value] : values) {
        record.set(*column, value, option_of(column->title));
    }
}

void read_passwords(Values &values, const char *prompt) {
    for (auto &[column, value] : values) {
        if (column->kind == Kind::password) {
            value = read_password(prompt);
        }
    }
}

void add_add(CLI::App &parent, const Table &table) {
    CLI::App *command = parent.add_subcommand("add", "Add one " + title_of(table, false));
    const bool asks = &table == &account_table;
    command->footer(table.add_returns_id ? "Prints the new identifier. Fields not given are 0 or empty."
                    : asks
                        ? "Asks for the password. Where standard input is no terminal, its first line\nis the password."
                        : "");
    const auto given = add_fields(*command, {&table}, on_add);
    command->callback([=, &table] {
        Record record(table);
        if (asks) {
            record.set("enable", "1");
        }
        fill(record, values_of(*given, table, on_add));
        Connection::read();
        if (asks) {
            record.set("password", read_password("Password"));
        }
        require_writable();
        const std::int32_t id = add_row(record);
        if (table.add_returns_id) {
            print(std::to_string(id) + "\n");
        }
    });
}

// The library writes the whole row, so the rest of it is read first. A text that is longer than its field would be
// written back truncated.
void update_row(const Table &table, std::int32_t id, const Values &values) {
    Record record(table);
    {
        const Connection database = Connection::read();
        Statement row(database, concat("SELECT * FROM ", table.name, " WHERE ", table.id().name, " = ?"),
                      {std::int64_t{id}});
        if (!row.next()) {
            throw no_such_row(table, id);
        }
        for (std::size_t i = 0; i < table.columns.size(); ++i) {
            const Column &column = table.columns[i];
            const std::string value(row.text(static_cast<int>(i)));
            if (is_text(column.kind) ? value.size() >= column.width : row.is_null(static_cast<int>(i))) {
                throw Failure(Exit::failed, concat(title_of(table, false), " ", id, " has a ", column.title,
                                                   " that its field does not hold; remove it and add it anew"));
            }
            record.set(column, value, std::string(column.title));
        }
    }
    fill(record, values);
    written(
        table.update.name, [&] { return table.update.run(record.data(), id); }, table, id);
}

void add_set(CLI::App &parent, const Table &table, const char *name, const std::string &help,
             const std::optional<std::pair<std::string, std::string>> &otherwise = {}) {
    CLI::App *command = parent.add_subcommand(name, help);
    const auto selection = add_selection(*command, "Identifiers: 3, 3-7, all");
    const auto given = add_fields(*command, {&table}, on_set);
    command->callback([=, &table] {
        Values values = values_of(*given, table, on_set);
        if (values.empty() && otherwise) {
            values = values_of({*otherwise}, table, on_set);
        }
        if (values.empty()) {
            throw CLI::ValidationError("set", "needs at least one field to change");
        }
        Record checks(table);
        fill(checks, values);
        const auto ids = selected_rows(Connection::read(), table, *selection);
        read_passwords(values, "New password");
        require_writable();
        for (const std::int32_t id : ids) {
            if (table.set.run != nullptr) {
                set_fields(table, id, values);
            } else {
                update_row(table, id, values);
            }
        }
    });
}

void add_remove(CLI::App &parent, const Table &table) {
    CLI::App *command = parent.add_subcommand("remove", "Remove " + title_of(table));
    command->alias("rm");
    command->footer("Give identifiers (3, 3-7, all) or one option. An option removes every " + title_of(table, false) +
                    "\nthat has the value; none is no failure.");
    const auto selection = add_selection(*command, "The rows with these identifiers", false);
    const auto given = add_fields(*command, {&table}, on_remove);
    command->callback([=, &table] {
        const Values values = values_of(*given, table, on_remove);
        if (values.size() + (selection->empty() ? 0 : 1) != 1) {
            throw CLI::ValidationError("remove", "needs either identifiers or one option");
        }
        Record record(table);
        fill(record, values);
        const auto ids =
            selection->empty() ? std::vector<std::int32_t>() : selected_rows(Connection::read(), table, *selection);
        require_writable();
        for (const std::int32_t id : ids) {
            written(
                table.remove.name, [&] { return table.remove.run(0, &id); }, table);
        }
        for (const auto &entry : values) {
            const Column &key = *entry.first;
            written(
                table.remove.name, [&] { return table.remove.run(table.position(key), record.field(key)); }, table);
        }
    });
}

void add_info(CLI::App &app) {
    CLI::App *command = app.add_subcommand("info", "List the metadata of a torrent");
    command->footer("A line for each program that has written some. A terminal shows the most telling\n"
                    "columns; --columns and --json show the others.");
    const auto words = add_tasks(*command, &bt_task_table);
    const auto list = std::make_shared<List>();
    list->add_options(*command);
    list->add_show_passwords(*command);
    const auto path = add_database(*command);
    command->callback([=] {
        const Connection database = Connection::read(*path);
        std::string where;
        for (const Task &task : named_tasks(database, *words)) {
            where += (where.empty() ? "infodata_task_id IN (" : ", ") + std::to_string(task.id);
        }
        list->print(database, {{&info_table, where + ")"}}, defaults_of(info_table));
    });
}

} // namespace

void add_row_commands(CLI::App &app) {
    add_info(app);
    add_list(app, "session", session_table, "List the session totals");

    CLI::App *rss = app.add_subcommand("rss", "Feeds and their items");
    add_list(*rss, "feeds", rss_table, "List the feeds that there are items of",
             {nullptr, "rss_id IN (SELECT min(rss_id) FROM BT_RSS GROUP BY rss_user_def_title, rss_url)", {}},
             Defaults{"url feed", "url feed", "url, id"});
    add_list(*rss, "items", rss_table, "List items");
    add_add(*rss, rss_table);
    add_set(*rss, rss_table, "mark", "Mark items as downloaded, or change them", std::pair{"downloaded", "1"});
    add_remove(*rss, rss_table);

    for (const auto &[name, help, table] : {std::tuple{"job", "Download jobs that watch feeds", &job_table},
                                            std::tuple{"account", "Login accounts per host", &account_table}}) {
        CLI::App *group = app.add_subcommand(name, help);
        add_list(*group, "list", *table, ("List " + title_of(*table)).c_str())->alias("ls");
        add_add(*group, *table);
        add_set(*group, *table, "set", "Change " + title_of(*table));
        add_remove(*group, *table);
    }
}

} // namespace tqctl
