#include "support.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <regex>
#include <string_view>

namespace test {

alignas(8) char scratch[8192];
std::string delivered;

int deliver(void * /*context*/, int columns, char **values, char **names) {
    for (int i = 0; i < columns; ++i) {
        delivered += std::string(names[i]) + "=" + (values[i] != nullptr ? values[i] : "NULL") + "\n";
    }
    return 0;
}

int note(void *listed, int columns, char **values, char **names) {
    auto &[rows, columns_of_rows, stop_after] = *static_cast<Listed *>(listed);
    Row &row = rows.emplace_back();
    columns_of_rows.assign(names, names + columns);
    for (int i = 0; i < columns; ++i) {
        row.emplace_back(values[i] != nullptr ? values[i] : "NULL");
    }
    return rows.size() >= stop_after ? 1 : 0;
}

const std::vector<Table> &tables() {
    static const std::vector<Table> all = {bt_task_table(),    bt_session_table(),  http_ftp_task_table(),
                                           bt_fdata_table(),   bt_infodata_table(), bt_rss_table(),
                                           bt_rss_job_table(), bt_account_table()};
    return all;
}

// ---- The database

Connection::Connection(const char *file) {
    EXPECT_EQ(sqlite3_open_v2(file, &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr), SQLITE_OK) << file;
}

Listed Connection::listed(const std::string &sql) {
    Listed listed;
    EXPECT_EQ(sqlite3_exec(db_, sql.c_str(), note, &listed, nullptr), SQLITE_OK) << sqlite3_errmsg(db_) << "\n" << sql;
    return listed;
}

std::string literal(const std::string &text) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? "''" : std::string(1, c);
    }
    return quoted + "'";
}

namespace {

std::string joined(const std::vector<std::string> &parts, const char *separator = ", ") {
    std::string text;
    for (const std::string &part : parts) {
        text += (text.empty() ? "" : separator) + part;
    }
    return text;
}

std::string row_insertion(const Table &table, const Row &literals) {
    return "INSERT INTO " + std::string(table.name) + " VALUES (" + joined(literals) + ");";
}

} // namespace

void insert(const Table &table, const Row &literals) {
    sql(row_insertion(table, literals));
}

Rows stored(const Table &table) {
    std::vector<std::string> columns;
    for (const Field &field : table.fields) {
        columns.push_back("quote(" + std::string(field.column) + ")");
    }
    return sql("SELECT " + joined(columns) + " FROM " + table.name + " ORDER BY rowid");
}

Rows contents(Connection &connection) {
    Rows all;
    for (const Row &name : connection.rows("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name")) {
        all.push_back(name);
        const Rows rows = connection.rows("SELECT * FROM " + name[0] + " ORDER BY rowid");
        all.insert(all.end(), rows.begin(), rows.end());
    }
    return all;
}

// ---- Records

namespace {

void put_text(void *record, const Field &field, const std::string &text) {
    char *at = static_cast<char *>(record) + field.offset;
    std::memset(at, '\0', field.size);
    std::memcpy(at, text.data(), std::min(text.size(), field.size - 1));
}

// As much of it as the field holds.
void put_number(void *record, const Field &field, int64_t number) {
    const auto low = static_cast<int32_t>(number);
    std::memcpy(static_cast<char *>(record) + field.offset,
                field.kind == Kind::int64 ? static_cast<const void *>(&number) : &low, field.size);
}

template <class T> T number_in(const void *record, const Field &field) {
    T number;
    std::memcpy(&number, static_cast<const char *>(record) + field.offset, sizeof number);
    return number;
}

// As quote() of SQLite shows the stored value.
std::string literal_in(const void *record, const Field &field) {
    const char *at = static_cast<const char *>(record) + field.offset;
    char text[32];
    switch (field.kind) {
    case Kind::text:
        return literal(std::string(at, strnlen(at, field.size)));
    case Kind::int_as_float:
        std::snprintf(text, sizeof text, "%.15g", static_cast<double>(number_in<float>(record, field)));
        return text;
    case Kind::int32:
        return std::to_string(number_in<int32_t>(record, field));
    case Kind::int64:
        break;
    }
    return std::to_string(number_in<int64_t>(record, field));
}

// As a statement writes it.
std::string argument_in(const void *record, const Field &field) {
    return field.kind == Kind::int_as_float ? std::to_string(number_in<float>(record, field))
                                            : literal_in(record, field);
}

bool contains(const std::vector<std::string> &columns, const Field &field) {
    return std::find(columns.begin(), columns.end(), field.column) != columns.end();
}

} // namespace

