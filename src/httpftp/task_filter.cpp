#include "httpftp/task_filter.h"

#include "korvo_bt.h"

namespace korvo {

bool valid_http_ftp_task_filter(std::int32_t filter) {
    return static_cast<std::uint32_t>(filter) <= HTTP_FTP_TASK_FILTER_PAUSED;
}

Text http_ftp_task_where(std::int32_t filter) {
    switch (filter) {
    case HTTP_FTP_TASK_FILTER_RUNNING:
        return statement<"WHERE (task_is_paused = 0) AND (task_state = %d OR task_state = %d)">(
            HTTP_FTP_TASK_STATE_RUNNING, HTTP_FTP_TASK_STATE_QUEUED);
    case HTTP_FTP_TASK_FILTER_FINISHED:
        return statement<"WHERE task_state = %d">(HTTP_FTP_TASK_STATE_FINISHED);
    case HTTP_FTP_TASK_FILTER_ACTIVE:
        return statement<"WHERE task_state = %d AND task_download_rate > 0">(HTTP_FTP_TASK_STATE_RUNNING);
    case HTTP_FTP_TASK_FILTER_INACTIVE:
        return statement<"WHERE task_download_rate = 0">();
    case HTTP_FTP_TASK_FILTER_PAUSED:
        return statement<"WHERE (task_is_paused = 1) AND (task_state = %d OR task_state = %d)">(
            HTTP_FTP_TASK_STATE_RUNNING, HTTP_FTP_TASK_STATE_QUEUED);
    default:
        return statement<"">();
    }
}

} // namespace korvo
