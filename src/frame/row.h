// A result row, walked from its first column to its last; each step says how the column is read.
#ifndef KORVO_FRAME_ROW_H
#define KORVO_FRAME_ROW_H

#include <cstddef>
#include <cstdint>
#include <sqlite3.h>

namespace korvo {

class Row {
public:
    explicit Row(sqlite3_stmt *at) : at_(at) {}

    Row &int32(int32_t &field);
    // The low 32 bits of a 64-bit column.
    Row &low_int32(int32_t &field);
    Row &int64(int64_t &field);
    // An integer in a float field: the fraction of a stored number is dropped.
    Row &int_as_float(float &field);
    // Truncated to the field's width and always NUL-terminated; SQL NULL reads as the empty string.
    template <std::size_t Width> Row &string(char (&field)[Width]) { return string(field, Width); }

    // False when memory ran out while a column was read: SQLite hands out NULL and 0 then.
    bool complete() const;

private:
    Row &string(char *field, std::size_t width);

    sqlite3_stmt *at_;
    int column_ = 0;
};

} // namespace korvo

#endif
