// The stand-in for a device's own libraries: the configuration file, the server's name, the alert mail.

#include "files.h"
#include "next.h"
#include "platform.h"
#include "support.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <utility>

// ---- What stands in front of the system

namespace {

int speed = 1; // of the clock
std::string started;
uid_t somebody_else = 0; // owns all files, as it seems
uid_t this_user = 0;     // as it seems, unless 0

// The call of this number fails with the error; where failing goes on, all calls of the same function that follow do.
int calls_until_failure = 0; // 0: none
bool failing_goes_on = false;
int error = 0;
const char *failed = nullptr;

bool fails(const char *function) {
    const bool now = calls_until_failure > 0 && --calls_until_failure == 0;
    failed = now ? function : failed;
    errno = now || (failing_goes_on && failed == function) ? error : errno;
    return now || (failing_goes_on && failed == function);
}
mode_t access_at_first, access_at_last;
const char *removed_before_lock = nullptr;

// What the caller has given with the flags is one of these.
mode_t permissions_in(int flags) {
    return (flags & O_CREAT) == 0 ? 0 : (flags & O_EXCL) == 0 ? 0200 : 0600;
}

mode_t mode(const char *file) {
    struct stat status {};
    return lstat(file, &status) == 0 ? status.st_mode & 07777U : 0;
}

} // namespace

