// What torrent details, RSS and accounts do alone: keys of several columns, of which 0 is a value like any other, rows
// that share a key, feeds, passwords.

#include "support.h"

#include <cstring>
#include <set>

using namespace test;

class Details : public StoreTest {
protected:
    Details() {
        for (const Table &table : tables()) {
            EXPECT_EQ(table.create(), BTDB_OK);
        }
    }
};

template <class Listing, class... Arguments> static Rows listed(Listing *listing, Arguments... arguments) {
    Listed rows;
    EXPECT_EQ(listing(nullptr, note, arguments..., &rows), BTDB_OK);
    return rows.rows;
}

// ---- Files and facts of a torrent

TEST_F(Details, FilesAreFoundByCommandAndTaskTogether) {
    sql("INSERT INTO BT_FDATA VALUES (1, 0, 0, 0, 5, 'a'), (2, 0, 7, 0, 5, 'b'), (3, 4, 0, 0, 5, 'c'), "
        "(4, 4, 7, 0, 5, 'd'), (5, 4, 7, 0, 6, 'e')");
    const Rows of_four = {{"4", "4", "7", "0", "5", "d"}, {"5", "4", "7", "0", "6", "e"}};
    EXPECT_EQ(bt_fdata_query_count(0, 0), 1);
    EXPECT_EQ(bt_fdata_query_count(4, 7), 2);
    EXPECT_EQ(bt_fdata_query_count(7, 4), 0);
    EXPECT_EQ(listed(bt_fdata_query, 0, 0), (Rows{{"1", "0", "0", "0", "5", "a"}}));
    EXPECT_EQ(listed(bt_fdata_query, 4, 7), of_four);
    EXPECT_EQ(listed(bt_fdata_query, 7, 4), Rows());
}

TEST_F(Details, BothUpdatesOfAFileReachTheRowsOfEveryCommand) {
    sql("INSERT INTO BT_FDATA VALUES (1, 1, 0, 1, 0, 'a'), (2, 2, 0, 1, 0, 'a'), (3, 1, 0, 1, 6, 'b'), "
        "(4, 1, 8, 1, 0, 'c')");
    const auto expect = [](const Row &first, const Row &second) {
        const Rows others = {{"3", "1", "0", "1", "6", "b"}, {"4", "1", "8", "1", "0", "c"}};
        EXPECT_EQ(listed(bt_fdata_query_all), (Rows{first, second, others[0], others[1]}));
    };
    EXPECT_EQ(bt_fdata_update_checked_by_task_id_and_file_index(0, 0, 0), BTDB_OK);
    expect({"1", "1", "0", "0", "0", "a"}, {"2", "2", "0", "0", "0", "a"});
    const BtFileDataRecord file = {99, 3, 0, -2, 0, "it's"};
    EXPECT_EQ(bt_fdata_upload(&file), BTDB_OK);
    expect({"1", "3", "0", "-2", "0", "it's"}, {"2", "3", "0", "-2", "0", "it's"});
}

// Three tasks; three senders and two commands for the first.
static void fill_facts() {
    sql("INSERT INTO BT_INFODATA (infodata_command, infodata_task_id, infodata_sender_pid, infodata_name) VALUES "
        "(0, 0, 0, 'a'), (0, 0, 322, 'b'), (2, 0, 0, 'c'), (0, 0, -1, 'd'), (0, 8, 0, 'e'), (0, -7, -1, 'f')");
}

static Rows facts() {
    return sql("SELECT infodata_command, infodata_task_id, infodata_sender_pid, infodata_name FROM BT_INFODATA");
}

TEST_F(Details, FactsAreFoundByCommandTaskAndSenderTogether) {
    fill_facts();
    for (const std::int32_t sender : {0, 322, -1, 323}) {
        const Rows found = listed(bt_infodata_query, 0, 0, sender);
        ASSERT_EQ(found.size(), sender == 323 ? 0 : 1);
        EXPECT_EQ(bt_infodata_query_count(0, 0, sender), found.size());
        if (!found.empty()) {
            EXPECT_EQ(found[0][5], sender == 0 ? "a" : sender == 322 ? "b" : "d");
        }
    }
}

TEST_F(Details, UpdatingFactsOverwritesEveryRowOfTheTask) {
    for (const std::int32_t task : {0, -7}) {
        bt_infodata_flush_tbl();
        fill_facts();
        Rows expected = facts();
        for (Row &row : expected) {
            if (row[1] == std::to_string(task)) {
                row = {"5", row[1], "400", "it's"};
            }
        }
        BtInfoDataRecord record = {};
        record.infodata_command = 5;
        record.infodata_task_id = task;
        record.infodata_sender_pid = 400;
        std::strcpy(record.infodata_name, "it's");
        EXPECT_EQ(bt_infodata_update(&record), BTDB_OK);
        EXPECT_EQ(facts(), expected);
        record.infodata_task_id = 9;
        EXPECT_EQ(bt_infodata_update(&record), BTDB_ERR_UPDATE);
        EXPECT_EQ(facts(), expected);
    }
}

