#include "table.h"

#include "output.h"
#include "text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <korvo_bt.h>
#include <libsmartcols.h>
#include <memory>
#include <new>
#include <nlohmann/json.hpp>
#include <tuple>
#include <utility>

namespace tqctl {
namespace {

using Json = nlohmann::ordered_json;

bool is_text(Kind kind) {
    return kind == Kind::text || kind == Kind::prose;
}

// The rows seen through the columns of an output. Resolves every column name once.
class View {
public:
    View(const Rows &rows, const std::vector<Column> &columns) : rows_(rows), columns_(columns) {
        for (const Column &column : columns) {
            sources_.push_back(rows.position(column.source));
            wholes_.push_back(rows.position(column.whole));
        }
    }

    const std::vector<Column> &columns() const { return columns_; }
    std::size_t size() const { return rows_.rows.size(); }

    const Value &value(std::size_t row, std::size_t column) const { return at(row, sources_[column]); }
    const Value &whole(std::size_t row, std::size_t column) const { return at(row, wholes_[column]); }

private:
    const Value &at(std::size_t row, std::size_t position) const {
        static const Value none;
        return position < rows_.rows[row].size() ? rows_.rows[row][position] : none;
    }

    const Rows &rows_;
    const std::vector<Column> &columns_;
    std::vector<std::size_t> sources_;
    std::vector<std::size_t> wholes_;
};

template <typename Number> std::optional<Number> number_in(const Value &value) {
    Number number{};
    if (!value) {
        return std::nullopt;
    }
    const char *end = value->data() + value->size();
    const auto [stop, error] = std::from_chars(value->data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

// From 0 to 1; none where nothing is known of the whole.
std::optional<double> share_of(const Value &part, const Value &whole) {
    const auto done = whole_number(part);
    const auto all = whole_number(whole);
    if (!done || !all || *all <= 0) {
        return std::nullopt;
    }
    return std::clamp(static_cast<double>(*done) / static_cast<double>(*all), 0.0, 1.0);
}

// "[######----]  62%", or "-" where nothing is known of the whole.
std::string share_bar(const Value &part, const Value &whole) {
    constexpr int width = 10;
    const auto share = share_of(part, whole);
    if (!share) {
        return "-";
    }
    const auto filled = static_cast<std::size_t>(*share * width);
    const std::string percent = std::to_string(static_cast<int>(*share * 100));
    return "[" + std::string(filled, '#') + std::string(width - filled, '-') + "]" +
           std::string(5 - percent.size() - 1, ' ') + percent + "%";
}

std::string shown_text(const Value &value) {
    return escaped(value.value_or(""), output_charset());
}

std::string local_time(const Value &value) {
    const auto seconds = number_in<std::int32_t>(value);
    return !seconds ? shown_text(value) : *seconds == 0 ? "" : bt_task_fmttime(*seconds, "%Y-%m-%d %H:%M");
}

std::string terminal_cell(const View &view, std::size_t row, std::size_t column) {
    const Value &value = view.value(row, column);
    switch (view.columns()[column].kind) {
    case Kind::text:
    case Kind::prose:
    case Kind::number:
        break;
    case Kind::flag:
        return value == "1" ? "yes" : value == "0" ? "" : shown_text(value);
    case Kind::time:
        return local_time(value);
    case Kind::share:
        return share_bar(value, view.whole(row, column));
    }
    return shown_text(value);
}

// Compared member by member.
using SortKey = std::tuple<int, std::int64_t, double, std::string_view>;

SortKey sort_key(const View &view, std::size_t row) {
    const Value &value = view.value(row, 0);
    const Kind kind = view.columns()[0].kind;
    if (!value) {
        return {0, 0, 0, {}};
    }
    if (kind == Kind::share) {
        return {1, 0, share_of(value, view.whole(row, 0)).value_or(-1), {}};
    }
    if (!is_text(kind)) {
        if (const auto whole = whole_number(value)) {
            return {1, *whole, static_cast<double>(*whole), {}};
        }
        if (const auto decimal = number_in<double>(value); decimal && std::isfinite(*decimal)) {
            return {1, static_cast<std::int64_t>(std::floor(std::clamp(*decimal, -9e18, 9e18))), *decimal, {}};
        }
    }
    return {2, 0, 0, *value};
}

Json json_value(const Value &value, Kind kind) {
    if (!value) {
        return nullptr;
    }
    if (!is_text(kind)) {
        if (const auto whole = whole_number(value)) {
            return *whole;
        }
        if (const auto decimal = number_in<double>(value); decimal && std::isfinite(*decimal)) {
            return *decimal;
        }
    }
    return *value;
}

Json json_object(const View &view, std::size_t row) {
    Json object = Json::object();
    for (std::size_t column = 0; column < view.columns().size(); ++column) {
        const Column &described = view.columns()[column];
        object[std::string(described.title)] = json_value(view.value(row, column), described.kind);
    }
    return object;
}

// In ASCII, so that no control character reaches a terminal; bytes that are not UTF-8 become U+FFFD.
std::string dumped(const Json &json, int indent) {
    return json.dump(indent, ' ', true, Json::error_handler_t::replace);
}

constexpr const char *bold = "\033[1m";

const char *color_of(const Rows &rows, std::size_t row, const Style &style) {
    return style.color && style.paint != nullptr ? style.paint(rows, rows.rows[row]) : nullptr;
}

// "download_rate" as people read it over a column.
std::string heading(std::string_view title) {
    std::string out;
    for (const char c : title) {
        out += c == '_' ? ' ' : c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return out;
}

// How many characters a text has, whatever their width.
std::size_t characters(std::string_view text) {
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; }));
}

// Whether the columns before the last leave it no room worth having. `cells` has the cells row by row.
bool cut_everywhere(const std::vector<std::string> &cells, const std::vector<Column> &columns) {
    constexpr std::size_t room = 12;
    std::size_t taken = room;
    for (std::size_t column = 0; column + 1 < columns.size(); ++column) {
        std::size_t width = columns[column].title.size();
        for (std::size_t cell = column; cell < cells.size(); cell += columns.size()) {
            width = std::max(width, characters(cells[cell]));
        }
        taken += width + 1;
    }
    return taken > window().columns;
}

// libsmartcols reports only that memory ran out.
void done(int result) {
    if (result != 0) {
        throw std::bad_alloc();
    }
}

template <typename Part> Part *made(Part *part) {
    return part != nullptr ? part : throw std::bad_alloc();
}

} // namespace

std::optional<std::int64_t> whole_number(const Value &value) {
    return number_in<std::int64_t>(value);
}

int Rows::collect(void *rows, int columns, char **values, char **names) noexcept {
    auto *collected = static_cast<Rows *>(rows);
    try {
        if (collected->names.empty()) {
            collected->names.assign(names, names + columns);
        }
        Row row;
        row.reserve(static_cast<std::size_t>(columns));
        for (int column = 0; column < columns; ++column) {
            row.push_back(values[column] != nullptr ? Value(values[column]) : std::nullopt);
        }
        collected->rows.push_back(std::move(row));
        return 0;
    } catch (...) {
        collected->failure = std::current_exception();
        return 1;
    }
}

int RowsWith::collect(void *rows, int columns, char **values, char **names) noexcept {
    auto *wanted = static_cast<RowsWith *>(rows);
    const char *found = values[wanted->column];
    return found != nullptr && wanted->value == found ? Rows::collect(static_cast<Rows *>(rows), columns, values, names)
                                                      : 0;
}

void mask(Rows &rows, std::string_view column) {
    const auto position = static_cast<std::size_t>(std::ranges::find(rows.names, column) - rows.names.begin());
    for (Row &row : rows.rows) {
        if (Value &password = row.at(position); password && !password->empty()) {
            password = "********";
        }
    }
}

void sort_rows(Rows &rows, const Column &by) {
    const std::vector<Column> columns{by};
    const View view(rows, columns);
    std::vector<std::pair<SortKey, std::size_t>> order;
    order.reserve(rows.rows.size());
    for (std::size_t row = 0; row < rows.rows.size(); ++row) {
        order.emplace_back(sort_key(view, row), row);
    }
    std::stable_sort(order.begin(), order.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    std::vector<Row> sorted;
    sorted.reserve(order.size());
    for (const auto &[key, row] : order) {
        sorted.push_back(std::move(rows.rows[row]));
    }
    rows.rows = std::move(sorted);
}

std::string terminal_table(const Rows &rows, const std::vector<Column> &columns, const Style &style) {
    if (rows.rows.empty()) {
        return "(none)\n";
    }
    const View view(rows, columns);
    const std::unique_ptr<libscols_table, decltype(&scols_unref_table)> table(made(scols_new_table()),
                                                                              scols_unref_table);
    done(scols_table_set_termforce(table.get(), SCOLS_TERMFORCE_ALWAYS));
    done(scols_table_set_termwidth(table.get(), window().columns));
    done(scols_table_enable_noencoding(table.get(), 1)); // cells are escaped already
    done(scols_table_enable_noheadings(table.get(), style.header ? 0 : 1));
    done(scols_table_enable_colors(table.get(), style.color ? 1 : 0));
    std::vector<std::string> cells;
    cells.reserve(view.size() * columns.size());
    for (std::size_t row = 0; row < view.size(); ++row) {
        for (std::size_t column = 0; column < columns.size(); ++column) {
            cells.push_back(terminal_cell(view, row, column));
        }
    }
    const bool cuts_everywhere = cut_everywhere(cells, columns);
    for (std::size_t column = 0; column < columns.size(); ++column) {
        const Kind kind = columns[column].kind;
        const bool cut = kind == Kind::text && (cuts_everywhere || column + 1 == columns.size());
        const int flags = kind == Kind::prose ? SCOLS_FL_WRAP
                          : cut               ? SCOLS_FL_TRUNC
                          : is_text(kind)     ? 0
                                              : SCOLS_FL_RIGHT;
        libscols_column *made_column =
            made(scols_table_new_column(table.get(), heading(columns[column].title).c_str(), 0, flags));
        if (style.color) {
            done(scols_cell_set_color(scols_column_get_header(made_column), bold));
        }
    }
    for (std::size_t row = 0; row < view.size(); ++row) {
        libscols_line *line = made(scols_table_new_line(table.get(), nullptr));
        if (const char *color = color_of(rows, row, style)) {
            done(scols_line_set_color(line, color));
        }
        for (std::size_t column = 0; column < columns.size(); ++column) {
            done(scols_line_set_data(line, column, cells[row * columns.size() + column].c_str()));
        }
    }
    char *text = nullptr;
    done(scols_print_table_to_string(table.get(), &text));
    const std::unique_ptr<char, decltype(&std::free)> owner(made(text), std::free);
    return std::string(text) + "\n";
}

std::string plain_table(const Rows &rows, const std::vector<Column> &columns, const Style &style) {
    const View view(rows, columns);
    std::string out;
    const auto end_field = [&](std::size_t column, const char *color) {
        out += column + 1 < columns.size() ? "\t" : color != nullptr ? "\033[0m\n" : "\n";
    };
    for (std::size_t column = 0; style.header && column < columns.size(); ++column) {
        out += columns[column].title;
        end_field(column, nullptr);
    }
    for (std::size_t row = 0; row < view.size(); ++row) {
        const char *color = color_of(rows, row, style);
        out += color != nullptr ? color : "";
        for (std::size_t column = 0; column < columns.size(); ++column) {
            out += shown_text(view.value(row, column));
            end_field(column, color);
        }
    }
    return out;
}

std::string json_table(const Rows &rows, const std::vector<Column> &columns) {
    const View view(rows, columns);
    std::string out = "[";
    for (std::size_t row = 0; row < view.size(); ++row) {
        out += (row == 0 ? "\n  " : ",\n  ") + dumped(json_object(view, row), -1);
    }
    return out + (view.size() == 0 ? "]\n" : "\n]\n");
}

std::string records(const Rows &rows, const std::vector<Column> &columns) {
    const View view(rows, columns);
    std::size_t width = 0;
    for (const Column &column : columns) {
        width = std::max(width, column.title.size() + 2);
    }
    std::string out;
    for (std::size_t row = 0; row < view.size(); ++row) {
        out += row > 0 ? "\n" : "";
        for (std::size_t column = 0; column < columns.size(); ++column) {
            const std::string_view title = columns[column].title;
            out += title;
            out += output_is_terminal() ? std::string(width - title.size(), ' ') : "\t";
            out += shown_text(view.value(row, column)) + "\n";
        }
    }
    return out;
}

std::string json_record(const Rows &rows, const std::vector<Column> &columns) {
    return dumped(json_object(View(rows, columns), 0), 2) + "\n";
}

} // namespace tqctl
