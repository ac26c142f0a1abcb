#include "token.h"

#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fetch {
namespace {

// Runs in a child of a process with several threads, so it may use nothing that allocates or locks. Its end of the
// pair is the only descriptor it keeps: no connection, no lock and no download stays open because of it.
[[noreturn]] void wait_for_end_of_parent(int end) {
    constexpr int kept = 3;
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    prctl(PR_SET_NAME, "tqfetchd-task");
    if (end != kept) {
        dup2(end, kept);
    }
    closefrom(kept + 1);
    char nothing = 0;
    while (read(kept, &nothing, 1) < 0 && errno == EINTR) {
    }
    _exit(0);
}

} // namespace

Token::Token() {
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) {
        return;
    }
    ours_ = Descriptor(pair[0]);
    const Descriptor theirs(pair[1]);
    pid_ = fork();
    if (pid_ == 0) {
        wait_for_end_of_parent(theirs.get());
    }
}

Token::~Token() {
    if (valid()) {
        kill(pid_, SIGKILL);
        while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
}

bool Token::is_alive() const {
    pollfd end{ours_.get(), POLLIN, 0};
    return valid() && poll(&end, 1, 0) == 0;
}

} // namespace fetch
