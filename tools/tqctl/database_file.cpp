#include "database_file.h"

#include <new>

namespace tqctl {
namespace {

// As long as every call of the library waits.
constexpr int patience_ms = 20000;

std::string bytes(const void *data, int size) {
    return size > 0 ? std::string(static_cast<const char *>(data), static_cast<std::size_t>(size)) : std::string();
}

template <class... Kinds> struct Overloaded : Kinds... { using Kinds::operator()...; };
template <class... Kinds> Overloaded(Kinds...) -> Overloaded<Kinds...>;

} // namespace

Connection::Connection(const std::string &file, int flags) : file_(file), handle_(nullptr, sqlite3_close) {
    sqlite3 *handle = nullptr;
    const int result = sqlite3_open_v2(file.c_str(), &handle, flags, nullptr);
    handle_.reset(handle);
    if (result != SQLITE_OK) {
        throw Failure(Exit::database, "tqctl: " + file + " could not be opened: " + sqlite3_errstr(result));
    }
    sqlite3_extended_result_codes(handle, 1);
    sqlite3_busy_timeout(handle, patience_ms);
}

Connection Connection::read_only(const std::string &file) {
    return {file, SQLITE_OPEN_READONLY};
}

Connection Connection::read_write(const std::string &file) {
    return {file, SQLITE_OPEN_READWRITE};
}

Connection Connection::in_memory() {
    return {":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_MEMORY};
}

void Connection::copy_to(const Connection &target) const {
    sqlite3_backup *backup = sqlite3_backup_init(target.handle(), "main", handle(), "main");
    if (backup == nullptr) {
        throw target.failure("cannot be copied to");
    }
    const int copied = sqlite3_backup_step(backup, -1);
    const int finished = sqlite3_backup_finish(backup);
    if (copied != SQLITE_DONE || finished != SQLITE_OK) {
        throw Failure(Exit::failed, "tqctl: " + file_ + " could not be copied to " + target.file_ + ": " +
                                        sqlite3_errstr(finished != SQLITE_OK ? finished : copied));
    }
}

void Connection::run(const char *statement) const {
    if (sqlite3_exec(handle(), statement, nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw failure("refused a statement");
    }
}

Failure Connection::failure(const std::string &what) const {
    return {Exit::failed, "tqctl: " + file_ + " " + what + ": " + sqlite3_errmsg(handle())};
}

Statement::Statement(const Connection &connection, const std::string &text)
    : connection_(connection), handle_(nullptr, sqlite3_finalize) {
    sqlite3_stmt *handle = nullptr;
    if (sqlite3_prepare_v2(connection.handle(), text.c_str(), -1, &handle, nullptr) != SQLITE_OK) {
        throw connection.failure("could not be read");
    }
    handle_.reset(handle);
}

bool Statement::next() {
    const int result = sqlite3_step(handle_.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        throw connection_.failure("could not be read");
    }
    return result == SQLITE_ROW;
}

std::string Statement::name(int column) const {
    const char *name = sqlite3_column_name(handle_.get(), column);
    return name != nullptr ? name : throw std::bad_alloc();
}

std::string Statement::text(int column) const {
    const auto *text = sqlite3_column_text(handle_.get(), column);
    return bytes(text, sqlite3_column_bytes(handle_.get(), column));
}

Cell Statement::cell(int column) const {
    switch (sqlite3_column_type(handle_.get(), column)) {
    case SQLITE_INTEGER:
        return number(column);
    case SQLITE_FLOAT:
        return sqlite3_column_double(handle_.get(), column);
    case SQLITE_TEXT:
        if (sqlite3_column_text(handle_.get(), column) == nullptr) {
            throw std::bad_alloc();
        }
        return text(column);
    case SQLITE_BLOB: {
        const void *blob = sqlite3_column_blob(handle_.get(), column);
        return Blob{bytes(blob, sqlite3_column_bytes(handle_.get(), column))};
    }
    default:
        return std::monostate{};
    }
}

void Statement::bind(int value, const Cell &cell) {
    sqlite3_stmt *handle = handle_.get();
    const int at = value + 1;
    // SQLite takes copies: callers bind values that they make on the spot.
    const auto bind = Overloaded{
        [&](std::monostate) { return sqlite3_bind_null(handle, at); },
        [&](std::int64_t number) { return sqlite3_bind_int64(handle, at, number); },
        [&](double number) { return sqlite3_bind_double(handle, at, number); },
        [&](const std::string &text) {
            return sqlite3_bind_text(handle, at, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
        },
        [&](const Blob &blob) {
            return sqlite3_bind_blob(handle, at, blob.bytes.data(), static_cast<int>(blob.bytes.size()),
                                     SQLITE_TRANSIENT);
        },
        [&](Masked) { return sqlite3_bind_text(handle, at, "", 0, SQLITE_TRANSIENT); },
    };
    if (std::visit(bind, cell) != SQLITE_OK) {
        throw connection_.failure("refused a value");
    }
}

void Statement::run_once() {
    if (sqlite3_step(handle_.get()) != SQLITE_DONE) {
        throw connection_.failure("refused a row");
    }
    sqlite3_reset(handle_.get());
}

} // namespace tqctl
