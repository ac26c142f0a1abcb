// The database file through SQLite itself: every read of the tool, and the few writes that the library has no call for.
// The true reason of a failure is known here: locked, damaged, missing, not to be read or written, a missing table.
//
// A file is opened under its full path, so that no name is taken for an URI; its directory may be reached through
// symlinks, as devices have them, the file itself may not be one. Nothing in a file's schema is trusted. While the
// file is locked a connection waits, and says so after two seconds. A query that does not end is ended.
#ifndef KORVO_TQCTL_STORE_CONNECTION_H
#define KORVO_TQCTL_STORE_CONNECTION_H

#include "base/cell.h"
#include "base/failure.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <string_view>

namespace tqctl {

// The device's own database, in words and as a path.
const std::string &device_database();

// How long a connection waits for a lock, and who is asked meanwhile whether to give up.
struct Patience {
    std::chrono::milliseconds most{20000};
    bool silent = false;
    std::function<bool()> give_up{};
};

class Connection {
public:
    static Connection read(const std::string &path = device_database(), Patience patience = {});
    static Connection write(const std::string &path = device_database(), Patience patience = {});
    static Connection memory();

    // What the journal beside a file is: a program writes it, has left it behind so that it must be rolled back, or has
    // left nothing in it. Changes nothing.
    enum class Journal { none, written, left_behind, unused };
    static Journal journal(const std::string &path);

    void run(const std::string &statement) const;
    bool has_table(std::string_view name) const;
    sqlite3 *handle() const { return handle_.get(); }
    const std::string &path() const { return state_->path; }

    // What a failure of SQLite's means to the operator.
    Failure failure(int code) const;

private:
    friend class Statement;

    struct State {
        std::string path;
        Patience patience;
        bool usable = false; // has been read from
        bool told = false;
        std::chrono::steady_clock::time_point waiting_since{};
        std::chrono::steady_clock::time_point query_ends{};
    };

    Connection(std::string path, int flags, Patience patience);
    static int on_busy(void *state, int times) noexcept;
    static int on_progress(void *state) noexcept;
    static Connection opened(const std::string &path, int flags, const Patience &patience);

    std::unique_ptr<State> state_;
    std::unique_ptr<sqlite3, decltype(&sqlite3_close)> handle_;
};

// What SQLite's quick check finds wrong with a database, said to people; empty for nothing.
std::string damage_of(const Connection &database);

class Statement {
public:
    Statement(const Connection &connection, const std::string &text, std::initializer_list<Cell> values = {});

    bool next(); // to the next row
    int columns() const { return sqlite3_column_count(handle_.get()); }
    std::string name(int column) const;
    bool is_null(int column) const { return sqlite3_column_type(handle_.get(), column) == SQLITE_NULL; }
    std::int64_t number(int column) const { return sqlite3_column_int64(handle_.get(), column); }
    std::string_view text(int column) const; // until the next row; empty for NULL
    Cell cell(int column) const;

    void bind(int value, const Cell &cell); // values are numbered from 0
    void run_once();                        // and make ready for other values

private:
    const Connection &connection_;
    std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> handle_;
};

} // namespace tqctl

#endif
