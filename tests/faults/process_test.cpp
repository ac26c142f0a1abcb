// Processes that write at the same time: each change is there, once and whole.

#include "trial.h"

#include <algorithm>
#include <sys/wait.h>
#include <unistd.h>

namespace test {
namespace {

constexpr int writers = 8;

int items() {
    return effort(2, 10, 250);
}

std::string name_of(int writer, int item) {
    std::string name = std::to_string(writer);
    return name.append(1, '.').append(std::to_string(item));
}

// Adds tasks, sets their progress and deletes every other one. Whether all of that succeeded.
bool write_tasks(int writer) {
    bool good = true;
    for (int item = 0; item < items(); ++item) {
        BtTaskRecord task = {};
        const std::string name = name_of(writer, item);
        name.copy(task.task_torrent_name, name.size());
        good &= bt_db_add_task(&task) > 0;
        task.task_progress = item + 1;
        good &= bt_db_update_task(&task) == BTDB_OK;
        good &= item % 2 == 0 || bt_db_del_task(1, name.c_str()) == BTDB_OK;
    }
    return good;
}

TEST_F(StoreTest, ProcessesLoseAndDoubleNothing) {
    fill(bt_task_table(), 0);
    std::vector<pid_t> children;
    Rows expected;
    for (int writer = 0; writer < writers; ++writer) {
        children.push_back(fork());
        if (children.back() == 0) {
            _exit(write_tasks(writer) ? 0 : 1);
        }
        for (int item = 0; item < items(); item += 2) {
            expected.push_back({name_of(writer, item), std::to_string(item + 1)});
        }
    }
    for (const pid_t child : children) {
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    Connection connection;
    expect_integrity(connection);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(connection.rows("SELECT task_torrent_name, task_progress FROM BT_TASK ORDER BY 1"), expected);
    tally("rows of processes that wrote at the same time", static_cast<long>(expected.size()));
}

} // namespace
} // namespace test
