// The database file through SQLite itself, for the commands that are about the file rather than about tasks: what the
// library has no call for.
#pragma once

#include "exchange.h"
#include "failure.h"

#include <memory>
#include <sqlite3.h>
#include <string>

namespace tqctl {

class Connection {
public:
    static Connection read_only(const std::string &file);
    static Connection read_write(const std::string &file); // the file must be there
    static Connection in_memory();

    // Replaces everything in `target`. One moment of the database, whoever else writes: they wait meanwhile.
    void copy_to(const Connection &target) const;

    void run(const char *statement) const;
    sqlite3 *handle() const { return handle_.get(); }

    // What SQLite says about its last failure, in words and as an extended code.
    Failure failure(const std::string &what) const;
    int code() const { return sqlite3_extended_errcode(handle_.get()); }

private:
    Connection(const std::string &file, int flags);

    std::string file_;
    std::unique_ptr<sqlite3, decltype(&sqlite3_close)> handle_;
};

class Statement {
public:
    Statement(const Connection &connection, const std::string &text);

    bool next(); // to the next row
    int columns() const { return sqlite3_column_count(handle_.get()); }
    std::string name(int column) const;
    std::int64_t number(int column) const { return sqlite3_column_int64(handle_.get(), column); }
    std::string text(int column) const; // empty for NULL
    Cell cell(int column) const;

    // Values are numbered from 0; a Masked one becomes the empty text.
    void bind(int value, const Cell &cell);
    void run_once(); // and make ready for other values

private:
    const Connection &connection_;
    std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> handle_;
};

} // namespace tqctl
