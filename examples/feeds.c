/*
 * feeds.c - brings the items of a feed into the store and lets the feed's download jobs pick from them.
 *
 *     feeds ADDRESS TITLE <ITEMS        a line for each item: its title, a TAB, its magnet link
 *
 * A job takes the items with its filter in their title and without its exclusion filter: each becomes a BitTorrent task
 * and is marked as downloaded. Magnet links must name a hash of 40 hexadecimal digits. Rows are collected first and
 * changed afterwards: a callback that writes would wait for the very listing that calls it.
 */
#define _POSIX_C_SOURCE 200809L
#include <ctype.h>
#include <korvo_bt.h>
#include <korvo_bt_conventions.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

/* Passes a result on that is none of the negative codes. */
static int32_t good(int32_t result, const char *what) {
    if (result < 0) {
        fprintf(stderr, "feeds: %s: the library refused with code %d\n", what, (int)result);
        exit(1);
    }
    return result;
}

/* A truncated string would be another string. */
static void put(char *field, size_t width, const char *text) {
    if ((size_t)snprintf(field, width, "%s", text) >= width) {
        fprintf(stderr, "feeds: longer than the store keeps: %s\n", text);
        exit(2);
    }
}
#define PUT(field, text) put(field, sizeof(field), text)

/* The rows that have a string in a column. Columns come in the order of the record's fields. */
struct search {
    int column;
    const char *text;
    int32_t ids[1000];
    size_t count;
};

static int collect(void *context, int columns, char **values, char **names) {
    (void)columns, (void)names;
    struct search *search = context;
    const char *value = values[search->column]; /* NULL only if another program wrote it */
    if (value == NULL || strcmp(value, search->text) != 0) {
        return 0;
    }
    search->ids[search->count++] = (int32_t)strtol(values[0], NULL, 10);
    return search->count == sizeof search->ids / sizeof *search->ids; /* no room: stops the listing, which then fails */
}

/* The info-hash of a magnet link: a torrent daemon finds and writes its tasks by it. */
static bool find_hash(const char *link, char hash[41]) {
    const char *digits = strstr(link, "urn:btih:");
    size_t i = 0;
    for (digits = digits != NULL ? digits + 9 : ""; i < 40 && isxdigit((unsigned char)digits[i]); ++i) {
        hash[i] = (char)tolower((unsigned char)digits[i]);
    }
    hash[i] = '\0';
    return i == 40;
}

static void take_if_wanted(const BtRssJobRecord *job, const BtRssRecord *item) {
    const char *unwanted = job->rss_job_exclusion_filter;
    static BtTaskRecord task, known; /* some 6 KB each, all zero */
    if (item->rss_downloaded != 0 || strstr(item->rss_title, job->rss_job_filter) == NULL ||
        (*unwanted != '\0' && strstr(item->rss_title, unwanted) != NULL) ||
        !find_hash(item->rss_enclosure_url, task.task_hash)) {
        return;
    }
    /* The same torrent twice would be one download with two rows. A program that died here leaves its item unmarked. */
    if (bt_db_query_data_by_task_hash(task.task_hash, &known) != BTDB_OK) {
        PUT(task.task_torrent_name, item->rss_title);
        for (char *at = strchr(task.task_torrent_name, '/'); at != NULL; at = strchr(at, '/')) {
            *at = '_'; /* it names data in a directory */
        }
        PUT(task.task_magnet_link, item->rss_enclosure_url);
        PUT(task.task_start_time, bt_task_fmttime((int32_t)time(NULL), TQ_TIME_FORMAT));
        task.task_state = TQ_BT_STATE_QUEUED;
        good(bt_db_add_task(&task), "add a task");
        printf("%s takes \"%s\"\n", job->rss_job_name, item->rss_title);
    }
    good(bt_rss_update_field_by_id(item->rss_id, 6, &(int32_t){1}), "mark an item");
}

int main(int argc, char **argv) {
    if (argc != 3) {
        fputs("usage: feeds ADDRESS TITLE <ITEMS\n", stderr);
        return 2;
    }
    static BtRssRecord item;
    static BtRssJobRecord job;
    PUT(item.rss_url, argv[1]);
    PUT(item.rss_user_def_title, argv[2]);
    for (char line[4096]; fgets(line, sizeof line, stdin) != NULL;) {
        const char *title = strtok(line, "\t\n"), *link = strtok(NULL, "\t\n");
        if (link == NULL) {
            continue;
        }
        PUT(item.rss_title, title);
        PUT(item.rss_enclosure_url, link);
        struct search same = {.column = 3, .text = item.rss_enclosure_url};
        good(bt_rss_query_data_by_ud_title(NULL, collect, argv[2], &same), "look for an item");
        good(same.count > 0 ? BTDB_OK : bt_rss_add(&item), "add an item");
    }
    struct search jobs = {.column = 4, .text = argv[1]}, items = {.column = 1, .text = argv[1]};
    good(bt_rss_job_query(NULL, collect, 0, 0, 0, &jobs), "list the jobs");
    good(bt_rss_query(NULL, collect, 0, 0, 0, &items), "list the items");
    for (size_t j = 0; j < jobs.count; ++j) {
        good(bt_rss_job_query_data_by_id(jobs.ids[j], &job), "read a job");
        for (size_t i = 0; i < items.count; ++i) {
            good(bt_rss_query_data_by_id(items.ids[i], &item), "read an item");
            take_if_wanted(&job, &item);
        }
        good(bt_rss_job_update_field_by_id(jobs.ids[j], 7, &(int32_t){(int32_t)time(NULL)}), "note the check");
    }
    bt_msg_send_command(TQ_COMMAND_LOOK, 0, 0, 0, 0); /* last: a full queue ends the program, and nothing is lost */
    return 0;
}
