/*
 * progress.c - writes the progress of one BitTorrent task back, as a torrent daemon does every few seconds.
 *
 *     progress HASH STATE DONE TOTAL DOWN-RATE UP-RATE        bytes, and bytes a second
 *
 * Read the task by its hash, change what is new, write the record back by the same hash. Each of the two calls opens
 * and closes the database by itself; a program holds nothing in between.
 *
 * Exit status: 0 done, 1 the library refused (its code is on standard error), 2 usage, 3 no task has that hash.
 */
#include <inttypes.h>
#include <korvo_bt.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>

/* The whole argument as a number from 0 to what a record's field holds. */
static bool read_number(const char *text, int32_t *number) {
    char *end = NULL;
    const long long value = strtoll(text, &end, 10);
    if (end == text || *end != '\0' || value < 0 || value > INT32_MAX) {
        fprintf(stderr, "progress: \"%s\" is not a number from 0 to %" PRId32 "\n", text, INT32_MAX);
        return false;
    }
    *number = (int32_t)value;
    return true;
}

static int32_t percent_of(int32_t done, int32_t total) {
    return total == 0 ? 0 : (int32_t)((int64_t)done * 100 / total);
}

int main(int argc, char **argv) {
    int32_t state = 0;
    int32_t done = 0;
    int32_t total = 0;
    int32_t down_rate = 0;
    int32_t up_rate = 0;
    if (argc != 7 || !read_number(argv[2], &state) || !read_number(argv[3], &done) || !read_number(argv[4], &total) ||
        !read_number(argv[5], &down_rate) || !read_number(argv[6], &up_rate) || done > total) {
        fputs("usage: progress HASH STATE DONE TOTAL DOWN-RATE UP-RATE   (DONE not above TOTAL)\n", stderr);
        return 2;
    }
    const char *hash = argv[1];

    static BtTaskRecord task;
    int32_t result = bt_db_query_data_by_task_hash(hash, &task);
    if (result == BTDB_ERR_QUERY) {
        fprintf(stderr, "progress: no task has the hash %s (%" PRId32 ")\n", hash, result);
        return 3;
    }
    if (result == BTDB_OK) {
        task.task_state = state;
        task.task_total_wanted_done = done;
        task.task_total_wanted = total;
        task.task_progress = percent_of(done, total);
        task.task_all_time_download = done;
        task.task_download_rate = down_rate;
        task.task_upload_rate = up_rate;
        result = bt_db_update_task_by_hash(&task);
    }
    if (result != BTDB_OK) {
        fprintf(stderr, "progress: the library refused with code %" PRId32 "\n", result);
        return 1;
    }
    printf("%s: state %" PRId32 ", %" PRId32 " %% of %" PRId32 " bytes\n", task.task_torrent_name, state,
           task.task_progress, total);
    return 0;
}
