#include "messages.h"

#include <csignal>
#include <cstdint>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace torrentd {

// A new program rather than a fork: the library must not be called in a child that was forked while another thread was
// inside it.
void Receiver::keep_running() {
    const auto now = std::chrono::steady_clock::now();
    int ends[2];
    if (socket_ >= 0 || now - started_ < std::chrono::seconds(3) ||
        socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        return;
    }
    started_ = now;
    char program[] = "/proc/self/exe";
    char name[] = "torrentd";
    char role[] = "--hand-over-messages";
    char *arguments[] = {name, role, nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    if (posix_spawn(&process_, program, &actions, nullptr, arguments, environ) == 0) {
        socket_ = ends[0];
        send(socket_, "", 1, MSG_NOSIGNAL);
    } else {
        close(ends[0]);
    }
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
}

std::optional<BtMessage> Receiver::next() {
    BtMessage message;
    const ssize_t size = recv(socket_, &message, sizeof message, MSG_DONTWAIT | MSG_WAITALL);
    if (size == static_cast<ssize_t>(sizeof message) && send(socket_, "", 1, MSG_NOSIGNAL) == 1) {
        return message;
    }
    if (size != -1) { // it has ended, and its last words said why
        stop();
    }
    return {};
}

void Receiver::stop() {
    if (socket_ >= 0) {
        close(socket_);
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        socket_ = -1;
    }
}

void hand_over_messages(int socket) {
    BtMessage message;
    err_debuglevel = 8; // every look into an empty queue is logged at level 9
    for (char asked = 0; read(socket, &asked, 1) == 1;) {
        int32_t wait_ms = 0;
        do { // looks for the daemon first: a message that is taken for nobody is lost
            pollfd daemon{socket, POLLIN, 0};
            if (poll(&daemon, 1, wait_ms) != 0) { // nothing is asked twice: it is gone
                return;
            }
            wait_ms = 200;
        } while (bt_msg_get(&message) == 0);
        if (send(socket, &message, sizeof message, MSG_NOSIGNAL) != static_cast<ssize_t>(sizeof message)) {
            return;
        }
    }
}

} // namespace torrentd
