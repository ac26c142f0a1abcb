#include "bt/task_filter.h"

#include "korvo_bt.h"

namespace korvo {

bool valid_bt_task_filter(int32_t filter) {
    return static_cast<uint32_t>(filter) <= BT_TASK_FILTER_STATE_5;
}

Sql bt_task_where(int32_t filter) {
    switch (filter) {
    case BT_TASK_FILTER_RUNNING:
        return "WHERE (task_is_paused = 0) AND (task_state >= 1 AND task_state <= 4 OR task_state = 7)";
    case BT_TASK_FILTER_FINISHED:
        return "WHERE task_state = 5 OR task_state = 6";
    case BT_TASK_FILTER_ACTIVE:
        return "WHERE task_state >= 1 AND task_state <= 6 AND (task_download_rate > 0 OR task_upload_rate > 0)";
    case BT_TASK_FILTER_INACTIVE:
        return "WHERE task_state >= 1 AND task_state <= 7 AND (task_download_rate = 0 AND task_upload_rate = 0)";
    case BT_TASK_FILTER_PAUSED:
        return "WHERE (task_is_paused = 1) AND (task_state >= 1 AND task_state <= 4 OR task_state = 7)";
    case BT_TASK_FILTER_STATE_5:
        return "WHERE task_state = 5";
    default:
        return "";
    }
}

} // namespace korvo
