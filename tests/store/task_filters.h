// The filters of both kinds of task by their codes: what SQLite is told, and which tasks they select, told without SQL.
#ifndef KORVO_TESTS_TASK_FILTERS_H
#define KORVO_TESTS_TASK_FILTERS_H

#include "korvo_bt.h"

namespace test {

inline constexpr const char *bt_where[] = {
    "",
    "WHERE (task_is_paused = 0) AND (task_state >= 1 AND task_state <= 4 OR task_state = 7)",
    "WHERE task_state = 5 OR task_state = 6",
    "WHERE task_state >= 1 AND task_state <= 6 AND (task_download_rate > 0 OR task_upload_rate > 0)",
    "WHERE task_state >= 1 AND task_state <= 7 AND (task_download_rate = 0 AND task_upload_rate = 0)",
    "WHERE (task_is_paused = 1) AND (task_state >= 1 AND task_state <= 4 OR task_state = 7)",
    "WHERE task_state = 5",
};
inline constexpr const char *http_ftp_where[] = {
    "",
    "WHERE (task_is_paused = 0) AND (task_state = 2 OR task_state = 1)",
    "WHERE task_state = 3",
    "WHERE task_state = 2 AND task_download_rate > 0",
    "WHERE task_download_rate = 0",
    "WHERE (task_is_paused = 1) AND (task_state = 2 OR task_state = 1)",
};

struct State {
    int id, state, paused, download, upload;
};

inline bool selects_bt(int32_t filter, const State &task) {
    const bool unfinished = (task.state >= 1 && task.state <= 4) || task.state == 7;
    switch (filter) {
    case BT_TASK_FILTER_RUNNING:
        return unfinished && task.paused == 0;
    case BT_TASK_FILTER_FINISHED:
        return task.state == 5 || task.state == 6;
    case BT_TASK_FILTER_ACTIVE:
        return task.state >= 1 && task.state <= 6 && (task.download > 0 || task.upload > 0);
    case BT_TASK_FILTER_INACTIVE:
        return task.state >= 1 && task.state <= 7 && task.download == 0 && task.upload == 0;
    case BT_TASK_FILTER_PAUSED:
        return unfinished && task.paused == 1;
    case BT_TASK_FILTER_STATE_5:
        return task.state == 5;
    default:
        return true;
    }
}

// Its own filters, and as BitTorrent's state 5 in the list of both kinds.
inline bool selects_http_ftp(int32_t filter, const State &task) {
    const bool unfinished = task.state == 1 || task.state == 2;
    switch (filter) {
    case HTTP_FTP_TASK_FILTER_RUNNING:
        return unfinished && task.paused == 0;
    case HTTP_FTP_TASK_FILTER_FINISHED:
    case BT_TASK_FILTER_STATE_5:
        return task.state == 3;
    case HTTP_FTP_TASK_FILTER_ACTIVE:
        return task.state == 2 && task.download > 0;
    case HTTP_FTP_TASK_FILTER_INACTIVE:
        return task.download == 0;
    case HTTP_FTP_TASK_FILTER_PAUSED:
        return unfinished && task.paused == 1;
    default:
        return true;
    }
}

} // namespace test

#endif
