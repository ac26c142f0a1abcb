// soak PROCESSES SECONDS: processes that add, write back, list and remove tasks of both kinds at the same time, on the
// rows that fill has made. Each remembers what it was told to be done; at the end every one of its tasks is there as
// last written, nothing else is, and neither its memory nor its descriptors have grown. Prints the calls and the
// slowest ones.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <korvo_bt.h>
#include <random>
#include <sqlite3.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

enum Call { add_bt, add_http, update_bt, update_http, list_bt, list_http, list_both, remove_bt, remove_http, calls };
constexpr std::array<const char *, calls> names{
    "add a BitTorrent task",    "add an HTTP/FTP task",     "update by hash",
    "set a rate by identifier", "first page of BitTorrent", "first page of HTTP/FTP",
    "first page of both kinds", "remove a BitTorrent task", "remove an HTTP/FTP task",
};

struct Figures {
    long count[calls];
    long refused[calls]; // after the library's wait for a lock
    double slowest_s[calls];
    long faults;
    long memory_kb[2]; // after a tenth of the time, and at the end
    long descriptors[2];
};

struct Task {
    bool bt;
    int32_t id; // of an HTTP/FTP task
    std::string name;
    int32_t written;
};

long memory_kb() {
    long all = 0;
    long resident = 0;
    if (std::FILE *file = std::fopen("/proc/self/statm", "re"); file != nullptr) {
        if (std::fscanf(file, "%ld %ld", &all, &resident) != 2) {
            resident = -1;
        }
        std::fclose(file);
    }
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

long descriptors() {
    long count = 0;
    DIR *directory = opendir("/proc/self/fd");
    while (readdir(directory) != nullptr) {
        ++count;
    }
    closedir(directory);
    return count;
}

template <std::size_t Size> void copy(char (&field)[Size], const std::string &text) {
    std::snprintf(field, Size, "%s", text.c_str());
}

class Worker {
public:
    explicit Worker(int number) : number_(number), draw_(static_cast<unsigned>(number)) {}

    Figures work(Clock::duration time) {
        const auto start = Clock::now();
        bool warm = false;
        while (Clock::now() - start < time) {
            step();
            if (!warm && (Clock::now() - start) * 10 > time) {
                warm = true;
                note(0);
            }
        }
        note(1);
        for (const Task &task : tasks_) {
            expect(task);
        }
        return figures_;
    }

    std::size_t tasks(bool bt) const {
        return static_cast<std::size_t>(
            std::count_if(tasks_.begin(), tasks_.end(), [=](const Task &t) { return t.bt == bt; }));
    }

private:
    void note(int when) {
        figures_.memory_kb[when] = memory_kb();
        figures_.descriptors[when] = descriptors();
    }

    // The result of a call that is counted and timed; a refused one is made again, for it must have done nothing.
    template <typename Body> int32_t made(Call call, Body body) {
        for (;;) {
            const auto start = Clock::now();
            const int32_t result = body();
            const double took = std::chrono::duration<double>(Clock::now() - start).count();
            figures_.slowest_s[call] = std::max(figures_.slowest_s[call], took);
            ++figures_.count[call];
            if (result >= 0) {
                return result;
            }
            ++figures_.refused[call];
            if (took < 1) { // nobody waited for a lock
                std::printf("%s: %d after %.3f s\n", names[call], static_cast<int>(result), took);
                ++figures_.faults;
                return result;
            }
        }
    }

    void fault(const Task &task, const char *what) {
        std::printf("process %d, %s: %s\n", number_, task.name.c_str(), what);
        ++figures_.faults;
    }

    void step() {
        switch (draw_() % 8) {
        case 0:
        case 1:
            tasks_.size() < 200 ? add() : remove();
            break;
        case 2:
            remove();
            break;
        case 3:
            list();
            break;
        default:
            write_back();
        }
    }

    void add() {
        Task task{draw_() % 2 == 0, 0, std::to_string(number_) + "." + std::to_string(++added_), 0};
        if (task.bt) {
            BtTaskRecord record{};
            copy(record.task_torrent_name, task.name);
            copy(record.task_hash, task.name);
            made(add_bt, [&] { return bt_db_add_task(&record); });
        } else {
            HttpFtpTaskRecord record{};
            copy(record.task_filename, "http://h/" + task.name);
            task.id = made(add_http, [&] { return http_ftp_db_add_task(&record); });
        }
        tasks_.push_back(task);
    }

    void write_back() {
        if (tasks_.empty()) {
            return;
        }
        Task &task = tasks_[draw_() % tasks_.size()];
        ++task.written;
        if (task.bt) {
            BtTaskRecord record{};
            copy(record.task_torrent_name, task.name);
            copy(record.task_hash, task.name);
            record.task_total_wanted_done = task.written;
            made(update_bt, [&] { return bt_db_update_task_by_hash(&record); });
        } else {
            made(update_http, [&] {
                return http_ftp_db_update_task_field_by_id(task.id, HTTP_FTP_TASK_FIELD_DOWNLOAD_RATE, &task.written);
            });
        }
    }

    void list() {
        static const auto count = [](void *seen, int, char **, char **) {
            ++*static_cast<long *>(seen);
            return 0;
        };
        using List = int32_t (*)(const char *, TqRowCallback, int32_t, int32_t, int32_t, int32_t, void *);
        constexpr std::array<List, 3> lists{bt_db_query_task, http_ftp_db_query_task, tq_db_query_task};
        const auto which = draw_() % lists.size();
        long seen = 0;
        made(static_cast<Call>(list_bt + which), [&] {
            seen = 0;
            return lists[which](nullptr, count, 0, 0, 50, BT_TASK_FILTER_ALL, &seen);
        });
        if (seen != 50) {
            std::printf("process %d: a page of %ld rows\n", number_, seen);
            ++figures_.faults;
        }
    }

    void remove() {
        if (tasks_.empty()) {
            return;
        }
        const auto at = draw_() % tasks_.size();
        const Task task = tasks_[at];
        expect(task);
        const std::string address = "http://h/" + task.name;
        task.bt
            ? made(remove_bt, [&] { return bt_db_del_task(1, task.name.c_str()); })
            : made(remove_http, [&] { return http_ftp_db_del_task(HTTP_FTP_TASK_FIELD_FILENAME, address.c_str()); });
        tasks_.erase(tasks_.begin() + static_cast<std::ptrdiff_t>(at));
    }

    // Is the task as it was last written?
    void expect(const Task &task) {
        int32_t found = -1;
        if (task.bt) {
            BtTaskRecord record{};
            if (bt_db_query_data_by_task_hash(task.name.c_str(), &record) == BTDB_OK) {
                found = record.task_total_wanted_done;
            }
        } else {
            HttpFtpTaskRecord record{};
            if (http_ftp_db_query_data_by_task_id(task.id, &record) == BTDB_OK) {
                found = record.task_download_rate;
            }
        }
        if (found != task.written) {
            fault(task, found < 0 ? "lost" : "not as last written");
        }
    }

    int number_;
    std::minstd_rand draw_;
    long added_ = 0;
    std::vector<Task> tasks_;
    Figures figures_{};
};

struct Report {
    Figures figures;
    std::size_t bt;
    std::size_t http;
};

std::string query(const char *statement) {
    std::string value;
    sqlite3 *database = nullptr;
    sqlite3_open(BTDB_DEFAULT_FILE, &database);
    sqlite3_exec(
        database, statement,
        [](void *to, int, char **values, char **) {
            *static_cast<std::string *>(to) = values[0] != nullptr ? values[0] : "";
            return 0;
        },
        &value, nullptr);
    sqlite3_close(database);
    return value;
}

} // namespace

