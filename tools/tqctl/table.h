// Rows of the database, shown: a table fitted to the terminal, TAB-separated lines for programs, or JSON.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tqctl {

// A value as the library hands it out: text, or nothing for an SQL NULL.
using Value = std::optional<std::string>;
using Row = std::vector<Value>;

// What a listing delivered. Listings are collected whole and shown afterwards: while one runs, it keeps the database
// locked against writers, and whoever reads our output may take his time.
struct Rows {
    std::vector<std::string> names;
    std::vector<Row> rows;
    std::exception_ptr failure; // what stopped the listing from our side

    // The place of a column; the number of columns when there is none of that name.
    std::size_t position(std::string_view name) const {
        return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
    }

    // The row callback of a listing whose context is a Rows.
    static int collect(void *rows, int columns, char **values, char **names) noexcept;

    void rethrow_failure() const {
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
};

// The rows of a listing that have this value in one column; for listings that the library does not filter by it.
struct RowsWith : Rows {
    RowsWith(int in_column, std::string wanted) : column(in_column), value(std::move(wanted)) {}

    int column;
    std::string value;

    // The row callback of a listing whose context is a RowsWith.
    static int collect(void *rows, int columns, char **values, char **names) noexcept;
};

// Puts "********" in the place of every password of a column; an empty one stays empty.
void mask(Rows &rows, std::string_view column);

// The whole text as an integer. SQLite's columns hold what was written into them: a number's may hold a text.
std::optional<std::int64_t> whole_number(const Value &value);

enum class Kind {
    text,
    prose, // a text that a terminal shows whole, on several lines
    number,
    flag,  // a number; people read "yes" or nothing
    time,  // seconds since 1970; people read the local time, or nothing for 0
    share, // a bar for what this column has of the column `whole`; for terminals only
};

enum class Audience {
    everyone,
    people,   // on terminals
    programs, // in lines with TABs
    seekers,  // who ask for it by its name
};

// A column of the output and the column of the rows that it shows.
struct Column {
    std::string_view title;
    std::string_view source;
    Kind kind;
    Audience audience = Audience::everyone;
    std::string_view whole{};
};

// Nothing first, then numbers, then texts; rows with equal values keep their order.
void sort_rows(Rows &rows, const Column &by);

// How a table looks beside what it says.
struct Style {
    bool header = true;
    bool color = false;
    // The escape sequence that colours a row; nullptr for none.
    const char *(*paint)(const Rows &rows, const Row &row) = nullptr;
};

inline constexpr const char *red = "\033[31m";
inline constexpr const char *green = "\033[32m";
inline constexpr const char *yellow = "\033[33m";

// The heading, then the rows, as wide as the terminal at most: what does not fit is cut off from the last column, and
// from the other texts only where that would leave nothing of it.
std::string terminal_table(const Rows &rows, const std::vector<Column> &columns, const Style &style = {});

// One line with the titles and one line a row, fields separated by TABs, texts escaped.
std::string plain_table(const Rows &rows, const std::vector<Column> &columns, const Style &style = {});

// An array of objects with the titles as names, numbers as numbers, SQL NULL as null; in ASCII.
std::string json_table(const Rows &rows, const std::vector<Column> &columns);

// For each row a line a column, the title, then the value: aligned for a terminal, else separated by a TAB. An empty
// line between two rows.
std::string records(const Rows &rows, const std::vector<Column> &columns);

// The first row as a JSON object.
std::string json_record(const Rows &rows, const std::vector<Column> &columns);

} // namespace tqctl
