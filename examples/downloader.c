/*
 * downloader.c - how an HTTP/FTP downloader shares its tasks with the rest of the device: recover, pick, claim, report
 * progress, release. The transfer is simulated: a file has 4 GiB, a quarter arrives each 200 ms, and the server has no
 * file whose name contains ".missing". A real transfer, and several at once, are in the daemon tqfetchd.
 *
 *     downloader [--crash] [ADDRESS]...       queues a task for each address, then works until no task is queued
 *
 * --crash ends it half-way through its first task, as if it had been killed; the next start goes on from there. One
 * downloader at a time: picking does not claim a task, so two that pick in the same moment get the same one.
 */
#define _POSIX_C_SOURCE 200809L
#include <inttypes.h>
#include <korvo_bt.h>
#include <korvo_bt_conventions.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static int32_t need(int32_t result, int32_t also_good) {
    if (result < 0 && result != also_good) {
        fprintf(stderr, "downloader: the library refused with code %" PRId32 "\n", result);
        exit(1);
    }
    return result;
}

static const char *now(void) {
    return http_ftp_task_fmttime((int32_t)time(NULL), TQ_TIME_FORMAT);
}

/* Sets one column: a whole record would undo the user's pause. A figure that could not be written, because the file
 * stayed locked, is no reason to end a transfer. */
static int32_t set(int32_t id, uint32_t field, const void *value) {
    return http_ftp_db_update_task_field_by_id(id, field, value);
}

/* The process whose number a task carries. Removing the task kills it, and its end means: drop the transfer. With its
 * own number there, the downloader would die with all its transfers. It never outlives the downloader. */
static pid_t start_token(void) {
    static int ends[2];
    need(ends[1] != 0 || pipe(ends) == 0 ? BTDB_OK : -1, 0);
    const pid_t token = fork();
    if (token == 0) {
        close(ends[1]);
        _exit(read(ends[0], &(char){0}, 1) > 0); /* nothing is ever written */
    }
    need((int32_t)token, 0);
    return token;
}

static void download(HttpFtpTaskRecord *task, int crash) {
    const int32_t id = task->task_id;
    const char *slash = strrchr(task->task_filename, '/'), *name = slash != NULL ? slash + 1 : task->task_filename;
    const int64_t size = INT64_C(4) << 30;
    int64_t done = task->task_total_downloaded;
    int32_t failed = strstr(name, ".missing") != NULL ? 404 : 0, state = HTTP_FTP_TASK_STATE_RUNNING;
    const pid_t token = start_token();
    siginfo_t gone = {0};

    /* A claim that is not in the store is none. The name comes before the first byte: a removal deletes what it names.
     */
    int going_on = set(id, HTTP_FTP_TASK_FIELD_PID, &(int32_t){(int32_t)token}) == BTDB_OK &&
                   set(id, HTTP_FTP_TASK_FIELD_STATE, &state) == BTDB_OK &&
                   set(id, HTTP_FTP_TASK_FIELD_SAVENAME, name) == BTDB_OK;
    set(id, HTTP_FTP_TASK_FIELD_TOTAL_SIZE, &size);
    while (going_on && failed == 0 && done < size) {
        nanosleep(&(struct timespec){.tv_nsec = 200000000}, NULL);
        done += size / 4;
        set(id, HTTP_FTP_TASK_FIELD_TOTAL_DOWNLOADED, &done); /* in a real one, once a second */
        set(id, HTTP_FTP_TASK_FIELD_PROGRESS, &(int32_t){(int32_t)(done * 100 / size)});
        printf("%s: %" PRId64 " %%\n", name, done * 100 / size);
        if (crash && done >= size / 2) {
            _exit(70);
        }
        http_ftp_db_query_data_by_task_id(id, task); /* a read that fails says nothing, not even "removed" */
        waitid(P_PID, (id_t)token, &gone, WEXITED | WNOHANG | WNOWAIT);
        going_on = task->task_is_paused == 0 && gone.si_pid == 0;
    }
    printf("%s: %s\n", name, failed != 0 ? "failed" : done == size ? "finished" : "stopped");
    state = done == size ? HTTP_FTP_TASK_STATE_FINISHED : HTTP_FTP_TASK_STATE_QUEUED;
    if (failed != 0) { /* in the queue without a pause, it would be picked again at once */
        set(id, HTTP_FTP_TASK_FIELD_ERRCODE, &failed);
        set(id, HTTP_FTP_TASK_FIELD_IS_PAUSED, &(int32_t){1});
    }
    set(id, HTTP_FTP_TASK_FIELD_FINISH_TIME, done == size ? now() : "");
    set(id, HTTP_FTP_TASK_FIELD_STATE, &state); /* of a task that was removed, there is no row to change */
    set(id, HTTP_FTP_TASK_FIELD_PID, &(int32_t){0});
    kill(token, SIGKILL);
    waitpid(token, NULL, 0);
}

int main(int argc, char **argv) {
    const int crash = argc > 1 && strcmp(argv[1], "--crash") == 0;
    setvbuf(stdout, NULL, _IOLBF, 0);
    need(http_ftp_db_create_tbl_task(), BTDB_ERR_TABLE);     /* it is there already */
    need(http_ftp_db_update_pid_to_zero(), BTDB_ERR_UPDATE); /* recovery, in this order; no row to change is fine */
    const int32_t result = need(http_ftp_db_update_no_pid_runninig_task_to_queue(), BTDB_ERR_UPDATE);
    puts(result == BTDB_OK ? "recovered what was running" : "nothing to recover");
    need(http_ftp_db_update_download_rate_to_zero(), BTDB_ERR_UPDATE);
    static HttpFtpTaskRecord task = {.task_state = HTTP_FTP_TASK_STATE_QUEUED}; /* some 3 KB, the rest zero */
    for (int i = crash ? 2 : 1; i < argc; ++i) {
        snprintf(task.task_filename, sizeof task.task_filename, "%s", argv[i]);
        snprintf(task.task_start_time, sizeof task.task_start_time, "%s", now());
        need(http_ftp_db_add_task(&task), 0);
    }
    while (need(http_ftp_db_query_next_queued_task(&task, 0), BTDB_ERR_QUERY) == BTDB_OK) {
        download(&task, crash);
    }
    return 0;
}
