/* A program as others write it, C11 and C++17 alike: it knows the installed package and nothing else. */
#include <korvo_bt.h>

#include <stdio.h>
#include <string.h>

static int print_name(void *context, int columns, char **values, char **names) {
    (void)context;
    return columns == 29 && strcmp(names[1], "task_torrent_name") == 0 && puts(values[1]) >= 0 ? 0 : 1;
}

int main(void) {
    static BtTaskRecord task;
    strcpy(task.task_torrent_name, "it's installed");
    if (bt_db_create_tbl_task() != BTDB_OK || bt_db_add_task(&task) != 1) {
        return 1;
    }
    return bt_db_query_task(NULL, print_name, 0, 0, 0, BT_TASK_FILTER_ALL, NULL) == BTDB_OK ? 0 : 1;
}
