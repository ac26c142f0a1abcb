// The diagnostic log. Its state belongs to the process, so every case runs in a child of its own. Syslog is ours here:
// what reaches it shows on standard error, in the order of the calls.

#include "child.h"
#include "files.h"
#include "next.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <iomanip>
#include <korvo_bt.h>
#include <pthread.h>
#include <sched.h>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

std::time_t now = 0; // what the clock shows; 0: the real one
int lock_fails = 0;  // with this error
int unlock_fails = 0;
bool in_syslog = false; // plain on purpose: only the log's own mutex guards it

// In two pieces, so that another thread that is let in shows between them.
void show(const std::string &text) {
    const std::size_t half = text.size() / 2;
    EXPECT_EQ(write(STDERR_FILENO, text.data(), half), static_cast<ssize_t>(half));
    sched_yield();
    EXPECT_EQ(write(STDERR_FILENO, text.data() + half, text.size() - half), static_cast<ssize_t>(text.size() - half));
}

} // namespace

void openlog(const char *ident, int option, int facility) {
    show("openlog " + std::string(ident) + " " + std::to_string(option) + " " + std::to_string(facility) + "\n");
}

void closelog() {
    show("closelog\n");
}

[[gnu::format(printf, 2, 0)]] static void show_message(int priority, const char *format, std::va_list arguments) {
    EXPECT_FALSE(in_syslog);
    in_syslog = true;
    char text[2048];
    std::vsnprintf(text, sizeof text, format, arguments);
    show(std::string("<") + std::to_string(priority) + ">" + text);
    in_syslog = false;
}

void syslog(int priority, const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    show_message(priority, format, arguments);
    va_end(arguments);
}

// Its name in a hardened library.
extern "C" [[gnu::format(printf, 3, 4)]] void __syslog_chk(int priority, int /*flag*/, const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    show_message(priority, format, arguments);
    va_end(arguments);
}

std::time_t time(std::time_t *to) noexcept {
    const std::time_t shown = now != 0 ? now : test::next(time, "time")(nullptr);
    return to != nullptr ? *to = shown : shown;
}

