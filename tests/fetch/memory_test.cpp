// Memory that runs out in the thread that owns the store. That may end the daemon as if it had been killed; the next
// start then finishes what was begun, and what is complete is there at every moment.

#include "child.h"
#include "files.h"
#include "korvo_bt_conventions.h"
#include "memory.h"
#include "next.h"
#include "source.h"
#include "store.h"
#include "support.h"
#include "trial.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <pthread.h>
#include <sched.h>
#include <sys/stat.h>

const bool test::new_runs_out = true;

namespace {

int waits = 0;
int64_t ahead = 0; // is this clock, in nanoseconds
fetch::Exchange *served = nullptr;

int64_t nanoseconds(const timespec &time) {
    return time.tv_sec * int64_t{1'000'000'000} + time.tv_nsec;
}

} // namespace

extern "C" {
int clock_gettime(clockid_t clock, timespec *time) noexcept {
    const int result = test::next(clock_gettime, "clock_gettime")(clock, time);
    const int64_t shown = nanoseconds(*time) + ahead;
    *time = {static_cast<std::time_t>(shown / 1'000'000'000), static_cast<long>(shown % 1'000'000'000)};
    return result;
}

// Nobody rings, so time passes at once. At some time the transfers end, and a while later nobody waits for the thread.
int pthread_cond_clockwait(pthread_cond_t *, pthread_mutex_t *, clockid_t clock, const timespec *end) {
    constexpr int patience = 10;
    if (++waits == patience) {
        served->reports.leave([](fetch::Reports &reports) { reports.ending = true; });
    } else if (waits == 2 * patience) {
        _exit(EXIT_SUCCESS);
    }
    timespec now{};
    clock_gettime(clock, &now);
    ahead += nanoseconds(*end) - nanoseconds(now);
    return ETIMEDOUT;
}
}

namespace test {
namespace {

namespace fs = std::filesystem;

constexpr const char *downloads = "/share/Download";
const std::string data(1000, 'd');

// One task with a complete partial file.
void prepare() {
    start_afresh();
    fs::remove_all(downloads);
    fs::create_directories(downloads);
    http_ftp_db_create_tbl_task();
    bt_account_create_tbl();
    HttpFtpTaskRecord task = {};
    std::strcpy(task.task_filename, "http://h/x");
    task.task_savename[0] = 'x';
    task.task_state = HTTP_FTP_TASK_STATE_QUEUED;
    ASSERT_EQ(http_ftp_db_add_task(&task), 1);
    write_file(downloads + std::string("/x.part"), data);
    fetch::Source source;
    source.task = 1;
    source.address = "http://h/x";
    source.size = static_cast<int64_t>(data.size());
    ASSERT_TRUE(fetch::save_source(fetch::open_folder("Download"), "x", source));
}

// Serves the store until its task is done, with transfers that take no time.
Outcome serve(int at, bool goes_on) {
    return in_child([=] {
        std::async(std::launch::async, [] {}).get(); // the runtime keeps what its first thread has taken
        begin_shortage(at, goes_on);
        try {
            const fetch::Options options;
            fetch::Exchange exchange;
            fetch::Store store(options, exchange);
            served = &exchange;
            exchange.orders.ring_with([] {
                for (const fetch::Job &job : served->orders.take().start) {
                    served->reports.post([&job](fetch::Reports &reports) {
                        reports.verdicts[job.task] = {fetch::Verdict::End::complete};
                        reports.ending = true;
                    });
                }
            });
            store.run();
            for (struct stat threads{}; stat("/proc/self/task", &threads) == 0 && threads.st_nlink > 3;) {
                sched_yield(); // the one that has placed the file has not let go of its memory yet
            }
        } catch (const std::bad_alloc &) { // before it runs
            _exit(EXIT_FAILURE);
        }
        end_shortage();
    });
}

class StoreThread : public StoreTest {
protected:
    ~StoreThread() override { fs::remove_all(downloads); }
};

TEST_F(StoreThread, FinishesWhatWasBegunWhenMemoryRanOut) {
    ASSERT_TRUE(memory_is_taken);
    setenv("TZ", "UTC", 1);
    tzset();
    const std::string whole = downloads + std::string("/x"), partial = whole + ".part";
    prepare();
    ASSERT_EQ(serve(0, false).status, 0);
    const int kept = allocations_held(); // by the runtime
    for (const bool goes_on : {false, true}) {
        bool failed = true;
        for (int at = 1; failed && !HasFailure(); at += effort(1201, 301, 1)) {
            SCOPED_TRACE("allocation " + std::to_string(at) + (goes_on ? " and all that follow" : ""));
            prepare();
            const Outcome outcome = serve(at, goes_on);
            failed = memory_ran_out();
            const bool ended = outcome.status == 128 + SIGABRT || (outcome.status == EXIT_FAILURE);
            EXPECT_TRUE(outcome.status == 0 || (ended && failed)) << outcome.status << outcome.errors;
            EXPECT_TRUE(ended || goes_on || allocations_held() <= kept) << allocations_held() << outcome.errors;
            tally(ended ? "ends of the daemon for want of memory" : "allocations that failed while it went on");
            EXPECT_EQ(content(fs::exists(whole) ? whole : partial), data) << outcome.errors;

            EXPECT_EQ(serve(0, false).status, 0);
            EXPECT_EQ(
                sql("SELECT task_state, task_savename, task_pid, task_total_size, task_errcode FROM HTTP_FTP_TASK"),
                (Rows{{"3", "x", "0", "1000", "0"}}))
                << outcome.errors;
            EXPECT_EQ(content(whole), data);
            EXPECT_EQ(std::distance(fs::directory_iterator(downloads), {}), 1) << outcome.errors;
            Connection connection;
            expect_integrity(connection);
        }
    }
}

} // namespace
} // namespace test
