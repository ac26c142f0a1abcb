// The filters of both kinds of task by their codes, as SQLite receives them.
#ifndef KORVO_TESTS_TASK_FILTERS_H
#define KORVO_TESTS_TASK_FILTERS_H

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

} // namespace test

#endif
