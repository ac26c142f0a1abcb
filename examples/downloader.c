/*
 * downloader.c - what an HTTP/FTP downloader does with the library: recover, claim a task, advance it, finish it.
 *
 *     downloader [--crash] [ADDRESS]...
 *
 * Queues a task for each address, then works until no task is queued. The transfer itself is played: every file has
 * 4 GiB and arrives in quarters. --crash ends the program half-way through its first task, as if it had been killed;
 * the next start recovers that task and goes on where it was left.
 *
 * One downloader at a time: to pick a task and to claim it are two calls, and two processes that pick in the same
 * moment are given the same one.
 */
#include <inttypes.h>
#include <korvo_bt.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static void require(bool good, const char *what, int32_t result) {
    if (!good) {
        fprintf(stderr, "downloader: %s: the library refused with code %" PRId32 "\n", what, result);
        exit(1);
    }
}

/* After a crash tasks are still marked as running, with a process that is gone. In this order; BTDB_ERR_UPDATE says
 * that there was nothing to change. */
static void recover(void) {
    int32_t result = http_ftp_db_update_pid_to_zero();
    require(result == BTDB_OK || result == BTDB_ERR_UPDATE, "clear processes", result);
    result = http_ftp_db_update_no_pid_runninig_task_to_queue();
    require(result == BTDB_OK || result == BTDB_ERR_UPDATE, "queue again", result);
    puts(result == BTDB_OK ? "recovered what was running" : "nothing to recover");
    result = http_ftp_db_update_download_rate_to_zero();
    require(result == BTDB_OK || result == BTDB_ERR_UPDATE, "clear rates", result);
}

/* Sets one column. A whole-record update would undo what a user changes meanwhile, such as a pause. */
static void set(int32_t task_id, uint32_t field, const void *value) {
    const int32_t result = http_ftp_db_update_task_field_by_id(task_id, field, value);
    require(result == BTDB_OK, "update", result);
}

static void set_state(int32_t task_id, int32_t state) {
    set(task_id, HTTP_FTP_TASK_FIELD_STATE, &state);
}

static void download(HttpFtpTaskRecord *task, bool crash) {
    const int32_t id = task->task_id;
    const int64_t size = INT64_C(4) << 30;

    /* The process first: a running task without one would look like the remains of a crash. */
    int32_t result = http_ftp_db_update_pid_by_task_id(id, (int32_t)getpid());
    require(result == BTDB_OK, "claim", result);
    set_state(id, HTTP_FTP_TASK_STATE_RUNNING);
    set(id, HTTP_FTP_TASK_FIELD_TOTAL_SIZE, &size);

    for (int64_t done = task->task_total_downloaded; done < size;) {
        const int64_t rate = size / 4; /* 64 bits here, although the record holds 32 */
        done += rate;
        const int32_t percent = (int32_t)(done * 100 / size);
        set(id, HTTP_FTP_TASK_FIELD_DOWNLOAD_RATE, &rate);
        set(id, HTTP_FTP_TASK_FIELD_TOTAL_DOWNLOADED, &done);
        set(id, HTTP_FTP_TASK_FIELD_PROGRESS, &percent);
        printf("%s: %" PRId32 " %%\n", task->task_filename, percent);
        if (crash && done >= size / 2) {
            puts("crashed");
            fflush(stdout);
            _exit(70);
        }
    }
    const int64_t none = 0;
    set(id, HTTP_FTP_TASK_FIELD_DOWNLOAD_RATE, &none);
    set_state(id, HTTP_FTP_TASK_STATE_FINISHED);
    result = http_ftp_db_update_pid_by_task_id(id, 0);
    require(result == BTDB_OK, "let go", result);
}

int main(int argc, char **argv) {
    const bool crash = argc > 1 && strcmp(argv[1], "--crash") == 0;
    int32_t result = http_ftp_db_create_tbl_task(); /* BTDB_ERR_TABLE: it is there already */
    require(result == BTDB_OK || result == BTDB_ERR_TABLE, "create the table", result);
    recover();

    static HttpFtpTaskRecord task; /* some 3 KB, all zero */
    for (int i = crash ? 2 : 1; i < argc; ++i) {
        task.task_state = HTTP_FTP_TASK_STATE_QUEUED;
        snprintf(task.task_filename, sizeof task.task_filename, "%s", argv[i]);
        result = http_ftp_db_add_task(&task);
        require(result > 0, "add", result);
    }
    while ((result = http_ftp_db_query_next_queued_task(&task, 0)) == BTDB_OK) {
        download(&task, crash);
    }
    require(result == BTDB_ERR_QUERY, "pick", result); /* BTDB_ERR_QUERY: none is queued */
    return 0;
}
