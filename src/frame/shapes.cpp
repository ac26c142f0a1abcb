#include "frame/shapes.h"

#include <cstring>

namespace korvo {
namespace {

constexpr int busy_timeout_ms = 20000;

class Connection {
public:
    Connection(const char *file, OnLock on_lock)
        : open_(sqlite3_open(file != nullptr ? file : BTDB_DEFAULT_FILE, &db_) == SQLITE_OK) {
        if (open_ && on_lock == OnLock::wait) {
            sqlite3_busy_timeout(db_, busy_timeout_ms);
        }
    }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection() { sqlite3_close(db_); } // a failed open leaves a handle too

    bool open() const { return open_; }
    int exec(const char *sql, TqRowCallback callback = nullptr, void *context = nullptr) {
        return sqlite3_exec(db_, sql, callback, context, nullptr);
    }
    sqlite3 *get() { return db_; }

private:
    sqlite3 *db_ = nullptr;
    bool open_;
};

// A prepared statement of which only the first row is of interest. One that could not be prepared has none.
class Query {
public:
    Query(Connection &connection, const char *sql) { sqlite3_prepare(connection.get(), sql, -1, &statement_, nullptr); }
    Query(const Query &) = delete;
    Query &operator=(const Query &) = delete;
    ~Query() { sqlite3_finalize(statement_); }

    bool has_row() { return sqlite3_step(statement_) == SQLITE_ROW; }
    sqlite3_stmt *get() { return statement_; }

private:
    sqlite3_stmt *statement_ = nullptr;
};

// Opens a connection, runs the body on it and closes it. An absent statement is the failure and opens nothing.
template <class Body>
int32_t with_connection(Sql sql, int32_t failure, Body body, const char *file = nullptr,
                        OnLock on_lock = OnLock::wait) {
    if (sql.absent()) {
        return failure;
    }
    Connection connection(file, on_lock);
    return connection.open() ? body(connection) : BTDB_ERR_OPEN;
}

} // namespace

int32_t run(Sql sql, int32_t failure, OnLock on_lock) {
    const auto exec = [&](Connection &connection) {
        return connection.exec(sql.get()) == SQLITE_OK ? BTDB_OK : failure;
    };
    return with_connection(sql, failure, exec, nullptr, on_lock);
}

int32_t create_table(Sql table, std::initializer_list<const char *> indexes) {
    return with_connection(table, BTDB_ERR_TABLE, [&](Connection &connection) {
        const int created = connection.exec(table.get());
        for (const char *index : indexes) {
            connection.exec(index);
        }
        return created == SQLITE_OK ? BTDB_OK : BTDB_ERR_TABLE;
    });
}

int32_t update_checked(Sql sql) {
    return with_connection(sql, BTDB_ERR_UPDATE, [&](Connection &connection) {
        const int updated = connection.exec(sql.get());
        const int changes = sqlite3_total_changes(connection.get());
        return updated == SQLITE_OK && changes != 0 ? BTDB_OK : BTDB_ERR_UPDATE;
    });
}

int32_t read_value(Sql sql) {
    return with_connection(sql, BTDB_ERR_QUERY, [&](Connection &connection) {
        Query query(connection, sql.get());
        const int32_t value = query.has_row() ? sqlite3_column_int(query.get(), 0) : -1;
        return value >= 0 ? value : BTDB_ERR_QUERY;
    });
}

int32_t read_string(Sql sql, char *buffer, std::size_t size) {
    const int32_t result = with_connection(sql, BTDB_ERR_QUERY, [&](Connection &connection) {
        Query query(connection, sql.get());
        if (!query.has_row()) {
            return BTDB_ERR_QUERY;
        }
        const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(query.get(), 0));
        if (!Row(query.get()).complete()) {
            return BTDB_ERR_QUERY;
        }
        const std::size_t copied = text == nullptr ? 0 : strnlen(text, size);
        if (copied > 0) {
            std::memcpy(buffer, text, copied);
        }
        std::memset(buffer + copied, '\0', size - copied);
        return sqlite3_column_bytes(query.get(), 0);
    });
    if (result == BTDB_ERR_QUERY) {
        buffer[0] = '\0';
    }
    return result;
}

int32_t read_row(Sql sql, Walk walk, void *record) {
    return with_connection(sql, BTDB_ERR_QUERY, [&](Connection &connection) {
        Query query(connection, sql.get());
        if (!query.has_row()) {
            return BTDB_ERR_QUERY;
        }
        Row row(query.get());
        walk(row, record);
        return row.complete() ? BTDB_OK : BTDB_ERR_QUERY;
    });
}

int32_t list_rows_raw(const char *file, Sql sql, TqRowCallback callback, void *context) {
    const auto exec = [&](Connection &connection) { return connection.exec(sql.get(), callback, context); };
    return with_connection(sql, SQLITE_NOMEM, exec, file);
}

int32_t list_rows(const char *file, Sql sql, TqRowCallback callback, void *context) {
    const int32_t result = list_rows_raw(file, sql, callback, context);
    if (result == BTDB_ERR_OPEN) {
        return BTDB_ERR_OPEN;
    }
    return result == SQLITE_OK ? BTDB_OK : BTDB_ERR_QUERY;
}

int32_t insert_then_latest_id(Sql insert, int32_t (*latest_id)()) {
    const int32_t inserted = run(insert, BTDB_ERR_INSERT);
    return inserted == BTDB_OK ? latest_id() : inserted;
}

int32_t insert_returning_id(Sql insert) {
    return with_connection(insert, BTDB_ERR_INSERT, [&](Connection &connection) {
        if (connection.exec(insert.get()) != SQLITE_OK) {
            return BTDB_ERR_INSERT;
        }
        const auto id = static_cast<int32_t>(sqlite3_last_insert_rowid(connection.get()));
        return id >= 0 ? id : BTDB_ERR_QUERY;
    });
}

bool valid_paging(int32_t start, int32_t end) {
    return start >= 0 && start <= end;
}

OwnedSql paging(int32_t start, int32_t end) {
    return start == 0 && end == 0 ? statement<"">() : statement<"LIMIT %d OFFSET %d">(end - start, start);
}

bool serves(std::span<const SqlOfValue> texts, uint32_t position, const void *value) {
    return value != nullptr && position < texts.size() && texts[position] != nullptr;
}

int32_t delete_by_column(std::span<const SqlOfValue> keys, uint32_t selector, const void *value, OnLock on_lock) {
    if (!serves(keys, selector, value)) {
        return BTDB_ERR_PARAM;
    }
    return run(keys[selector](value), BTDB_ERR_DELETE, on_lock);
}

} // namespace korvo
