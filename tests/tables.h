// The tables under test, described once. A table that joins the list of tables() is put through every shared suite:
// the statements SQLite receives, creating and dropping, writing and reading every column, deleting, listing, a missing
// table, a locked file, a file that cannot be opened, memory that runs out.
#ifndef KORVO_TESTS_TABLES_H
#define KORVO_TESTS_TABLES_H

#include "korvo_bt.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace test {

enum class Kind { text, int32, int64, whole_float };

// One field of a record and the column of the same name.
struct Field {
    const char *column;
    std::size_t offset;
    std::size_t size;
    Kind kind;
};

template <class T> constexpr Kind kind_of() {
    if constexpr (std::is_array_v<T>) {
        return Kind::text;
    } else if constexpr (std::is_same_v<T, float>) {
        return Kind::whole_float;
    } else {
        return std::is_same_v<T, std::int64_t> ? Kind::int64 : Kind::int32;
    }
}

#define KORVO_FIELD(record, field)                                                                                     \
    test::Field {                                                                                                      \
#field, offsetof(record, field), sizeof(record::field), test::kind_of < decltype(record::field)>()             \
    }

// For an operation that reports failures with SQLite's own code.
constexpr std::int32_t sqlite_code = std::numeric_limits<std::int32_t>::max();

// One call, made on a table that holds Record(table, 1) and Record(table, 2) as rows 1 and 2.
// Reads go to `scratch`, listings to `deliver`.
struct Operation {
    const char *name;
    std::int32_t (*call)();
    std::int32_t success;
    std::int32_t failure;                // the table is missing, the file is locked, memory ran out
    std::vector<std::string> statements; // as SQLite receives them, each on a connection of its own
    bool waits = true;                   // for a lock
};

using Read = std::int32_t (*)(const void *keys, void *record);

struct Update {
    std::function<std::int32_t(const void *record)> call;
    const char *key;
    std::vector<std::string> writes; // columns
};

struct Listing {
    std::int32_t (*call)(const char *file, TqRowCallback callback, std::int32_t start, std::int32_t end, void *context);
    const char *order; // what follows "SELECT * FROM table" for the same rows
};

struct Refusal {
    const char *name;
    std::int32_t (*call)(); // with an argument that is out of order
};

struct Table {
    const char *name;
    std::vector<std::string> schema; // the CREATE statements as SQLite is to receive them, the table's first
    std::size_t record_size;
    std::vector<Field> fields; // in column order
    std::int32_t (*create)();
    std::int32_t (*drop)();
    std::int32_t (*flush)();
    std::int32_t (*add)(void *record);
    std::vector<Read> reads; // the first by identifier
    std::vector<Update> updates;
    std::int32_t (*remove)(std::uint32_t selector, const void *value); // may be nullptr
    std::vector<std::uint32_t> selectors;                              // those that it serves
    std::vector<Listing> listings;                                     // the paged ones
    std::vector<Refusal> refusals;
    std::vector<Operation> operations; // besides creating, dropping and emptying
};

std::vector<std::string> all_but(const std::vector<std::string> &columns, const std::vector<Field> &fields);

Table bt_task_table();

const std::vector<Table> &tables();

// Where operations leave what they read and what was listed for them.
alignas(8) extern char scratch[8192];
extern std::string delivered;
int deliver(void *context, int columns, char **values, char **names);

template <class Record> Record *scratch_record() {
    static_assert(sizeof(Record) <= sizeof scratch);
    return reinterpret_cast<Record *>(scratch);
}

// A call and its wording, for lists of operations and refusals.
#define KORVO_CALL(...) #__VA_ARGS__, [] { return __VA_ARGS__; }

// Operations by what their failure is called.
using Call = std::int32_t (*)();
inline Operation deletes(const char *name, Call call, const char *statement, bool waits = true) {
    return {name, call, BTDB_OK, BTDB_ERR_DELETE, {statement}, waits};
}
inline Operation updates(const char *name, Call call, const char *statement) {
    return {name, call, BTDB_OK, BTDB_ERR_UPDATE, {statement}};
}
inline Operation queries(const char *name, Call call, const char *statement, std::int32_t success = BTDB_OK) {
    return {name, call, success, BTDB_ERR_QUERY, {statement}};
}
// The third row's add, by the INSERT and, where the identifier is read by a statement of its own, that statement.
inline Operation adds(const char *name, Call call, std::vector<std::string> statements, std::int32_t success = 3) {
    return {name, call, success, BTDB_ERR_INSERT, std::move(statements)};
}

} // namespace test

#endif
