#include "support.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace test {

alignas(8) char scratch[8192];
std::string delivered;

int deliver(void * /*context*/, int columns, char **values, char **names) {
    for (int i = 0; i < columns; ++i) {
        delivered += std::string(names[i]) + "=" + (values[i] != nullptr ? values[i] : "NULL") + "\n";
    }
    return 0;
}

std::vector<std::string> all_but(const std::vector<std::string> &columns, const std::vector<Field> &fields) {
    std::vector<std::string> others;
    for (const Field &field : fields) {
        if (std::find(columns.begin(), columns.end(), field.column) == columns.end()) {
            others.emplace_back(field.column);
        }
    }
    return others;
}

const std::vector<Table> &tables() {
    static const std::vector<Table> all = {bt_task_table()};
    return all;
}

// ---- The database

Connection::Connection(const char *file) {
    EXPECT_EQ(sqlite3_open_v2(file, &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr), SQLITE_OK) << file;
}

Rows Connection::rows(const std::string &sql) {
    Rows rows;
    const auto add = [](void *to, int columns, char **values, char ** /*names*/) {
        Row &row = static_cast<Rows *>(to)->emplace_back();
        for (int i = 0; i < columns; ++i) {
            row.emplace_back(values[i] != nullptr ? values[i] : "NULL");
        }
        return 0;
    };
    EXPECT_EQ(sqlite3_exec(db_, sql.c_str(), add, &rows, nullptr), SQLITE_OK) << sqlite3_errmsg(db_) << "\n" << sql;
    return rows;
}

std::string literal(const std::string &text) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? "''" : std::string(1, c);
    }
    return quoted + "'";
}

static std::string joined(const std::vector<std::string> &parts) {
    std::string text;
    for (const std::string &part : parts) {
        text += (text.empty() ? "" : ", ") + part;
    }
    return text;
}

static std::string insertion(const Table &table, const Row &literals) {
    return "INSERT INTO " + std::string(table.name) + " VALUES (" + joined(literals) + ");";
}

void insert(const Table &table, const Row &literals) {
    sql(insertion(table, literals));
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
        for (const Row &row : connection.rows("SELECT * FROM " + name[0] + " ORDER BY rowid")) {
            all.push_back(row);
        }
    }
    return all;
}

// ---- Records

static constexpr std::size_t guard = 64;

Record::Record(const Table &table) : table_(&table), bytes_(table.record_size + guard, '\xa5') {}

Record::Record(const Table &table, int seed) : Record(table) {
    std::fill_n(bytes_.begin(), table.record_size, '\0');
    for (std::size_t at = 0; at < table.fields.size(); ++at) {
        char text[16];
        std::snprintf(text, sizeof text, "t%d'%02d", seed, static_cast<int>(at));
        if (table.fields[at].kind == Kind::text) {
            set(at, std::string(text));
        } else if (table.fields[at].kind == Kind::whole_float) {
            set_float(at, static_cast<float>(seed * 100 + static_cast<int>(at)) + 0.75F);
        } else {
            set(at, at == 0 ? seed : seed * 100 + static_cast<std::int64_t>(at));
        }
    }
}

void Record::set(std::size_t position, const std::string &text) {
    const Field &field = table_->fields[position];
    const std::size_t length = std::min(text.size(), field.size - 1);
    std::memset(&bytes_[field.offset], '\0', field.size);
    std::memcpy(&bytes_[field.offset], text.data(), length);
}

void Record::set(std::size_t position, std::int64_t number) {
    const Field &field = table_->fields[position];
    const auto low = static_cast<std::int32_t>(number);
    std::memcpy(&bytes_[field.offset], field.kind == Kind::int64 ? static_cast<const void *>(&number) : &low,
                field.size);
}

void Record::set_float(std::size_t position, float number) {
    std::memcpy(&bytes_[table_->fields[position].offset], &number, sizeof number);
}

void Record::copy(const std::string &column, const Record &from) {
    for (const Field &field : table_->fields) {
        if (column == field.column) {
            std::memcpy(&bytes_[field.offset], &from.bytes_[field.offset], field.size);
        }
    }
}

Record Record::as_read() const {
    Record whole = *this;
    for (std::size_t at = 0; at < table_->fields.size(); ++at) {
        if (table_->fields[at].kind == Kind::whole_float) {
            float number;
            std::memcpy(&number, field(at), sizeof number);
            whole.set_float(at, static_cast<float>(static_cast<int>(number)));
        }
    }
    return whole;
}

Row Record::row() const {
    Row row;
    for (const Field &field : table_->fields) {
        const char *at = &bytes_[field.offset];
        if (field.kind == Kind::text) {
            const std::size_t length = strnlen(at, field.size);
            row.push_back(literal(std::string(at, length)));
            if (length == field.size || std::any_of(at + length, at + field.size, [](char c) { return c != '\0'; })) {
                row.back() += " without NUL or followed by rubbish";
            }
        } else if (field.kind == Kind::whole_float) {
            float number;
            char text[32];
            std::memcpy(&number, at, sizeof number);
            std::snprintf(text, sizeof text, "%.15g", static_cast<double>(number));
            row.emplace_back(text);
        } else {
            std::int32_t low;
            std::int64_t number;
            std::memcpy(field.kind == Kind::int64 ? static_cast<void *>(&number) : &low, at, field.size);
            row.push_back(std::to_string(field.kind == Kind::int64 ? number : low));
        }
    }
    if (std::any_of(bytes_.end() - guard, bytes_.end(), [](char c) { return c != '\xa5'; })) {
        row.emplace_back("written past the record");
    }
    return row;
}

// ---- The fixture

// By name: a checkout may be visible below this folder.
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
    before_statement = nullptr;
    longest_wait_ms = 20000;
}

void fill(const Table &table, int count) {
    std::string statements;
    for (const std::string &statement : table.schema) {
        statements += statement;
    }
    for (int seed = 1; seed <= count; ++seed) {
        statements += insertion(table, Record(table, seed).row());
    }
    sql("BEGIN; " + statements + "COMMIT");
}

std::vector<Operation> operations(const Table &table) {
    const std::string name = table.name;
    std::vector<Operation> all = {
        {"create", table.create, BTDB_OK, BTDB_ERR_TABLE, table.schema},
        {"drop", table.drop, BTDB_OK, BTDB_ERR_TABLE, {"DROP TABLE " + name + ";"}},
        {"flush", table.flush, BTDB_OK, BTDB_ERR_FLUSH, {"DELETE FROM " + name + ";"}},
    };
    all.insert(all.end(), table.operations.begin(), table.operations.end());
    return all;
}

void prepare(const Table &table, const Operation &operation) {
    if (operation.call != table.create) {
        fill(table);
    }
}

std::int32_t failure_of(const Operation &operation, int sqlite) {
    return operation.failure == sqlite_code ? sqlite : operation.failure;
}

std::int32_t call(const Operation &operation) {
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
    std::string name;
    for (const char c : std::string(of.table->name) + " " + of.operation.name) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            name += c;
        } else if (name.back() != '_') {
            name += '_';
        }
    }
    return name;
}

} // namespace test

int main(int argc, char **argv) {
    const char *sandbox = std::getenv("KORVO_SANDBOX");
    if (sandbox == nullptr || std::strcmp(sandbox, "1") != 0) {
        std::fprintf(stderr, "This program deletes the database. Run it as: tests/sandbox %s\n", argv[0]);
        return 2;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