std::size_t position_of(const std::vector<Field> &fields, const std::string &column) {
    const auto found = std::find_if(fields.begin(), fields.end(), [&](const auto &at) { return at.column == column; });
    EXPECT_NE(found, fields.end()) << column;
    return static_cast<std::size_t>(found - fields.begin());
}

std::vector<std::string> all_but(const std::vector<std::string> &columns, const std::vector<Field> &fields) {
    std::vector<std::string> others;
    for (const Field &field : fields) {
        if (!contains(columns, field)) {
            others.emplace_back(field.column);
        }
    }
    return others;
}

void fill_sample(void *record, const std::vector<Field> &fields, int seed, const std::vector<std::string> &keys) {
    for (std::size_t at = 0; at < fields.size(); ++at) {
        const Field &field = fields[at];
        const int of = contains(keys, field) ? 1 : seed;
        const int number = of * 100 + static_cast<int>(at);
        char text[16];
        std::snprintf(text, sizeof text, "t%d'%02d", of, static_cast<int>(at));
        if (field.kind == Kind::text) {
            put_text(record, field, text);
        } else if (field.kind == Kind::int_as_float) {
            const float fraction = static_cast<float>(number) + 0.75F;
            std::memcpy(static_cast<char *>(record) + field.offset, &fraction, sizeof fraction);
        } else {
            put_number(record, field, at == 0 ? of : number);
        }
    }
}

std::string creation(const char *table, const std::vector<Field> &fields, const char *end) {
    std::vector<std::string> columns = {fields[0].column + std::string(" INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE")};
    for (std::size_t at = 1; at < fields.size(); ++at) {
        const char *const type = fields[at].kind == Kind::text           ? " TEXT"
                                 : fields[at].kind == Kind::int_as_float ? " NUMERIC"
                                                                         : " INTEGER";
        columns.push_back(fields[at].column + std::string(type));
    }
    return "CREATE TABLE " + std::string(table) + " \t( " + joined(columns, ", \t") + end + ");";
}

std::string insertion(const char *table, const std::vector<Field> &fields, const void *record, const char *end,
                      const char *end_of_values) {
    std::vector<std::string> columns, values;
    for (std::size_t at = 1; at < fields.size(); ++at) {
        columns.emplace_back(fields[at].column);
        values.push_back(argument_in(record, fields[at]));
    }
    return "INSERT INTO " + std::string(table) + " \t( " + joined(columns, ", \t") + end + ") \tVALUES \t( " +
           joined(values) + end_of_values + ");";
}

std::string assignments(const std::vector<Field> &fields, const void *record, const std::vector<std::string> &columns) {
    std::vector<std::string> parts;
    for (const Field &field : fields) {
        if (contains(columns, field)) {
            parts.push_back(field.column + std::string(" = ") + argument_in(record, field));
        }
    }
    return joined(parts, ", \t");
}

constexpr std::size_t guard = 64;

Record::Record(const Table &table) : table_(&table), bytes_(table.record_size + guard, '\xa5') {}

Record::Record(const Table &table, int seed) : Record(table) {
    std::fill_n(bytes_.begin(), table.record_size, '\0');
    fill_sample(data(), table.fields, seed);
}

void Record::set(std::size_t position, const std::string &text) {
    put_text(data(), table_->fields[position], text);
}

void Record::set(std::size_t position, int64_t number) {
    put_number(data(), table_->fields[position], number);
}

void Record::set_float(std::size_t position, float number) {
    std::memcpy(&bytes_[table_->fields[position].offset], &number, sizeof number);
}

void Record::copy(const std::string &column, const Record &from) {
    const Field &field = table_->fields[position_of(table_->fields, column)];
    std::memcpy(&bytes_[field.offset], &from.bytes_[field.offset], field.size);
}

Record Record::as_read() const {
    Record whole = *this;
    for (std::size_t at = 0; at < table_->fields.size(); ++at) {
        if (table_->fields[at].kind == Kind::int_as_float) {
            const auto number = number_in<float>(bytes_.data(), table_->fields[at]);
            whole.set_float(at, static_cast<float>(static_cast<int>(number)));
        }
    }
    return whole;
}

