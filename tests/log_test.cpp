// The diagnostic log. Its state belongs to the process, so every case runs in a child of its own. Syslog is ours here:
// what reaches it shows on standard error, in the order of the calls.

#include "child.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <korvo_bt.h>
#include <pthread.h>
#include <sched.h>
#include <sstream>
#include <syslog.h>
#include <thread>
#include <unistd.h>
#include <vector>

static std::time_t now = 0; // what the clock shows; 0: the real one
static bool mutex_fails = false;
static bool in_syslog = false; // plain on purpose: only the log's own mutex guards it

static void show(const std::string &text) {
    for (const char c : text) {
        EXPECT_EQ(write(STDERR_FILENO, &c, 1), 1);
        sched_yield();
    }
}

void openlog(const char *ident, int option, int facility) {
    show("openlog " + std::string(ident) + " " + std::to_string(option) + " " + std::to_string(facility) + "\n");
}

void closelog() {
    show("closelog\n");
}

void syslog(int priority, const char *format, ...) {
    EXPECT_FALSE(in_syslog);
    in_syslog = true;
    char text[2048];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    show(std::string("<") + std::to_string(priority) + ">" + text);
    in_syslog = false;
}

std::time_t time(std::time_t *to) noexcept {
    std::timespec real = {};
    clock_gettime(CLOCK_REALTIME, &real);
    const std::time_t shown = now != 0 ? now : real.tv_sec;
    return to != nullptr ? *to = shown : shown;
}

