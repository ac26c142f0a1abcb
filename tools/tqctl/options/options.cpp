#include "options/options.h"

#include <algorithm>
#include <limits>

namespace tqctl {

std::int64_t read_number(const std::string &option, const std::string &text, std::int64_t least, std::int64_t most) {
    const auto number = number_in<std::int64_t>(text);
    if (!number || *number < least || *number > most) {
        throw CLI::ValidationError(option, concat("\"", text, "\" is not a number from ", least, " to ", most));
    }
    return *number;
}

CLI::Option *add_number(CLI::App &command, const std::string &name, const std::string &help,
                        std::optional<std::int32_t> &to, std::int32_t least) {
    const auto read = [=, &to](const std::string &text) {
        to = static_cast<std::int32_t>(read_number(name, text, least, std::numeric_limits<std::int32_t>::max()));
    };
    return command.add_option_function<std::string>(name, read, help)->type_name("N");
}

CLI::Option *add_choice(CLI::App &command, const std::string &name, const std::string &help,
                        std::vector<std::string> words, std::function<void(const std::string &)> take) {
    const auto read = [name, words = std::move(words), take = std::move(take)](const std::string &word) {
        if (std::ranges::find(words, word) == words.end()) {
            throw CLI::ValidationError(name, "\"" + word + "\" is none of " + CLI::detail::join(words, ", "));
        }
        take(word);
    };
    return command.add_option_function<std::string>(name, read, help)->type_name("WORD");
}

std::shared_ptr<std::string> add_database(CLI::App &command) {
    auto path = std::make_shared<std::string>(device_database());
    command.add_option("--db", *path, "Read another file, such as a backup")->type_name("FILE");
    return path;
}

std::string option_of(std::string_view title) {
    std::string option = "--" + std::string(title);
    std::ranges::replace(option, '_', '-');
    return option;
}

std::shared_ptr<Given> add_fields(CLI::App &command, std::initializer_list<const Table *> tables, unsigned use) {
    auto given = std::make_shared<Given>();
    for (const Table *table : tables) {
        for (const Column &column : table->columns) {
            const std::string option = option_of(column.title);
            const std::string title(column.title);
            if ((column.uses & use) == 0 || command.get_option_no_throw(option) != nullptr) {
                continue;
            }
            CLI::Option *added = nullptr;
            if (column.kind == Kind::flag || column.kind == Kind::password) {
                const auto take = [given, title] { given->emplace_back(title, "1"); };
                added = command.add_flag_callback(option, take, std::string(column.help))->disable_flag_override();
            } else {
                const auto take = [given, title](const std::string &value) { given->emplace_back(title, value); };
                added = command.add_option_function<std::string>(option, take, std::string(column.help));
                added->type_name(is_text(column.kind) ? "TEXT" : "N");
            }
            added->required(use == on_add && (column.uses & required) != 0);
            const bool both = std::ranges::all_of(tables, [&](const Table *each) {
                const Column *same = each->find(column.title);
                return same != nullptr && (same->uses & use) != 0;
            });
            added->group(both ? "Fields" : concat("Fields of ", table->title, "s"));
        }
    }
    return given;
}

Values values_of(const Given &given, const Table &table, unsigned use) {
    Values values;
    for (const auto &[title, value] : given) {
        const Column *column = table.find(title);
        if (column == nullptr || (column->uses & use) == 0) {
            throw CLI::ValidationError(option_of(title), concat("not an option for ", table.title, "s"));
        }
        values.emplace_back(column, value);
    }
    return values;
}

std::shared_ptr<Selection> add_selection(CLI::App &command, const char *help, bool required) {
    auto selection = std::make_shared<Selection>();
    const auto take = [selection](const std::vector<std::string> &words) {
        for (const std::string &word : words) {
            const auto ranges = read_selection(word);
            if (!ranges) {
                throw CLI::ValidationError("ID", '"' + word + R"(" is no identifier, no range like 3-7 and not "all")");
            }
            selection->insert(selection->end(), ranges->begin(), ranges->end());
        }
    };
    command.add_option_function<std::vector<std::string>>("ID", take, help)->required(required)->type_name("");
    return selection;
}

std::vector<std::int32_t> selected_rows(const Connection &database, const Table &table, const Selection &selection) {
    std::vector<std::int32_t> ids;
    const std::string id(table.id().name);
    for (const IdentifierRange &range : selection) {
        Statement rows(database, concat("SELECT ", id, " FROM ", table.name, " WHERE ", id, " BETWEEN ? AND ?"),
                       {std::int64_t{range.first}, std::int64_t{range.last}});
        const std::size_t before = ids.size();
        while (rows.next()) {
            ids.push_back(static_cast<std::int32_t>(rows.number(0)));
        }
        if (range.first == range.last && ids.size() == before) {
            throw no_such_row(table, range.first);
        }
    }
    if (ids.empty()) {
        throw Failure(Exit::not_there, concat("no ", table.title, " has an identifier of that range"));
    }
    std::ranges::sort(ids);
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    return ids;
}

} // namespace tqctl