int pthread_mutex_lock(pthread_mutex_t *mutex) noexcept {
    static const auto real = test::next(pthread_mutex_lock, "pthread_mutex_lock");
    return lock_fails != 0 ? lock_fails : real(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t *mutex) noexcept {
    static const auto real = test::next(pthread_mutex_unlock, "pthread_mutex_unlock");
    return unlock_fails != 0 ? unlock_fails : real(mutex);
}

namespace test {
namespace {

constexpr const char *file = "/tmp/log_test.log";

class LogTest : public testing::Test {
protected:
    LogTest() { std::filesystem::remove(file); }
};

TEST_F(LogTest, FiltersByThresholdAndMask) {
    const struct {
        const char *modules;
        int32_t threshold, level;
        uint32_t bits;
        bool written;
    } cases[] = {
        {nullptr, 10, 10, 1, true},
        {nullptr, 10, 11, 1, false},
        {nullptr, 11, 11, 1, true},
        {nullptr, 10, 1, 0, false},
        {nullptr, 10, 1, 0x40000000, true},
        {nullptr, 0, 1, 1, false},
        {nullptr, 0, -1, 1, true},
        {nullptr, INT32_MIN, INT32_MIN, 1, true},
        {"database", 1, 1, ERR_MODULE_DATABASE | ERR_MODULE_CONFIG, true},
        {"database", 1, INT32_MIN, ERR_MODULE_CONFIG, false},
        {"database", 1, 1, ERR_MODULE_SELF, true},
    };
    EXPECT_EQ(err_debuglevel, 10);
    for (const auto &each : cases) {
        SCOPED_TRACE(&each - cases);
        expect_in_child(each.written ? "50%n\n" : "", [&] {
            err_debuglevel = each.threshold;
            if (each.modules != nullptr) {
                EXPECT_EQ(err_setdebugmask(std::string(each.modules).data()), 0);
            }
            // A filtered message is not formatted: reading this text would be fatal.
            err_log(each.level, each.bits, "%s", each.written ? "50%n\n" : reinterpret_cast<const char *>(1));
        });
    }
}

TEST_F(LogTest, WritesToTheDestinationAndEndsTheProcessAtLevelZero) {
    const std::string line = "2024-05-17 08:30:02: ", fatal = "end\nAborting\n";
    const struct {
        int32_t destination;
        std::string shown, filed;
    } cases[] = {
        {LOGDEST_STDERR, "50%n\n" + fatal, ""},
        {LOGDEST_SYSLOG, "openlog /tmp/log_test.log 1 24\n<5>50%n\n" + fatal + "<5>end\n<6>Aborting\n", ""},
        {LOGDEST_LOGFILE, fatal, line + "50%n\n" + line + "end\n" + line + "Aborting\n"},
        {5, fatal, ""},
        {-1, fatal, ""},
    };
    for (const auto &each : cases) {
        const auto body = [&] {
            setenv("TZ", "EAST-11:30", 1);
            now = 1715893202; // the 16th in Greenwich
            err_setdest(file, each.destination);
            err_log(1, 1, "%s\n", "50%n");
            char none[] = "";
            err_debuglevel = -1;
            err_setdebugmask(none);
            err_log(0, 1, "%s\n", "end");
        };
        expect_in_child(each.shown, body, EXIT_FAILURE);
        EXPECT_EQ(content(file), each.filed);
        std::filesystem::remove(file);
    }
}

TEST_F(LogTest, ChangesDestinations) {
    const std::string other = file + std::string(".other");
    write_file(file, "kept\n");
    const auto descriptors = [] {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    expect_in_child("openlog one 1 24\n<5>syslog\ncloselog\nstandard error\n", [&] {
        const auto at_first = descriptors();
        now = 1;
        setenv("TZ", "UTC", 1);
        err_setdest(file, LOGDEST_LOGFILE);
        err_setdest(other.c_str(), LOGDEST_LOGFILE); // is the destination already
        err_log(1, 1, "file\n");
        EXPECT_EQ(content(file), "kept\n1970-01-01 00:00:01: file\n") << "in the file at once";
        EXPECT_FALSE(std::filesystem::exists(other));
        err_setdest("one", LOGDEST_SYSLOG);
        EXPECT_EQ(descriptors(), at_first);
        err_setdest("two", LOGDEST_SYSLOG);
        err_log(1, 1, "syslog\n");
        err_setdest(nullptr, 5);
        err_log(1, 1, "nowhere\n");
        err_setdest(nullptr, LOGDEST_STDERR);
        err_log(1, 1, "standard error\n");
    });
    const auto without_folder = [] {
        err_setdest("tests", LOGDEST_SYSLOG);
        err_setdest("/no/such/directory", LOGDEST_LOGFILE);
    };
    expect_in_child("openlog tests 1 24\ncloselog\nError opening /no/such/directory: No such file or directory\n",
                    without_folder, EXIT_FAILURE);
    std::filesystem::remove(file);
    ASSERT_EQ(mkfifo(file, 0600), 0);
    expect_in_child(
        "Error opening /tmp/log_test.log: No such device or address\n", [] { err_setdest(file, LOGDEST_LOGFILE); },
        EXIT_FAILURE);
}

TEST_F(LogTest, KeepsItsFileFromChildrenAndFollowsTheTimeZone) {
    expect_in_child("", [] {
        now = 1;
        err_setdest(file, LOGDEST_LOGFILE);
        EXPECT_NE(std::system("ls -l /proc/self/fd | grep -q log_test"), 0);
        for (const char *zone : {"UTC", "EAST-5"}) {
            setenv("TZ", zone, 1);
            err_log(1, 1, "%s\n", zone);
        }
    });
    EXPECT_EQ(content(file), "1970-01-01 00:00:01: UTC\n1970-01-01 05:00:01: EAST-5\n");
}

TEST_F(LogTest, TruncatesLongMessages) {
    for (const std::size_t length : {1022U, 1023U, 1024U, 5000U}) {
        const std::string text = std::string(length - 1, 'x') + "\n";
        expect_in_child(text.substr(0, 1023), [&] { err_log(1, 1, "%s", text.c_str()); });
    }
}

TEST_F(LogTest, ReadsTheMaskFromAListOfNames) {
    const auto adding = [](const std::string &name, unsigned bit) {
        std::ostringstream text;
        text << "Adding module " << name << " to debug list (0x" << std::hex << std::setfill('0') << std::setw(8)
             << (1U << bit) << ")\n";
        return text.str();
    };
    const struct {
        std::string list, left; // of the list; a NUL shows as 0
        int32_t result, threshold;
        std::string shown; // the log's own messages, then the bits that let messages through
    } cases[] = {
        {"", "", 0, 9, "Debug mask is 0x80000000\n31 "},
        {",,,", ",,,", 0, 9, "Debug mask is 0x80000000\n31 "},
        {"config,webserver,database,scan,query,index", "config0webserver0database0scan0query0index", 0, 9,
         adding("config", 0) + adding("webserver", 1) + adding("database", 2) + adding("scan", 3) + adding("query", 4) +
             adding("index", 5) + "Debug mask is 0x8000003f\n0 1 2 3 4 5 31 "},
        {",Browse,,PLAYLIST,art,daap,main,rend,", ",Browse0,PLAYLIST0art0daap0main0rend0", 0, 9,
         adding("Browse", 6) + adding("PLAYLIST", 7) + adding("art", 8) + adding("daap", 9) + adding("main", 10) +
             adding("rend", 11) + "Debug mask is 0x80000fc0\n6 7 8 9 10 11 31 "},
        {"query,video,art", "query0video0art", 1, 9, adding("query", 4) + "Unknown module: video\n4 31 "},
        {"data", "data", 1, 9, "Unknown module: data\n31 "},
        {"config ", "config ", 1, 9, "Unknown module: config \n31 "},
        {"rend,rend", "rend0rend", 0, 9, adding("rend", 11) + adding("rend", 11) + "Debug mask is 0x80000800\n11 31 "},
        // At which thresholds which messages go.
        {"config", "config", 0, 8, "Debug mask is 0x80000001\n0 31 "},
        {"config", "config", 0, 5, "Debug mask is 0x80000001\n0 31 "},
        {"config", "config", 0, 4, "0 31 "},
        {"none", "none", 1, 1, "Unknown module: none\n31 "},
        {"none", "none", 1, 0, ""},
    };
    for (const auto &each : cases) {
        expect_in_child(each.shown, [&] {
            err_debuglevel = each.threshold;
            std::string list = each.list;
            EXPECT_EQ(err_setdebugmask(list.data()), each.result);
            std::replace(list.begin(), list.end(), '\0', '0');
            EXPECT_EQ(list, each.left);
            for (unsigned bit = 0; bit < 32; ++bit) {
                err_log(1, 1U << bit, "%u ", bit);
            }
        });
    }
}

TEST_F(LogTest, KeepsTheLinesOfThreadsWhole) {
    const std::pair<int32_t, std::string> destinations[] = {
        {LOGDEST_STDERR, ""}, {LOGDEST_SYSLOG, "<5>"}, {LOGDEST_LOGFILE, "1970-01-01 00:00:01: "}};
    for (const auto &[destination, prefix] : destinations) {
        constexpr int messages = 50;
        const Outcome outcome = in_child([to = destination] {
            now = 1;
            setenv("TZ", "UTC", 1);
            err_setdest(file, to);
            std::vector<std::thread> threads;
            for (int thread = 0; thread < 4; ++thread) {
                threads.emplace_back([thread] {
                    for (int message = 0; message < messages; ++message) {
                        err_log(9, 1, "thread %d message %d\n", thread, message);
                    }
                });
            }
            for (int change = 0; change < messages; ++change) {
                std::atomic_ref(err_debuglevel).store(9 + change % 2);
            }
            for (std::thread &thread : threads) {
                thread.join();
            }
        });
        EXPECT_EQ(outcome.status, 0);
        std::multiset<std::string> expected, lines;
        for (int i = 0; i < 4 * messages; ++i) {
            expected.insert(prefix + "thread " + std::to_string(i / messages) + " message " +
                            std::to_string(i % messages));
        }
        std::istringstream text(destination == LOGDEST_LOGFILE ? content(file) : outcome.errors);
        for (std::string line; std::getline(text, line);) {
            if (line.rfind("openlog", 0) != 0) {
                lines.insert(line);
            }
        }
        EXPECT_EQ(lines, expected);
    }
}

TEST_F(LogTest, WritesAlsoWhenItsMutexFails) {
    for (int *const failing : {&lock_fails, &unlock_fails}) {
        expect_in_child("written\n", [&] {
            *failing = EPERM;
            errno = 0;
            err_log(1, 1, "written\n");
            const int error = errno;
            *failing = 0;
            EXPECT_EQ(error, EPERM);
        });
    }
}

TEST_F(LogTest, RaisesSigpipeLikeAnyWriter) {
    const auto log_to_nobody = [] {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        close(ends[0]);
        dup2(ends[1], STDERR_FILENO);
        err_log(1, 1, "lost\n");
    };
    EXPECT_EQ(in_child(log_to_nobody).status, 128 + SIGPIPE);
    const auto log_on = [&] {
        signal(SIGPIPE, SIG_IGN);
        log_to_nobody();
    };
    EXPECT_EQ(in_child(log_on).status, 0);
}

} // namespace
} // namespace test
