// The stand-in for a device's own libraries: the configuration file, the server's name, the alert mail.

#include "files.h"
#include "platform.h"
#include "support.h"

#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace test;

class Platform : public testing::Test {
protected:
    Platform() { clear(); }
    ~Platform() override { clear(); }

    static void clear() {
        for (const char *file : {"/mnt/HDA_ROOT/korvo.conf", "/mnt/HDA_ROOT/korvo.conf.lock",
                                 "/mnt/HDA_ROOT/korvo.conf.new", "/mnt/HDA_ROOT/behind.conf", "/tmp/mail"}) {
            std::filesystem::remove_all(file);
        }
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
    chmod(profile, 0640);
    EXPECT_EQ(Set_Profile_String("BTDownload", "Folder", "Elsewhere"), 0);
    EXPECT_EQ(Set_Profile_Boolean("BTDownload", "On", 7), 0);
    EXPECT_EQ(Set_Profile_String("New", "key", "value"), 0);
    EXPECT_EQ(content(profile), "# the device's settings\n\n[Network]\nname = nas   two\n; a second comment\nlist = a\n"
                                "list = b\n[BTDownload]\n# where to\nFolder = Elsewhere\nempty = \nlong = " +
                                    std::string(300, 'x') + " y\nOn = true\n[New]\nkey = value\n\n# the end\n");
    struct stat status {};
    stat(profile, &status);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_FALSE(std::filesystem::exists("/mnt/HDA_ROOT/korvo.conf.new"));
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

TEST_F(Platform, AFileThatCannotBeUnderstoodIsTheDefaultsAndStaysAsItIs) {
    EXPECT_EQ(value("key"), "the default") << "no file";
    for (const std::string text : {"[BTDownload\nkey = value\n", "\xff\xfe\x01", "[BTDownload]\nkey = \xc3(\n"}) {
        write_file(profile, text);
        EXPECT_EQ(value("key"), "the default");
        EXPECT_NE(Set_Profile_String("BTDownload", "key", "new"), 0);
        EXPECT_EQ(content(profile), text);
    }
    write_file(profile, "a stray line\n[BTDownload]\nkey = value\n");
    EXPECT_EQ(value("key"), "value") << "the rest of the file is good";
    EXPECT_NE(Set_Profile_String("BTDownload", "key", "new"), 0) << "it would lose the stray line";
    std::filesystem::remove(profile);
    std::filesystem::create_directory(profile);
    EXPECT_EQ(value("key"), "the default");
    EXPECT_NE(Set_Profile_String("BTDownload", "key", "new"), 0);
}

TEST_F(Platform, ALinkStaysALinkAndALeftoverIsNoObstacle) {
    write_file("/mnt/HDA_ROOT/behind.conf", "[BTDownload]\nkey = value\n");
    write_file("/mnt/HDA_ROOT/behind.conf.new", "from a writer that was killed");
    std::filesystem::create_symlink("behind.conf", profile);
    EXPECT_EQ(Set_Profile_String("BTDownload", "key", "new"), 0);
    EXPECT_TRUE(std::filesystem::is_symlink(profile));
    EXPECT_EQ(content("/mnt/HDA_ROOT/behind.conf"), "[BTDownload]\nkey = new\n");
}

TEST_F(Platform, AWriterWaitsForTheOneBefore) {
    ASSERT_EQ(Set_Profile_String("BTDownload", "key", "old"), 0);
    const int lock = open("/mnt/HDA_ROOT/korvo.conf.lock", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    const pid_t writer = fork();
    if (writer == 0) {
        close(lock);
        _exit(Set_Profile_String("BTDownload", "key", "new") != 0 ? 1 : 0);
    }
    usleep(200'000); // time enough for one that does not wait
    EXPECT_EQ(value("key"), "old");
    EXPECT_EQ(flock(lock, LOCK_UN), 0);
    close(lock);
    int status = -1;
    EXPECT_EQ(waitpid(writer, &status, 0), writer);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(value("key"), "new");
}

TEST_F(Platform, WritersAtOnceLoseNothingAndReadersSeeNoHalfFile) {
    constexpr int writers = 3, values = 30;
    const auto key = [](int writer, int i) { return std::to_string(writer) + " " + std::to_string(i); };
    ASSERT_EQ(Set_Profile_String("BTDownload", "constant", "there"), 0);
    int start[2];
    ASSERT_EQ(pipe(start), 0); // closed when all may begin
    for (int writer = 0; writer < writers; ++writer) {
        if (fork() == 0) {
            char nothing;
            close(start[1]);
            int failed = read(start[0], &nothing, 1) != 0 ? 1 : 0;
            for (int i = 0; i < values; ++i) {
                failed += Set_Profile_String("BTDownload", key(writer, i).c_str(), "kept") != 0 ? 1 : 0;
                failed += value("constant") != "there" ? 1 : 0;
            }
            _exit(failed);
        }
    }
    close(start[0]);
    close(start[1]);
    for (int status = -1; wait(&status) > 0;) {
        EXPECT_EQ(status, 0);
    }
    for (int i = 0; i < writers * values; ++i) {
        EXPECT_EQ(value(key(i / values, i % values).c_str()), "kept");
    }
}

TEST_F(Platform, TheServersNameIsTheHosts) {
    char host[256] = "", name[256], cut[3] = "";
    gethostname(host, sizeof host);
    EXPECT_EQ(Get_Server_Name(name, sizeof name), 0);
    EXPECT_STREQ(name, host);
    EXPECT_EQ(Get_Server_Name(cut, sizeof cut), 0);
    EXPECT_EQ(cut, std::string(host).substr(0, 2));
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
    EXPECT_FALSE(std::filesystem::exists("/tmp/x"));
}

TEST_F(Platform, MailThatIsNotTakenIsAFailureAndNoSignal) {
    write_file(profile, "[Alert]\nMail Program = /tmp/none\n");
    EXPECT_EQ(Send_Alert_Mail("nas", "m", nullptr), -1);
    write_file(profile, "[Alert]\nMail Program = /tmp/sendmail\n");
    install_sendmail(75);
    EXPECT_EQ(Send_Alert_Mail("nas", "m", nullptr), -1);
    write_file("/tmp/sendmail", "#!/bin/sh\nexit 0\n");
    EXPECT_EQ(Send_Alert_Mail("nas", std::string(1000000, 'm').c_str(), nullptr), 0) << "it need not read the mail";
}
