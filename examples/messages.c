/*
 * messages.c - both ends of the message queue, written so that a failing queue ends neither of them.
 *
 *     messages serve                    is the daemon, until it is killed; it obeys "pause" and "resume"
 *     messages pause ID, resume ID      sends the command until its effect is seen in the store
 *
 * A full queue, or one that refuses its caller, ends the calling process. So each end talks to the queue from a child.
 * Messages are not acknowledged: the store is the authority, and a sender repeats a message until it sees the effect.
 *
 * Exit status: 0 done, 1 no effect was seen, 2 usage.
 */
#define _POSIX_C_SOURCE 200809L
#include <inttypes.h>
#include <korvo_bt.h>
#include <korvo_bt_conventions.h>
#include <poll.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static void obey(const BtMessage *message) {
    static BtTaskRecord task; /* a real daemon has its tasks in memory, and does not read one to write it back */
    const bool pause = message->param1 == TQ_COMMAND_PAUSE;
    if (message->mtype == BT_MSG_COMMAND && (pause || message->param1 == TQ_COMMAND_RESUME) &&
        bt_db_query_data_by_task_id(message->param2, &task) == BTDB_OK) {
        task.task_is_paused = pause;
        bt_db_update_task_by_hash(&task);
        printf("task %" PRId32 " is %s\n", message->param2, pause ? "paused" : "resumed");
    } else { /* any program may send anything */
        printf("nothing to do for %" PRId32 ", %" PRId32 "\n", message->param1, message->param2);
    }
}

/* The child: takes a message when it is asked for one. The others stay in the queue, which outlives all processes; a
 * receiver that takes all it finds loses them when it dies. Its end of the socket tells it when the daemon is gone. */
static void receive(int daemon) {
    BtMessage message;
    err_debuglevel = 8; /* every look into an empty queue is logged at level 9 */
    for (char asked; read(daemon, &asked, 1) == 1;) {
        while (bt_msg_get(&message) == 0) { /* nothing waits in the library: how often to look is up to the daemon */
            struct pollfd gone = {.fd = daemon, .events = POLLIN};
            if (poll(&gone, 1, 200) != 0) {
                _exit(0);
            }
        }
        if (write(daemon, &message, sizeof message) != sizeof message) {
            break;
        }
    }
    _exit(0);
}

static void serve(void) {
    for (;;) {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) {
            exit(1);
        }
        const pid_t child = fork();
        if (child == 0) {
            close(ends[0]);
            receive(ends[1]);
        }
        close(ends[1]);
        BtMessage message;
        while (child > 0 && send(ends[0], "", 1, MSG_NOSIGNAL) == 1 &&
               recv(ends[0], &message, sizeof message, MSG_WAITALL) == sizeof message) {
            obey(&message);
            fflush(stdout);
        }
        close(ends[0]);
        waitpid(child, NULL, 0);
        puts("the queue failed; another try in a second");
        fflush(stdout);
        nanosleep(&(struct timespec){.tv_sec = 1}, NULL);
    }
}

/* Sends until the effect shows. A message may have been lost with a receiver, or the queue may have been full. */
static bool send_until_seen(int32_t command, int32_t id) {
    static BtTaskRecord task;
    for (int tries = 0; tries < 4; ++tries) {
        const pid_t child = fork();
        if (child == 0) {
            _exit(bt_msg_send_command(command, id, 0, 0, 0) != 0);
        }
        waitpid(child, NULL, 0);
        nanosleep(&(struct timespec){.tv_nsec = 500000000}, NULL);
        if (bt_db_query_data_by_task_id(id, &task) == BTDB_OK && task.task_is_paused == (command == TQ_COMMAND_PAUSE)) {
            return true;
        }
    }
    return false;
}

int main(int argc, char **argv) {
    const bool pause = argc == 3 && strcmp(argv[1], "pause") == 0;
    if (argc == 2 && strcmp(argv[1], "serve") == 0) {
        serve();
    } else if (pause || (argc == 3 && strcmp(argv[1], "resume") == 0)) {
        const bool seen = send_until_seen(pause ? TQ_COMMAND_PAUSE : TQ_COMMAND_RESUME, (int32_t)atoi(argv[2]));
        puts(seen ? "done" : "no daemon obeyed");
        return !seen;
    }
    fputs("usage: messages serve | pause ID | resume ID\n", stderr);
    return 2;
}