Row Record::row() const {
    Row row;
    for (const Field &field : table_->fields) {
        row.push_back(literal_in(bytes_.data(), field));
        const char *const at = &bytes_[field.offset], *const end = at + field.size;
        if (field.kind == Kind::text && std::any_of(std::find(at, end, '\0'), end, [](char c) { return c != '\0'; })) {
            row.back() += " followed by garbage";
        } else if (field.kind == Kind::text && std::find(at, end, '\0') == end) {
            row.back() += " without NUL";
        }
    }
    if (std::any_of(bytes_.end() - guard, bytes_.end(), [](char c) { return c != '\xa5'; })) {
        row.emplace_back("written past the record");
    }
    return row;
}

// ---- The fixture

int effort(int least, int quick, int full) {
    const char *value = std::getenv("KORVO_EFFORT");
    const std::string_view effort = value != nullptr ? value : "";
    return effort == "least" ? least : effort == "full" ? full : quick;
}

// By name: a checkout may be visible below this directory.
void start_afresh() {
    for (const char *file : {database, other_file}) {
        std::filesystem::remove(file);
        std::filesystem::remove(file + std::string("-journal"));
    }
}

StoreTest::StoreTest() {
    start_afresh();
}

StoreTest::~StoreTest() {
    EXPECT_EQ(connections(), 0) << "left open";
}

void fill(const Table &table, int count) {
    std::string statements = joined(table.schema, "");
    for (int seed = 1; seed <= count; ++seed) {
        statements += row_insertion(table, Record(table, seed).row());
    }
    sql("BEGIN; " + statements + "COMMIT");
}

std::vector<Operation> operations(const Table &table) {
    const std::string name = table.name;
    std::vector<Operation> all = {
        {{"create", table.create}, BTDB_OK, BTDB_ERR_TABLE, table.schema},
        {{"drop", table.drop}, BTDB_OK, BTDB_ERR_TABLE, {"DROP TABLE " + name + ";"}, table.drop_and_remove_wait},
        {{"flush", table.flush}, BTDB_OK, BTDB_ERR_FLUSH, {"DELETE FROM " + name + ";"}},
    };
    const Record first(table, 1), third(table, 3);
    const auto is = [&table](const Record &record, std::size_t position) {
        return table.fields[position].column + (" = " + record.row()[position]);
    };
    for (const uint32_t at : table.selectors) {
        all.push_back(deletes(
            {"delete by " + std::to_string(at), [call = table.remove, at, first] { return call(at, first.field(at)); }},
            "DELETE FROM " + name + " WHERE " + is(first, at) + ";", table.drop_and_remove_wait));
    }
    for (const Setter &setter : table.setters) {
        const std::size_t key = position_of(table.fields, setter.key);
        for (const uint32_t at : setter.positions) {
            const auto set = [call = setter.call, id = std::stoi(first.row()[key]), at, third] {
                return call(id, at, third.field(at));
            };
            all.push_back(updates({setter.name + (" " + std::to_string(at)), set},
                                  "UPDATE " + name + " SET \t" + is(third, at) + " \tWHERE " + is(first, key) + ";"));
        }
    }
    all.insert(all.end(), table.operations.begin(), table.operations.end());
    return all;
}

bool creates(const Operation &operation) {
    return operation.name == "create";
}

void prepare(const Table &table, const Operation &operation) {
    if (!creates(operation)) {
        fill(table);
        sql(operation.before);
    }
}

int32_t failure_of(const Operation &operation, int sqlite) {
    return operation.failure == sqlite_code ? sqlite : operation.failure;
}

int32_t call(const Operation &operation) {
    std::memset(scratch, '\xa5', sizeof scratch);
    delivered.clear();
    return operation.call();
}

bool scratch_is_clean() {
    return std::all_of(std::begin(scratch), std::end(scratch), [](char c) { return c == '\xa5'; });
}

std::vector<OperationOfTable> all_operations() {
    std::vector<OperationOfTable> all;
    for (const Table &table : tables()) {
        for (Operation &operation : operations(table)) {
            all.push_back({&table, std::move(operation)});
        }
    }
    return all;
}

std::string name_of(const OperationOfTable &of) {
    const std::string name = std::string(of.table->name) + "_" + of.operation.name;
    return std::regex_replace(name, std::regex("[^A-Za-z0-9]+"), "_");
}

} // namespace test
