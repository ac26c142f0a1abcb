#include "listing.h"

#include <algorithm>
#include <limits>

namespace tqctl {
namespace {

bool for_reader(const Column &column) {
    return column.audience == Audience::everyone ||
           column.audience == (output_is_terminal() ? Audience::people : Audience::programs);
}

} // namespace

// Of two columns with the same name, the one that the reader would see anyway.
const Column *Listing::find(const std::string &name) const {
    const Column *found = nullptr;
    for (const Column &column : *columns_) {
        const bool named = column.title == name || column.source == name;
        if (named && (found == nullptr || (for_reader(column) && !for_reader(*found)))) {
            found = &column;
        }
    }
    return found;
}

void Listing::add_options(CLI::App &command) {
    const auto known = [this](const char *option, const std::string &name) {
        if (const Column *column = find(CLI::detail::to_lower(name))) {
            return column;
        }
        std::string titles;
        for (const Column &column : *columns_) {
            if (find(std::string(column.title)) == &column) { // of two with the same title one is enough
                titles += (titles.empty() ? "" : ", ") + std::string(column.title);
            }
        }
        throw CLI::ValidationError(option, "there is no column \"" + name + "\", but " + titles);
    };
    const auto take_sort = [this, known](const std::string &name) { sort_ = known("--sort", name); };
    command.add_option_function<std::string>("--sort", take_sort, "Sort by this column")->type_name("NAME");
    command.add_flag("--reverse", reverse_, "The other way round");
    const auto take_columns = [this, known](const std::string &names) {
        for (const std::string &name : CLI::detail::split(names, ',')) {
            chosen_.push_back(known("--columns", name));
        }
    };
    command.add_option_function<std::string>("--columns", take_columns, "Only these columns, in this order")
        ->type_name("NAME,...");
    command.add_flag("--no-header", no_header_, "Without the line of column names");
    add_color(command, color_);
    command.add_flag("--json", json_, "A JSON array of objects with every field");
}

void Listing::add_paging(CLI::App &command, const char *help) {
    add_number(
        command, "--page", "Only this page, from 1", [this](std::int32_t n) { page_ = n; }, 1);
    add_number(
        command, "--per-page", help, [this](std::int32_t n) { per_page_ = n; }, 1);
}

Listing::Range Listing::page() const {
    if (!page_ && !per_page_) {
        return {0, 0};
    }
    const std::int64_t rows = per_page_.value_or(20);
    const std::int64_t end = rows * page_.value_or(1);
    if (end > std::numeric_limits<std::int32_t>::max()) {
        throw CLI::ValidationError("--page", "lies beyond the last row that can be counted");
    }
    return {static_cast<std::int32_t>(end - rows), static_cast<std::int32_t>(end)};
}

Listing::Range Listing::range() const {
    const Range asked = page();
    return own_order() ? Range{0, 0} : asked;
}

std::vector<Column> Listing::shown(const Rows &rows) const {
    std::vector<Column> columns;
    if (!chosen_.empty()) {
        for (const Column *column : chosen_) {
            columns.push_back(*column);
        }
    } else if (json_) {
        for (const std::string &name : rows.names) {
            const Column *const known = find(name);
            columns.push_back(known != nullptr ? *known : Column{name, name, Kind::text}); // another program's column
        }
    } else {
        std::copy_if(columns_->begin(), columns_->end(), std::back_inserter(columns), for_reader);
    }
    if (json_) {
        for (Column &column : columns) {
            column.title = column.source;
        }
    }
    return columns;
}

void Listing::arrange(Rows &rows, bool everything) const {
    if (sort_ != nullptr) {
        sort_rows(rows, *sort_);
    }
    if (reverse_) {
        std::reverse(rows.rows.begin(), rows.rows.end());
    }
    if (const Range asked = page(); (everything || own_order()) && asked.end != 0) {
        const auto position = [&](std::int32_t at) {
            return rows.rows.begin() + std::min<std::ptrdiff_t>(at, std::ssize(rows.rows));
        };
        rows.rows.erase(position(asked.end), rows.rows.end());
        rows.rows.erase(rows.rows.begin(), position(asked.start));
    }
}

std::string Listing::text(const Rows &rows) const {
    const std::vector<Column> columns = shown(rows);
    const Style style{!no_header_, colored(color_), paint_};
    return json_                  ? json_table(rows, columns)
           : output_is_terminal() ? terminal_table(rows, columns, style)
                                  : plain_table(rows, columns, style);
}

void Listing::print(Rows &rows, bool everything) const {
    arrange(rows, everything);
    tqctl::print(text(rows));
}

} // namespace tqctl
