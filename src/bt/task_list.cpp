// Lists and counts of BT_TASK under its filters.

#include "bt/task_filter.h"
#include "frame/shapes.h"

using korvo::OwnedSql;
using korvo::Sql;
using korvo::statement;

int32_t bt_db_query_task_count(int32_t filter) {
    if (!korvo::valid_bt_task_filter(filter)) {
        return BTDB_ERR_PARAM;
    }
    const Sql where = korvo::bt_task_where(filter);
    return korvo::read_value(statement<"SELECT COUNT(*) FROM BT_TASK %s;">(where));
}

int32_t bt_db_query_task(const char *file, TqRowCallback callback, int32_t /*reserved*/, int32_t start, int32_t end,
                         int32_t filter, void *context) {
    if (!korvo::valid_paging(start, end) || !korvo::valid_bt_task_filter(filter)) {
        return BTDB_ERR_PARAM;
    }
    const Sql where = korvo::bt_task_where(filter);
    const OwnedSql page = korvo::paging(start, end);
    return korvo::list_rows(file, statement<"SELECT * FROM BT_TASK %s ORDER BY task_queue_position %s;">(where, page),
                            callback, context);
}

int32_t bt_db_query_task_by_task_type(int32_t task_type, TqRowCallback callback, void *context) {
    return korvo::list_rows(
        nullptr, statement<"SELECT * FROM BT_TASK WHERE (task_type = %d) ORDER BY task_queue_position;">(task_type),
        callback, context);
}
