#include "store/connection.h"

#include "base/output.h"
#include "store/journal.h"
#include "store/table.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <korvo_bt.h>
#include <new>
#include <sys/stat.h>
#include <utility>

namespace tqctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds silence{2};
constexpr std::chrono::seconds longest_query{60};
constexpr int operations_between_looks = 20000;
constexpr int longest_value = 64 << 20; // and row: a statement of a foreign table may compute larger ones

Failure unreachable(const std::string &path, int error) {
    const bool missing = error == ENOENT || error == ENOTDIR;
    return {Exit::database, path + (!missing ? std::string(" cannot be opened: ") + std::strerror(error)
                                    : path == device_database() ? " does not exist; run tqctl init"
                                                                : " does not exist")};
}

// The path from the root on, whatever symlinks lead to the file's directory.
std::string full_path(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, std::max<std::size_t>(slash, 1));
    const std::string name = path.substr(slash == std::string::npos ? 0 : slash + 1);
    if (name.empty()) {
        throw Failure(Exit::usage, '"' + path + "\" names no file");
    }
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(directory.c_str(), nullptr), std::free);
    if (real == nullptr) {
        throw unreachable("the directory " + directory, errno);
    }
    const std::string parent = real.get();
    return (parent == "/" ? "" : parent) + "/" + name;
}

void require_regular_file(const std::string &path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        throw unreachable(path, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw Failure(Exit::database, path + (S_ISLNK(status.st_mode)   ? " is a symlink, which is not followed"
                                              : S_ISDIR(status.st_mode) ? " is a directory"
                                                                        : " is no regular file"));
    }
}

std::string bytes(const void *data, int size) {
    return size > 0 ? std::string(static_cast<const char *>(data), static_cast<std::size_t>(size)) : std::string();
}

} // namespace

const std::string &device_database() {
    static const std::string path = BTDB_DEFAULT_FILE;
    return path;
}

int Connection::on_busy(void *data, int times) noexcept {
    auto &state = *static_cast<State *>(data);
    const Clock::time_point now = Clock::now();
    if (times == 0) {
        state.waiting_since = now;
    }
    if (now - state.waiting_since >= state.patience.most) {
        return 0;
    }
    try {
        if (state.patience.give_up && state.patience.give_up()) {
            return 0;
        }
        if (!state.told && !state.patience.silent && now - state.waiting_since >= silence) {
            state.told = true;
            warn("waiting for " + state.path + ", which another program has locked");
        }
    } catch (...) {
        return 0;
    }
    sqlite3_sleep(times < 10 ? 5 : 50);
    state.query_ends = Clock::now() + longest_query;
    return 1;
}

int Connection::on_progress(void *state) noexcept {
    return Clock::now() > static_cast<State *>(state)->query_ends ? 1 : 0;
}

Connection::Connection(std::string path, int flags, Patience patience)
    : state_(new State{std::move(path), std::move(patience), false, false, {}, Clock::now() + longest_query}),
      handle_(nullptr, sqlite3_close) {
    const bool file = (flags & SQLITE_OPEN_MEMORY) == 0;
    const std::string opened = file ? full_path(state_->path) : state_->path;
    if (file) {
        require_regular_file(opened);
        if (const std::string fault = fault_of_journal(opened); !fault.empty()) {
            throw Failure(Exit::database, fault);
        }
    }
    sqlite3 *handle = nullptr;
    const int result = sqlite3_open_v2(opened.c_str(), &handle, flags | (file ? SQLITE_OPEN_NOFOLLOW : 0), nullptr);
    handle_.reset(handle);
    if (result != SQLITE_OK) {
        throw handle == nullptr ? Failure(Exit::failed, "out of memory") : failure(sqlite3_extended_errcode(handle));
    }
    sqlite3_extended_result_codes(handle, 1);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, file ? 1 : 0, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_limit(handle, SQLITE_LIMIT_LENGTH, longest_value);
    sqlite3_busy_handler(handle, on_busy, state_.get());
    sqlite3_progress_handler(handle, operations_between_looks, on_progress, state_.get());
}

// Whoever opens a file wants to know now whether it can be used.
Connection Connection::opened(const std::string &path, int flags, const Patience &patience) {
    Connection connection(path, flags, patience);
    const int result = sqlite3_exec(connection.handle(), "PRAGMA schema_version", nullptr, nullptr, nullptr);
    connection.state_->usable = result == SQLITE_OK;
    if (result == SQLITE_READONLY_ROLLBACK && path == device_database()) {
        bt_db_query_latest_task_id(); // every call of the library puts in order what a killed program left
        Connection again(path, flags, patience);
        again.run("PRAGMA schema_version");
        return again;
    }
    return result == SQLITE_OK ? std::move(connection) : throw connection.failure(result);
}

Connection Connection::read(const std::string &path, Patience patience) {
    return opened(path, SQLITE_OPEN_READONLY, patience);
}

Connection Connection::write(const std::string &path, Patience patience) {
    return opened(path, SQLITE_OPEN_READWRITE, patience);
}

