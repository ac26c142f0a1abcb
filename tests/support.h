// What every test program stands on: the sandbox, a fresh database for each test, a way to it that does not lead
// through the library, and a recording of the library's calls of SQLite. The database file is touched through SQLite
// only: anything else in this process would drop the locks on it.
#ifndef KORVO_TESTS_SUPPORT_H
#define KORVO_TESTS_SUPPORT_H

#include "tables.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <string>
#include <vector>

namespace test {

constexpr const char *directory = "/mnt/HDA_ROOT";
constexpr const char *database = "/mnt/HDA_ROOT/tq.db";
constexpr const char *other_file = "/mnt/HDA_ROOT/other.db";

// How much of a suite runs, as KORVO_EFFORT has it: "least" where a program runs many times slower, "full" for the
// whole of it, and between them what fits into every test run.
int effort(int least, int quick, int full);

// ---- The database, behind the library's back. Values are written as SQL literals: 7, 'it''s', 2.5, NULL.

using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

// What a listing delivered to note(), which stops it after so many rows.
struct Listed {
    Rows rows;
    Row names;
    std::size_t stop_after = SIZE_MAX;
};
int note(void *listed, int columns, char **values, char **names);

// A connection of the test's own. Failing statements fail the test.
class Connection {
public:
    explicit Connection(const char *file = database);
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection() { sqlite3_close_v2(db_); }
    Listed listed(const std::string &sql);
    Rows rows(const std::string &sql) { return listed(sql).rows; }

private:
    sqlite3 *db_ = nullptr;
};

inline Rows sql(const std::string &text) {
    return Connection().rows(text);
}
void insert(const Table &table, const Row &literals);
Rows stored(const Table &table);
std::string literal(const std::string &text);

// Every table of the file with its rows.
Rows contents(Connection &connection);
inline Rows contents() {
    Connection connection;
    return contents(connection);
}

// ---- Records

// The bytes of a record, with a guard behind them.
class Record {
public:
    // As the caller of a read may have it: uninitialized.
    explicit Record(const Table &table);
    // A sample.
    Record(const Table &table, int seed);

    void *data() { return bytes_.data(); }
    const void *field(std::size_t position) const { return bytes_.data() + table_->fields[position].offset; }
    void set(std::size_t position, const std::string &text);
    void set(std::size_t position, int64_t number);
    void set_float(std::size_t position, float number);
    void copy(const std::string &column, const Record &from);
    // The record as a read gives it back.
    Record as_read() const;
    // The fields as the row they stand for. Bytes that should not be there show.
    Row row() const;

private:
    const Table *table_;
    std::string bytes_;
};

// ---- The fixture

// No database file.
void start_afresh();

class StoreTest : public testing::Test {
protected:
    StoreTest();
    ~StoreTest() override;
};

// Creates the table by SQL, with so many rows.
void fill(const Table &table, int count = 2);

// The table's operations, with those that follow from its description. Creating starts on an empty file, the others on
// fill().
std::vector<Operation> operations(const Table &table);
bool creates(const Operation &operation);
void prepare(const Table &table, const Operation &operation);
int32_t failure_of(const Operation &operation, int sqlite);

// Makes the call with clean buffers for what it reads and lists.
int32_t call(const Operation &operation);
bool scratch_is_clean();

struct OperationOfTable {
    const Table *table;
    Operation operation;
};
std::vector<OperationOfTable> all_operations();
std::string name_of(const OperationOfTable &of);
inline void PrintTo(const OperationOfTable &of, std::ostream *to) {
    *to << name_of(of);
}
inline void PrintTo(const Table &table, std::ostream *to) {
    *to << table.name;
}

// ---- What the library asks of SQLite

// While one exists, this thread's calls are noted: "open FILE", "wait MS", "run SQL", "close".
class Recording {
public:
    Recording();
    Recording(const Recording &) = delete;
    Recording &operator=(const Recording &) = delete;
    ~Recording();
    std::vector<std::string> calls;
};

// Connections that the library has open.
int connections();

} // namespace test

#endif
