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
    // A whole number, kept as a float: the fraction of a stored number is dropped.
    Row &whole_float(float &field);
    // Cut to the field's width and always NUL-terminated; SQL NULL reads as the empty text.
    template <std::size_t Width> Row &text(char (&field)[Width]) { return text(field, Width); }

    // False when memory ran out while a column was read: SQLite hands out NULL and 0 then.
    bool whole() const;

private:
    Row &text(char *field, std::size_t width);

    sqlite3_stmt *at_;
    int column_ = 0;
};

} // namespace korvo

#endif
