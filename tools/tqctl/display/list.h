// How rows are asked for and shown: the options that every list has, and the statement that they make. Order and pages
// are SQLite's work, so that rows pass through one at a time.
#ifndef KORVO_TQCTL_DISPLAY_LIST_H
#define KORVO_TQCTL_DISPLAY_LIST_H

#include "display/sheet.h"
#include "options/options.h"
#include "store/connection.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tqctl {

// The rows of one table that a list is about.
struct Part {
    const Table *table;
    std::string where{}; // a condition with a ? for each value; empty for all rows
    std::vector<Cell> values{};

    std::string from() const; // " FROM ... WHERE ..."
};

// What a list shows unless told otherwise: titles with spaces between.
struct Defaults {
    std::string_view for_programs;
    std::string_view for_people;
    std::string_view order;
};
Defaults defaults_of(const Table &table);

// Of the rows shown.
struct Sums {
    std::int64_t rows = 0;
    std::int64_t down = 0;
    std::int64_t up = 0;
};
std::string in_words(const Sums &sums);

class List {
public:
    void add_options(CLI::App &command, bool with_pages = true);
    void add_form_options(CLI::App &command); // the last of them: how it looks
    void add_record_options(CLI::App &command);
    void add_show_passwords(CLI::App &command);

    void put_json_in_one_line() { json_form_ = Form::json_line; }
    bool json() const { return json_; }

    // Which form the options and the reader of standard output want.
    Style style() const;

    // The rows of one or more parts; of several, amounts are in bytes, since their units differ.
    void print(const Connection &database, const std::vector<Part> &parts, const Defaults &defaults) const;

    // The same without printing it; `most` rows of a page at most.
    Sheet sheet(const Connection &database, const std::vector<Part> &parts, const Defaults &defaults,
                std::optional<std::size_t> most = {}, Sums *sums = nullptr) const;

    // Every column of rows under its own name, those of other programs too.
    void print_records(const Connection &database, const std::vector<Part> &parts) const;

private:
    void add_human(CLI::App &command);

    std::string sort_;
    std::vector<std::string> columns_;
    std::optional<std::int32_t> page_;
    std::optional<std::int32_t> per_page_;
    bool reverse_ = false;
    bool json_ = false;
    Form json_form_ = Form::json;
    bool no_header_ = false;
    bool human_ = false;
    bool passwords_ = false;
    Color color_ = Color::automatic;
};

} // namespace tqctl

#endif
