// The operation shapes. Each opens the database file, sets the busy timeout, runs one statement, closes, and maps
// the outcome to a result code; nothing outlives the call, on any path. An absent statement gives the shape's
// failure code and opens nothing.
//
// This file knows no table. Every store operation is an argument check, a statement and one of these.
#ifndef KORVO_FRAME_SHAPES_H
#define KORVO_FRAME_SHAPES_H

#include "frame/row.h"
#include "frame/statement.h"
#include "korvo_bt.h"

#include <initializer_list>
#include <span>

namespace korvo {

// What a call does while another process holds a conflicting lock on the file.
enum class OnLock { wait, fail };

// Statement shape: BTDB_OK, or the failure code when the statement failed.
int32_t run(Sql sql, int32_t failure, OnLock on_lock = OnLock::wait);

// Table-creation shape: CREATE TABLE decides the result. The indexes are created in order and their results ignored,
// also when the table is there already: a name that another table has taken is no failure.
int32_t create_table(Sql table, std::initializer_list<const char *> indexes);

// Change-checked update shape: BTDB_ERR_UPDATE when the statement failed or matched no row.
int32_t update_checked(Sql sql);

// Single-value query shape: column 0 of the first row as a 32-bit number, when there is one and it is not negative;
// else BTDB_ERR_QUERY. Both of SQLite's integer reads keep the low 32 bits here, so one shape serves both.
int32_t read_value(Sql sql);

// The same for a string, which is copied as by strncpy: at most `size` bytes, padded with NULs, without a NUL when the
// string fills them. Returns the stored string's full length in bytes. Without a row the buffer holds the empty string;
// when the file cannot be opened it is untouched.
int32_t read_string(Sql sql, char *buffer, std::size_t size);

// Single-row query shape: read_columns(Row &, Record &) walks the first row into the record. It
// fills a copy, so that a row that cannot be read completely leaves the caller's record as it was.
using Walk = void (*)(Row &row, void *record);
int32_t read_row(Sql sql, Walk walk, void *record);

template <auto read_columns, class Record> int32_t read_row(Sql sql, Record *record) {
    Record copy = {};
    const int32_t result = read_row(
        sql, [](Row &row, void *to) { read_columns(row, *static_cast<Record *>(to)); }, &copy);
    if (result == BTDB_OK) {
        *record = copy;
    }
    return result;
}

// Row-callback query shape: BTDB_ERR_QUERY when the statement failed or the callback stopped it.
// A NULL file is the default one.
int32_t list_rows(const char *file, Sql sql, TqRowCallback callback, void *context);

// Its raw form: BTDB_ERR_OPEN, or SQLite's own result code.
int32_t list_rows_raw(const char *file, Sql sql, TqRowCallback callback, void *context);

// Insert-then-latest-id shape: after a successful insert, whatever the table's largest-identifier operation returns
// from a second frame.
int32_t insert_then_latest_id(Sql insert, int32_t (*latest_id)());

// Its sibling for tables whose callers need the identifier of this very row: it is read on the insert's own connection.
int32_t insert_returning_id(Sql insert);

// Paging: start and end are positions, end exclusive; both 0 is everything.
bool valid_paging(int32_t start, int32_t end);
OwnedSql paging(int32_t start, int32_t end);

// Whether a table of statements by column position serves this position and there is a value to build one from.
bool serves(std::span<const SqlOfValue> texts, uint32_t position, const void *value);

// Delete by column: `keys` holds a statement for each column position that the operation serves.
int32_t delete_by_column(std::span<const SqlOfValue> keys, uint32_t selector, const void *value,
                         OnLock on_lock = OnLock::wait);

} // namespace korvo

#endif
