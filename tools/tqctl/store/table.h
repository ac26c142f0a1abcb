// The tables of the database, each described once: what it is called, its columns and what they hold, what the library
// does with its rows. Lists, options, JSON, masks, exports and the doctor's checks follow from the descriptions.
#ifndef KORVO_TQCTL_STORE_TABLE_H
#define KORVO_TQCTL_STORE_TABLE_H

#include <cstddef>
#include <cstdint>
#include <korvo_bt.h>
#include <span>
#include <string>
#include <string_view>

namespace tqctl {

// What a column holds, and so how people are shown it.
enum class Kind {
    identifier,
    number,
    real,
    flag,    // 1 or 0; people read "yes" or nothing
    bytes,   // an amount
    kib,     // an amount in KiB
    mib,     // an amount in MiB
    rate,    // bytes a second
    percent, // people see a bar
    seconds, // since 1970; people read the local time, or nothing for 0
    text,
    task,     // "bt:3"; a text that is never cut
    address,  // a text with addresses, which may hold passwords
    password, // masked unless asked for
};

constexpr bool is_text(Kind kind) {
    return kind >= Kind::text;
}

// Commands in which a column is an option, called like its title.
enum Use : std::uint8_t { nowhere = 0, on_add = 1, on_set = 2, required = 4, on_remove = 8 };

struct Column {
    std::string_view name;  // the database's; empty for one that is computed
    std::string_view title; // everywhere else: headings, JSON, --columns, options
    Kind kind;
    std::size_t offset = 0; // of the field in the record
    std::size_t width = 0;  // in bytes, a text's NUL included
    unsigned uses = nowhere;
    std::string_view help{};       // of the option
    std::string_view expression{}; // what a computed one is
    std::string_view heading{};    // over the column, where people want a shorter one

    std::string_view sql() const { return expression.empty() ? name : expression; }
};

struct Index {
    std::string_view name;
    std::string_view column;
};

template <class Function> struct Call {
    const char *name = nullptr;
    Function *run = nullptr;
};

struct Table {
    std::string_view name;
    std::string_view title; // of one row
    std::span<const Column> columns;
    std::span<const Index> indexes{};
    std::string_view for_programs; // titles that lists show unless told otherwise
    std::string_view for_people;
    std::string_view order;
    std::size_t record_size;
    std::string_view task_column{}; // names the BitTorrent task that a row belongs to
    Call<std::int32_t()> create;
    Call<std::int32_t(const void *record)> add{};
    bool add_returns_id = false;
    Call<std::int32_t(std::int32_t id, std::uint32_t column, const void *value)> set{};
    Call<std::int32_t(const void *record, std::int32_t id)> update{}; // of the whole record, where there is no set
    Call<std::int32_t(std::uint32_t column, const void *value)> remove{};

    const Column &id() const { return columns.front(); }
    // By its title or its name in the database; nullptr when there is none.
    const Column *find(std::string_view wanted) const;
    std::uint32_t position(const Column &column) const { return static_cast<std::uint32_t>(&column - columns.data()); }
};

extern const Table bt_task_table;
extern const Table session_table;
extern const Table http_task_table;
extern const Table file_table;
extern const Table info_table;
extern const Table rss_table;
extern const Table job_table;
extern const Table account_table;

// In the order in which they are created: index names that two tables share go to the first of them.
std::span<const Table *const> all_tables();

// Of that name in the database; nullptr when there is none.
const Table *find_table(std::string_view name);

// The statements that make a table and one of its indexes, as the library has them but for white space.
std::string create_statement(const Table &table);
std::string create_statement(const Table &table, const Index &index);

} // namespace tqctl

#endif
