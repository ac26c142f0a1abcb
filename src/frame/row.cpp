#include "frame/row.h"

#include <algorithm>
#include <cstring>

namespace korvo {

Row &Row::int32(int32_t &field) {
    field = sqlite3_column_int(at_, column_++);
    return *this;
}

Row &Row::low_int32(int32_t &field) {
    field = static_cast<int32_t>(sqlite3_column_int64(at_, column_++));
    return *this;
}

Row &Row::int64(int64_t &field) {
    field = sqlite3_column_int64(at_, column_++);
    return *this;
}

Row &Row::int_as_float(float &field) {
    field = static_cast<float>(sqlite3_column_int(at_, column_++));
    return *this;
}

Row &Row::string(char *field, std::size_t width) {
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(at_, column_++));
    const std::size_t length = text == nullptr ? 0 : strnlen(text, width - 1);
    if (length > 0) {
        std::memcpy(field, text, length);
    }
    field[length] = '\0';
    return *this;
}

bool Row::complete() const {
    return sqlite3_errcode(sqlite3_db_handle(at_)) != SQLITE_NOMEM;
}

} // namespace korvo
