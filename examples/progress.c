/*
 * progress.c - writes the progress of one BitTorrent task back, as a torrent daemon does once a second.
 *
 *     progress HASH <LINES              a line a second: STATE DONE TOTAL DOWN-RATE UP-RATE, bytes and bytes a second
 *
 * A daemon reads its task once and keeps the record: what it writes back belongs to it alone, and a record read anew
 * before each write would only bring back what it wrote itself. Amounts are 32 bits wide, so they are stored in KiB.
 *
 * Exit status: 0 done, 1 the store cannot be read, 2 usage or a wrong line, 3 no task has that hash.
 */
#include <inttypes.h>
#include <korvo_bt.h>
#include <korvo_bt_conventions.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

static int32_t kib(int64_t bytes) {
    return (int32_t)(bytes / TQ_BT_AMOUNT_UNIT);
}

static int32_t rate(int64_t bytes_a_second) {
    return bytes_a_second < INT32_MAX ? (int32_t)bytes_a_second : INT32_MAX;
}

static void put_time_left(char (*field)[9], int64_t bytes, int64_t bytes_a_second) {
    const int64_t seconds = bytes_a_second > 0 ? bytes / bytes_a_second : INT64_MAX;
    if (bytes_a_second == 0) {
        snprintf(*field, sizeof *field, "%s", TQ_TIME_LEFT_UNKNOWN);
    } else if (seconds >= INT64_C(100) * 3600) {
        snprintf(*field, sizeof *field, "%s", TQ_TIME_LEFT_MOST);
    } else {
        const unsigned left = (unsigned)seconds;
        snprintf(*field, sizeof *field, "%02u:%02u:%02u", left / 3600 % 100, left / 60 % 60, left % 60);
    }
}

int main(int argc, char **argv) {
    static BtTaskRecord task; /* some 6 KB */
    if (argc != 2) {
        fputs("usage: progress HASH <LINES\n", stderr);
        return 2;
    }
    /* No row and no answer are the same code. Where the table can be counted, the answer was "no row". */
    const int32_t result = bt_db_query_data_by_task_hash(argv[1], &task);
    if (result != BTDB_OK) {
        const int known = bt_db_query_task_count(BT_TASK_FILTER_ALL) >= 0;
        fprintf(stderr, known ? "progress: no task has this hash\n" : "progress: no answer (%" PRId32 ")\n", result);
        return known ? 3 : 1;
    }
    for (char line[256]; fgets(line, sizeof line, stdin) != NULL;) {
        int32_t state;
        int64_t done, total, down, up;
        if (sscanf(line, "%" SCNd32 " %" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64, &state, &done, &total, &down,
                   &up) != 5 ||
            done < 0 || total < done || total / TQ_BT_AMOUNT_UNIT > INT32_MAX || down < 0 || up < 0) {
            fprintf(stderr, "progress: not STATE DONE TOTAL DOWN-RATE UP-RATE: %s", line);
            return 2;
        }
        task.task_state = state;
        task.task_total_wanted_done = kib(done);
        task.task_total_wanted = kib(total);
        task.task_progress = total > 0 ? (int32_t)((double)done / (double)total * 100) : 0; /* 100 is all of it */
        task.task_all_time_download = kib(done);
        task.task_download_rate = rate(down);
        task.task_upload_rate = rate(up);
        put_time_left(&task.task_time_left, total - done, down);
        if ((state == TQ_BT_STATE_FINISHED || state == TQ_BT_STATE_SEEDING) && task.task_finish_time[0] == '\0') {
            snprintf(task.task_finish_time, sizeof task.task_finish_time, "%s",
                     bt_task_fmttime((int32_t)time(NULL), TQ_TIME_FORMAT_SHORT));
        }
        /* A write that failed changed nothing, and the next one brings everything: no reason to end a daemon. */
        if (bt_db_update_task_by_hash(&task) != BTDB_OK) {
            fputs("progress: not written\n", stderr);
            continue;
        }
        printf("%s: state %" PRId32 ", %" PRId32 " %% of %" PRId32 " KiB\n", task.task_torrent_name, state,
               task.task_progress, task.task_total_wanted);
    }
    return 0;
}
