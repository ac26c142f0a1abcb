// BT_RSS, items of RSS feeds.

#include "frame/shapes.h"

using korvo::OwnedSql;
using korvo::Row;
using korvo::statement;
using korvo::statement_of;

namespace {

// The walk over BT_RSS's columns, in table order.
void read_columns(Row &row, BtRssRecord &item) {
    row.low_int32(item.rss_id)
        .string(item.rss_url)
        .string(item.rss_title)
        .string(item.rss_enclosure_url)
        .string(item.rss_keyword)
        .string(item.rss_user_def_title)
        .int32(item.rss_downloaded);
}

} // namespace

int32_t bt_rss_create_tbl() {
    return korvo::create_table(
        "CREATE TABLE BT_RSS \t( rss_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, \trss_url TEXT, \trss_title TEXT, "
        "\trss_enclosure_url TEXT, \trss_keyword TEXT, \trss_user_def_title TEXT, \trss_downloaded INTEGER);",
        {"CREATE INDEX idx_rss_id on BT_RSS(rss_id);", "CREATE INDEX idx_rss_url on BT_RSS(rss_url);",
         "CREATE INDEX idx_rss_keyword on BT_RSS(rss_keyword);",
         "CREATE INDEX idx_rss_user_def_title on BT_RSS(rss_user_def_title);",
         "CREATE INDEX idx_rss_downloaded on BT_RSS(rss_downloaded);"});
}

int32_t bt_rss_remove_tbl() {
    return korvo::run("DROP TABLE BT_RSS;", BTDB_ERR_TABLE);
}

int32_t bt_rss_flush_tbl() {
    return korvo::run("DELETE FROM BT_RSS;", BTDB_ERR_FLUSH);
}

int32_t bt_rss_add(const BtRssRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::insert_then_latest_id(
        statement<"INSERT INTO BT_RSS \t( rss_url, \trss_title, \trss_enclosure_url, \trss_keyword, "
                  "\trss_user_def_title, \trss_downloaded) \tVALUES \t( '%q', '%q', '%q', '%q', '%q', %d );">(
            record->rss_url, record->rss_title, record->rss_enclosure_url, record->rss_keyword,
            record->rss_user_def_title, record->rss_downloaded),
        bt_rss_query_latest_id);
}

int32_t bt_rss_query_latest_id() {
    return korvo::read_value("SELECT rss_id FROM BT_RSS ORDER BY rss_id DESC LIMIT 1;");
}

int32_t bt_rss_query_data_by_id(int32_t rss_id, BtRssRecord *record) {
    if (record == nullptr || rss_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_row<read_columns>(statement<"SELECT * FROM BT_RSS WHERE rss_id = %ld;">(rss_id), record);
}

int32_t bt_rss_update_field_by_id(int32_t rss_id, uint32_t field, const void *value) {
    static constexpr korvo::SqlOfValue fields[] = {
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        statement_of<"rss_keyword = '%q'">,
        statement_of<"rss_user_def_title = '%q'">,
        statement_of<"rss_downloaded = %d">,
    };
    if (!korvo::serves(fields, field, value)) {
        return BTDB_ERR_PARAM;
    }
    const OwnedSql set = fields[field](value);
    return korvo::update_checked(statement<"UPDATE BT_RSS SET \t%s \tWHERE rss_id = %ld;">(set, rss_id));
}

int32_t bt_rss_del(uint32_t selector, const void *value) {
    static constexpr korvo::SqlOfValue keys[] = {
        statement_of<"DELETE FROM BT_RSS WHERE rss_id = %ld;">,
        statement_of<"DELETE FROM BT_RSS WHERE rss_url = '%q';">,
        nullptr, // rss_title is not a key
        nullptr, // neither is rss_enclosure_url
        statement_of<"DELETE FROM BT_RSS WHERE rss_keyword = '%q';">,
        statement_of<"DELETE FROM BT_RSS WHERE rss_user_def_title = '%q';">,
        statement_of<"DELETE FROM BT_RSS WHERE rss_downloaded = %d;">,
    };
    return korvo::delete_by_column(keys, selector, value);
}

int32_t bt_rss_query_count() {
    return korvo::read_value("SELECT COUNT(*) FROM BT_RSS;");
}

int32_t bt_rss_user_title_list_query(const char *file, TqRowCallback callback, void *context) {
    return korvo::list_rows(file, "SELECT DISTINCT rss_user_def_title,rss_url FROM BT_RSS;", callback, context);
}

int32_t bt_rss_query_data_by_ud_title(const char *file, TqRowCallback callback, const char *user_title, void *context) {
    if (user_title == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::list_rows(file, statement<"SELECT * FROM BT_RSS WHERE rss_user_def_title = '%q';">(user_title),
                            callback, context);
}

int32_t bt_rss_query(const char *file, TqRowCallback callback, int32_t /*reserved*/, int32_t start, int32_t end,
                     void *context) {
    if (!korvo::valid_paging(start, end)) {
        return BTDB_ERR_PARAM;
    }
    const OwnedSql page = korvo::paging(start, end);
    return korvo::list_rows(file, statement<"SELECT * FROM BT_RSS  %s;">(page), callback, context);
}
