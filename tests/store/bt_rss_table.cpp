// BT_RSS, described for the shared suites.

#include "tables.h"

namespace test {

#define FIELD(name) KORVO_FIELD(BtRssRecord, rss_##name)

namespace {

const std::vector<Field> fields = {
    FIELD(id),        FIELD(url), FIELD(title), FIELD(enclosure_url), FIELD(keyword), FIELD(user_def_title),
    FIELD(downloaded)};

const auto third = sample<BtRssRecord>(fields, 3);
BtRssRecord *const out = scratch_record<BtRssRecord>();

} // namespace

#define CALL KORVO_CALL
#define LATEST "SELECT rss_id FROM BT_RSS ORDER BY rss_id DESC LIMIT 1;"
#define TITLED "SELECT * FROM BT_RSS WHERE rss_user_def_title = 't1''05';"
#define FEEDS "SELECT DISTINCT rss_user_def_title,rss_url FROM BT_RSS;"

Table bt_rss_table() {
    return {
        .name = "BT_RSS",
        .schema = {creation("BT_RSS", fields), "CREATE INDEX idx_rss_id on BT_RSS(rss_id);",
                   "CREATE INDEX idx_rss_url on BT_RSS(rss_url);",
                   "CREATE INDEX idx_rss_keyword on BT_RSS(rss_keyword);",
                   "CREATE INDEX idx_rss_user_def_title on BT_RSS(rss_user_def_title);",
                   "CREATE INDEX idx_rss_downloaded on BT_RSS(rss_downloaded);"},
        .record_size = sizeof(BtRssRecord),
        .fields = fields,
        .create = bt_rss_create_tbl,
        .drop = bt_rss_remove_tbl,
        .flush = bt_rss_flush_tbl,
        .add = with_record<bt_rss_add>,
        .reads = {read_by<&BtRssRecord::rss_id, bt_rss_query_data_by_id>},
        .setters = {{"set", bt_rss_update_field_by_id, "rss_id", {4, 5, 6}}},
        .remove = bt_rss_del,
        .selectors = {0, 1, 4, 5, 6},
        .listings = {{KORVO_LISTING(bt_rss_query(file, callback, -1, start, end, context)), "SELECT * FROM BT_RSS"},
                     {KORVO_LISTING(bt_rss_query_data_by_ud_title(file, callback, "t1'05", context)), TITLED, false},
                     {KORVO_LISTING(bt_rss_user_title_list_query(file, callback, context)), FEEDS, false}},
        .operations = {adds(CALL(bt_rss_add, &third), {insertion("BT_RSS", fields, &third), LATEST}),
                       queries(CALL(bt_rss_query_latest_id), LATEST, 2),
                       queries(CALL(bt_rss_query_data_by_id, natural(1), out),
                               "SELECT * FROM BT_RSS WHERE rss_id = 1;"),
                       queries(CALL(bt_rss_query_count), "SELECT COUNT(*) FROM BT_RSS;", 2),
                       queries(CALL(bt_rss_user_title_list_query, nullptr, deliver, nullptr), FEEDS),
                       queries(CALL(bt_rss_query_data_by_ud_title, nullptr, deliver, "t1'05", nullptr), TITLED),
                       queries(CALL(bt_rss_query, nullptr, deliver, 0, 0, 0, nullptr), "SELECT * FROM BT_RSS  ;"),
                       queries(CALL(bt_rss_query, nullptr, deliver, 0, 10, 30, nullptr),
                               "SELECT * FROM BT_RSS  LIMIT 20 OFFSET 10;")},
    };
}

} // namespace test
