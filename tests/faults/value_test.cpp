// Values at their ends: every text around its field's width and far beyond it, every number at its limits, every column
// position in and out of range. And files that hold anything at all.

#include "trial.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>

namespace test {
namespace {

// ---- Boundaries

class Boundaries : public StoreTest, public testing::WithParamInterface<Table> {
protected:
    const Table &table = GetParam();

    // The row as the library reads it: into a record, or listed where the table has no such read.
    void expect_stored_and_read(Record record, const std::string &whole_text = "", std::size_t text_at = 0);
    void check_text(std::size_t at);
    void check_number(std::size_t at);
    // A delete of the row that holds the value in its column, or setting the column of that row to it.
    void check_position(uint32_t position, bool serves, const Setter *setter = nullptr);
};

INSTANTIATE_TEST_SUITE_P(Store, Boundaries, testing::ValuesIn(tables()),
                         [](const auto &table) { return std::string(table.param.name); });

const int64_t numbers[] = {INT32_MIN, -1, 0, INT32_MAX, int64_t{1} << 31, INT64_MIN, INT64_MAX};
std::vector<std::size_t> lengths(const Field &field) {
    return {field.size - 2, field.size - 1, field.size, field.size + 1, 100'000};
}
std::string text_of(std::size_t length) {
    return std::string(length - 1, 'x') + "'";
}

void Boundaries::expect_stored_and_read(Record record, const std::string &whole_text, std::size_t text_at) {
    Row expected = record.row();
    if (!whole_text.empty()) {
        expected[text_at] = literal(whole_text);
    }
    ASSERT_EQ(stored(table), Rows{expected});
    if (!table.reads.empty()) {
        Record found(table);
        EXPECT_EQ(table.reads[0](record.data(), found.data()), BTDB_OK);
        EXPECT_EQ(found.row(), record.as_read().row());
    }
    for (const Listing &listing : table.listings) {
        Listed listed;
        EXPECT_EQ(listing.call(nullptr, note, 0, 0, &listed), BTDB_OK);
        EXPECT_EQ(listed.rows, sql(listing.select));
    }
}

void Boundaries::check_text(std::size_t at) {
    const Field &field = table.fields[at];
    for (const std::size_t length : lengths(field)) {
        start_afresh();
        fill(table, 0);
        Record record(table, 1);
        record.set(at, text_of(length)); // cut to the field
        EXPECT_GE(table.add(record.data()), 0);
        const std::string text = text_of(length);
        sql("UPDATE " + std::string(table.name) + " SET " + field.column + " = " + literal(text) +
            (length < field.size ? " WHERE 0" : ""));
        expect_stored_and_read(record, text, at);
    }
}

void Boundaries::check_number(std::size_t at) {
    const Kind kind = table.fields[at].kind;
    for (const int64_t number : numbers) {
        Record record(table, 1);
        if (kind == Kind::whole_float) {
            record.set_float(at, static_cast<float>(static_cast<int32_t>(number) / 256) - 0.5F);
        } else {
            record.set(at, number); // cut to the field
        }
        start_afresh();
        fill(table, 0);
        EXPECT_GE(table.add(record.data()), 0);
        expect_stored_and_read(record);
    }
}

void Boundaries::check_position(uint32_t position, bool serves, const Setter *setter) {
    const std::size_t at = std::min<std::size_t>(position, table.fields.size() - 1);
    const Field &field = table.fields[at];
    const auto check = [&](const void *value, const std::string &as_literal) {
        start_afresh();
        fill(table);
        Rows rows = stored(table);
        rows[0][at] = as_literal;
        if (setter == nullptr) {
            sql("UPDATE " + std::string(table.name) + " SET " + field.column + " = " + as_literal + " WHERE rowid = 1");
            EXPECT_EQ(table.remove(position, value), serves ? BTDB_OK : BTDB_ERR_PARAM);
            EXPECT_EQ(stored(table).size(), serves ? 1U : 2U);
        } else {
            const auto key = static_cast<int32_t>(std::stoi(rows[0][position_of(table.fields, setter->key)]));
            EXPECT_EQ(setter->call(key, position, value), serves ? BTDB_OK : BTDB_ERR_PARAM);
            EXPECT_EQ(stored(table) == rows, serves);
            for (const int32_t nobody : {INT32_MIN, -1, 0, INT32_MAX}) {
                EXPECT_EQ(setter->call(nobody, position, value), serves ? BTDB_ERR_UPDATE : BTDB_ERR_PARAM);
            }
        }
    };
    if (field.kind == Kind::text) {
        for (const std::size_t length : lengths(field)) {
            check(text_of(length).c_str(), literal(text_of(length)));
        }
        return;
    }
    for (const int64_t number : numbers) {
        Record record(table, 1);
        if (field.kind == Kind::whole_float) {
            record.set_float(at, static_cast<float>(number));
        } else {
            record.set(at, number);
        }
        check(record.field(at), record.row()[at]);
    }
}

TEST_P(Boundaries, HoldForEveryFieldAndPosition) {
    struct {
        const char *what;
        int good, all;
    } counts[] = {{"texts", 0, 0}, {"numbers", 0, 0}, {"delete positions", 0, 0}, {"set positions", 0, 0}};
    const auto count = [&](int what, const std::function<void()> &check) {
        const bool failed = HasFailure();
        check();
        ++counts[what].all;
        counts[what].good += failed || !HasFailure() ? 1 : 0;
    };
    fill(table, 0);
    const Rows columns = sql("SELECT name, type FROM pragma_table_info('" + std::string(table.name) + "')");
    ASSERT_EQ(columns.size(), table.fields.size());
    for (std::size_t at = 1; at < table.fields.size(); ++at) {
        SCOPED_TRACE(table.fields[at].column);
        ASSERT_EQ(columns[at][0], table.fields[at].column);
        const bool text = columns[at][1] == "TEXT";
        count(text ? 0 : 1, [&] { text ? check_text(at) : check_number(at); });
    }
    const auto last = static_cast<uint32_t>(table.fields.size());
    for (uint32_t position = 0; position <= last + 2; ++position) {
        const uint32_t code = position == last + 1 ? 0x80000000U : position == last + 2 ? 0xffffffffU : position;
        SCOPED_TRACE(code);
        const auto served_by = [&](const auto &positions) {
            return std::find(positions.begin(), positions.end(), code) != positions.end();
        };
        if (table.remove != nullptr) {
            count(2, [&] { check_position(code, served_by(table.selectors)); });
        }
        for (const Setter &setter : table.setters) {
            count(3, [&] { check_position(code, served_by(setter.positions), &setter); });
        }
    }
    std::printf("%-14s", table.name);
    for (const auto &[what, good, all] : counts) {
        std::printf("  %s %d of %d%s", what, good, all, all > 0 && good == all ? " (100 %)" : "");
    }
    std::printf("\n");
}

// No row has it, but it is no wrong identifier either.
TEST_F(StoreTest, LooksForTheIdentifierZeroToo) {
    for (const Table &table : tables()) {
        table.create();
    }
    static const int32_t value = 0;
    const struct {
        int32_t result;
        int32_t (*call)();
    } calls[] = {
        {BTDB_ERR_UPDATE, [] { return bt_db_update_task_move_folder_by_task_id(0, ""); }},
        {BTDB_ERR_UPDATE, [] { return bt_db_update_task_hash_by_task_id(0, ""); }},
        {BTDB_ERR_UPDATE, [] { return bt_db_update_recode_by_task_id(0, 0); }},
        {BTDB_ERR_QUERY, [] { return bt_db_query_filename_by_task_id(0, scratch); }},
        {BTDB_ERR_QUERY, [] { return bt_db_query_data_by_task_id(0, scratch_record<BtTaskRecord>()); }},
        {BTDB_OK, [] { return bt_db_query_data_by_task_id_with_callback(deliver, 0, nullptr); }},
        {BTDB_ERR_QUERY, [] { return bt_db_query_data_by_session_id(0, scratch_record<BtSessionRecord>()); }},
        {BTDB_ERR_UPDATE, [] { return http_ftp_db_update_pid_by_task_id(0, 0); }},
        {BTDB_ERR_UPDATE, [] { return http_ftp_db_update_task_field_by_id(0, HTTP_FTP_TASK_FIELD_STATE, &value); }},
        {BTDB_ERR_UPDATE, [] { return http_ftp_db_update_task_field_by_pid(0, HTTP_FTP_TASK_FIELD_STATE, &value); }},
        {BTDB_ERR_QUERY, [] { return http_ftp_db_query_filename_by_task_id(0, scratch); }},
        {BTDB_ERR_QUERY, [] { return http_ftp_db_query_pid_by_task_id(0); }},
        {BTDB_ERR_QUERY, [] { return http_ftp_db_query_data_by_task_id(0, scratch_record<HttpFtpTaskRecord>()); }},
        {0, [] { return bt_fdata_query_count(0, 0); }},
        {BTDB_OK, [] { return bt_fdata_query(nullptr, deliver, 0, 0, nullptr); }},
        {0, [] { return bt_infodata_query_count(0, 0, 0); }},
        {BTDB_OK, [] { return bt_infodata_query(nullptr, deliver, 0, 0, 0, nullptr); }},
        {BTDB_ERR_QUERY, [] { return bt_rss_query_data_by_id(0, scratch_record<BtRssRecord>()); }},
        {BTDB_ERR_QUERY, [] { return bt_rss_job_query_data_by_id(0, scratch_record<BtRssJobRecord>()); }},
        {BTDB_ERR_QUERY, [] { return bt_account_query_data_by_id(0, scratch_record<BtAccountRecord>()); }},
    };
    for (const auto &[result, look] : calls) {
        EXPECT_EQ(look(), result);
    }
}

// ---- Damage

std::string bytes_of(const char *file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void damage(std::string &bytes, std::minstd_rand &random) {
    const auto anywhere = [&] {
        const auto place = random() % bytes.size();
        // Where SQLite keeps its own: at the beginning of the file, and of each page.
        return random() % 2 == 0 ? place : random() % 3 == 0 ? place % 100 : place / 4096 * 4096 + place % 64;
    };
    for (auto count = 1 + random() % 8; count > 0; --count) {
        const auto at = anywhere();
        switch (random() % 4) {
        case 0:
            bytes[at] = static_cast<char>(bytes[at] ^ (1 << random() % 8));
            break;
        case 1:
            bytes[at] = static_cast<char>(random());
            break;
        case 2:
            std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), std::min<std::size_t>(bytes.size() - at, 16),
                        random() % 2 == 0 ? '\0' : '\xff');
            break;
        default:
            if (random() % 4 == 0) {
                bytes.resize(at + 1);
            }
        }
    }
}

TEST_F(StoreTest, SurvivesDamagedFiles) {
    for (const Table &table : tables()) {
        table.create();
        for (int seed = 1; seed <= 4; ++seed) {
            insert(table, Record(table, seed).row());
        }
    }
    const std::string whole = bytes_of(database);
    const std::vector<OperationOfTable> operations = all_operations();
    std::minstd_rand random(11);
    std::size_t next = 0;
    const int files = effort(20, 300, 10000);
    for (int file = 0; file < files && !HasFailure(); ++file) {
        std::string bytes = whole;
        damage(bytes, random);
        start_afresh();
        std::ofstream(database, std::ios::binary) << bytes;
        if (random() % 4 == 0) {
            std::ofstream(database + std::string("-journal"), std::ios::binary) << bytes.substr(0, random() % 9000);
        }
        for (int i = 0; i < 12; ++i) {
            const auto &[table, operation] = operations[next++ % operations.size()];
            SCOPED_TRACE("file " + std::to_string(file) + ", " + operation.name);
            const int32_t result = call(operation);
            const bool adds = operation.failure == BTDB_ERR_INSERT;
            EXPECT_TRUE(result >= 0 || result == operation.failure || result == BTDB_ERR_OPEN ||
                        (adds && result == BTDB_ERR_QUERY))
                << result;
            EXPECT_TRUE(std::all_of(scratch + std::max<std::size_t>(table->record_size, 1024), std::end(scratch),
                                    [](char c) { return c == '\xa5'; }));
            EXPECT_EQ(connections(), 0);
            tally(result >= 0 ? "calls on damaged files that succeeded" : "calls on damaged files that failed");
        }
    }
    tally("damaged files", files);
}

} // namespace
} // namespace test