TEST_F(Details, DeletingASendersFactsLeavesThoseOfOthers) {
    fill_facts();
    Rows expected = facts();
    expected.erase(expected.begin() + 2);
    expected.erase(expected.begin());
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(bt_infodata_del_by_task_id_and_pid(0, 0), BTDB_OK);
        EXPECT_EQ(facts(), expected);
    }
}

// ---- RSS

TEST_F(Details, EachPairOfTitleAndAddressIsOneFeed) {
    for (int item = 0; item < 10; ++item) {
        BtRssRecord record = {};
        std::strcpy(record.rss_url, item % 2 == 0 ? "http://a/?x='1'" : "http://b/");
        std::strcpy(record.rss_user_def_title, item < 5 ? "Al's" : "al's");
        EXPECT_EQ(bt_rss_add(&record), item + 1);
    }
    const Rows feeds = listed(bt_rss_user_title_list_query);
    EXPECT_EQ(
        std::set<Row>(feeds.begin(), feeds.end()),
        (std::set<Row>{
            {"Al's", "http://a/?x='1'"}, {"Al's", "http://b/"}, {"al's", "http://a/?x='1'"}, {"al's", "http://b/"}}));
    EXPECT_EQ(feeds.size(), 4);
    EXPECT_EQ(listed(bt_rss_query_data_by_ud_title, "Al's").size(), 5) << "letter case counts";
    EXPECT_EQ(bt_rss_del(1, "http://a/?x='1'"), BTDB_OK);
    EXPECT_EQ(bt_rss_query_count(), 5);
}

TEST_F(Details, AFieldIsStoredWholeAndANegativeIdentifierMatchesNothing) {
    const std::string text(3000, '\'');
    const BtRssRecord item = {};
    const BtRssJobRecord job = {};
    EXPECT_EQ(bt_rss_add(&item), 1);
    EXPECT_EQ(bt_rss_job_add(&job), 1);
    EXPECT_EQ(bt_rss_update_field_by_id(1, 4, text.c_str()), BTDB_OK);
    EXPECT_EQ(bt_rss_job_update_field_by_id(1, 9, text.c_str()), BTDB_OK);
    EXPECT_EQ(sql("SELECT rss_keyword, rss_job_episode FROM BT_RSS, BT_RSS_JOB"), (Rows{{text, text}}));
    EXPECT_EQ(bt_rss_update_field_by_id(-1, 4, ""), BTDB_ERR_UPDATE);
    EXPECT_EQ(bt_rss_job_update_field_by_id(-1, 9, ""), BTDB_ERR_UPDATE);
}

// ---- Accounts

static BtAccountRecord account(const char *host, std::int32_t enable, const char *user, const char *pass) {
    BtAccountRecord record = {};
    record.account_enable = enable;
    std::strcpy(record.account_host, host);
    std::strcpy(record.account_user, user);
    std::strcpy(record.account_pass, pass);
    return record;
}

TEST_F(Details, AnAccountIsOverwrittenByTheIdentifierBesideTheRecord) {
    for (const char *user : {"a", "b"}) {
        const BtAccountRecord record = account("host", 1, user, "p");
        EXPECT_EQ(bt_account_add(&record), BTDB_OK) << "a host may have several";
    }
    BtAccountRecord record = account("other", -1, "c", "q");
    record.account_id = 1;
    EXPECT_EQ(bt_account_update(&record, 2), BTDB_OK);
    const Rows expected = {{"1", "host", "1", "a", "p"}, {"2", "other", "-1", "c", "q"}};
    EXPECT_EQ(listed(bt_account_query_all), expected);
    for (const std::int32_t missing : {3, 0, -1}) {
        EXPECT_EQ(bt_account_update(&record, missing), BTDB_ERR_UPDATE);
    }
    EXPECT_EQ(listed(bt_account_query_all), expected);
    EXPECT_EQ(listed(bt_account_query, -1), Rows{expected[1]});
    EXPECT_EQ(listed(bt_account_query, 0), Rows());
}

TEST_F(Details, PasswordsComeBackAsTheyWere) {
    const std::string longest(sizeof BtAccountRecord::account_pass - 1, '\'');
    const char *const passwords[] = {"it's", "''", "\\' OR 1=1; --", "%q%s%%", " \t\n", "", longest.c_str()};
    for (const char *password : passwords) {
        bt_account_flush_tbl();
        BtAccountRecord record = account("host", 1, "it's me", password);
        EXPECT_EQ(bt_account_add(&record), BTDB_OK);
        const std::int32_t id = std::stoi(listed(bt_account_query_all)[0][0]);
        EXPECT_EQ(listed(bt_account_query, 1)[0][4], password);
        std::memset(&record, 'x', sizeof record);
        EXPECT_EQ(bt_account_query_data_by_id(id, &record), BTDB_OK);
        EXPECT_STREQ(record.account_pass, password);
        EXPECT_EQ(bt_account_update(&record, id), BTDB_OK);
        EXPECT_EQ(sql("SELECT account_user, account_pass FROM BT_ACCOUNT"), (Rows{{"it's me", password}}));
    }
}