// A function of the system that fails on request. The name behind it is the one for large files, where there are two.
#define MAY_FAIL(type, function, name, parameters, arguments, ...)                                                     \
    type function parameters __VA_ARGS__ {                                                                             \
        return fails(#function) ? static_cast<type>(-1) : test::next(function, name) arguments;                        \
    }

extern "C" {
MAY_FAIL(int, open, "open64", (const char *path, int flags, ...), (path, flags, 0600))
MAY_FAIL(int, openat, "openat64", (int in, const char *path, int flags, ...), (in, path, flags, permissions_in(flags)))
MAY_FAIL(ssize_t, pread, "pread64", (int file, void *to, std::size_t size, off_t at), (file, to, size, at))
MAY_FAIL(ssize_t, write, "write", (int file, const void *from, std::size_t size), (file, from, size))
MAY_FAIL(off_t, lseek, "lseek64", (int file, off_t at, int from), (file, at, from), noexcept)
MAY_FAIL(int, fstatat, "fstatat64", (int in, const char *path, struct stat *to, int flags), (in, path, to, flags),
         noexcept)
MAY_FAIL(int, fchmod, "fchmod", (int file, mode_t mode), (file, mode), noexcept)
MAY_FAIL(int, faccessat, "faccessat", (int in, const char *path, int mode, int flags), (in, path, mode, flags),
         noexcept)
MAY_FAIL(ssize_t, fgetxattr, "fgetxattr", (int file, const char *name, void *to, std::size_t size),
         (file, name, to, size), noexcept)
MAY_FAIL(int, fsetxattr, "fsetxattr", (int file, const char *name, const void *value, std::size_t size, int flags),
         (file, name, value, size, flags), noexcept)
MAY_FAIL(int, fremovexattr, "fremovexattr", (int file, const char *name), (file, name), noexcept)
MAY_FAIL(int, renameat, "renameat", (int in, const char *from, int into, const char *to), (in, from, into, to),
         noexcept)
MAY_FAIL(int, gethostname, "gethostname", (char *to, std::size_t size), (to, size), noexcept)
MAY_FAIL(int, memfd_create, "memfd_create", (const char *name, unsigned flags), (name, flags), noexcept)
MAY_FAIL(pid_t, waitpid, "waitpid", (pid_t child, int *status, int options), (child, status, options))
MAY_FAIL(int, posix_spawn_file_actions_init, "posix_spawn_file_actions_init", (posix_spawn_file_actions_t * files),
         (files), noexcept)
MAY_FAIL(int, posix_spawn_file_actions_adddup2, "posix_spawn_file_actions_adddup2",
         (posix_spawn_file_actions_t * files, int from, int to), (files, from, to), noexcept)
MAY_FAIL(int, posix_spawn_file_actions_addopen, "posix_spawn_file_actions_addopen",
         (posix_spawn_file_actions_t * files, int file, const char *path, int flags, mode_t mode),
         (files, file, path, flags, mode), noexcept)
MAY_FAIL(int, posix_spawn_file_actions_addclosefrom_np, "posix_spawn_file_actions_addclosefrom_np",
         (posix_spawn_file_actions_t * files, int from), (files, from), noexcept)
MAY_FAIL(int, posix_spawnattr_init, "posix_spawnattr_init", (posix_spawnattr_t * attributes), (attributes), noexcept)
MAY_FAIL(int, posix_spawnattr_setsigdefault, "posix_spawnattr_setsigdefault",
         (posix_spawnattr_t * attributes, const sigset_t *signals), (attributes, signals), noexcept)
MAY_FAIL(int, posix_spawnattr_setsigmask, "posix_spawnattr_setsigmask",
         (posix_spawnattr_t * attributes, const sigset_t *signals), (attributes, signals), noexcept)
MAY_FAIL(int, posix_spawnattr_setpgroup, "posix_spawnattr_setpgroup", (posix_spawnattr_t * attributes, pid_t group),
         (attributes, group), noexcept)
MAY_FAIL(int, posix_spawnattr_setflags, "posix_spawnattr_setflags", (posix_spawnattr_t * attributes, short flags),
         (attributes, flags), noexcept)

int dprintf(int file, const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int result = fails("dprintf") ? -1 : vdprintf(file, format, arguments);
    va_end(arguments);
    return result;
}
int fstat(int file, struct stat *status) noexcept {
    const int result = fails("fstat") ? -1 : test::next(fstat, "fstat64")(file, status);
    status->st_uid = somebody_else != 0 ? somebody_else : status->st_uid;
    return result;
}
uid_t geteuid() noexcept {
    return this_user != 0 ? this_user : test::next(geteuid, "geteuid")();
}
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
    test::next(fstat, "fstat64")(file, &status);
    access_at_first |= status.st_mode & 07777U;
    return fails("fchown") ? -1 : test::next(fchown, "fchown")(file, owner, group);
}
int flock(int file, int operation) noexcept {
    if (removed_before_lock != nullptr) {
        unlink(std::exchange(removed_before_lock, nullptr));
    }
    return fails("flock") ? -1 : test::next(flock, "flock")(file, operation);
}
int fsync(int file) {
    access_at_last |= mode("/mnt/HDA_ROOT/korvo.conf.lock");
    return fails("fsync") ? -1 : test::next(fsync, "fsync")(file);
}
int posix_spawn(pid_t *child, const char *program, const posix_spawn_file_actions_t *files,
                const posix_spawnattr_t *attributes, char *const *arguments, char *const *environment) {
    started = program;
    return fails("posix_spawn") || started == "/usr/sbin/sendmail" // the machine's own mails nobody
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
    EXPECT_EQ(content(profile), "# the device's settings\n\n[Network]\nname = nas   two\n; a second comment\nlist=a\n"
                                "list=b\n[BTDownload]\n# where to\nFolder = Elsewhere\nempty=\nlong=" +
                                    std::string(300, 'x') + " y\nOn = true\n\n# the end\n[New]\nkey = value\n");
    EXPECT_EQ(mode(profile), 0604U);
    EXPECT_FALSE(fs::exists("/mnt/HDA_ROOT/korvo.conf.new"));
    EXPECT_FALSE(fs::exists("/mnt/HDA_ROOT/korvo.conf.lock"));
}

TEST_F(Platform, AWriteNeverWidensTheAccess) {
    constexpr const char *attribute = "system.posix_acl_access";
    char list[100], stored[100];
    write_file(profile, "[BTDownload]\n");
    ASSERT_TRUE(add_access_list(profile)) << strerror(errno);
    const ssize_t size = getxattr(profile, attribute, list, sizeof list);
    access_at_first = access_at_last = 0;
    removed_before_lock = "/mnt/HDA_ROOT/korvo.conf.lock"; // by the writer before
    EXPECT_EQ(Set_Profile_String("BTDownload", "key", "value"), 0);
    ASSERT_EQ(getxattr(profile, attribute, stored, sizeof stored), size);
    EXPECT_EQ(std::memcmp(stored, list, static_cast<std::size_t>(size)), 0);
    EXPECT_EQ(access_at_first & 077U, 0U);
    EXPECT_EQ(access_at_last, 0200U) << "the lock is for those who may write";

    // A directory's default list is for files that are new.
    removexattr(profile, attribute);
    ASSERT_TRUE(add_access_list(directory, "system.posix_acl_default")) << strerror(errno);
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

// A key's line among all the others that people and programs write.
TEST_F(Platform, LinesAreReadAsTheyAreMeant) {
    const std::pair<std::string, std::string> files[] = {
        {"[BTDownload]\nkey=a", "a"},
        {"\xef\xbb\xbf[ btdownload ]\r\n KEY\t=  a b \r\n", "a b"},
        {"key = 1\n[Other]\nkey = 2\n[BTDownload]\n#key = 3\n  ;key = 4\n=5\nkey\nkey = a = b ; c\nkey = 6\n",
         "a = b ; c"},
        {"[BTDownload]\nother = 1\n[Other]\nkey = 2\n[BTDownload]\nkey = a\n", "a"},
        {"[BTDownloads]\nkey = 1\n[BTDownload]\nkeys = 2\n[a]b]\n", "the default"},
        {"[BTDownload]\nkey = \"\\x41\\x7a\\\\\\\"\\xg1\\x1G\\x:0\\x/0\\x00\\x4\"\n", "Az\\\"xg1x1Gx:0x/0x00x4"},
        {"[BTDownload]\nkey = \"\\\"\n", "\\"},
        {"[BTDownload]\nkey = \"\n", "\""},
        {"[BTDownload]\nkey = \"a\n", "\"a"},
        {"[BTDownload]\nkey = \xc3(\n", "\xc3("}};
    for (const auto &[text, expected] : files) {
        write_file(profile, text);
        EXPECT_EQ(value("key"), expected) << text;
    }
    char nothing = 'x';
    EXPECT_EQ(Get_Profile_String("BTDownload", "key", "the default", &nothing, 0), 0);
    EXPECT_EQ(nothing, 'x');

    // A new key comes behind what its section has, a new section last, and an unfinished line is finished.
    const std::pair<std::string, std::string> changed[] = {
        {"", "[BTDownload]\nnew = v\n"},
        {"[Other]\nkey = 1", "[Other]\nkey = 1\n[BTDownload]\nnew = v\n"},
        {"[BTDownload]", "[BTDownload]\nnew = v\n"},
        {"[btdownload]\nkey = 1\n\n# next\n[Other]\nnew = 2\n",
         "[btdownload]\nkey = 1\nnew = v\n\n# next\n[Other]\nnew = 2\n"},
        {"[BTDownload]\r\nNEW=1\r\nkey=2\r\n", "[BTDownload]\r\nnew = v\nkey=2\r\n"},
        {"[BTDownload]\nkey = 1\nnew=", "[BTDownload]\nkey = 1\nnew = v\n"}};
    for (const auto &[before, after] : changed) {
        write_file(profile, before);
        EXPECT_EQ(Set_Profile_String("BTDownload", "new", "v"), 0);
        EXPECT_EQ(content(profile), after);
    }
    fs::resize_file(profile, (64U << 20U) + 1);
    EXPECT_EQ(value("key"), "");
}

// Whatever fails underneath: a setting is the one that was stored or none, a write leaves the old file or the new one
// and nothing else, and mail is whole or not sent.
TEST_F(Platform, CallsThatFailUnderneathAreFailures) {
    const std::string before = "[BTDownload]\nkey = old\n[Alert]\nMail To = anna\nMail Program = /tmp/sendmail\n";
    std::string after = before;
    after.replace(after.find("old"), 3, "new");
    speed = 20000; // some failures are waited for
    int failures = 0;
    const struct {
        bool lists; // the file has an access list
        int code;
        bool goes_on;
    } ways[] = {{true, EIO, false},    {true, EIO, true},     {false, EIO, true},
                {false, EACCES, true}, {true, ENODATA, true}, {false, EOPNOTSUPP, false}};
    for (const auto &[lists, code, goes_on] : ways) {
        for (int at = 1; at == 1 || failed != nullptr; ++at) {
            write_file(profile, before);
            ASSERT_TRUE(!lists || add_access_list(profile));
            install_sendmail();
            fs::remove("/tmp/mail");
            char text[10], name[100] = "";
            failed = nullptr;
            error = code;
            failing_goes_on = goes_on;
            calls_until_failure = at;
            const int sent = Send_Alert_Mail("nas", "m", nullptr);
            Get_Profile_String("BTDownload", "key", "default", text, sizeof text);
            const int named = Get_Server_Name(name, sizeof name);
            const int stored = Set_Profile_String("BTDownload", "key", "new");
            calls_until_failure = 0;
            failing_goes_on = false;
            failures += failed != nullptr ? 1 : 0;
            SCOPED_TRACE((failed != nullptr ? failed : "none") + std::string(" ") + strerror(code) +
                         std::to_string(at));
            EXPECT_TRUE(sent != 0 || content("/tmp/mail").ends_with("\n\nm\n"));
            EXPECT_TRUE(sent != 0 || content("/tmp/arguments") == "-oi -- anna ");
            EXPECT_TRUE(text == std::string("old") || text[0] == '\0') << text;
            EXPECT_EQ(name[0] != '\0', named == 0);
            const bool last_step = failed != nullptr && failed == std::string_view("fsync") && stored != 0;
            EXPECT_TRUE(content(profile) == (stored == 0 ? after : before) || (last_step && content(profile) == after));
            EXPECT_FALSE(fs::exists("/mnt/HDA_ROOT/korvo.conf.new"));
            EXPECT_TRUE(stored != 0 || !fs::exists("/mnt/HDA_ROOT/korvo.conf.lock"));
            while (waitpid(-1, nullptr, 0) > 0) {
            }
        }
    }
    EXPECT_GT(failures, 300);
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
                                    std::string("[BTDownload]\nkey = value\n[ ]\n"), std::string(4096, '\0')}) {
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
    EXPECT_EQ(Get_Server_Name(truncated, 0), -1);
}

TEST_F(Platform, MailReachesTheMailSystemAsItIs) {
    install_sendmail();
    write_file(profile, "[Alert]\nMail To = -admin@example.org\nMail Program = /tmp/sendmail\n");
    const std::vector<std::string> messages = {"done", "$(touch /tmp/x) `x` 'y' \"z\" \\\n.\n\xff",
                                               std::string(200000, 'm')};
    for (const std::string &message : messages) {
        EXPECT_EQ(Send_Alert_Mail("nas\nBcc: x\x7f", message.c_str(), nullptr), 0);
        const std::string mail = content("/tmp/mail");
        EXPECT_EQ(mail.rfind("To: -admin@example.org\nSubject: [nas?Bcc: x?] Alert\n", 0), 0U) << mail;
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
    write_file("/tmp/sendmail", "#!/bin/sh\nkill -9 $$\n");
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
    constexpr const char *named = "/tmp/sendmail", *usual = "/usr/sbin/sendmail";
    const std::pair<const char *, const char *> arrangements[] = {
        {named, ":"},
        {usual, "chmod 664 korvo.conf"},
        {usual, "chmod 646 korvo.conf"},
        {usual, "chmod 775 ."},
        {usual, "chmod 1757 .."},
        {named, "mv korvo.conf behind.conf; ln -s ../HDA_ROOT/.//behind.conf korvo.conf"},
        {named, "mv korvo.conf behind.conf; ln -s $PWD/behind.conf korvo.conf"},
        {usual, "mv korvo.conf /tmp/behind.conf; ln -s /tmp/behind.conf korvo.conf"},
        {usual, "mv korvo.conf behind.conf; ln -s $PWD/behind.conf /tmp; ln -s /tmp/behind.conf korvo.conf"},
        {named, "cd .. && mv HDA_ROOT /mnt/disk && ln -s disk HDA_ROOT"},
        {"", "rm korvo.conf; ln -s korvo.conf korvo.conf"},
        {"", "rm korvo.conf; ln -s $(printf %04095d 0) korvo.conf"},
        {"", "printf '[Alert]\\nMail To = %0300d\\n' 0 >korvo.conf"},
        {"", "printf '[Alert]\\nMail Program = /%05000d\\n' 0 >korvo.conf"},
    };
    for (const auto &[program, arrange] : arrangements) {
        clear();
        started.clear();
        write_file(profile, "[Alert]\nMail Program = /tmp/sendmail\n");
        EXPECT_EQ(shell(arrange), 0);
        EXPECT_EQ(Send_Alert_Mail("nas", "m", nullptr), program == named ? 0 : -1) << arrange;
        EXPECT_EQ(started, program) << arrange;
        EXPECT_EQ(shell("chmod 755 . ..; cd ..; [ ! -L HDA_ROOT ] || { rm HDA_ROOT && mv disk HDA_ROOT; }"), 0);
    }
    clear();
    write_file(profile, "[Alert]\nMail Program = /tmp/sendmail\n");
    for (const auto &[user, program] : {std::pair(0U, usual), std::pair(4321U, usual), std::pair(1234U, named)}) {
        somebody_else = 1234;
        this_user = user;
        Send_Alert_Mail("nas", "m", nullptr);
        somebody_else = this_user = 0;
        EXPECT_EQ(started, program) << user;
    }
}

} // namespace
} // namespace test
