#include "display/list.h"

#include <algorithm>

namespace tqctl {
namespace {

constexpr std::int32_t rows_on_page = 20;

// A column of the statement: what it is in each part.
struct Source {
    Shown shown;
    std::vector<std::string> expressions;
};

std::optional<Source> find_source(const std::vector<Part> &parts, std::string_view title) {
    std::optional<Source> source;
    for (const Part &part : parts) {
        const Column *column = part.table->find(title);
        if (column == nullptr) {
            continue;
        }
        const bool scaled = parts.size() > 1 && column->kind == Kind::kib;
        if (!source) {
            source.emplace();
            source->shown = {std::string(column->title), std::string(column->heading),
                             scaled ? Kind::bytes : column->kind};
            title = column->title;
        } else if (column->kind == Kind::address || column->kind == Kind::password) {
            source->shown.kind = column->kind; // where one kind of task has secrets, both are looked through
        }
    }
    for (const Part &part : parts) {
        const Column *column = source ? part.table->find(title) : nullptr;
        if (column != nullptr) {
            const std::string sql(column->sql());
            source->expressions.push_back(parts.size() > 1 && column->kind == Kind::kib ? "1024 * " + sql : sql);
        } else if (source) {
            source->expressions.emplace_back("NULL");
        }
    }
    return source;
}

std::vector<std::string> titles_of(const std::vector<Part> &parts) {
    std::vector<std::string> titles;
    for (const Part &part : parts) {
        for (const Column &column : part.table->columns) {
            if (std::ranges::find(titles, column.title) == titles.end()) {
                titles.emplace_back(column.title);
            }
        }
    }
    return titles;
}

Source known_source(const std::vector<Part> &parts, const std::string &title, const char *option) {
    if (auto source = find_source(parts, lower(title))) {
        return *std::move(source);
    }
    throw CLI::ValidationError(option, "there is no column \"" + title + "\", but " +
                                           CLI::detail::join(titles_of(parts), ", "));
}

std::string statement_for(const std::vector<Part> &parts, const std::vector<Source> &sources) {
    std::string out;
    for (std::size_t part = 0; part < parts.size(); ++part) {
        out += part == 0 ? "SELECT " : " UNION ALL SELECT ";
        for (const Source &source : sources) {
            out += (&source == sources.data() ? "" : ", ") + source.expressions[part];
        }
        out += parts[part].from();
    }
    return out;
}

void bind_all(Statement &statement, const std::vector<Part> &parts) {
    int at = 0;
    for (const Part &part : parts) {
        for (const Cell &value : part.values) {
            statement.bind(at++, value);
        }
    }
}

} // namespace

std::string in_words(const Sums &sums) {
    return concat(sums.rows, sums.rows == 1 ? " task, down " : " tasks, down ", human_bytes(sums.down), "/s, up ",
                  human_bytes(sums.up), "/s");
}

std::string Part::from() const {
    return concat(" FROM ", table->name, where.empty() ? "" : " WHERE " + where);
}

Defaults defaults_of(const Table &table) {
    return {table.for_programs, table.for_people, table.order};
}

void List::add_options(CLI::App &command, bool with_pages) {
    command.add_option("--sort", sort_, "Sort by this column")->type_name("NAME");
    command.add_flag("--reverse", reverse_, "Reverse the order");
    const auto take_columns = [this](const std::string &names) { columns_ = CLI::detail::split(names, ','); };
    command.add_option_function<std::string>("--columns", take_columns, "Only these columns, in this order")
        ->type_name("NAME,...");
    if (with_pages) {
        add_number(command, "--page", "Only this page, from 1", page_, 1);
        add_number(command, "--per-page", "Rows on a page (default: 20)", per_page_, 1);
    }
    add_human(command);
    add_form_options(command);
    command.get_option("--json")->excludes(command.get_option("--human"));
}

void List::add_human(CLI::App &command) {
    command.add_flag("--human", human_, "Amounts as people read them, as on a terminal");
}

void List::add_record_options(CLI::App &command) {
    add_human(command);
    command.add_flag("--json", json_, "JSON: an array of objects")->excludes(command.get_option("--human"));
}

void List::add_form_options(CLI::App &command) {
    command.add_flag("--no-header", no_header_, "Without the line of column names");
    add_choice(command, "--color", "auto (default), always or never", {"auto", "always", "never"},
               [this](const std::string &word) {
                   color_ = word == "auto" ? Color::automatic : word == "always" ? Color::always : Color::never;
               });
    command.add_flag("--json", json_, "A JSON array of objects with every field");
}

void List::add_show_passwords(CLI::App &command) {
    command.add_flag("--show-passwords", passwords_, "Show passwords rather than ********");
}

Style List::style() const {
    const bool terminal = output_is_terminal() && !json_;
    return {json_      ? json_form_
            : terminal ? Form::terminal
                       : Form::lines,
            !no_header_, colored(color_) && !json_, terminal || human_, passwords_};
}

Sheet List::sheet(const Connection &database, const std::vector<Part> &parts, const Defaults &defaults,
                  std::optional<std::size_t> most, Sums *sums) const {
    const Style style = this->style();
    std::vector<std::string> titles = columns_;
    if (titles.empty() && json_) {
        titles = titles_of(parts);
    } else if (titles.empty()) {
        for (const std::string_view title :
             split(style.form == Form::terminal ? defaults.for_people : defaults.for_programs, ' ')) {
            titles.emplace_back(title);
        }
    }
    std::vector<Source> sources;
    std::vector<Shown> shown;
    for (const std::string &title : titles) {
        sources.push_back(known_source(parts, title, "--columns"));
        shown.push_back(sources.back().shown);
    }
    const auto hidden = [&](std::string_view title) -> int {
        auto source = find_source(parts, title);
        if (!source) {
            return -1;
        }
        sources.push_back(*std::move(source));
        return static_cast<int>(sources.size()) - 1;
    };
    const int status = style.color ? hidden("status") : -1;
    const int down = sums != nullptr ? hidden("download_rate") : -1;
    const int up = sums != nullptr ? hidden("upload_rate") : -1;
    std::string order;
    const auto add_order = [&](Source source) {
        sources.push_back(std::move(source));
        order += concat(order.empty() ? " ORDER BY " : ", ", sources.size(), reverse_ ? " DESC" : "");
    };
    if (!sort_.empty()) {
        add_order(known_source(parts, sort_, "--sort"));
    }
    for (const std::string_view title : split(defaults.order, ' ')) {
        add_order(known_source(parts, std::string(title.substr(0, title.find(','))), "--sort"));
    }
    std::string page;
    if (page_ || per_page_ || most) {
        const std::int64_t rows = per_page_.value_or(rows_on_page);
        const std::int64_t limit = page_ || per_page_ ? rows : static_cast<std::int64_t>(*most);
        page = concat(" LIMIT ", most ? std::min(limit, static_cast<std::int64_t>(*most)) : limit, " OFFSET ",
                      rows * (page_.value_or(1) - 1));
    }

    Sheet sheet(std::move(shown), style);
    Statement statement(database, statement_for(parts, sources) + order + page);
    bind_all(statement, parts);
    std::vector<Field> fields(titles.size());
    while (statement.next()) {
        for (std::size_t i = 0; i < titles.size(); ++i) {
            fields[i] = {statement.text(static_cast<int>(i)), statement.is_null(static_cast<int>(i))};
        }
        sheet.row(fields, status >= 0 ? statement.text(status) : std::string_view());
        if (sums != nullptr) {
            ++sums->rows;
            sums->down += down >= 0 ? statement.number(down) : 0;
            sums->up += up >= 0 ? statement.number(up) : 0;
        }
    }
    return sheet;
}

void List::print(const Connection &database, const std::vector<Part> &parts, const Defaults &defaults) const {
    sheet(database, parts, defaults).print();
}

void List::print_records(const Connection &database, const std::vector<Part> &parts) const {
    const bool json = json_;
    const bool for_people = human_ || (output_is_terminal() && !json);
    const Style style{json ? Form::json_records : Form::records, true, false, for_people, passwords_};
    Spool spool;
    std::string between = json ? "[\n" : "";
    for (const Part &part : parts) {
        const Table &table = *part.table;
        std::string computed;
        for (const Column &column : table.columns) {
            computed += column.name.empty() ? concat(", ", column.expression, " AS ", column.title) : "";
        }
        Statement statement(database, "SELECT *" + computed + part.from());
        bind_all(statement, {part});
        std::vector<Shown> shown;
        for (int i = 0; i < statement.columns(); ++i) {
            const std::string name = statement.name(i);
            const Column *column = table.find(name);
            shown.push_back({column != nullptr ? std::string(column->title) : name,
                             {},
                             column != nullptr ? column->kind : Kind::address}); // another program's may hold anything
        }
        Sheet sheet(std::move(shown), style);
        std::vector<Field> fields(static_cast<std::size_t>(statement.columns()));
        while (statement.next()) {
            for (int i = 0; i < statement.columns(); ++i) {
                fields[static_cast<std::size_t>(i)] = {statement.text(i), statement.is_null(i)};
            }
            sheet.row(fields);
        }
        if (sheet.rows() > 0) {
            spool.add(between);
            between = json ? ",\n" : "\n";
        }
        sheet.finish([&](std::string_view text) { spool.add(text); });
    }
    spool.add(json ? "\n]\n" : "");
    spool.print();
}

} // namespace tqctl
