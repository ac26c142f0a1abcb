// How a list is asked for and shown: the options that every list has.
#pragma once

#include "commands.h"
#include "output.h"
#include "table.h"

#include <optional>

namespace tqctl {

class Listing {
public:
    // Every column of the table, and those made from them. Programs rely on the names and the order of theirs: new ones
    // would go before the last, which may hold anything. JSON has the table's own names.
    explicit Listing(const std::vector<Column> &columns) : columns_(&columns) {}

    // Other columns, for an option that comes before those added here.
    void use(const std::vector<Column> &columns) { columns_ = &columns; }

    void add_options(CLI::App &command);
    void add_paging(CLI::App &command, const char *help);

    // Colours rows where colours are wanted.
    void paint(const char *(*color)(const Rows &rows, const Row &row)) { paint_ = color; }

    // The rows to ask the library for, as it counts them: both 0 for all of them. Everything also where the order is
    // not the library's: then print() cuts the page out.
    struct Range {
        std::int32_t start;
        std::int32_t end;
    };
    Range range() const;

    bool json() const { return json_; }

    // Puts the rows in order and prints them. `everything`: they are not the range but all that there are.
    void print(Rows &rows, bool everything = false) const;

    // The same in two steps.
    void arrange(Rows &rows, bool everything = false) const;
    std::string text(const Rows &rows) const;

private:
    Range page() const;
    bool own_order() const { return sort_ != nullptr || reverse_; }
    const Column *find(const std::string &name) const;
    std::vector<Column> shown(const Rows &rows) const;

    const std::vector<Column> *columns_;
    const Column *sort_ = nullptr;
    std::vector<const Column *> chosen_;
    std::optional<std::int32_t> page_;
    std::optional<std::int32_t> per_page_;
    bool reverse_ = false;
    bool json_ = false;
    bool no_header_ = false;
    Color color_ = Color::automatic;
    const char *(*paint_)(const Rows &rows, const Row &row) = nullptr;
};

} // namespace tqctl
