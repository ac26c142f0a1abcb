/*
 * messages.c - both ends of the message queue: a daemon, and the programs that tell it what to do.
 *
 *     messages serve                    is the daemon, until it gets the command 0
 *     messages command P1 P2 P3 P4 P5   sends it a command
 *     messages config P1 P2             sends it a configuration message
 *
 * What the numbers mean is up to the two ends; here the first one of a command is its code, and a configuration message
 * gives the setting P1 the value P2.
 *
 * Exit status: 0 done, 2 usage. It is 1 when the library ended the program: the queue is full or refuses it.
 */
#include <inttypes.h>
#include <korvo_bt.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static bool obey(const BtMessage *message) {
    switch (message->mtype) {
    case BT_MSG_CONFIG:
        printf("setting %" PRId32 " is %" PRId32 " now\n", message->param1, message->param2);
        return true;
    case BT_MSG_COMMAND:
        printf("command %" PRId32 ": %" PRId32 " %" PRId32 " %" PRId32 " %" PRId32 "\n", message->param1,
               message->param2, message->param3, message->param4, message->param5);
        return message->param1 != 0;
    default: /* any program may send to the queue */
        err_log(1, ERR_MODULE_MAIN, "a message of the unknown type %" PRId32 "\n", message->mtype);
        return true;
    }
}

static void serve(void) {
    const struct timespec pause = {.tv_nsec = 200 * 1000 * 1000};
    BtMessage message;

    /* Every look into an empty queue is logged at level 9, and shown unless the threshold is lower. */
    err_debuglevel = 8;

    /* The first look makes the queue. That a receiver makes it matters: a sender's would be closed to daemons that do
     * not run as root. So a daemon looks before anybody else knows of it. */
    for (;;) {
        if (bt_msg_get(&message) == 0) {
            fflush(stdout);
            nanosleep(&pause, NULL); /* nothing waits in the library: how often to look is up to the daemon */
        } else if (!obey(&message)) {
            return;
        }
    }
}

static bool read_numbers(char **texts, int count, int32_t *numbers) {
    for (int i = 0; i < count; ++i) {
        char *end = NULL;
        const long long value = strtoll(texts[i], &end, 10);
        if (end == texts[i] || *end != '\0' || value < INT32_MIN || value > INT32_MAX) {
            fprintf(stderr, "messages: \"%s\" is not a number of 32 bits\n", texts[i]);
            return false;
        }
        numbers[i] = (int32_t)value;
    }
    return true;
}

int main(int argc, char **argv) {
    const char *what = argc > 1 ? argv[1] : "";
    int32_t p[5];
    int32_t result = -1;
    if (argc == 2 && strcmp(what, "serve") == 0) {
        serve();
        return 0;
    }
    if (argc == 7 && strcmp(what, "command") == 0 && read_numbers(argv + 2, 5, p)) {
        result = bt_msg_send_command(p[0], p[1], p[2], p[3], p[4]);
    } else if (argc == 4 && strcmp(what, "config") == 0 && read_numbers(argv + 2, 2, p)) {
        result = bt_msg_send_config(p[0], p[1]);
    }
    if (result == -1) { /* from the library it means that P2 is negative, and from it there is no other failure */
        fputs("usage: messages serve | command P1 P2 P3 P4 P5 | config P1 P2   (P2 is 0 or more)\n", stderr);
        return 2;
    }
    return 0;
}
