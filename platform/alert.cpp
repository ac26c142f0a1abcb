// The server's name and its alert mail, which goes to the mail system's own sendmail program: started without a shell,
// the message on its standard input. The configuration file says where the mail goes:
//
//     [Alert]
//     Mail To = root
//     Mail Program = /usr/sbin/sendmail

#include "descriptor.h"
#include "platform.h"

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

// The child starts with the signal handling that programs expect, whatever its parent ignores or blocks, and with no
// access to the parent's standard output, which may be a web page.
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
            posix_spawnattr_setsigdefault(&attributes, &usual) != 0 ||
            posix_spawnattr_setsigmask(&attributes, &none) != 0 ||
            posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK) != 0 ||
            posix_spawn(&child, program, &files, &attributes, arguments, environ) != 0) {
            child = -1;
        }
        posix_spawnattr_destroy(&attributes);
    }
    posix_spawn_file_actions_destroy(&files);
    return child;
}

// In a process that has its children reaped elsewhere the outcome cannot be known: started counts as accepted there.
bool succeeded(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return errno == ECHILD;
        }
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
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
    Get_Profile_String("Alert", "Mail Program", KORVO_SENDMAIL, program, sizeof program);
    Get_Profile_String("Alert", "Mail To", "root", recipient, sizeof recipient);
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
