// The tables under test, described once. A table that joins the list of tables() is put through every shared suite:
// the statements SQLite receives, creating and dropping, writing and reading every column, deleting, listing, a missing
// table, a locked file, a file that cannot be opened, memory that runs out.
#ifndef KORVO_TESTS_TABLES_H
#define KORVO_TESTS_TABLES_H

#include "korvo_bt.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace test {

enum class Kind { text, int32, int64, int_as_float };

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
        return Kind::int_as_float;
    } else {
        return std::is_same_v<T, int64_t> ? Kind::int64 : Kind::int32;
    }
}

#define KORVO_FIELD(record, field)                                                                                     \
    test::Field {                                                                                                      \
#field, offsetof(record, field), sizeof(record::field), test::kind_of < decltype(record::field)>()             \
    }

// For an operation that reports failures with SQLite's own code.
constexpr int32_t sqlite_code = std::numeric_limits<int32_t>::max();

// A call by its wording, and the same call with one argument at, or past, an end of what it may be.
struct Call {
    std::string name;
    std::function<int32_t()> call;
    std::vector<std::function<int32_t()>> accepted = {}, refused = {};
};

// One call, made on a table that holds sample records 1 and 2 as its rows.
// Reads go to `scratch`, listings to `deliver`.
struct Operation : Call {
    int32_t success;
    int32_t failure;                     // the table is missing, the file is locked, memory ran out
    std::vector<std::string> statements; // as SQLite receives them, each on a connection of its own
    bool waits = true;                   // for a lock
    std::string before = {};             // SQL that makes ready for it
};

using Read = int32_t (*)(const void *keys, void *record);

struct Update {
    std::function<int32_t(void *record)> call;
    std::vector<std::string> keys; // columns
    std::vector<std::string> writes;
};

// Sets one column of the key's rows to the value that is pointed to.
struct Setter {
    const char *name;
    int32_t (*call)(int32_t key, uint32_t position, const void *value);
    const char *key;
    std::vector<uint32_t> positions; // those that it serves
};

struct Listing {
    int32_t (*call)(const char *file, TqRowCallback callback, int32_t start, int32_t end, void *context);
    std::string select; // the same rows and columns
    bool paged = true;
};

struct Table {
    const char *name;
    std::vector<std::string> schema; // the CREATE statements as SQLite is to receive them, the table's first
    std::size_t record_size;
    std::vector<Field> fields; // in column order
    int32_t (*create)();
    int32_t (*drop)();
    int32_t (*flush)();
    int32_t (*add)(void *record);
    bool add_returns_id = true;   // else BTDB_OK
    std::vector<Read> reads = {}; // the first by identifier
    std::vector<Update> updates = {};
    std::vector<Setter> setters = {};
    int32_t (*remove)(uint32_t selector, const void *value) = nullptr;
    std::vector<uint32_t> selectors = {}; // those that it serves
    bool drop_and_remove_wait = true;     // for a lock
    std::vector<Listing> listings;
    std::vector<Operation> operations; // besides those that follow from the members above
};

std::size_t position_of(const std::vector<Field> &fields, const std::string &column);
std::vector<std::string> all_but(const std::vector<std::string> &columns, const std::vector<Field> &fields);

Table bt_task_table();
Table bt_session_table();
Table http_ftp_task_table();
Table bt_fdata_table();
Table bt_infodata_table();
Table bt_rss_table();
Table bt_rss_job_table();
Table bt_account_table();

const std::vector<Table> &tables();

// Where operations leave what they read and what was listed for them.
alignas(8) extern char scratch[8192];
extern std::string delivered;
int deliver(void *context, int columns, char **values, char **names);

template <class Record> Record *scratch_record() {
    static_assert(sizeof(Record) <= sizeof scratch);
    return reinterpret_cast<Record *>(scratch);
}

// ---- Records of an operation's own type

// Every field holds a value of its own that follows from `seed`, the identifier; strings contain a quote. The fields
// named as keys hold what they hold in sample 1.
void fill_sample(void *record, const std::vector<Field> &fields, int seed, const std::vector<std::string> &keys = {});

template <class T> T sample(const std::vector<Field> &fields, int seed, const std::vector<std::string> &keys = {}) {
    T record = {};
    fill_sample(&record, fields, seed, keys);
    return record;
}

template <class T> const T &as(const void *record) {
    return *static_cast<const T *>(record);
}

template <class T> int32_t pass(int32_t (*operation)(T *), void *record) {
    return operation(static_cast<T *>(record));
}
template <auto operation> int32_t with_record(void *record) {
    return pass(operation, record);
}

template <class T, class Field, class Key>
int32_t read(Field T::*key, int32_t (*operation)(Key, T *), const void *keys, void *record) {
    return operation(as<T>(keys).*key, static_cast<T *>(record));
}
template <auto key, auto operation> int32_t read_by(const void *keys, void *record) {
    return read(key, operation, keys, record);
}