int main(int argc, char **argv) {
    const int processes = argc == 3 ? std::atoi(argv[1]) : 0;
    const int seconds = argc == 3 ? std::atoi(argv[2]) : 0;
    if (processes < 1 || seconds < 1) {
        std::fputs("usage: soak PROCESSES SECONDS\n", stderr);
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const long before[] = {bt_db_query_task_count(BT_TASK_FILTER_ALL),
                           http_ftp_db_query_task_count(BT_TASK_FILTER_ALL)};
    std::printf("%ld BitTorrent and %ld HTTP/FTP tasks, %d processes, %d s\n", before[0], before[1], processes,
                seconds);

    std::array<int, 2> reports{};
    if (pipe(reports.data()) != 0) {
        return 1;
    }
    for (int number = 1; number <= processes; ++number) {
        if (fork() == 0) {
            Worker worker(number);
            const Figures figures = worker.work(std::chrono::seconds(seconds));
            const Report report{figures, worker.tasks(true), worker.tasks(false)};
            _exit(write(reports[1], &report, sizeof report) == sizeof report ? 0 : 1); // atomic: smaller than PIPE_BUF
        }
    }
    close(reports[1]);

    Figures all{};
    long expected[] = {before[0], before[1]};
    int heard = 0;
    for (Report report{}; read(reports[0], &report, sizeof report) == sizeof report; ++heard) {
        for (int call = 0; call < calls; ++call) {
            all.count[call] += report.figures.count[call];
            all.refused[call] += report.figures.refused[call];
            all.slowest_s[call] = std::max(all.slowest_s[call], report.figures.slowest_s[call]);
        }
        all.faults += report.figures.faults;
        for (int when = 0; when < 2; ++when) {
            all.memory_kb[when] = std::max(all.memory_kb[when], report.figures.memory_kb[when]);
            all.descriptors[when] = std::max(all.descriptors[when], report.figures.descriptors[when]);
        }
        expected[0] += static_cast<long>(report.bt);
        expected[1] += static_cast<long>(report.http);
    }
    while (wait(nullptr) > 0) {
    }

    std::printf("%-28s %10s %10s %14s\n", "call", "made", "refused", "slowest in s");
    for (int call = 0; call < calls; ++call) {
        std::printf("%-28s %10ld %10ld %14.2f\n", names[call], all.count[call], all.refused[call], all.slowest_s[call]);
    }
    std::printf("largest process: %ld KiB after a tenth of the time, %ld KiB at the end; descriptors: %ld, %ld\n",
                all.memory_kb[0], all.memory_kb[1], all.descriptors[0], all.descriptors[1]);

    const auto check = [&](bool holds, const std::string &what) {
        if (!holds) {
            std::printf("FAULT: %s\n", what.c_str());
            ++all.faults;
        }
    };
    check(heard == processes, "a process has died");
    check(bt_db_query_task_count(BT_TASK_FILTER_ALL) == expected[0], "the number of BitTorrent tasks");
    check(http_ftp_db_query_task_count(BT_TASK_FILTER_ALL) == expected[1], "the number of HTTP/FTP tasks");
    check(query("PRAGMA integrity_check") == "ok", "SQLite's integrity check");
    check(access(BTDB_DEFAULT_FILE "-journal", F_OK) != 0, "a journal is left");
    check(all.descriptors[0] == all.descriptors[1], "descriptors have grown");
    check(all.memory_kb[1] <= all.memory_kb[0] + 4096, "memory has grown by more than 4 MiB");
    std::printf("%ld faults; %ld tasks are there as last written\n", all.faults,
                expected[0] + expected[1] - before[0] - before[1]);
    return all.faults == 0 ? 0 : 1;
}
