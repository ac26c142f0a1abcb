// A removed task's rows and process, and the wait for a daemon that may write its files once more. The wait is this
// program's own.

#include "child.h"
#include "removal.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::vector<double> waits; // until when; a signal ends the first one early
std::function<void()> while_waiting;

} // namespace

int clock_nanosleep(clockid_t, int, const timespec *until, timespec *) {
    waits.push_back(double(until->tv_sec) + double(until->tv_nsec) / 1e9);
    if (waits.size() == 1) {
        return EINTR;
    }
    if (while_waiting) {
        while_waiting();
    }
    return 0;
}

namespace test {
namespace {

Task with_process(Task task, pid_t process) {
    sql("UPDATE HTTP_FTP_TASK SET task_pid = " + std::to_string(process));
    return task;
}

TEST_F(Removal, TheTasksRowsGoInOrderAndOthersStay) {
    const int32_t id = torrent("name").id, other = torrent("other").id;
    for (const std::string &task : {std::to_string(id), std::to_string(other)}) {
        sql("INSERT INTO BT_FDATA (fdata_task_id) VALUES (" + task + "), (" + task + ");" +
            "INSERT INTO BT_INFODATA (infodata_task_id) VALUES (" + task + ")");
    }
    download("http://h/x");
    const Paths files = {torrent_file, torrent_database, "/share/Download/name.fastresume"};
    const auto write_files = [&] {
        for (const std::string &file : files) {
            EXPECT_FALSE(fs::exists(file));
            write_file(file);
        }
    };
    write_files();
    for (const std::string table : {"BT_FDATA", "BT_INFODATA"}) { // as a lock would, until it is dropped
        sql("CREATE TRIGGER refuse_" + table + " BEFORE DELETE ON " + table + " BEGIN SELECT RAISE(FAIL, 'no'); END");
    }
    waits.clear();
    while_waiting = [&] {
        sql("DROP TRIGGER refuse_BT_FDATA; DROP TRIGGER refuse_BT_INFODATA");
        EXPECT_EQ(sql("SELECT task_id FROM BT_TASK"), Rows{{"2"}}) << "the wait comes last";
        write_files();
        while_waiting = nullptr;
    };
    std::vector<std::string> statements;
    {
        const Recording recording;
        EXPECT_EQ(bt_task_remove(id, 1), BTDB_OK);
        for (const std::string &call : recording.calls) {
            if (call.rfind("run DELETE FROM ", 0) == 0) {
                statements.push_back(call.substr(16, call.find(' ', 16) - 16));
            }
        }
    }
    EXPECT_EQ(statements, (std::vector<std::string>{"BT_TASK", "BT_FDATA", "BT_INFODATA", "BT_FDATA", "BT_INFODATA"}))
        << "tried again";
    EXPECT_EQ(waits[0], waits[1]) << "after a signal";
    EXPECT_NEAR(waits.back() - waits[0], 2.95, 1e-6) << "steps";
    EXPECT_FALSE(fs::exists(torrent_file) || fs::exists(torrent_database)) << "removed once more";
    EXPECT_TRUE(fs::exists(files[2])) << "not once more";
    EXPECT_EQ(sql("SELECT fdata_task_id FROM BT_FDATA UNION ALL SELECT infodata_task_id FROM BT_INFODATA "
                  "UNION ALL SELECT 'web ' || count(*) FROM HTTP_FTP_TASK"),
              (Rows{{"2"}, {"2"}, {"2"}, {"web 1"}}));
}

TEST_F(Removal, OnlyTheProcessOfAKnownTaskIsKilled) {
    const pid_t downloader = fork();
    if (downloader == 0) {
        pause();
        _exit(0);
    }
    const Task task = with_process(download("http://h/x"), downloader);
    waits.clear();
    for (const int32_t unknown : {task.id + 1, 0, -1}) {
        EXPECT_EQ(http_ftp_task_remove(unknown, 1), BTDB_ERR_NO_TASK);
        EXPECT_EQ(bt_task_remove(unknown, 1), BTDB_ERR_NO_TASK);
    }
    EXPECT_TRUE(waits.empty());
    EXPECT_EQ(waitpid(downloader, nullptr, WNOHANG), 0) << "it runs on";
    expect_gone(task, 0, {});
    int status = 0;
    waitpid(downloader, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    expect_gone(with_process(download("http://h/x"), downloader), 0, {}); // gone already

    // 0 would be the caller's own process group, and a negative one another.
    const auto outcome = in_child([] {
        setpgid(0, 0);
        for (const pid_t pid : {0, -getpid()}) {
            expect_gone(with_process(download("http://h/x"), pid), 0, {});
        }
    });
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
}

} // namespace
} // namespace test
