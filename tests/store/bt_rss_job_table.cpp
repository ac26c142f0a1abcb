// BT_RSS_JOB, described for the shared suites.

#include "tables.h"

namespace test {

#define FIELD(name) KORVO_FIELD(BtRssJobRecord, rss_job_##name)

namespace {

const std::vector<Field> fields = {
    FIELD(id),      FIELD(name),     FIELD(filter),     FIELD(exclusion_filter), FIELD(url_applied),
    FIELD(quality), FIELD(interval), FIELD(last_check), FIELD(enable_episode),   FIELD(episode)};

const auto third = sample<BtRssJobRecord>(fields, 3);
BtRssJobRecord *const out = scratch_record<BtRssJobRecord>();

} // namespace

#define CALL KORVO_CALL
#define LATEST "SELECT rss_job_id FROM BT_RSS_JOB ORDER BY rss_job_id DESC LIMIT 1;"

Table bt_rss_job_table() {
    return {
        .name = "BT_RSS_JOB",
        .schema = {creation("BT_RSS_JOB", fields), "CREATE INDEX idx_rss_job_id on BT_RSS_JOB(rss_job_id);",
                   "CREATE INDEX idx_rss_job_url_applied on BT_RSS_JOB(rss_job_url_applied);"},
        .record_size = sizeof(BtRssJobRecord),
        .fields = fields,
        .create = bt_rss_job_create_tbl,
        .drop = bt_rss_job_remove_tbl,
        .flush = bt_rss_job_flush_tbl,
        .add = with_record<bt_rss_job_add>,
        .reads = {read_by<&BtRssJobRecord::rss_job_id, bt_rss_job_query_data_by_id>},
        .setters = {{"set", bt_rss_job_update_field_by_id, "rss_job_id", {1, 2, 3, 4, 5, 6, 7, 8, 9}}},
        .remove = bt_rss_job_del,
        .selectors = {0, 1, 4},
        .listings = {{KORVO_LISTING(bt_rss_job_query(file, callback, -1, start, end, context)),
                      "SELECT * FROM BT_RSS_JOB"}},
        .operations = {adds(CALL(bt_rss_job_add, &third), {insertion("BT_RSS_JOB", fields, &third), LATEST}),
                       queries(CALL(bt_rss_job_query_latest_id), LATEST, 2),
                       queries(CALL(bt_rss_job_query_data_by_id, natural(1), out),
                               "SELECT * FROM BT_RSS_JOB WHERE rss_job_id = 1;"),
                       queries(CALL(bt_rss_job_query_count), "SELECT COUNT(*) FROM BT_RSS_JOB;", 2),
                       queries(CALL(bt_rss_job_query, nullptr, deliver, 0, 0, 0, nullptr),
                               "SELECT * FROM BT_RSS_JOB  ;"),
                       queries(CALL(bt_rss_job_query, nullptr, deliver, 0, 2, 4, nullptr),
                               "SELECT * FROM BT_RSS_JOB  LIMIT 2 OFFSET 2;")},
    };
}

} // namespace test
