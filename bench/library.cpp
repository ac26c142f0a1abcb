// The library's form: one call each.

#include "forms.h"

namespace bench::library {

namespace {

BtTaskRecord bt_task;

} // namespace

void add_bt() {
    require(bt_db_add_task(&some_bt_task()) > 0, "add_bt");
}

void add_http_ftp() {
    require(http_ftp_db_add_task(&some_http_ftp_task()) > 0, "add_http_ftp");
}

void update_bt_by_hash() {
    require(bt_db_update_task_by_hash(&some_bt_task()) == BTDB_OK, "update_bt_by_hash");
}

void delete_bt() {
    require(bt_db_del_task(0, &no_id) == BTDB_OK, "delete_bt");
}

void create_and_drop() {
    require(bt_account_remove_tbl() == BTDB_OK, "drop");
    require(bt_account_create_tbl() == BTDB_OK, "create");
}

void read_bt() {
    require(bt_db_query_data_by_task_id(some_id, &bt_task) == BTDB_OK && bt_task.task_id == some_id, "read_bt");
}

void read_filename() {
    static char name[1025];
    require(bt_db_query_filename_by_task_id(some_id, name) > 0 && name[0] != '\0', "read_filename");
}

void count_bt() {
    require(bt_db_query_task_count(BT_TASK_FILTER_RUNNING) > 0, "count_bt");
}

void page_bt() {
    int rows = 0;
    require(bt_db_query_task(nullptr, count_row, 0, 0, 50, BT_TASK_FILTER_ALL, &rows) == BTDB_OK && rows == 50,
            "page_bt");
}

void list_bt() {
    int rows = 0;
    require(bt_db_query_task(nullptr, count_row, 0, 0, 0, BT_TASK_FILTER_ALL, &rows) == BTDB_OK && rows > 0, "list_bt");
}

void list_http_ftp() {
    int rows = 0;
    require(http_ftp_db_query_task(nullptr, count_row, 0, 0, 0, HTTP_FTP_TASK_FILTER_ALL, &rows) == BTDB_OK && rows > 0,
            "list_http_ftp");
}

void page_both() {
    int rows = 0;
    require(tq_db_query_task(nullptr, count_row, 0, 0, 50, BT_TASK_FILTER_ALL, &rows) == BTDB_OK && rows == 50,
            "page_both");
}

} // namespace bench::library
