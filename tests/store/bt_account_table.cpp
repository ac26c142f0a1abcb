// BT_ACCOUNT, described for the shared suites.

#include "tables.h"

namespace test {

#define FIELD(name) KORVO_FIELD(BtAccountRecord, account_##name)

namespace {

const std::vector<Field> fields = {FIELD(id), FIELD(host), FIELD(enable), FIELD(user), FIELD(pass)};

const auto third = sample<BtAccountRecord>(fields, 3);
BtAccountRecord *const out = scratch_record<BtAccountRecord>();

} // namespace

#define CALL KORVO_CALL
#define ENABLED "SELECT * FROM BT_ACCOUNT WHERE account_enable = "

Table bt_account_table() {
    const std::vector<std::string> all = all_but({"account_id"}, fields);
    return {
        .name = "BT_ACCOUNT",
        .schema = {creation("BT_ACCOUNT", fields, " \t"), "CREATE INDEX idx_account_host on BT_ACCOUNT(account_host);",
                   "CREATE INDEX idx_account_enable on BT_ACCOUNT(account_enable);"},
        .record_size = sizeof(BtAccountRecord),
        .fields = fields,
        .create = bt_account_create_tbl,
        .drop = bt_account_remove_tbl,
        .flush = bt_account_flush_tbl,
        .add = with_record<bt_account_add>,
        .add_returns_id = false,
        .reads = {read_by<&BtAccountRecord::account_id, bt_account_query_data_by_id>},
        .updates = {{[](void *record) {
                         const auto &account = as<BtAccountRecord>(record);
                         return bt_account_update(&account, account.account_id);
                     },
                     {"account_id"},
                     all}},
        .remove = bt_account_del,
        .selectors = {0, 1, 2},
        .drop_and_remove_wait = false,
        .listings = {{KORVO_LISTING(bt_account_query(file, callback, 102, context)), ENABLED "102", false},
                     {KORVO_LISTING(bt_account_query_all(file, callback, context)), "SELECT * FROM BT_ACCOUNT", false}},
        .operations = {adds(CALL(bt_account_add, &third), {insertion("BT_ACCOUNT", fields, &third, " \t")}, BTDB_OK),
                       updates(CALL(bt_account_update, &third, 1), "UPDATE BT_ACCOUNT SET \t" +
                                                                       assignments(fields, &third, all) +
                                                                       " \tWHERE account_id = 1;"),
                       queries(CALL(bt_account_query_data_by_id, natural(1), out),
                               "SELECT * FROM BT_ACCOUNT WHERE account_id = 1;"),
                       queries(CALL(bt_account_query_count), "SELECT COUNT(*) FROM BT_ACCOUNT;", 2),
                       queries(CALL(bt_account_query, nullptr, deliver, INT32_MIN, nullptr), ENABLED "-2147483648;"),
                       queries(CALL(bt_account_query_all, nullptr, deliver, nullptr), "SELECT * FROM BT_ACCOUNT;")},
    };
}

} // namespace test
