// The calls into the store that take more than one statement. All of them may wait: the store's thread makes them.
#ifndef KORVO_TORRENTD_STORE_H
#define KORVO_TORRENTD_STORE_H

#include <cstdint>
#include <korvo_bt.h>
#include <optional>
#include <string>
#include <vector>

namespace torrentd {

// What a daemon needs to know of a row: what others write into it, and what is to outlive the daemon.
struct TaskRow {
    int32_t id = 0;
    std::string name;
    std::string torrent_file;
    int32_t state = 0;
    std::string finish_time;
    bool paused = false;
    int32_t queue_position = 0;
    std::string move_folder;
    std::string hash;
    std::string magnet_link;
    int32_t marker = 0;
};

// Makes the tables that are missing.
void create_tables();

// All tasks, or nothing when the store gave no answer. A task that is not in a listing is gone; a read of one row
// cannot tell that, because no row and no answer have the same code.
std::optional<std::vector<TaskRow>> list_tasks();

// The marks of a torrent's files. Adds the rows that are missing; nothing when that is not finished.
std::optional<std::vector<bool>> read_file_choice(int32_t task, const std::vector<std::string> &paths);

// Enters a task's last record, unless that is empty, and then that the daemon has let go of it.
bool release_task(const BtTaskRecord &last, int32_t task);

bool write_metadata(const BtInfoDataRecord &record);

// The rows that a task leaves behind when it was removed while the daemon was still writing them.
bool delete_details(int32_t task);

// The row of the session's totals; made when there is none.
std::optional<BtSessionRecord> read_totals();

} // namespace torrentd

#endif
