// BT_ACCOUNT, login accounts per host. Passwords are stored as plain text in the file and nowhere else. Its drop and
// its delete do not wait for a lock.

#include "frame/shapes.h"

using korvo::OnLock;
using korvo::Row;
using korvo::statement;
using korvo::statement_of;

namespace {

// The walk over BT_ACCOUNT's columns, in table order.
void read_columns(Row &row, BtAccountRecord &account) {
    row.low_int32(account.account_id)
        .string(account.account_host)
        .int32(account.account_enable)
        .string(account.account_user)
        .string(account.account_pass);
}

} // namespace

int32_t bt_account_create_tbl() {
    return korvo::create_table(
        "CREATE TABLE BT_ACCOUNT \t( account_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, \taccount_host TEXT, "
        "\taccount_enable INTEGER, \taccount_user TEXT, \taccount_pass TEXT \t);",
        {"CREATE INDEX idx_account_host on BT_ACCOUNT(account_host);",
         "CREATE INDEX idx_account_enable on BT_ACCOUNT(account_enable);"});
}

int32_t bt_account_remove_tbl() {
    return korvo::run("DROP TABLE BT_ACCOUNT;", BTDB_ERR_TABLE, OnLock::fail);
}

int32_t bt_account_flush_tbl() {
    return korvo::run("DELETE FROM BT_ACCOUNT;", BTDB_ERR_FLUSH);
}

int32_t bt_account_add(const BtAccountRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::run(
        statement<"INSERT INTO BT_ACCOUNT \t( account_host, \taccount_enable, \taccount_user, \taccount_pass \t) "
                  "\tVALUES \t( '%q', %d, '%q', '%q' );">(record->account_host, record->account_enable,
                                                          record->account_user, record->account_pass),
        BTDB_ERR_INSERT);
}

int32_t bt_account_update(const BtAccountRecord *record, int32_t account_id) {
    if (record == nullptr) {
        return BTDB_ERR_PARAM;
    }
    return korvo::update_checked(
        statement<"UPDATE BT_ACCOUNT SET \taccount_host = '%q', \taccount_enable = %d, \taccount_user = '%q', "
                  "\taccount_pass = '%q' \tWHERE account_id = %ld;">(
            record->account_host, record->account_enable, record->account_user, record->account_pass, account_id));
}

int32_t bt_account_query_data_by_id(int32_t account_id, BtAccountRecord *record) {
    if (record == nullptr || account_id < 0) {
        return BTDB_ERR_PARAM;
    }
    return korvo::read_row<read_columns>(statement<"SELECT * FROM BT_ACCOUNT WHERE account_id = %ld;">(account_id),
                                         record);
}

int32_t bt_account_del(uint32_t selector, const void *value) {
    static constexpr korvo::SqlOfValue keys[] = {
        statement_of<"DELETE FROM BT_ACCOUNT WHERE account_id = %ld;">,
        statement_of<"DELETE FROM BT_ACCOUNT WHERE account_host = '%q';">,
        statement_of<"DELETE FROM BT_ACCOUNT WHERE account_enable = %d;">,
    };
    return korvo::delete_by_column(keys, selector, value, OnLock::fail);
}

int32_t bt_account_query_count() {
    return korvo::read_value("SELECT COUNT(*) FROM BT_ACCOUNT;");
}

int32_t bt_account_query(const char *file, TqRowCallback callback, int32_t enable, void *context) {
    return korvo::list_rows(file, statement<"SELECT * FROM BT_ACCOUNT WHERE account_enable = %d;">(enable), callback,
                            context);
}

int32_t bt_account_query_all(const char *file, TqRowCallback callback, void *context) {
    return korvo::list_rows(file, "SELECT * FROM BT_ACCOUNT;", callback, context);
}
