// Stored times as local time, for display.

#include "korvo_bt.h"

#include <cstddef>
#include <cstdint>
#include <ctime>

namespace {

// The format is the caller's own.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

template <std::size_t Size> char *format_time(char (&buffer)[Size], int32_t time, const char *format) {
    const std::time_t seconds = time;
    std::tm local{};
    tzset(); // localtime_r() need not notice that the time zone has changed
    // A text that does not fit leaves the buffer undefined.
    if (localtime_r(&seconds, &local) == nullptr || std::strftime(buffer, Size, format, &local) == 0) {
        buffer[0] = '\0';
    }
    return buffer;
}

} // namespace

char *bt_task_fmttime(int32_t time, const char *format) {
    static char buffer[32];
    return format_time(buffer, time, format);
}

char *http_ftp_task_fmttime(int32_t time, const char *format) {
    static char buffer[32];
    return format_time(buffer, time, format);
}
