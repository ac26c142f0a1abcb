#include "bt/task_filter.h"

#include "korvo_bt.h"

namespace korvo {

bool valid_bt_task_filter(std::int32_t filter) {
    return static_cast<std::uint32_t>(filter) <= BT_TASK_FILTER_STATE_5;
}

Text bt_task_where(std::int32_t filter) {
    switch (filter) {
    case BT_TASK_FILTER_RUNNING:
        return statement<"WHERE (task_is_paused = 0) AND (task_state >= %d AND task_state <= %d OR task_state = %d)">(
            1, 4, 7);
    case BT_TASK_FILTER_FINISHED:
        return statement<"WHERE task_state = %d OR task_state = %d">(5, 6);
    case BT_TASK_FILTER_ACTIVE:
        return statement<"WHERE task_state >= %d AND task_state <= %d "
                         "AND (task_download_rate > 0 OR task_upload_rate > 0)">(1, 6);
    case BT_TASK_FILTER_INACTIVE:
        return statement<"WHERE task_state >= %d AND task_state <= %d "
                         "AND (task_download_rate = 0 AND task_upload_rate = 0)">(1, 7);
    case BT_TASK_FILTER_PAUSED:
        return statement<"WHERE (task_is_paused = 1) AND (task_state >= %d AND task_state <= %d OR task_state = %d)">(
            1, 4, 7);
    case BT_TASK_FILTER_STATE_5:
        return statement<"WHERE task_state = %d">(5);
    default:
        return statement<"">();
    }
}

} // namespace korvo