template <class Function> static Function *next(Function * /*own*/, const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

int pthread_mutex_lock(pthread_mutex_t *mutex) noexcept {
    static const auto real = next(pthread_mutex_lock, "pthread_mutex_lock");
    return mutex_fails ? EDEADLK : real(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t *mutex) noexcept {
    static const auto real = next(pthread_mutex_unlock, "pthread_mutex_unlock");
    return mutex_fails ? EPERM : real(mutex);
}

namespace test {
namespace {

constexpr const char *file = "/tmp/log_test.log";

std::string contents(const char *path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class LogTest : public testing::Test {
protected:
    LogTest() { std::filesystem::remove(file); }
};

TEST_F(LogTest, FiltersByThresholdAndMask) {
    struct {
        const char *modules;
        std::int32_t threshold;
        std::int32_t level;
        std::uint32_t bits;
        bool written;
    } const cases[] = {
        {nullptr, 10, 10, 1, true},
        {nullptr, 10, 11, 1, false},
        {nullptr, 11, 11, 1, true},
        {nullptr, 10, 1, 0, false},
        {nullptr, 10, 1, 0x40000000, true},
        {nullptr, 0, 1, 1, false},
        {nullptr, 0, -1, 1, true},
        {nullptr, -2, -1, 1, false},
        {nullptr, INT32_MIN, INT32_MIN, 1, true},
        {"database", 1, 1, ERR_MODULE_DATABASE, true},
        {"database", 1, 1, ERR_MODULE_DATABASE | ERR_MODULE_CONFIG, true},
        {"database", 1, 1, ERR_MODULE_CONFIG, false},
        {"database", 1, INT32_MIN, ERR_MODULE_CONFIG, false},
        {"database", 1, 1, ERR_MODULE_SELF, true},
    };
    EXPECT_EQ(err_debuglevel, 10);
    for (const auto &each : cases) {
        const Outcome outcome = in_child([&] {
            err_debuglevel = each.threshold;
            if (each.modules != nullptr) {
                EXPECT_EQ(err_setdebugmask(std::string(each.modules).data()), 0);
            }
            // A filtered message is not formatted: reading this text would be fatal.
            const auto *text = each.written ? "50%n\n" : reinterpret_cast<const char *>(1);
            err_log(each.level, each.bits, "%s", text);
        });
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.errors, each.written ? "50%n\n" : "") << each.threshold << " " << each.level;
    }
}

TEST_F(LogTest, WritesToTheDestinationAndEndsTheProcessAtLevelZero) {
    const std::string line = "2024-05-17 08:30:02: ";
    struct {
        std::int32_t destination;
        std::string shown;       // on standard error and syslog
        std::string shown_fatal; // beyond that
        std::string filed;
    } const cases[] = {
        {LOGDEST_STDERR, "50%n\n", "end\nAborting\n", ""},
        {LOGDEST_SYSLOG, "openlog " + std::string(file) + " 1 24\n<5>50%n\n", "end\nAborting\n<5>end\n<6>Aborting\n",
         ""},
        {LOGDEST_LOGFILE, "", "end\nAborting\n", line + "50%n\n" + line + "end\n" + line + "Aborting\n"},
        {5, "", "end\nAborting\n", ""},
        {-1, "", "end\nAborting\n", ""},
    };
    for (const auto &each : cases) {
        const Outcome outcome = in_child([&] {
            setenv("TZ", "EAST-11:30", 1);
            now = 1715893202; // the 16th in Greenwich
            err_setdest(file, each.destination);
            err_log(1, 1, "%s\n", "50%n");
            char none[] = "";
            err_debuglevel = -1;
            err_setdebugmask(none);
            err_log(0, 1, "%s\n", "end");
        });
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.errors, each.shown + each.shown_fatal);
        EXPECT_EQ(contents(file), each.filed);
        std::filesystem::remove(file);
    }
}

TEST_F(LogTest, ChangesDestinations) {
    const std::string other = file + std::string(".other");
    std::ofstream(file) << "kept\n";
    const auto descriptors = [] {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    const Outcome outcome = in_child([&] {
        const auto at_first = descriptors();
        now = 1;
        setenv("TZ", "UTC", 1);
        err_setdest(file, LOGDEST_LOGFILE);
        err_setdest(other.c_str(), LOGDEST_LOGFILE); // is the destination already
        err_log(1, 1, "file\n");
        EXPECT_EQ(contents(file), "kept\n1970-01-01 00:00:01: file\n") << "in the file at once";
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
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "openlog one 1 24\n<5>syslog\ncloselog\nstandard error\n");
    EXPECT_EQ(contents(file), "kept\n1970-01-01 00:00:01: file\n");
}

TEST_F(LogTest, EndsTheProcessWhenTheFileCannotBeOpened) {
    const Outcome outcome = in_child([] {
        err_setdest("tests", LOGDEST_SYSLOG);
        err_setdest("/no/such/folder", LOGDEST_LOGFILE);
    });
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors,
              "openlog tests 1 24\ncloselog\nError opening /no/such/folder: No such file or directory\n");
}

TEST_F(LogTest, CutsLongMessages) {
    for (const std::size_t length : {1022, 1023, 1024, 5000}) {
        const std::string text = std::string(length - 1, 'x') + "\n";
        EXPECT_EQ(in_child([&] { err_log(1, 1, "%s", text.c_str()); }).errors, text.substr(0, 1023));
    }
}

TEST_F(LogTest, ReadsTheMaskFromAListOfNames) {
    const std::string self = "Debug mask is 0x80000000\n";
    struct {
        std::string list;
        std::string left; // of the list; a NUL shows as 0
        std::int32_t result;
        std::string logged;
        std::string bits; // that let messages through afterwards
    } const cases[] = {
        {"", "", 0, self, "31 "},
        {",,,", ",,,", 0, self, "31 "},
        {",Database,,SCAN,", ",Database0,SCAN0", 0,
         "Adding module Database to debug list (0x00000004)\nAdding module SCAN to debug list (0x00000008)\n"
         "Debug mask is 0x8000000c\n",
         "2 3 31 "},
        {"query,video,art", "query0video0art", 1,
         "Adding module query to debug list (0x00000010)\nUnknown module: video\n", "4 31 "},
        {"data", "data", 1, "Unknown module: data\n", "31 "},
        {"config ", "config ", 1, "Unknown module: config \n", "31 "},
        {"rend,rend", "rend0rend", 0,
         "Adding module rend to debug list (0x00000800)\nAdding module rend to debug list (0x00000800)\n"
         "Debug mask is 0x80000800\n",
         "11 31 "},
    };
    const auto bits = [] {
        for (unsigned bit = 0; bit < 32; ++bit) {
            err_log(1, 1U << bit, "%u ", bit);
        }
    };
    for (const auto &each : cases) {
        const Outcome outcome = in_child([&] {
            std::string list = each.list;
            EXPECT_EQ(err_setdebugmask(list.data()), each.result);
            std::replace(list.begin(), list.end(), '\0', '0');
            EXPECT_EQ(list, each.left);
            bits();
        });
        EXPECT_EQ(outcome.status, 0) << each.list;
        EXPECT_EQ(outcome.errors, each.logged + each.bits) << each.list;
    }
    // Every name, one bit after the other; and at which thresholds which messages go.
    struct {
        std::int32_t threshold;
        std::string list;
        std::string shown;
    } const others[] = {
        {5, "config,webserver,database,scan,query,index,browse,playlist,art,daap,main,rend",
         "Debug mask is 0x80000fff\n0 1 2 3 4 5 6 7 8 9 10 11 31 "},
        {9, "config", "Adding module config to debug list (0x00000001)\nDebug mask is 0x80000001\n0 31 "},
        {8, "config", "Debug mask is 0x80000001\n0 31 "},
        {4, "config", "0 31 "},
        {1, "none", "Unknown module: none\n31 "},
        {0, "none", ""},
    };
    for (const auto &each : others) {
        const Outcome outcome = in_child([&] {
            err_debuglevel = each.threshold;
            err_setdebugmask(std::string(each.list).data());
            bits();
        });
        EXPECT_EQ(outcome.errors, each.shown);
    }
}

TEST_F(LogTest, KeepsTheLinesOfThreadsWhole) {
    constexpr int threads = 4;
    constexpr int messages = 50;
    for (const std::int32_t destination : {LOGDEST_STDERR, LOGDEST_SYSLOG, LOGDEST_LOGFILE}) {
        const Outcome outcome = in_child([&] {
            now = 1;
            setenv("TZ", "UTC", 1);
            err_setdest(file, destination);
            std::vector<std::thread> all;
            for (int thread = 0; thread < threads; ++thread) {
                all.emplace_back([thread] {
                    for (int message = 0; message < messages; ++message) {
                        err_log(9, 1, "thread %d message %d\n", thread, message);
                    }
                });
            }
            for (int change = 0; change < messages; ++change) {
                std::atomic_ref(err_debuglevel).store(9 + change % 2);
            }
            for (std::thread &thread : all) {
                thread.join();
            }
        });
        EXPECT_EQ(outcome.status, 0);
        const std::string prefix = destination == LOGDEST_SYSLOG    ? "<5>"
                                   : destination == LOGDEST_LOGFILE ? "1970-01-01 00:00:01: "
                                                                    : "";
        std::vector<std::string> expected;
        for (int i = 0; i < threads * messages; ++i) {
            expected.push_back(prefix + "thread " + std::to_string(i / messages) + " message " +
                               std::to_string(i % messages));
        }
        std::vector<std::string> lines;
        std::istringstream text(destination == LOGDEST_LOGFILE ? contents(file) : outcome.errors);
        for (std::string line; std::getline(text, line);) {
            if (line.rfind("openlog", 0) != 0) {
                lines.push_back(line);
            }
        }
        std::sort(expected.begin(), expected.end());
        std::sort(lines.begin(), lines.end());
        EXPECT_EQ(lines, expected);
    }
}

TEST_F(LogTest, WritesAlsoWhenItsMutexFails) {
    const Outcome outcome = in_child([] {
        mutex_fails = true;
        errno = 0;
        err_log(1, 1, "written\n");
        const int error = errno;
        mutex_fails = false;
        EXPECT_EQ(error, EPERM) << "the later one of both";
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "written\n");
}

} // namespace
} // namespace test