Connection Connection::memory() {
    return {":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_MEMORY, {}};
}

Connection::Journal Connection::journal(const std::string &path) {
    const Connection connection(path, SQLITE_OPEN_READONLY, {});
    const int result = sqlite3_exec(connection.handle(), "PRAGMA schema_version", nullptr, nullptr, nullptr);
    sqlite3_file *file = nullptr;
    int writing = 0;
    sqlite3_file_control(connection.handle(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
    file->pMethods->xCheckReservedLock(file, &writing);
    struct stat status {};
    const bool there = stat((path + "-journal").c_str(), &status) == 0;
    return result == SQLITE_READONLY_ROLLBACK || (there && (result & 0xFF) == SQLITE_CANTOPEN) ? Journal::left_behind
           : !there                                                                            ? Journal::none
           : writing != 0                                                                      ? Journal::written
                                                                                               : Journal::unused;
}

void Connection::run(const std::string &statement) const {
    state_->query_ends = Clock::now() + longest_query;
    if (const int result = sqlite3_exec(handle(), statement.c_str(), nullptr, nullptr, nullptr); result != SQLITE_OK) {
        throw failure(result);
    }
}

bool Connection::has_table(std::string_view name) const {
    return Statement(*this, "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?", {std::string(name)})
        .next();
}

Failure Connection::failure(int code) const {
    const std::string &path = state_->path;
    switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return {Exit::failed,
                path + " is locked by another program" +
                    (state_->patience.most < silence
                         ? ""
                         : concat(" for longer than ", state_->patience.most.count() / 1000, " seconds; try again"))};
    case SQLITE_CORRUPT:
        return {Exit::failed, path + " is damaged; see tqctl doctor, or restore a backup"};
    case SQLITE_NOTADB:
        return {Exit::failed, path + " is not a database"};
    case SQLITE_READONLY:
        return {Exit::failed, path + (code == SQLITE_READONLY_ROLLBACK
                                          ? " was left by a program that was killed while it wrote; a user who may "
                                            "write to it has to use it next"
                                          : " cannot be written: this user may not")};
    case SQLITE_CANTOPEN:
        return {state_->usable ? Exit::failed : Exit::database,
                (state_->usable ? "no journal can be made beside " + path : path + " cannot be opened") + ": " +
                    std::strerror(sqlite3_system_errno(handle()))};
    case SQLITE_FULL:
        return {Exit::failed, "the disk of " + path + " is full"};
    case SQLITE_IOERR:
        return {Exit::failed, path + ": the disk reports an error: " + std::strerror(sqlite3_system_errno(handle()))};
    case SQLITE_CONSTRAINT:
        return {Exit::failed, std::string("a row cannot be stored, nothing was: ") + sqlite3_errmsg(handle())};
    case SQLITE_NOMEM:
        return {Exit::failed, "out of memory"};
    case SQLITE_INTERRUPT:
        return {Exit::failed, "a query of " + path + " did not end; tqctl doctor tells what is foreign in it"};
    case SQLITE_TOOBIG:
        return {Exit::failed, path + " has a value of more than 64 MiB; see tqctl doctor"};
    default:
        break;
    }
    const std::string said = sqlite3_errmsg(handle());
    constexpr std::string_view no_table = "no such table: ";
    const std::string missing = said.starts_with(no_table) ? said.substr(no_table.size()) : "";
    if (find_table(missing) != nullptr) {
        return {Exit::failed, path + " has no table " + missing + " yet; run tqctl init"};
    }
    return {Exit::failed, path + " cannot be used: " + said + "; see tqctl doctor"};
}

std::string damage_of(const Connection &database) {
    try {
        Statement check(database, "PRAGMA quick_check(1)");
        return check.next() && check.text(0) == "ok" ? "" : database.failure(SQLITE_CORRUPT).what();
    } catch (const Failure &failure) { // some damage ends the check itself
        return failure.what();
    }
}

Statement::Statement(const Connection &connection, const std::string &text, std::initializer_list<Cell> values)
    : connection_(connection), handle_(nullptr, sqlite3_finalize) {
    sqlite3_stmt *handle = nullptr;
    connection_.state_->query_ends = Clock::now() + longest_query;
    if (const int result = sqlite3_prepare_v2(connection.handle(), text.c_str(), -1, &handle, nullptr);
        result != SQLITE_OK) {
        throw connection.failure(result);
    }
    handle_.reset(handle);
    int at = 0;
    for (const Cell &value : values) {
        bind(at++, value);
    }
}

bool Statement::next() {
    connection_.state_->query_ends = Clock::now() + longest_query;
    const int result = sqlite3_step(handle_.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        throw connection_.failure(result);
    }
    return result == SQLITE_ROW;
}

std::string Statement::name(int column) const {
    const char *name = sqlite3_column_name(handle_.get(), column);
    return name != nullptr ? name : throw std::bad_alloc();
}

std::string_view Statement::text(int column) const {
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(handle_.get(), column));
    if (text == nullptr) {
        return is_null(column) ? std::string_view() : throw std::bad_alloc();
    }
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(handle_.get(), column))};
}

Cell Statement::cell(int column) const {
    switch (sqlite3_column_type(handle_.get(), column)) {
    case SQLITE_INTEGER:
        return number(column);
    case SQLITE_FLOAT:
        return sqlite3_column_double(handle_.get(), column);
    case SQLITE_TEXT:
        return std::string(text(column));
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
    };
    if (const int result = std::visit(bind, cell); result != SQLITE_OK) {
        throw connection_.failure(result);
    }
}

void Statement::run_once() {
    connection_.state_->query_ends = Clock::now() + longest_query;
    if (const int result = sqlite3_step(handle_.get()); result != SQLITE_DONE) {
        throw connection_.failure(result);
    }
    sqlite3_reset(handle_.get());
}

} // namespace tqctl
