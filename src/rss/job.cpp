// BT_RSS_JOB, download jobs that act on feeds.

#include "frame/shapes.h"

using korvo::OwnedSql;
using korvo::Row;
using korvo::statement;
using korvo::statement_of;

namespace {

// The walk over BT_RSS_JOB's columns, in table order.
void read_columns(Row &row, BtRssJobRecord &job) {
    row.low_int32(job.rss_job_id)
        .string(job.rss_job_name)
        .string(job.rss_job_filter)
        .string(job.rss_job_exclusion_filter)
        .string(job.rss_job_url_applied)
        .int32(job.rss_job_quality)
        .int32(job.rss_job_interval)
        .low_int32(job.rss_job_last_check)
        .int32(job.rss_job_enable_episode)
        .string(job.rss_job_episode);
}

} // namespace

int32_t bt_rss_job_create_tbl() {
    return korvo::create_table(
        "CREATE TABLE BT_RSS_JOB \t( rss_job_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, \trss_job_name TEXT, "
        "\trss_job_filter TEXT, \trss_job_exclusion_filter TEXT, \trss_job_url_applied TEXT, \trss_job_quality "
        "INTEGER, \trss_job_interval INTEGER, \trss_job_last_check INTEGER, \trss_job_enable_episode INTEGER, "
        "\trss_job_episode TEXT);",
        {"CREATE INDEX idx_rss_job_id on BT_RSS_JOB(rss_job_id);",
         "CREATE INDEX idx_rss_job_url_applied on BT_RSS_JOB(rss_job_url_applied);"});
}

int32_t bt_rss_job_remove_tbl() {
    return korvo::run("DROP TABLE BT_RSS_JOB;", BTDB_ERR_TABLE);
}

int32_t bt_rss_job_flush_tbl() {
    return korvo::run("DELETE FROM BT_RSS_JOB;", BTDB_ERR_FLUSH);
}

int32_t bt_rss_job_add(const BtRssJobRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::insert_then_latest_id(
        statement<"INSERT INTO BT_RSS_JOB \t( rss_job_name, \trss_job_filter, \trss_job_exclusion_filter, "
                  "\trss_job_url_applied, \trss_job_quality, \trss_job_interval, \trss_job_last_check, "
                  "\trss_job_enable_episode, \trss_job_episode) \tVALUES \t( '%q', '%q', '%q', '%q', %d, %d, %ld, %d, "
                  "'%q' );">(record->rss_job_name, record->rss_job_filter, record->rss_job_exclusion_filter,
                             record->rss_job_url_applied, record->rss_job_quality, record->rss_job_interval,
                             record->rss_job_last_check, record->rss_job_enable_episode, record->rss_job_episode),
        bt_rss_job_query_latest_id);
}

int32_t bt_rss_job_query_latest_id() {
    return korvo::read_value("SELECT rss_job_id FROM BT_RSS_JOB ORDER BY rss_job_id DESC LIMIT 1;");
}

int32_t bt_rss_job_query_data_by_id(int32_t job_id, BtRssJobRecord *record) {
    if (record == nullptr || job_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_row<read_columns>(statement<"SELECT * FROM BT_RSS_JOB WHERE rss_job_id = %ld;">(job_id), record);
}

int32_t bt_rss_job_update_field_by_id(int32_t job_id, uint32_t field, const void *value) {
    static constexpr korvo::SqlOfValue fields[] = {
        nullptr,
        statement_of<"rss_job_name = '%q'">,
        statement_of<"rss_job_filter = '%q'">,
        statement_of<"rss_job_exclusion_filter = '%q'">,
        statement_of<"rss_job_url_applied = '%q'">,
        statement_of<"rss_job_quality = %d">,
        statement_of<"rss_job_interval = %d">,
        statement_of<"rss_job_last_check = %ld">,
        statement_of<"rss_job_enable_episode = %d">,
        statement_of<"rss_job_episode = '%q'">,
    };
    if (!korvo::serves(fields, field, value)) {
        return BTDB_ERR_PARAM;
    }
    const OwnedSql set = fields[field](value);
    return korvo::update_checked(statement<"UPDATE BT_RSS_JOB SET \t%s \tWHERE rss_job_id = %ld;">(set, job_id));
}

int32_t bt_rss_job_del(uint32_t selector, const void *value) {
    static constexpr korvo::SqlOfValue keys[] = {
        statement_of<"DELETE FROM BT_RSS_JOB WHERE rss_job_id = %d;">,
        statement_of<"DELETE FROM BT_RSS_JOB WHERE rss_job_name = '%q';">,
        nullptr, // the filters are not keys
        nullptr,
        statement_of<"DELETE FROM BT_RSS_JOB WHERE rss_job_url_applied = '%q';">,
    };
    return korvo::delete_by_column(keys, selector, value);
}

int32_t bt_rss_job_query_count() {
    return korvo::read_value("SELECT COUNT(*) FROM BT_RSS_JOB;");
}

int32_t bt_rss_job_query(const char *file, TqRowCallback callback, int32_t /*reserved*/, int32_t start, int32_t end,
                         void *context) {
    if (!korvo::valid_paging(start, end)) {
        return BTDB_ERR_PARAM;
    }
    const OwnedSql page = korvo::paging(start, end);
    return korvo::list_rows(file, statement<"SELECT * FROM BT_RSS_JOB  %s;">(page), callback, context);
}
