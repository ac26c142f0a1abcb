// The listing of BitTorrent and HTTP/FTP tasks together. It reads both tables in one statement and so is the one place
// that shares the filters of both stores.

#include "bt/task_filter.h"
#include "frame/shapes.h"
#include "httpftp/task_filter.h"

using korvo::http_ftp_task_where;
using korvo::OwnedSql;
using korvo::Sql;
using korvo::statement;

namespace {

// The HTTP/FTP half of a filter: that of the HTTP/FTP listing, except for the spaces of the paused one; a finished task
// of either kind goes with the BT tasks in state 5.
Sql http_ftp_half(int32_t filter) {
    switch (filter) {
    case BT_TASK_FILTER_RUNNING:
        return http_ftp_task_where(HTTP_FTP_TASK_FILTER_RUNNING);
    case BT_TASK_FILTER_FINISHED:
    case BT_TASK_FILTER_STATE_5:
        return http_ftp_task_where(HTTP_FTP_TASK_FILTER_FINISHED);
    case BT_TASK_FILTER_ACTIVE:
        return http_ftp_task_where(HTTP_FTP_TASK_FILTER_ACTIVE);
    case BT_TASK_FILTER_INACTIVE:
        return http_ftp_task_where(HTTP_FTP_TASK_FILTER_INACTIVE);
    case BT_TASK_FILTER_PAUSED:
        return "WHERE  (task_is_paused = 1) AND (task_state = 2 OR task_state = 1)";
    default:
        return http_ftp_task_where(HTTP_FTP_TASK_FILTER_ALL);
    }
}

} // namespace

int32_t tq_db_query_task(const char *file, TqRowCallback callback, int32_t /*reserved*/, int32_t start, int32_t end,
                         int32_t filter, void *context) {
    if (!korvo::valid_paging(start, end) || !korvo::valid_bt_task_filter(filter)) {
        return BTDB_ERR_PARAM;
    }
    const Sql bt_where = korvo::bt_task_where(filter);
    const Sql http_ftp_where = http_ftp_half(filter);
    const OwnedSql page = korvo::paging(start, end);
    return korvo::list_rows(
        file,
        statement<
            "SELECT task_start_time,task_id,task_torrent_name,task_state,task_download_rate,task_upload_rate,"
            "task_rating,task_total_wanted_done,\ttask_total_wanted,task_progress,task_finish_time,"
            "task_time_left,task_is_paused,task_queue_position, 0,'bt' FROM BT_TASK %s "
            "\tunion SELECT task_start_time,task_id,task_filename,task_state,task_download_rate,0,0,"
            "task_total_downloaded,task_total_size,task_progress,task_finish_time,\ttask_time_left,"
            "task_is_paused, task_queue_position, task_errcode, 'http' FROM HTTP_FTP_TASK %s ORDER BY task_start_time "
            "%s">(bt_where, http_ftp_where, page),
        callback, context);
}
