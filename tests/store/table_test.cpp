// What every table and every operation does alike.

#include "support.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <sys/stat.h>
#include <utility>

namespace test {
namespace {

// ---- Each operation of each table: the frame around its statement, and how it fails

class EveryOperation : public StoreTest, public testing::WithParamInterface<OperationOfTable> {
protected:
    const Table &table = *GetParam().table;
    const Operation &operation = GetParam().operation;

    // Nothing was changed, read or listed, and the connection is gone.
    void expect_nothing_done(const Rows &before) {
        EXPECT_EQ(contents(), before);
        EXPECT_TRUE(scratch_is_clean());
        EXPECT_EQ(delivered, "");
        EXPECT_EQ(connections(), 0);
    }
};

INSTANTIATE_TEST_SUITE_P(Store, EveryOperation, testing::ValuesIn(all_operations()),
                         [](const auto &of) { return name_of(of.param); });

TEST_P(EveryOperation, HandsItsStatementToSqliteOnAConnectionOfItsOwn) {
    prepare(table, operation);
    // Creating is the one operation that runs all its statements on one connection.
    std::vector<std::string> expected;
    for (const std::string &statement : operation.statements) {
        const bool goes_on = creates(operation) && !expected.empty();
        if (goes_on) {
            expected.pop_back();
        } else {
            expected.insert(expected.end(), {"open /mnt/HDA_ROOT/tq.db"});
            if (operation.waits) {
                expected.emplace_back("wait 20000");
            }
        }
        expected.insert(expected.end(), {"run " + statement, "close"});
    }
    Recording recording;
    EXPECT_EQ(call(operation), operation.success);
    EXPECT_EQ(recording.calls, expected);
}

TEST_P(EveryOperation, FailsWithItsCodeWhenThereIsNoTable) {
    if (creates(operation)) {
        return;
    }
    EXPECT_EQ(call(operation), failure_of(operation, SQLITE_ERROR));
    expect_nothing_done({});
}

TEST_P(EveryOperation, RefusesInvalidArgumentsBeforeAnyWork) {
    {
        Recording recording;
        for (std::size_t i = 0; i < operation.refused.size(); ++i) {
            std::memset(scratch, '\xa5', sizeof scratch);
            EXPECT_EQ(operation.refused[i](), BTDB_ERR_PARAM) << i;
            EXPECT_TRUE(scratch_is_clean()) << i;
        }
        EXPECT_EQ(recording.calls, std::vector<std::string>());
    }
    for (const auto &accepted : operation.accepted) {
        EXPECT_NE(accepted(), BTDB_ERR_PARAM);
    }
}

TEST_P(EveryOperation, FailsWithOpenWhenTheDirectoryIsMissing) {
    prepare(table, operation);
    const Rows before = contents();
    const std::string aside = std::string(directory) + ".aside";
    ASSERT_EQ(std::rename(directory, aside.c_str()), 0);
    {
        Recording recording;
        EXPECT_EQ(call(operation), BTDB_ERR_OPEN);
        EXPECT_EQ(recording.calls, (std::vector<std::string>{"open /mnt/HDA_ROOT/tq.db", "close"}));
    }
    ASSERT_EQ(std::rename(aside.c_str(), directory), 0);
    expect_nothing_done(before);
}

TEST_P(EveryOperation, FailsWithItsCodeOnADamagedFile) {
    prepare(table, operation);
    sql("PRAGMA writable_schema = 1; DELETE FROM sqlite_master; INSERT INTO sqlite_master (type, name, tbl_name, "
        "rootpage, sql) VALUES ('table', 'broken', 'broken', 2, 'CREATE TABLE broken (')");
    EXPECT_EQ(call(operation), failure_of(operation, SQLITE_CORRUPT));
    EXPECT_TRUE(scratch_is_clean());
}

// ---- Each table

class EveryTable : public StoreTest, public testing::WithParamInterface<Table> {
protected:
    const Table &table = GetParam();
    Rows ids() { return sql("SELECT " + std::string(table.fields[0].column) + " FROM " + table.name + " ORDER BY 1"); }
    // The positions of its columns, and some invalid ones.
    std::vector<uint32_t> positions() const {
        std::vector<uint32_t> all(table.fields.size() + 1);
        std::iota(all.begin(), all.end(), 0U);
        all.insert(all.end(), {0x80000000U, 0xffffffffU});
        return all;
    }
    static bool contains(const std::vector<uint32_t> &served, uint32_t position) {
        return std::find(served.begin(), served.end(), position) != served.end();
    }
    // What its updates write, each single column of a setter among them.
    std::vector<Update> updates() {
        std::vector<Update> all = table.updates;
        for (const Setter &setter : table.setters) {
            const std::size_t key = position_of(table.fields, setter.key);
            for (const uint32_t position : setter.positions) {
                all.push_back({[this, &setter, key, position](void *record) {
                                   const auto *bytes = static_cast<const char *>(record);
                                   return setter.call(as<int32_t>(bytes + table.fields[key].offset), position,
                                                      bytes + table.fields[position].offset);
                               },
                               {setter.key},
                               {table.fields[position].column}});
            }
        }
        return all;
    }
};

INSTANTIATE_TEST_SUITE_P(Store, EveryTable, testing::ValuesIn(tables()),
                         [](const auto &table) { return std::string(table.param.name); });

TEST_P(EveryTable, IsCreatedAsStatedAndOnlyOnce) {
    Rows expected;
    for (const std::string &statement : table.schema) {
        expected.push_back({statement.substr(0, statement.size() - 1)});
    }
    const auto schema = [] {
        return sql("SELECT sql FROM sqlite_master WHERE sql NOT NULL AND name != 'sqlite_sequence'");
    };
    EXPECT_EQ(table.create(), BTDB_OK);
    EXPECT_EQ(schema(), expected);

    insert(table, Record(table, 1).row());
    EXPECT_EQ(table.create(), BTDB_ERR_TABLE);
    EXPECT_EQ(schema(), expected);
    EXPECT_EQ(ids(), (Rows{{"1"}}));

    // A second creation adds an index that is missing.
    if (table.schema.size() > 1) {
        sql("DROP INDEX " + sql("SELECT name FROM sqlite_master WHERE type = 'index' ORDER BY rowid DESC")[0][0]);
        EXPECT_EQ(table.create(), BTDB_ERR_TABLE);
        EXPECT_EQ(schema(), expected);
    }

    EXPECT_EQ(table.drop(), BTDB_OK);
    EXPECT_EQ(schema(), Rows());
    EXPECT_EQ(table.drop(), BTDB_ERR_TABLE);
}

TEST_P(EveryTable, GivesEachIdentifierOnceUntilItIsDropped) {
    const auto add = [this](const Rows &expected) {
        Record record(table, 9); // whose own identifier is ignored
        EXPECT_EQ(table.add(record.data()), table.add_returns_id ? std::stoi(expected.back()[0]) : BTDB_OK);
        EXPECT_EQ(ids(), expected);
    };
    fill(table, 0);
    EXPECT_EQ(table.flush(), BTDB_OK);
    add({{"1"}});
    add({{"1"}, {"2"}});
    EXPECT_EQ(table.flush(), BTDB_OK);
    EXPECT_EQ(ids(), Rows());
    add({{"3"}});
    EXPECT_EQ(table.drop(), BTDB_OK);
    EXPECT_EQ(table.create(), BTDB_OK);
    add({{"1"}});

    // One that does not fit the result: the row is stored, but its identifier cannot be returned.
    sql("UPDATE " + std::string(table.name) + " SET " + table.fields[0].column + " = 2147483647");
    Record record(table, 9);
    EXPECT_EQ(table.add(record.data()), table.add_returns_id ? BTDB_ERR_QUERY : BTDB_OK);
    EXPECT_EQ(ids(), (Rows{{"2147483647"}, {"2147483648"}}));
}

// Values that a record may hold: one of each kind goes into every field.
std::vector<Record> hostile_records(const Table &table) {
    std::string every_low, every_high;
    for (int c = 1; c < 256; ++c) {
        (c < 0x80 ? every_low : every_high) += static_cast<char>(c);
    }
    const std::string texts[] = {"it's",
                                 "'); DROP TABLE " + std::string(table.name) + "; --",
                                 "%q %s %d %n %%",
                                 "\xe9\x9b\xaa \xf0\x9f\x8e\x89 n\xcc\x83",
                                 every_low,
                                 every_high,
                                 std::string(4096, '\''),
                                 std::string(4096, 'x'),
                                 ""};
    const int64_t numbers[] = {INT64_MIN, INT64_MAX, INT32_MIN, INT32_MAX, -1, 0};
    std::vector<Record> records;
    for (std::size_t i = 0; i < std::size(texts); ++i) {
        Record &record = records.emplace_back(table, 7);
        for (std::size_t at = 1; at < table.fields.size(); ++at) {
            if (table.fields[at].kind == Kind::text) {
                record.set(at,
                           i == 0 ? std::string(table.fields[at].size - 2, 'x') : texts[i]); // truncated to the field
            } else if (table.fields[at].kind != Kind::int_as_float) {
                record.set(at, numbers[i % std::size(numbers)]); // truncated to the field
            }
        }
    }
    records.emplace_back(table, 8);
    return records;
}

TEST_P(EveryTable, StoresEveryFieldInItsColumnAndReadsItBack) {
    for (Record &record : hostile_records(table)) {
        SCOPED_TRACE(record.row()[1]);
        start_afresh();
        fill(table, 0);
        EXPECT_GE(table.add(record.data()), 0);
        record.set(0, 1);
        ASSERT_EQ(stored(table), (Rows{record.row()}));
        for (const Read &read : table.reads) {
            Record found(table);
            EXPECT_EQ(read(record.data(), found.data()), BTDB_OK);
            EXPECT_EQ(found.row(), record.as_read().row());
        }
    }
}

TEST_P(EveryTable, ReadsOnlyTheRowOfTheKey) {
    fill(table, 3);
    Record second(table, 2);
    Record missing(table, 9);
    for (const Read &read : table.reads) {
        Record found(table);
        const Row untouched = found.row();
        for (const int64_t id : {9, 0}) {
            missing.set(0, id);
            EXPECT_EQ(read(missing.data(), found.data()), BTDB_ERR_QUERY);
        }
        EXPECT_EQ(found.row(), untouched);
        EXPECT_EQ(read(second.data(), found.data()), BTDB_OK);
        EXPECT_EQ(found.row(), second.as_read().row());
    }
}

// Other programs write what they like: each column in turn holds what its field cannot.
TEST_P(EveryTable, ReadsForeignValuesWithoutWritingPastAField) {
    const std::string too_long(table.record_size + 100, 'y');
    for (std::size_t at = 1; !table.reads.empty() && at < table.fields.size(); ++at) {
        const Field &field = table.fields[at];
        const std::string just_too_long = too_long.substr(0, field.size);
        const std::tuple<std::string, std::string, int64_t> values[] = {
            {"NULL", "", 0},
            {"zeroblob(4)", "", 0},
            {"x'616263'", "abc", 0},
            {"'12 apples'", "12 apples", 12},
            {"4294967301", "4294967301", 4294967301},
            {"-2147483649", "-2147483649", -2147483649},
            {"7.9", "7.9", 7},
            {literal(too_long), too_long, 0},
            {literal(just_too_long), just_too_long, 0},
        };
        start_afresh();
        fill(table, 1);
        for (const auto &[value, text, number] : values) {
            SCOPED_TRACE(field.column + (" = " + value.substr(0, 40)));
            sql("UPDATE " + std::string(table.name) + " SET " + field.column + " = " + value);
            Record expected = Record(table, 1).as_read();
            if (field.kind == Kind::text) {
                expected.set(at, text);
            } else if (field.kind == Kind::int_as_float) {
                expected.set_float(at, static_cast<float>(static_cast<int32_t>(number)));
            } else {
                expected.set(at, number);
            }
            Record found(table);
            EXPECT_EQ(table.reads[0](expected.data(), found.data()), BTDB_OK);
            EXPECT_EQ(found.row(), expected.row());
        }
    }
}

// Beside the row of the keys stand one that has them too, unless the identifier is the key, and one that has all of
// them but one.
TEST_P(EveryTable, UpdatesItsColumnsInEveryRowOfTheKeyAndNothingElse) {
    for (const Update &update : updates()) {
        const bool by_id = update.keys[0] == table.fields[0].column;
        for (const std::string &other_key : update.keys) {
            SCOPED_TRACE("by " + other_key + ": " + update.writes[0]);
            start_afresh();
            fill(table, 1);
            Record first(table, 1), second(table, 2), third(table, 3), values(table, 4), missing(table, 9);
            for (const std::string &key : update.keys) {
                values.copy(key, first);
                if (key != other_key) {
                    second.copy(key, first);
                    missing.copy(key, first);
                }
                if (!by_id) {
                    third.copy(key, first);
                }
            }
            insert(table, second.row());
            insert(table, third.row());

            const Rows before = stored(table);
            EXPECT_EQ(update.call(missing.data()), BTDB_ERR_UPDATE);
            EXPECT_EQ(stored(table), before);

            EXPECT_EQ(update.call(values.data()), BTDB_OK);
            for (const std::string &column : update.writes) {
                first.copy(column, values);
                if (!by_id) {
                    third.copy(column, values);
                }
            }
            EXPECT_EQ(stored(table), (Rows{first.row(), second.row(), third.row()}));
            EXPECT_EQ(update.call(values.data()), BTDB_OK) << "a row that matches but does not change counts";
        }
    }
}

TEST_P(EveryTable, SetsNoColumnThatItDoesNotServe) {
    const Record first(table, 1);
    Recording recording;
    for (const Setter &setter : table.setters) {
        for (const uint32_t position : positions()) {
            SCOPED_TRACE(setter.name + std::to_string(position));
            EXPECT_EQ(setter.call(1, position, nullptr), BTDB_ERR_PARAM);
            if (!contains(setter.positions, position)) {
                EXPECT_EQ(setter.call(1, position, first.field(0)), BTDB_ERR_PARAM);
            }
        }
    }
    EXPECT_EQ(recording.calls, std::vector<std::string>());
}

TEST_P(EveryTable, DeletesByTheColumnsItServesAndByNoOther) {
    if (table.remove == nullptr) {
        return;
    }
    Record first(table, 1), missing(table, 9);
    for (const uint32_t selector : positions()) {
        SCOPED_TRACE(selector);
        start_afresh();
        fill(table);
        const bool served = contains(table.selectors, selector);
        const std::size_t position = std::min<std::size_t>(selector, table.fields.size() - 1);
        const Rows all = stored(table);
        EXPECT_EQ(table.remove(selector, missing.field(position)), served ? BTDB_OK : BTDB_ERR_PARAM);
        EXPECT_EQ(table.remove(selector, nullptr), BTDB_ERR_PARAM);
        EXPECT_EQ(stored(table), all);
        EXPECT_EQ(table.remove(selector, first.field(position)), served ? BTDB_OK : BTDB_ERR_PARAM);
        EXPECT_EQ(stored(table), served ? Rows{all[1]} : all);
    }
}

TEST_P(EveryTable, RefusesInvalidPages) {
    Recording recording;
    for (const Listing &listing : table.listings) {
        for (const auto &[start, end] :
             {std::pair{-1, 0}, {0, -1}, {-2, -1}, {-1, 5}, {4, 2}, {1, 0}, {INT32_MIN, 0}}) {
            if (listing.paged) {
                EXPECT_EQ(listing.call(nullptr, deliver, start, end, nullptr), BTDB_ERR_PARAM) << start << ", " << end;
            }
        }
    }
    EXPECT_EQ(recording.calls, std::vector<std::string>());
}

TEST_P(EveryTable, ListsPageByPage) {
    fill(table, 7);
    for (const Listing &listing : table.listings) {
        SCOPED_TRACE(listing.select);
        const auto &[all, names, none] = Connection().listed(listing.select);
        ASSERT_FALSE(all.empty());
        const auto page = [&all = all](std::size_t start, std::size_t end) {
            const auto at = [&all](std::size_t position) {
                return all.begin() + static_cast<std::ptrdiff_t>(std::min(position, all.size()));
            };
            return Rows(at(start), at(end));
        };
        for (const auto &[start, end] :
             {std::pair{0, 0}, {0, 1}, {2, 5}, {3, 3}, {5, 9}, {7, 8}, {0, INT32_MAX}, {INT32_MAX, INT32_MAX}}) {
            Listed listed;
            EXPECT_EQ(listing.call(nullptr, note, start, end, &listed), BTDB_OK);
            EXPECT_EQ(listed.rows, !listing.paged || (start == 0 && end == 0)
                                       ? all
                                       : page(static_cast<std::size_t>(start), static_cast<std::size_t>(end)));
            EXPECT_TRUE(listed.rows.empty() || listed.names == names);
        }
        EXPECT_EQ(listing.call(nullptr, nullptr, 0, 0, nullptr), BTDB_OK) << "a NULL callback";

        Listed stopped;
        stopped.stop_after = std::min<std::size_t>(2, all.size());
        EXPECT_EQ(listing.call(nullptr, note, 0, 0, &stopped), BTDB_ERR_QUERY);
        EXPECT_EQ(stopped.rows, page(0, stopped.stop_after));
    }
}

TEST_P(EveryTable, ListsFromTheFileItIsGiven) {
    for (const Listing &listing : table.listings) {
        start_afresh();
        fill(table, 3);
        const Rows all = sql(listing.select);
        sql("VACUUM INTO '" + std::string(other_file) + "'");
        const auto list_from = [&](const char *file, int32_t result, const Rows &rows) {
            Listed listed;
            EXPECT_EQ(listing.call(file, note, 0, 0, &listed), result) << listing.select << " " << file;
            EXPECT_EQ(listed.rows, rows);
        };
        list_from("", BTDB_ERR_QUERY, {});
        sql("DELETE FROM " + std::string(table.name));
        list_from(other_file, BTDB_OK, all);
        start_afresh();
        list_from(other_file, BTDB_ERR_QUERY, {});
        EXPECT_EQ(Connection(other_file).rows("SELECT * FROM sqlite_master"), Rows()) << "created empty";
        list_from("/mnt/missing/tq.db", BTDB_ERR_OPEN, {});
    }
}

// ---- The file

TEST_F(StoreTest, ObeysTheModeOfItsFile) {
    const auto mode = [] {
        struct stat status = {};
        EXPECT_EQ(stat(database, &status), 0);
        return status.st_mode & 07777U;
    };
    for (const mode_t mask : {mode_t{0}, mode_t{07}, mode_t{077}}) {
        start_afresh();
        const mode_t before = umask(mask);
        EXPECT_EQ(bt_db_create_tbl_task(), BTDB_OK);
        umask(before);
        EXPECT_EQ(mode(), 0644U & ~mask);
    }
    BtTaskRecord task = {};
    for (const bool writable : {true, false}) {
        EXPECT_EQ(chmod(database, writable ? 0660 : 0440), 0);
        EXPECT_EQ(bt_db_add_task(&task), writable ? 1 : BTDB_ERR_INSERT);
        EXPECT_EQ(bt_db_update_all_task_rate_to_zero(), writable ? BTDB_OK : BTDB_ERR_UPDATE);
        EXPECT_EQ(bt_db_query_task_count(BT_TASK_FILTER_ALL), 1);
        EXPECT_EQ(mode(), writable ? 0660U : 0440U);
    }
}

} // namespace
} // namespace test
