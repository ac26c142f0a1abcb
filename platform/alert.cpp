// The server's name and its alert mail, which goes to the mail system's own sendmail program: started without a shell,
// the message on its standard input. The configuration file says where the mail goes:
//
//     [Alert]
//     Mail To = root
//     Mail Program = /usr/sbin/sendmail
//
// It names a program only when it is a file that this process's user may take orders from (trusted.h): whoever else can
// write it would run programs with this process's rights.

#include "deadline.h"
#include "descriptor.h"
#include "platform.h"
#include "profile.h"
#include "trusted.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>

namespace korvo {
namespace {

constexpr int longest_delivery_s = 60;
constexpr int longest_end_s = 5; // a program that waits for a disk or a server ends later than it is told

// A line end in a name would end the header it stands in.
void make_printable(char *text) {
    for (; *text != '\0'; ++text) {
        if (static_cast<unsigned char>(*text) < ' ' || *text == '\x7f') {
            *text = '?';
        }
    }
}

// In memory rather than in a pipe: a program that does not read it to the end costs nobody a signal.
bool write_mail(int descriptor, const char *server_name, const char *recipient, const char *message) {
    char name[256];
    std::snprintf(name, sizeof name, "%s", server_name);
    make_printable(name);
    return dprintf(descriptor,
                   "To: %s\n"
                   "Subject: [%s] Alert\n"
                   "MIME-Version: 1.0\n"
                   "Content-Type: text/plain; charset=UTF-8\n"
                   "Content-Transfer-Encoding: 8bit\n"
                   "\n",
                   recipient, name) > 0 &&
           write_all(descriptor, message, std::strlen(message)) && write_all(descriptor, "\n", 1) &&
           lseek(descriptor, 0, SEEK_SET) == 0;
}

// The child starts with the signal handling that programs expect, whatever its parent ignores or blocks, in a process
// group of its own, with none of its parent's descriptors but standard error: standard output may be a web page.
pid_t start(const char *program, char *const *arguments, int standard_input) {
    pid_t child = -1;
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
    if (posix_spawn_file_actions_init(&files) != 0) {
        return -1;
    }
    if (posix_spawnattr_init(&attributes) == 0) {
        sigset_t usual;
        sigset_t none;
        sigemptyset(&none);
        sigemptyset(&usual);
        sigaddset(&usual, SIGPIPE);
        sigaddset(&usual, SIGCHLD);
        if (posix_spawn_file_actions_adddup2(&files, standard_input, STDIN_FILENO) != 0 ||
            posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0) != 0 ||
            posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1) != 0 ||
            posix_spawnattr_setsigdefault(&attributes, &usual) != 0 ||
            posix_spawnattr_setsigmask(&attributes, &none) != 0 || posix_spawnattr_setpgroup(&attributes, 0) != 0 ||
            posix_spawnattr_setflags(&attributes,
                                     POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP) != 0 ||
            posix_spawn(&child, program, &files, &attributes, arguments, environ) != 0) {
            child = -1;
        }
        posix_spawnattr_destroy(&attributes);
    }
    posix_spawn_file_actions_destroy(&files);
    return child;
}

// Waits for the child for so long. 0: it still runs.
pid_t wait_for(pid_t child, int &status, int seconds) {
    const Deadline deadline(seconds);
    pid_t ended = 0;
    do {
        ended = waitpid(child, &status, WNOHANG);
    } while (ended == 0 && deadline.wait());
    return ended;
}

// A program that takes too long is ended with all that it has started. In a process that has its children reaped
// elsewhere the outcome cannot be known: one that has ended counts as accepted there.
bool succeeded(pid_t child) {
    int status = 0;
    const pid_t ended = wait_for(child, status, longest_delivery_s);
    if (ended == 0) {
        kill(-child, SIGKILL);
        wait_for(child, status, longest_end_s);
        return false;
    }
    return ended < 0 ? errno == ECHILD : WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// An empty setting is none. False for one that fills its buffer: a part of it would name something else.
bool complete(char *setting, std::size_t size, const char *default_text) {
    if (setting[0] == '\0') {
        std::snprintf(setting, size, "%s", default_text);
    }
    return std::strlen(setting) + 1 < size;
}

} // namespace
} // namespace korvo

int Get_Server_Name(char *buffer, int size) {
    if (size <= 0) {
        return -1;
    }
    char name[HOST_NAME_MAX + 1] = "";
    const int result = gethostname(name, sizeof name - 1);
    std::snprintf(buffer, static_cast<std::size_t>(size), "%s", result == 0 ? name : "");
    return result;
}

int Send_Alert_Mail(const char *server_name, const char *message, const void * /*reserved*/) {
    char program[PATH_MAX];
    char recipient[256];
    const korvo::Descriptor trusted(korvo::open_trusted(KORVO_PROFILE_FILE));
    if (korvo::read_profile(trusted.get(), "Alert", "Mail Program", "", program, sizeof program) < 0 ||
        korvo::read_profile("Alert", "Mail To", "", recipient, sizeof recipient) < 0 ||
        !korvo::complete(program, sizeof program, KORVO_SENDMAIL) ||
        !korvo::complete(recipient, sizeof recipient, "root")) {
        return -1;
    }
    korvo::make_printable(recipient);
    const korvo::Descriptor mail(memfd_create("alert", MFD_CLOEXEC));
    if (!mail.valid() || !korvo::write_mail(mail.get(), server_name, recipient, message)) {
        return -1;
    }
    // -oi: a line with nothing but a dot does not end the message.
    char name[] = "sendmail";
    char dots[] = "-oi";
    char end_of_options[] = "--";
    char *const arguments[] = {name, dots, end_of_options, recipient, nullptr};
    const pid_t child = korvo::start(program, arguments, mail.get());
    return child > 0 && korvo::succeeded(child) ? 0 : -1;
}