// An update of one column: it takes the key and the value.
template <class T, class Key, class Value, class Function>
Update sets(const char *key_column, Key T::*key, const char *column, Value T::*value, Function *function) {
    return {[=](void *record) { return function(as<T>(record).*key, as<T>(record).*value); }, {key_column}, {column}};
}

// A string that is read into a buffer of 1024 bytes. A query that fails leaves an empty string in it, and writes no
// more.
template <auto query> int32_t read_string(int32_t id, char *buffer) {
    std::string own(1024, '\xa5'), empty = own;
    empty[0] = '\0';
    const int32_t length = query(id, buffer != nullptr ? own.data() : nullptr);
    if (length >= 0) {
        own.copy(buffer, own.size());
    } else if (length == BTDB_ERR_QUERY) {
        EXPECT_EQ(own, empty);
    }
    return length;
}

// ---- Statements as SQLite is to receive them

// What stands before the closing bracket of the columns differs from table to table.
std::string creation(const char *table, const std::vector<Field> &fields, const char *end = "");
std::string insertion(const char *table, const std::vector<Field> &fields, const void *record, const char *end = "",
                      const char *end_of_values = " ");
// As an UPDATE sets them: "a = 1, \tb = 'it''s'", in the order of the columns.
std::string assignments(const std::vector<Field> &fields, const void *record, const std::vector<std::string> &columns);

// A listing that passes on `file`, `callback`, `context` and, when it is paged, `start` and `end`.
#define KORVO_LISTING(...)                                                                                             \
    [](const char *file, TqRowCallback callback, [[maybe_unused]] int32_t start, [[maybe_unused]] int32_t end,         \
       void *context) { return __VA_ARGS__; }

// ---- Calls

// An argument that may be anything from 0 to the highest, and nothing else.
struct Limited {
    int32_t value;
    int32_t highest;
};
inline Limited up_to(int32_t highest, int32_t value) {
    return {value, highest};
}
inline Limited natural(int32_t value) {
    return up_to(std::numeric_limits<int32_t>::max(), value);
}

template <class Argument> const Argument &value_of(const Argument &argument) {
    return argument;
}
inline int32_t value_of(const Limited &argument) {
    return argument.value;
}

// Refused are also a record and a text that are NULL. A callback may be, and what is NULL in the call itself.
template <std::size_t at, class Function, class Arguments, class Argument>
void vary(Call &call, Function *function, const Arguments &arguments, const Argument &argument) {
    const auto with = [&](const auto &value) {
        Arguments varied = arguments;
        std::get<at>(varied) = value;
        return [=] { return std::apply(function, varied); };
    };
    if constexpr (std::is_same_v<Argument, Limited>) {
        call.accepted.insert(call.accepted.end(), {with(0), with(argument.highest)});
        call.refused.insert(call.refused.end(), {with(-1), with(std::numeric_limits<int32_t>::min())});
        if (argument.highest < std::numeric_limits<int32_t>::max()) {
            call.refused.push_back(with(argument.highest + 1));
        }
    } else if constexpr (std::is_pointer_v<Argument> && !std::is_function_v<std::remove_pointer_t<Argument>>) {
        call.refused.push_back(with(nullptr));
    }
}

template <class... Parameters, class... Arguments>
Call call_of(std::string name, int32_t (*function)(Parameters...), Arguments... arguments) {
    const std::tuple<Parameters...> values(value_of(arguments)...);
    Call call = {std::move(name), [=] { return std::apply(function, values); }};
    [&]<std::size_t... at>(std::index_sequence<at...> /*positions*/) {
        (vary<at>(call, function, values, arguments), ...);
    }
    (std::index_sequence_for<Arguments...>());
    return call;
}
#define KORVO_CALL(function, ...) test::call_of(#function "(" #__VA_ARGS__ ")", function __VA_OPT__(, ) __VA_ARGS__)

// Operations by what their failure is called.
inline Operation deletes(Call call, std::string statement, bool waits = true) {
    return {std::move(call), BTDB_OK, BTDB_ERR_DELETE, {std::move(statement)}, waits};
}
inline Operation updates(Call call, std::string statement) {
    return {std::move(call), BTDB_OK, BTDB_ERR_UPDATE, {std::move(statement)}};
}
inline Operation queries(Call call, std::string statement, int32_t success = BTDB_OK) {
    return {std::move(call), success, BTDB_ERR_QUERY, {std::move(statement)}};
}
// The third row's add, by the INSERT and, where the identifier is read by a statement of its own, that statement.
inline Operation adds(Call call, std::vector<std::string> statements, int32_t success = 3) {
    return {std::move(call), success, BTDB_ERR_INSERT, std::move(statements)};
}

} // namespace test

#endif
