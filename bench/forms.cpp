#include "forms.h"

#include <cstdio>
#include <cstdlib>

namespace bench {

// What is the library's own in a call: its statement once more through a function, a record once more copied.
constexpr double own = 1.005;

constexpr Work works[] = {
#define WORK(name, what, most)                                                                                         \
    { #name, what, most, library::name, bare::name, wrapper::name }
    WORK(add_bt, "add a BT task", own),
    WORK(add_http_ftp, "add an HTTP/FTP task", 0.55), // by hand: a second connection reads the identifier
    WORK(update_bt_by_hash, "update a BT task by its hash", own),
    WORK(delete_bt, "delete a BT task that is not there", own),
    WORK(create_and_drop, "drop and create BT_ACCOUNT", own),
    WORK(read_bt, "read a BT task by identifier", own),
    WORK(read_filename, "read a BT task's file name", own),
    WORK(count_bt, "count running BT tasks", own),
    WORK(page_bt, "list 50 BT tasks", own),
    WORK(list_bt, "list all BT tasks", own),
    WORK(list_http_ftp, "list all HTTP/FTP tasks", own),
    WORK(page_both, "list 50 tasks of both kinds", own),
#undef WORK
};

std::span<const Work> all_work() {
    return works;
}

void require(bool done, const char *what) {
    if (!done) {
        std::fprintf(stderr, "bench: %s did not do its work\n", what);
        std::exit(1);
    }
}

const char *const some_hash = "task_hash 000000000000000000000000000150";

BtTaskRecord &some_bt_task() {
    static BtTaskRecord filled = [] {
        BtTaskRecord task = {};
        std::strcpy(task.task_torrent_name, "An album's worth of holiday pictures, summer");
        std::strcpy(task.task_filename, "/share/Download/torrents/holiday-pictures-summer.torrent");
        std::strcpy(task.task_current_tracker, "http://tracker.example.net:6969/announce");
        std::strcpy(task.task_pieces, "1111111111111111111111111111111100000000000000000000000000000000");
        std::strcpy(task.task_start_time, "2026/11/22 10:15:00");
        std::strcpy(task.task_time_left, "01:20:00");
        std::strcpy(task.task_hash, some_hash);
        std::strcpy(task.task_magnet_link, "magnet:?xt=urn:btih:82bd74cdbb12a112f9adb756197b535c39e186d1");
        task.task_state = 3;
        task.task_progress = 40;
        task.task_total_wanted_done = 400000;
        task.task_total_wanted = 1000000;
        task.task_download_rate = 250;
        task.task_queue_position = 7;
        return task;
    }();
    return filled;
}

HttpFtpTaskRecord &some_http_ftp_task() {
    static HttpFtpTaskRecord filled = [] {
        HttpFtpTaskRecord task = {};
        std::strcpy(task.task_filename, "http://files.example.net/pub/images/a-disc-image.iso");
        std::strcpy(task.task_start_time, "2026/11/22 10:15:00");
        std::strcpy(task.task_username, "somebody");
        std::strcpy(task.task_savename, "a-disc-image.iso");
        task.task_state = HTTP_FTP_TASK_STATE_QUEUED;
        task.task_total_size = 4700000000;
        return task;
    }();
    return filled;
}

int count_row(void *rows, int /*columns*/, char ** /*values*/, char ** /*names*/) {
    ++*static_cast<int *>(rows);
    return 0;
}

} // namespace bench
