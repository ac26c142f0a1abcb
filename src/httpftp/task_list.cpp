// Lists and counts of HTTP_FTP_TASK.

#include "frame/shapes.h"
#include "httpftp/task_filter.h"

using korvo::OwnedSql;
using korvo::Sql;
using korvo::statement;

int32_t http_ftp_db_query_task_count(int32_t filter) {
    if (!korvo::valid_http_ftp_task_filter(filter)) {
        return BTDB_ERR_PARAM;
    }
    const Sql where = korvo::http_ftp_task_where(filter);
    return korvo::read_value(statement<"SELECT COUNT(*) FROM HTTP_FTP_TASK %s;">(where));
}

int32_t http_ftp_db_query_task(const char *file, TqRowCallback callback, int32_t /*reserved*/, int32_t start,
                               int32_t end, int32_t filter, void *context) {
    if (!korvo::valid_paging(start, end) || !korvo::valid_http_ftp_task_filter(filter)) {
        return BTDB_ERR_PARAM;
    }
    const Sql where = korvo::http_ftp_task_where(filter);
    const OwnedSql page = korvo::paging(start, end);
    return korvo::list_rows(file, statement<"SELECT * FROM HTTP_FTP_TASK %s  %s;">(where, page), callback, context);
}

int32_t http_ftp_db_query_task_count_by_filename(const char *filename) {
    if (filename == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_value(statement<"SELECT COUNT(*) FROM HTTP_FTP_TASK WHERE task_filename = '%q';">(filename));
}
