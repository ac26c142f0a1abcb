// The stand-in for a device's own libraries: the configuration file, the server's name, the alert mail.

#include "files.h"
#include "next.h"
#include "platform.h"
#include "support.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <utility>

// ---- What stands in front of the system

namespace {

int speed = 1; // of the clock
std::string started;
mode_t access_at_first, access_at_last;
const char *removed_before_lock = nullptr;

mode_t mode(const char *file) {
    struct stat status {};
    return lstat(file, &status) == 0 ? status.st_mode & 07777U : 0;
}

} // namespace

extern "C" {
int clock_gettime(clockid_t clock, timespec *time) noexcept {
    const int result = test::next(clock_gettime, "clock_gettime")(clock, time);
    const int64_t passed = (time->tv_sec * int64_t{1'000'000'000} + time->tv_nsec) * speed;
    *time = {static_cast<std::time_t>(passed / 1'000'000'000), static_cast<long>(passed % 1'000'000'000)};
    return result;
}
int nanosleep(const timespec *time, timespec *left) {
    const timespec shorter = {time->tv_sec / speed, time->tv_nsec / speed};
    return test::next(nanosleep, "nanosleep")(&shorter, left);
}
int fchown(int file, uid_t owner, gid_t group) noexcept {
    struct stat status {};
    fstat(file, &status);
    access_at_first |= status.st_mode & 07777U;
    return test::next(fchown, "fchown")(file, owner, group);
}
int flock(int file, int operation) noexcept {
    if (removed_before_lock != nullptr) {
        unlink(std::exchange(removed_before_lock, nullptr));
    }
    return test::next(flock, "flock")(file, operation);
}
int fsync(int file) {
    access_at_last |= mode("/mnt/HDA_ROOT/korvo.conf.lock");
    return test::next(fsync, "fsync")(file);
}
int posix_spawn(pid_t *child, const char *program, const posix_spawn_file_actions_t *files,
                const posix_spawnattr_t *attributes, char *const *arguments, char *const *environment) {
    started = program;
    return started == "/usr/sbin/sendmail" // the machine's own mails nobody
               ? ENOENT
               : test::next(posix_spawn, "posix_spawn")(child, program, files, attributes, arguments, environment);
}
}

namespace test {
namespace {

namespace fs = std::filesystem;

class Platform : public testing::Test {
protected:
    Platform() {
        umask(022);
        clear();
    }
    ~Platform() override {
        speed = 1;
        clear();
    }

    static void clear() {
        for (const char *file :
             {"/mnt/HDA_ROOT/korvo.conf", "/mnt/HDA_ROOT/korvo.conf.lock", "/mnt/HDA_ROOT/korvo.conf.new",
              "/mnt/HDA_ROOT/behind.conf", "/mnt/HDA_ROOT/behind.conf.lock", "/tmp/behind.conf", "/tmp/mail"}) {
            fs::remove_all(file);
        }
    }
    static int shell(const std::string &command) { return std::system(("cd /mnt/HDA_ROOT && " + command).c_str()); }
    static std::time_t seconds() {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return now.tv_sec;
    }
    static std::string value(const char *key, int size = 9000) {
        std::string buffer(static_cast<std::size_t>(size) + 1, '\xa5');
        Get_Profile_String("BTDownload", key, "the default", buffer.data(), size);
        EXPECT_EQ(buffer[static_cast<std::size_t>(size)], '\xa5');
        return buffer.c_str();
    }
};

TEST_F(Platform, AWriteChangesOneValueAndKeepsEverythingElse) {
    write_file(profile, "# the device's settings\n\n[Network]\nname = nas   two\n; a second comment\nlist=a\nlist=b\n"
                        "[BTDownload]\n# where to\nFolder=Download\nempty=\nlong=" +
                            std::string(300, 'x') + " y\n\n# the end\n");
    chmod(profile, 0604);
    EXPECT_EQ(Set_Profile_String("BTDownload", "Folder", "Elsewhere"), 0);
    EXPECT_EQ(Set_Profile_Boolean("BTDownload", "On", 7), 0);
    EXPECT_EQ(Set_Profile_String("New", "key", "value"), 0);
    EXPECT_EQ(content(profile), "# the device's settings\n\n[Network]\nname = nas   two\n; a second comment\nlist = a\n"
                                "list = b\n[BTDownload]\n# where to\nFolder = Elsewhere\nempty = \nlong = " +
                                    std::string(300, 'x') + " y\nOn = true\n[New]\nkey = value\n\n# the end\n");
    EXPECT_EQ(mode(profile), 0604U);
    EXPECT_FALSE(fs::exists("/mnt/HDA_ROOT/korvo.conf.new"));
    EXPECT_FALSE(fs::exists("/mnt/HDA_ROOT/korvo.conf.lock"));
}

TEST_F(Platform, AWriteNeverWidensTheAccess) {
    constexpr const char *attribute = "system.posix_acl_access";
    const struct { // the file's own user may read by name; the group, which the mode shows as reading, may not
        uint32_t version;
        struct {
            uint16_t tag, access;
            uint32_t id;
        } entries[5];
    } list = {2, {{1, 6, ~0U}, {2, 4, getuid()}, {4, 0, ~0U}, {16, 4, ~0U}, {32, 0, ~0U}}};
    char stored[sizeof list] = "";
    write_file(profile, "[BTDownload]\n");
    ASSERT_EQ(setxattr(profile, attribute, &list, sizeof list, 0), 0) << strerror(errno);
    access_at_first = access_at_last = 0;
    removed_before_lock = "/mnt/HDA_ROOT/korvo.conf.lock"; // by the writer before
    EXPECT_EQ(Set_Profile_String("BTDownload", "key", "value"), 0);
    EXPECT_EQ(getxattr(profile, attribute, stored, sizeof stored), static_cast<ssize_t>(sizeof list));
    EXPECT_EQ(std::memcmp(stored, &list, sizeof list), 0);
    EXPECT_EQ(access_at_first & 077U, 0U);
    EXPECT_EQ(access_at_last, 0200U) << "the lock is for those who may write";

    // A directory's default list is for files that are new.
    removexattr(profile, attribute);
    ASSERT_EQ(setxattr(directory, "system.posix_acl_default", &list, sizeof list, 0), 0) << strerror(errno);
    EXPECT_EQ(Set_Profile_String("BTDownload", "key", "value"), 0);
    removexattr(directory, "system.posix_acl_default");
    EXPECT_EQ(getxattr(profile, attribute, stored, sizeof stored), -1);
}

TEST_F(Platform, AnyValueComesBackAsItWas) {
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
    }
    const std::vector<std::string> texts = {
        "",    " ",    "a b",        " a",           "a ",  "\"",  "\"a\"",
        "\"a", "\n\"", "a\"\\x41\\", "[a]\nb = c\n", "# a", bytes, std::string(4000, 'z')};
    for (const std::string &text : texts) {
        EXPECT_EQ(Set_Profile_String("BTDownload", "key", text.c_str()), 0);
        EXPECT_EQ(value("key"), text);
        EXPECT_EQ(value("other"), "the default");
    }
    EXPECT_EQ(value("key", 10), std::string(9, 'z'));
    EXPECT_EQ(value("key", 1), "");
    EXPECT_EQ(value("other", 4), "the");
}

TEST_F(Platform, BooleansAreReadAsPeopleWriteThem) {
    const std::pair<std::string, int> words[] = {{"TRUE", 1}, {"yes", 1}, {"On", 1}, {"1", 1}, {"False", 0},
                                                 {"NO", 0},   {"off", 0}, {"0", 0},  {"", 5},  {"trueish", 5}};
    for (const auto &[word, value] : words) {
        write_file(profile, "[BTDownload]\nkey=" + word + "\n");
        EXPECT_EQ(Get_Profile_Boolean("BTDownload", "key", 5), value) << word;
    }
    EXPECT_EQ(Get_Profile_Boolean("BTDownload", "missing", 5), 5);
}

TEST_F(Platform, ANameThatCannotBeReadBackIsRefused) {
    write_file(profile, "[Network]\nname = nas\n");
    for (const char *name : {"a=b", "#c", ";c", "[s", "a\nb", " a", "a ", ""}) {
        EXPECT_NE(Set_Profile_String("Network", name, "value"), 0) << name;
    }
    EXPECT_NE(Set_Profile_String("s]\n[Network", "name", "value"), 0);
    EXPECT_EQ(content(profile), "[Network]\nname = nas\n");
}

TEST_F(Platform, AFileThatCannotBeUnderstoodIsNotTheDefaultsAndStaysAsItIs) {
    EXPECT_EQ(value("key"), "the default") << "no file";
    for (const std::string &text : {std::string("[BTDownload\nkey = value\n"), std::string("\xff\xfe\x01"),
                                    std::string("[BTDownload]\nkey = \xc3(\n"), std::string(4096, '\0')}) {
        write_file(profile, text);
        EXPECT_EQ(value("key"), "");
        EXPECT_NE(Set_Profile_String("BTDownload", "key", "new"), 0);
        EXPECT_EQ(content(profile), text);
    }
    write_file(profile, "a stray line\n/* note\n[BTDownload]\nkey = value\n");
    EXPECT_EQ(value("key"), "value") << "the rest of the file is good";
    EXPECT_NE(Set_Profile_String("BTDownload", "key", "new"), 0) << "it would lose the stray line";
    for (const char *plant : {"mkdir korvo.conf", "mkfifo korvo.conf", "ln -s nowhere korvo.conf",
                              "echo [ >korvo.conf; chmod 0 korvo.conf"}) {
        fs::remove_all(profile);
        EXPECT_EQ(shell(plant), 0);
        EXPECT_EQ(value("key"), "");
        EXPECT_NE(Set_Profile_String("BTDownload", "key", "new"), 0);
    }
}

TEST_F(Platform, AWriterWaitsForTheOneBeforeButNotForEver) {
    const int lock = open("/mnt/HDA_ROOT/korvo.conf.lock", O_RDONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    speed = 50;
    const std::time_t start = seconds();
    EXPECT_NE(Set_Profile_String("BTDownload", "key", "new"), 0);
    EXPECT_GE(seconds() - start, 20);
    EXPECT_FALSE(fs::exists(profile));

    // What a writer that was killed leaves is no obstacle, and a symlink stays one.
    close(lock);
    write_file("/mnt/HDA_ROOT/behind.conf.new");
    write_file("/mnt/HDA_ROOT/behind.conf", "[BTDownload]\nkey = old\n");
    fs::create_symlink("behind.conf", profile);
    EXPECT_EQ(Set_Profile_String("BTDownload", "key", "new"), 0);
    EXPECT_TRUE(fs::is_symlink(profile));
    EXPECT_EQ(content("/mnt/HDA_ROOT/behind.conf"), "[BTDownload]\nkey = new\n");
}

TEST_F(Platform, WritersAtOnceLoseNothingAndReadersSeeNoHalfFile) {
    constexpr int writers = 3, values = 30;
    const auto key = [](int writer, int i) { return std::to_string(writer) + " " + std::to_string(i); };
    ASSERT_EQ(Set_Profile_String("BTDownload", "constant", "there"), 0);
    for (int writer = 0; writer < writers; ++writer) {
        if (fork() == 0) {
            int failed = 0;
            for (int i = 0; i < values; ++i) {
                failed += Set_Profile_String("BTDownload", key(writer, i).c_str(), "kept") != 0 ? 1 : 0;
                failed += value("constant") != "there" ? 1 : 0;
            }
            _exit(failed);
        }
    }
    for (int status = -1; wait(&status) > 0;) {
        EXPECT_EQ(status, 0);
    }
    for (int i = 0; i < writers * values; ++i) {
        EXPECT_EQ(value(key(i / values, i % values).c_str()), "kept");
    }
}

TEST_F(Platform, TheServersNameIsTheHosts) {
    char host[256] = "", name[256], truncated[3] = "";
    gethostname(host, sizeof host);
    EXPECT_EQ(Get_Server_Name(name, sizeof name), 0);
    EXPECT_STREQ(name, host);
    EXPECT_EQ(Get_Server_Name(truncated, sizeof truncated), 0);
    EXPECT_EQ(truncated, std::string(host).substr(0, 2));
}

TEST_F(Platform, MailReachesTheMailSystemAsItIs) {
    install_sendmail();
    write_file(profile, "[Alert]\nMail To = -admin@example.org\nMail Program = /tmp/sendmail\n");
    const std::vector<std::string> messages = {"done", "$(touch /tmp/x) `x` 'y' \"z\" \\\n.\n\xff",
                                               std::string(200000, 'm')};
    for (const std::string &message : messages) {
        EXPECT_EQ(Send_Alert_Mail("nas\nBcc: x", message.c_str(), nullptr), 0);
        const std::string mail = content("/tmp/mail");
        EXPECT_EQ(mail.rfind("To: -admin@example.org\nSubject: [nas?Bcc: x] Alert\n", 0), 0U) << mail;
        EXPECT_EQ(mail.substr(mail.find("\n\n") + 2), message + "\n");
        EXPECT_EQ(content("/tmp/arguments"), "-oi -- -admin@example.org ");
    }
    EXPECT_FALSE(fs::exists("/tmp/x"));
}

TEST_F(Platform, MailThatIsNotTakenIsAFailureAndNoSignal) {
    write_file(profile, "[Alert]\nMail Program = /tmp/none\n");
    EXPECT_EQ(Send_Alert_Mail("nas", "m", nullptr), -1);
    write_file(profile, "[Alert]\nMail Program = /tmp/sendmail\n");
    install_sendmail(75);
    EXPECT_EQ(Send_Alert_Mail("nas", "m", nullptr), -1);
    ASSERT_EQ(dup2(STDERR_FILENO, 77), 77);
    write_file("/tmp/sendmail", "#!/bin/sh\n[ ! -e /proc/$$/fd/77 ]\n");
    EXPECT_EQ(Send_Alert_Mail("nas", std::string(1000000, 'm').c_str(), nullptr), 0) << "it need not read the mail";
    close(77);
    std::signal(SIGCHLD, SIG_IGN); // as some hosts do
    EXPECT_EQ(Send_Alert_Mail("nas", "m", nullptr), 0);

    write_file("/tmp/sendmail", "#!/bin/sh\necho $$ >/tmp/mail\nsleep 1000 &\nwait\n");
    speed = 50;
    for (const auto &children : {SIG_IGN, SIG_DFL}) {
        std::signal(SIGCHLD, children);
        const std::time_t start = seconds();
        EXPECT_EQ(Send_Alert_Mail("nas", "m", nullptr), -1);
        EXPECT_GE(seconds() - start, 60);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "left behind";
        const pid_t group = std::stoi(content("/tmp/mail"));
        while (kill(-group, 0) == 0) {
            usleep(1000);
        }
    }
}

TEST_F(Platform, OnlyWhoMayDoSoAnywayNamesTheMailProgram) {
    install_sendmail();
    const std::pair<bool, const char *> arrangements[] = {
        {true, ":"},
        {false, "chmod 664 korvo.conf"},
        {false, "chmod 646 korvo.conf"},
        {false, "chmod 775 ."},
        {false, "chmod 1757 .."},
        {true, "mv korvo.conf behind.conf; ln -s ../HDA_ROOT/.//behind.conf korvo.conf"},
        {true, "mv korvo.conf behind.conf; ln -s $PWD/behind.conf korvo.conf"},
        {false, "mv korvo.conf /tmp/behind.conf; ln -s /tmp/behind.conf korvo.conf"},
        {false, "mv korvo.conf behind.conf; ln -s $PWD/behind.conf /tmp; ln -s /tmp/behind.conf korvo.conf"},
        {false, "rm korvo.conf; ln -s korvo.conf korvo.conf"},
    };
    for (const auto &[obeyed, arrange] : arrangements) {
        clear();
        write_file(profile, "[Alert]\nMail Program = /tmp/sendmail\n");
        EXPECT_EQ(shell(arrange), 0);
        EXPECT_EQ(Send_Alert_Mail("nas", "m", nullptr), obeyed ? 0 : -1);
        EXPECT_EQ(started, obeyed ? "/tmp/sendmail" : "/usr/sbin/sendmail") << arrange;
        EXPECT_EQ(shell("chmod 755 . .."), 0);
    }
}

} // namespace
} // namespace test
