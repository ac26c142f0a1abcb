// Memory that runs out: every allocation of every operation fails in its turn, once alone and once with all that
// follow. A call then fails with one of its codes and has done nothing, or succeeds and has done everything.

#include "child.h"
#include "files.h"
#include "memory.h"
#include "platform.h"
#include "trial.h"

#include <ctime>
#include <filesystem>

namespace fs = std::filesystem;

// What the tests take for themselves comes from it.
const bool test::new_runs_out = false;

// Nobody waits for a daemon.
extern "C" int clock_nanosleep(clockid_t, int, const timespec *, timespec *) {
    return 0;
}

namespace test {
namespace {

// ---- Every operation of every table

class Memory : public StoreTest, public testing::WithParamInterface<OperationOfTable> {
protected:
    // Starts the operation again and again on the table's rows, once `changed`, and lets memory run out.
    void run_out(const OperationOfTable &of, int step, const std::string &changed = "");
};

INSTANTIATE_TEST_SUITE_P(Store, Memory, testing::ValuesIn(operations_to_try()),
                         [](const auto &of) { return name_of(of.param); });

void Memory::run_out(const OperationOfTable &of, int step, const std::string &changed) {
    ASSERT_TRUE(memory_is_taken);
    Trial trial(of, changed);
    int injected = 0;
    for (const bool goes_on : {false, true}) {
        bool failed = true;
        for (int at = 1; failed; at += step) {
            SCOPED_TRACE("allocation " + std::to_string(at) + (goes_on ? " and all that follow" : ""));
            const bool succeeded = trial.attempt([&] { begin_shortage(at, goes_on); }, end_shortage);
            failed = memory_ran_out();
            EXPECT_EQ(allocations_held(), 0);
            EXPECT_TRUE(failed || succeeded);
            injected += failed ? 1 : 0;
            if (HasFailure()) {
                return;
            }
        }
    }
    EXPECT_GT(injected, 20 / step);
    tally("allocations that failed", injected);
}

TEST_P(Memory, RunsOutWithoutAHalfDoneCall) {
    run_out(GetParam(), effort(13, 7, 1));
}

// Texts that another program stored as blobs take memory when they are read, where what SQLite has of it leaves no room
// for the NUL, as with this length; a row without it is no row.
TEST_P(Memory, RunsOutWithoutAHalfReadRow) {
    const Table &table = *GetParam().table;
    std::string blobs;
    for (const Field &field : table.fields) {
        if (field.kind == Kind::text) {
            blobs +=
                "UPDATE " + std::string(table.name) + " SET " + field.column + " = CAST(printf('%038d', 0) AS BLOB);";
        }
    }
    OperationOfTable reads = GetParam();
    prepare(table, reads.operation);
    if (reads.operation.failure == BTDB_ERR_QUERY) {
        sql(blobs);
        reads.operation.success = call(reads.operation); // may be a text's length
        if (reads.operation.success >= 0 && !scratch_is_clean()) {
            run_out(reads, effort(13, 2, 1), blobs);
        }
    }
}

// ---- What is done besides the tables

const char *const log_file = "/tmp/log";

class MemoryOfServices : public StoreTest {
protected:
    // Lets memory run out in the work, each time after the preparation; in a child where that may end the process.
    static void run_out(const std::function<void()> &prepare, const std::function<void()> &work,
                        const std::function<void()> &check, int step, int exit_status = 0) {
        int injected = 0;
        for (const bool goes_on : {false, true}) {
            bool failed = true;
            for (int at = 1; failed && !HasFailure(); at += step) {
                SCOPED_TRACE("allocation " + std::to_string(at) + (goes_on ? " and all that follow" : ""));
                prepare();
                const auto attempt = [&] {
                    begin_shortage(at, goes_on);
                    work();
                    end_shortage();
                };
                const Outcome outcome = exit_status != 0 ? in_child([&] {
                    std::atexit(end_shortage); // what the runtime does then is its own matter
                    attempt();
                })
                                                         : (attempt(), Outcome{});
                failed = memory_ran_out();
                EXPECT_TRUE(outcome.status == exit_status || (outcome.status == 0 && allocations_held() == 0))
                    << allocations_held() << outcome.errors;
                check();
                injected += failed ? 1 : 0;
            }
        }
        EXPECT_TRUE(injected > 0 || !runtime_runs_out);
        tally("allocations that failed", injected);
    }
    ~MemoryOfServices() override { fs::remove_all("/share/Download"); }
};

TEST_F(MemoryOfServices, RunsOutWhileTasksAreRemoved) {
    int32_t bt = 0, http = 0, results[2] = {};
    run_out(
        [&] {
            start_afresh();
            bt_db_create_tbl_task();
            http_ftp_db_create_tbl_task();
            bt_fdata_create_tbl(); // or the removal tries its deletes again and again
            bt_infodata_create_tbl();
            for (const char *file : {"/share/Download/a/b/c", "/share/Download/d", "/share/Download/other"}) {
                write_file(file);
            }
            BtTaskRecord task = {};
            task.task_torrent_name[0] = 'a';
            bt = bt_db_add_task(&task);
            HttpFtpTaskRecord download = {};
            download.task_savename[0] = 'd';
            http = http_ftp_db_add_task(&download);
        },
        [&] {
            results[0] = bt_task_remove(bt, 1);
            results[1] = http_ftp_task_remove(http, 1);
        },
        [&] {
            for (const int kind : {0, 1}) {
                const Rows rows = sql(kind == 0 ? "SELECT 1 FROM BT_TASK" : "SELECT 1 FROM HTTP_FTP_TASK");
                EXPECT_TRUE(results[kind] == BTDB_OK || (results[kind] == BTDB_ERR_NO_TASK && rows.size() == 1));
            }
            EXPECT_TRUE(fs::exists("/share/Download/other"));
            EXPECT_TRUE(results[0] == BTDB_OK || fs::exists("/share/Download/a/b/c"));
            EXPECT_TRUE(results[1] == BTDB_OK || fs::exists("/share/Download/d"));
        },
        effort(61, 17, 1));
}

// A log file that cannot be opened ends the process.
TEST_F(MemoryOfServices, RunsOutWhileALogFileIsWritten) {
    setenv("TZ", "UTC", 1);
    tzset(); // the runtime keeps what it knows of the zone
    run_out([] { std::remove(log_file); },
            [] {
                err_setdest(log_file, LOGDEST_LOGFILE);
                err_log(1, ~0U, "%s\n", "a message");
                err_setdest(nullptr, LOGDEST_STDERR);
            },
            [] {
                const std::string text = content(log_file);
                EXPECT_TRUE(text.empty() || text.ends_with(": a message\n")) << text;
            },
            1, EXIT_FAILURE);
}

// A setting is the one that was stored, none, or the one that is being stored; the mail is whole and goes where it
// should, or fails.
TEST_F(MemoryOfServices, RunsOutWhileSettingsAreReadAndStoredAndMailIsSent) {
    const std::string before = "# settings\n[BTDownload]\nFolder = before\n[Alert]\nMail To = anna\n"
                               "Mail Program = /tmp/sendmail\n";
    char text[100], missing[100];
    int stored = 0, mailed = 0;
    run_out(
        [&] {
            write_file(profile, before);
            ASSERT_TRUE(add_access_list(profile));
            install_sendmail();
            fs::remove("/tmp/mail");
        },
        [&] {
            Get_Profile_String("BTDownload", "Folder", "default", text, sizeof text);
            Get_Profile_String("BTDownload", "Other", "default", missing, sizeof missing);
            mailed = Send_Alert_Mail("nas", "message", nullptr);
            stored = Set_Profile_String("BTDownload", "Folder", "n\xc3\xa9w");
        },
        [&] {
            EXPECT_TRUE(std::string(text) == "before" || text[0] == '\0') << text;
            EXPECT_TRUE(std::string(missing) == "default" || missing[0] == '\0') << missing;
            EXPECT_EQ(content("/tmp/mail").ends_with("\n\nmessage\n"), mailed == 0);
            EXPECT_TRUE(mailed != 0 || content("/tmp/arguments") == "-oi -- anna ");
            std::string after = before;
            EXPECT_EQ(content(profile),
                      stored != 0 ? before : after.replace(after.find("before"), 6, "\"n\\xc3\\xa9w\""));
            EXPECT_EQ(std::distance(fs::directory_iterator(directory), {}), 1) << "the file alone";
        },
        1);
    fs::remove(profile);
}

} // namespace
} // namespace test
