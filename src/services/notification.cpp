// The notification switches, and the alert mail with its trace.

#include "korvo_bt.h"
#include "platform.h"
#include "services/settings.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

using korvo::settings_section;

namespace {

constexpr const char *email_key = "Notification Email";
constexpr const char *im_key = "Notification IM";
constexpr const char *desktop_key = "Notification Desktop";

constexpr const char *trace_file = "/tmp/tqv3.log";

// Everybody may write to /tmp: a symlink or a pipe planted there is not for us.
int open_trace() {
    const int trace =
        open(trace_file, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
    struct stat status {};
    if (trace >= 0 && (fstat(trace, &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1)) {
        close(trace);
        return -1;
    }
    return trace;
}

iovec piece(const char *text) {
    return {const_cast<char *>(text), std::strlen(text)};
}

// In one write, so that lines of several processes do not mix, and without a copy, however long the message is.
void trace_line(int result, const char *server_name, const char *message) {
    const int trace = open_trace();
    if (trace < 0) {
        return;
    }
    char head[sizeof "-2147483648 = Send_Alert_Mail("];
    std::snprintf(head, sizeof head, "%d = Send_Alert_Mail(", result);
    const iovec line[] = {piece(head), piece(server_name), piece(", "), piece(message), piece(", NULL)\n")};
    [[maybe_unused]] const ssize_t written = writev(trace, line, static_cast<int>(std::size(line)));
    close(trace);
}

} // namespace

int32_t get_tqv3_notification(NotificationRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    record->email = Get_Profile_Boolean(settings_section, email_key, 0);
    record->im = 0;
    record->desktop = Get_Profile_Boolean(settings_section, desktop_key, 0);
    return BTDB_OK;
}

int32_t set_tqv3_notification(const NotificationRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    Set_Profile_Boolean(settings_section, email_key, record->email);
    Set_Profile_Boolean(settings_section, im_key, record->im);
    Set_Profile_Boolean(settings_section, desktop_key, record->desktop);
    return BTDB_OK;
}

int32_t tqv3_notification_send(const char *message) {
    if (message == nullptr) {
        return BTDB_ERR_PARAM;
    }
    constexpr int name_size = 256;
    char server_name[name_size + 1] = ""; // ends with a NUL whatever is put into it
    Get_Server_Name(server_name, name_size);
    NotificationRecord switches;
    get_tqv3_notification(&switches);
    if (switches.email == 0) {
        return 0;
    }
    const int result = Send_Alert_Mail(server_name, message, nullptr);
    trace_line(result, server_name, message);
    return result;
}
