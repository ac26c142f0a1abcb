// The services beside the database: URL encoding, times, the schedule, notifications. The clock and some of the
// device's functions are this program's own, which the library must find before others.

#include "files.h"
#include "next.h"
#include "platform.h"
#include "support.h"

#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

// ---- What stands in front of the system

namespace {

std::time_t now_is = 0; // 0: the real clock
bool time_converts = true;

} // namespace

extern "C" {
std::time_t time(std::time_t *to) noexcept {
    const std::time_t now = now_is != 0 ? now_is : test::next(time, "time")(nullptr);
    return to != nullptr ? *to = now : now;
}
std::tm *localtime_r(const std::time_t *seconds, std::tm *to) noexcept {
    return time_converts ? test::next(localtime_r, "localtime_r")(seconds, to) : nullptr;
}
int Get_Server_Name(char *buffer, int size) {
    std::memset(buffer, 'n', static_cast<std::size_t>(size)); // without an end
    return 0;
}
}

namespace test {
namespace {

namespace fs = std::filesystem;

class Services : public StoreTest {
protected:
    Services() {
        umask(022);
        clear();
    }
    ~Services() override {
        now_is = 0;
        time_converts = true;
        unsetenv("TZ");
        clear();
    }
    static void clear() {
        for (const char *left :
             {profile, "/mnt/HDA_ROOT/korvo.conf.lock", "/tmp/tqv3.log", "/tmp/mail", "/tmp/files"}) {
            fs::remove_all(left);
        }
    }
    static void configure(const std::string &lines) { write_file(profile, "[BTDownload]\n" + lines + "\n"); }
};

// ---- URL encoding, times

TEST_F(Services, UrlEncodingWritesSpacesAndNothingElse) {
    const std::pair<std::string, std::string> cases[] = {{"", ""},
                                                         {" a  b%20\t%#?&+\xe9/\n", "%20a%20%20b%20\t%#?&+\xe9/\n"}};
    for (const auto &[text, encoded] : cases) {
        std::string destination(encoded.size() + 2, '\xa5');
        omra_url_encode(destination.data(), text.c_str());
        EXPECT_EQ(destination, encoded + '\0' + '\xa5');
    }
}

TEST_F(Services, TimesAreLocalAndFitTheirBuffers) {
    const struct {
        const char *zone;
        int32_t time;
        const char *shown;
    } cases[] = {{"UTC", 0, "1970-01-01 00:00:00"},
                 {"JST-9", -1, "1970-01-01 08:59:59"},
                 {"<+0530>-5:30", INT32_MAX, "2038-01-19 08:44:07"},
                 {"EST5EDT,M3.2.0,M11.1.0", 1751700600, "2025-07-05 03:30:00"},
                 {"UTC", INT32_MIN, "1901-12-13 20:45:52"}};
    char *(*const formatters[])(int32_t, const char *) = {bt_task_fmttime, http_ftp_task_fmttime};
    for (auto *const format : formatters) {
        for (const auto &expected : cases) {
            setenv("TZ", expected.zone, 1);
            EXPECT_STREQ(format(expected.time, "%Y-%m-%d %H:%M:%S"), expected.shown);
        }
        const std::string fits = std::string(25, 'x') + "%H%M%S";
        char *const text = format(0, fits.c_str());
        EXPECT_EQ(text, std::string(25, 'x') + "000000");
        EXPECT_EQ(format(0, ("x" + fits).c_str()), text) << "one buffer";
        EXPECT_STREQ(text, "") << "32 characters";
        format(0, "before");
        time_converts = false;
        EXPECT_STREQ(format(0, "%Y"), "");
        time_converts = true;
    }
    EXPECT_NE(bt_task_fmttime(0, "bt"), http_ftp_task_fmttime(0, "http"));
    EXPECT_STREQ(bt_task_fmttime(0, "%%"), "%");
}

// ---- The schedule

std::string hours_of(const ScheduleRecord &record) {
    std::string week;
    for (const auto &day : record.hours) {
        EXPECT_EQ(day[24], '\0');
        week.append(day, 24);
    }
    return week;
}

TEST_F(Services, ScheduleIsReadWhateverIsStored) {
    const std::string all(168, '1');
    const std::string week = "ab" + std::string(166, '0');
    const std::pair<std::string, std::string> cases[] = {
        {"", all},
        {"Schedule Time = not", all},
        {"Schedule Time = NoT", all},
        {"Schedule Time =", all},
        {"Schedule Time = " + week, week},
        {"Schedule Time = " + week + std::string(600, '7'), week},
        {"Schedule Time = " + std::string(30, '0'), std::string(30, '0') + std::string(138, '1')}};
    for (const auto &[line, expected] : cases) {
        configure(line);
        ScheduleRecord record;
        std::memset(&record, '\xa5', sizeof record);
        EXPECT_EQ(get_tqv3_schedule(&record), BTDB_OK);
        EXPECT_EQ(hours_of(record), expected);
        EXPECT_EQ(record.enabled, 0);
    }
    EXPECT_EQ(get_tqv3_schedule(nullptr), BTDB_ERR_NULL);
    EXPECT_EQ(set_tqv3_schedule(nullptr), BTDB_ERR_NULL);
    EXPECT_EQ(BTDB_ERR_NULL, -12);
}

TEST_F(Services, ScheduleComesBackAsItWasStored) {
    ScheduleRecord record = {-3, {}};
    std::string week(168, '0');
    for (std::size_t i = 0; i < week.size(); ++i) {
        week[i] = static_cast<char>(i * 7 % 255 + 1);
        record.hours[i / 24][i % 24] = week[i];
    }
    record.hours[3][24] = 'x'; // not read
    record.hours[2][5] = '\0';
    week[2 * 24 + 5] = '1';
    EXPECT_EQ(set_tqv3_schedule(&record), BTDB_OK);
    char stored[512];
    Get_Profile_String("BTDownload", "Schedule Time", "", stored, sizeof stored);
    EXPECT_EQ(stored, week);
    for (const int32_t enabled : {1, 0}) {
        EXPECT_EQ(get_tqv3_schedule(&record), BTDB_OK);
        EXPECT_EQ(hours_of(record), week);
        EXPECT_EQ(record.enabled, enabled);
        record.enabled = 0;
        set_tqv3_schedule(&record);
    }
}

TEST_F(Services, TheHourIsTheLocalOne) {
    now_is = 1767605400; // Monday, 2026-01-05 09:30 UTC
    const struct {
        const char *zone;
        int day, hour;
    } zones[] = {{"UTC", 1, 9},           {"JST-9", 1, 18},   {"EST5EDT,M3.2.0,M11.1.0", 1, 4},
                 {"<+0530>-5:30", 1, 15}, {"<-12>12", 0, 21}, {"<+14>-14", 1, 23}};
    EXPECT_EQ(get_now_tqv3_schedule(), 50) << "nothing stored: off";
    for (const auto &zone : zones) {
        setenv("TZ", zone.zone, 1);
        for (const char c : {'0', '\xe9'}) {
            ScheduleRecord record = {1, {}};
            record.hours[zone.day][zone.hour] = c;
            set_tqv3_schedule(&record);
            EXPECT_EQ(get_now_tqv3_schedule(), static_cast<unsigned char>(c)) << zone.zone;
            record.enabled = 0;
            set_tqv3_schedule(&record);
            EXPECT_EQ(get_now_tqv3_schedule(), 50);
        }
    }
    ScheduleRecord record = {1, {}};
    set_tqv3_schedule(&record);
    now_is = std::numeric_limits<std::time_t>::max();
    EXPECT_EQ(get_now_tqv3_schedule(), sizeof now_is > 4 ? 50 : '1') << "a year that has no number: off";
}

// ---- Notifications

TEST_F(Services, NotificationSwitchesAreKeptButForOne) {
    NotificationRecord switches = {7, 7, 7};
    EXPECT_EQ(get_tqv3_notification(&switches), BTDB_OK);
    EXPECT_EQ(switches.email + switches.im + switches.desktop, 0);
    for (const NotificationRecord &stored : {NotificationRecord{0, 1, 1}, NotificationRecord{1, 1, 0}}) {
        EXPECT_EQ(set_tqv3_notification(&stored), BTDB_OK);
        EXPECT_EQ(get_tqv3_notification(&switches), BTDB_OK);
        EXPECT_EQ(switches.email, stored.email);
        EXPECT_EQ(switches.im, 0);
        EXPECT_EQ(switches.desktop, stored.desktop);
    }
    EXPECT_EQ(content(profile), "[BTDownload]\nNotification Email = true\nNotification IM = true\n"
                                "Notification Desktop = false\n");
    EXPECT_EQ(get_tqv3_notification(nullptr), BTDB_ERR_PARAM);
    EXPECT_EQ(set_tqv3_notification(nullptr), BTDB_ERR_PARAM);
}

TEST_F(Services, AMessageIsMailedAndTracedAsItIs) {
    install_sendmail();
    configure("Notification IM = 1\nNotification Desktop = 1\n[Alert]\nMail Program = /tmp/sendmail");
    EXPECT_EQ(tqv3_notification_send("nobody wants it"), 0);
    EXPECT_FALSE(fs::exists("/tmp/mail"));
    EXPECT_FALSE(fs::exists("/tmp/tqv3.log"));

    std::string trace;
    const auto send = [&](const std::string &program, int result, const std::string &message) {
        configure("Notification Email = 1\n[Alert]\nMail Program = " + program);
        EXPECT_EQ(tqv3_notification_send(message.c_str()), result);
        trace += std::to_string(result) + " = Send_Alert_Mail(" + std::string(256, 'n') + ", " + message + ", NULL)\n";
        EXPECT_EQ(content("/tmp/tqv3.log"), trace);
    };
    send("/tmp/sendmail", 0, "It's done: $(touch /tmp/x) `x` \"%s%n\" \\\n\xff");
    send("/tmp/sendmail", 0, std::string(300000, 'm'));
    send("/tmp/none", -1, "undeliverable");
    EXPECT_EQ(tqv3_notification_send(nullptr), BTDB_ERR_PARAM);

    // Without a standard input the trace has its descriptor.
    const int input = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    send("/tmp/none", -1, "from a daemon");
    dup2(input, STDIN_FILENO);
    close(input);
}

TEST_F(Services, TheTraceFollowsNoSymlinkAndWaitsForNobody) {
    configure("Notification Email = 1\n[Alert]\nMail Program = /tmp/none");
    write_file("/tmp/files/canary");
    constexpr const char *trace = "/tmp/tqv3.log";
    int reader = -1;
    const std::function<void()> plants[] = {
        [&] { fs::create_symlink("/tmp/files/canary", trace); },
        [&] { fs::create_symlink("/tmp/files/new", trace); },
        [&] { fs::create_hard_link("/tmp/files/canary", trace); },
        [&] { fs::create_directory(trace); },
        [&] { mkfifo(trace, 0666); },
        [&] {
            mkfifo(trace, 0666);
            reader = open(trace, O_RDONLY | O_NONBLOCK);
        },
    };
    for (const auto &plant : plants) {
        plant();
        const int lowest = dup(0);
        close(lowest);
        EXPECT_EQ(tqv3_notification_send("message"), -1);
        EXPECT_EQ(dup(0), lowest) << "left open";
        close(lowest);
        EXPECT_EQ(content("/tmp/files/canary"), "data");
        EXPECT_FALSE(fs::exists("/tmp/files/new"));
        fs::remove(fs::path(trace));
    }
    char nothing;
    EXPECT_EQ(::read(reader, &nothing, 1), 0);
    close(reader);
}

} // namespace
} // namespace test
