/*
 * page_json.c - one page of tasks of both kinds as JSON, the way a program behind a web server (CGI) answers.
 *
 *     QUERY_STRING='start=0&end=50&filter=1' page_json
 *
 * A page is collected before it is sent, so that a listing that fails half-way is answered as an error.
 */
#define _POSIX_C_SOURCE 200809L
#include <inttypes.h>
#include <korvo_bt.h>
#include <locale.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

/* The columns of a row, and which of them hold strings. */
static const char *const keys[] = {"started", "id",       "name",   "state",    "down_rate", "up_rate",
                                   "rating",  "done",     "wanted", "progress", "finished",  "time_left",
                                   "paused",  "position", "error",  "kind"};
static const bool is_text[16] = {[0] = true, [2] = true, [10] = true, [11] = true, [15] = true};

/* Any bytes may be stored. Those that are not UTF-8 become the replacement character. */
static void print_text(FILE *page, const char *text) {
    fputc('"', page);
    for (size_t length = 0; *text != '\0'; text += length) {
        mbstate_t state = {0};
        length = mbrlen(text, MB_CUR_MAX, &state);
        if (length > MB_CUR_MAX) {
            fputs("\\ufffd", page);
            length = 1;
        } else if ((unsigned char)*text < ' ' || *text == '"' || *text == '\\') {
            fprintf(page, "\\u%04x", (unsigned)*text);
        } else {
            fwrite(text, 1, length, page);
        }
    }
    fputc('"', page);
}

static int print_row(void *context, int columns, char **values, char **names) {
    (void)names;
    FILE *page = context;
    for (int i = 0; i < columns; ++i) {
        const char *value = values[i] != NULL ? values[i] : "";
        fprintf(page, "%s\"%s\": ", i == 0 ? "\n{" : ", ", keys[i]);
        if (is_text[i]) {
            print_text(page, value);
        } else { /* whatever another program stored, a number */
            fprintf(page, "%lld", strtoll(value, NULL, 10));
        }
    }
    fputs("},", page);
    return 0;
}

/* The number that the query gives for a key, or what it was. */
static void read_query(const char *query, const char *key, int32_t *number) {
    for (const char *at = query; at != NULL; at = strchr(at, '&')) {
        at += *at == '&';
        if (strncmp(at, key, strlen(key)) == 0 && at[strlen(key)] == '=') {
            const long value = strtol(at + strlen(key) + 1, NULL, 10);
            *number = value >= 0 && value <= INT32_MAX ? (int32_t)value : -1;
        }
    }
}

int main(void) {
    setlocale(LC_CTYPE, "C.UTF-8");
    int32_t start = 0, end = 50, filter = BT_TASK_FILTER_ALL;
    const char *query = getenv("QUERY_STRING");
    read_query(query, "start", &start);
    read_query(query, "end", &end);
    read_query(query, "filter", &filter);

    char *text = NULL;
    size_t size = 0;
    FILE *page = open_memstream(&text, &size);
    /* 0 and 0 would list everything, which is no page. */
    int32_t result = page == NULL || end == 0 || end - start > 500 ? BTDB_ERR_PARAM : BTDB_OK;
    if (result == BTDB_OK) {
        result = tq_db_query_task(NULL, print_row, 0, start, end, filter, page);
    }
    /* The two counts and the page are three looks at tables that others write to: a total may be one ahead. */
    const int32_t bt = result == BTDB_OK ? bt_db_query_task_count(filter) : result;
    const int32_t other_filter = filter == BT_TASK_FILTER_STATE_5 ? HTTP_FTP_TASK_FILTER_FINISHED : filter;
    const int32_t http = bt < 0 ? bt : http_ftp_db_query_task_count(other_filter);
    const int unfinished = page == NULL || fclose(page) != 0;
    if (http < 0 || unfinished) {
        printf("Status: %s\r\nContent-Type: application/json\r\n\r\n{\"error\": %" PRId32 "}\n",
               http == BTDB_ERR_PARAM ? "400 Bad Request" : "503 Service Unavailable", http);
    } else {
        text[size > 0 ? size - 1 : 0] = '\0'; /* the comma after the last row */
        printf("Content-Type: application/json\r\n\r\n{\"total\": %" PRId32 ", \"tasks\": [%s]}\n", bt + http, text);
    }
    free(text);
    return 0;
}
