#include "httpftp/task_filter.h"

#include "korvo_bt.h"

namespace korvo {

bool valid_http_ftp_task_filter(int32_t filter) {
    return static_cast<uint32_t>(filter) <= HTTP_FTP_TASK_FILTER_PAUSED;
}

// The statements write states as digits.
static_assert(HTTP_FTP_TASK_STATE_QUEUED == 1 && HTTP_FTP_TASK_STATE_RUNNING == 2 && HTTP_FTP_TASK_STATE_FINISHED == 3);

Sql http_ftp_task_where(int32_t filter) {
    switch (filter) {
    case HTTP_FTP_TASK_FILTER_RUNNING:
        return "WHERE (task_is_paused = 0) AND (task_state = 2 OR task_state = 1)";
    case HTTP_FTP_TASK_FILTER_FINISHED:
        return "WHERE task_state = 3";
    case HTTP_FTP_TASK_FILTER_ACTIVE:
        return "WHERE task_state = 2 AND task_download_rate > 0";
    case HTTP_FTP_TASK_FILTER_INACTIVE:
        return "WHERE task_download_rate = 0";
    case HTTP_FTP_TASK_FILTER_PAUSED:
        return "WHERE (task_is_paused = 1) AND (task_state = 2 OR task_state = 1)";
    default:
        return "";
    }
}

} // namespace korvo
