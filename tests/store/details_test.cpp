// What torrent details and accounts do alone: keys beside the record, and negative ones.

#include "support.h"

#include <cstring>

namespace test {
namespace {

TEST_F(StoreTest, MetadataOfATaskWithANegativeIdentifierIsOverwrittenToo) {
    fill(bt_infodata_table(), 0);
    sql("INSERT INTO BT_INFODATA (infodata_command, infodata_task_id, infodata_name) VALUES (1, -7, 'a'), (2, -7, 'b'), "
        "(1, 7, 'c')");
    BtInfoDataRecord record = {};
    record.infodata_command = 5;
    record.infodata_task_id = -7;
    std::strcpy(record.infodata_name, "it's");
    EXPECT_EQ(bt_infodata_update(&record), BTDB_OK);
    EXPECT_EQ(sql("SELECT infodata_command, infodata_task_id, infodata_name FROM BT_INFODATA"),
              (Rows{{"5", "-7", "it's"}, {"5", "-7", "it's"}, {"1", "7", "c"}}));
    record.infodata_task_id = -8;
    EXPECT_EQ(bt_infodata_update(&record), BTDB_ERR_UPDATE);
}

TEST_F(StoreTest, AnAccountIsOverwrittenByTheIdentifierBesideTheRecord) {
    const Table table = bt_account_table();
    fill(table);
    Record record(table, 1); // whose own identifier is ignored
    const auto &account = *static_cast<const BtAccountRecord *>(record.data());
    EXPECT_EQ(bt_account_update(&account, 2), BTDB_OK);
    Record second = record;
    second.set(0, 2);
    const Rows expected = {record.row(), second.row()};
    EXPECT_EQ(stored(table), expected);
    for (const int32_t missing : {3, 0, -1}) {
        EXPECT_EQ(bt_account_update(&account, missing), BTDB_ERR_UPDATE);
    }
    EXPECT_EQ(stored(table), expected);
}

} // namespace
} // namespace test
