// Task removal: a task's row, its own files and, when asked, what it has downloaded. A failure on the way stops
// nothing.

#include "korvo_bt.h"
#include "removal/delete_paths.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>

namespace korvo {
namespace {

constexpr uint32_t by_task_id = 0;
constexpr uint32_t details_by_task_id = 2;

void delete_all(const NamedPaths &paths) {
    for (const NamedPath &path : paths) {
        delete_path(path);
    }
}

// Three seconds from now, in steps of 50 milliseconds.
class Wait {
public:
    Wait() { clock_gettime(CLOCK_MONOTONIC, &until_); }
    bool step() {
        if (left_ == 0) {
            return false;
        }
        --left_;
        until_.tv_nsec += 50'000'000;
        if (until_.tv_nsec >= 1'000'000'000) {
            until_.tv_nsec -= 1'000'000'000;
            ++until_.tv_sec;
        }
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until_, nullptr) == EINTR) {
        }
        return true;
    }

private:
    timespec until_ = {};
    int left_ = 60;
};

} // namespace
} // namespace korvo

int32_t bt_task_remove(int32_t task_id, int32_t remove_data) {
    BtTaskRecord task;
    if (bt_db_query_data_by_task_id(task_id, &task) != BTDB_OK) {
        return BTDB_ERR_NO_TASK;
    }
    const korvo::NamedPaths paths = korvo::torrent_paths(task, remove_data != 0);
    korvo::delete_all(paths);
    bt_db_del_task(korvo::by_task_id, &task_id);
    bool files_left = bt_fdata_del(korvo::details_by_task_id, &task_id) != BTDB_OK;
    bool info_left = bt_infodata_del(korvo::details_by_task_id, &task_id) != BTDB_OK;

    // A torrent daemon that has not yet noticed may write the task's own files once more. The deletes of the details do
    // not wait for a lock; here there is time to try them again.
    for (korvo::Wait wait; wait.step();) {
        files_left = files_left && bt_fdata_del(korvo::details_by_task_id, &task_id) != BTDB_OK;
        info_left = info_left && bt_infodata_del(korvo::details_by_task_id, &task_id) != BTDB_OK;
    }
    for (const korvo::NamedPath &path : paths) {
        if (path.kind == korvo::NamedPath::Kind::own_file) {
            korvo::delete_path(path);
        }
    }
    return BTDB_OK;
}

int32_t http_ftp_task_remove(int32_t task_id, int32_t remove_data) {
    HttpFtpTaskRecord task;
    if (http_ftp_db_query_data_by_task_id(task_id, &task) != BTDB_OK) {
        return BTDB_ERR_NO_TASK;
    }
    if (task.task_pid > 0) {
        kill(task.task_pid, SIGKILL);
    }
    korvo::delete_all(korvo::download_paths(task, remove_data != 0));
    http_ftp_db_del_task(korvo::by_task_id, &task_id);
    return BTDB_OK;
}
