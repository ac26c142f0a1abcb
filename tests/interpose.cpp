// Stands between the library and SQLite: these functions are found before SQLite's own, note the call and pass it on.

#include "next.h"
#include "support.h"

#include <atomic>

namespace test {

namespace {

thread_local Recording *recording = nullptr;
std::atomic<int> open_connections = 0;

} // namespace

Recording::Recording() {
    recording = this;
}
Recording::~Recording() {
    recording = nullptr;
}
int connections() {
    return open_connections;
}

namespace {

// SQLite calls itself by these names too, and the tests have connections of their own; neither is the library's doing.
thread_local int depth = 0;

class Noted {
public:
    explicit Noted(const std::string &what) {
        if (depth++ == 0 && recording != nullptr) {
            recording->calls.push_back(what);
        }
    }
    Noted(const Noted &) = delete;
    Noted &operator=(const Noted &) = delete;
    ~Noted() { --depth; }
    // The library's own: what it opens and closes is counted.
    static bool outermost() { return depth == 1; }
};

std::string text(const char *text) {
    return text != nullptr ? text : "NULL";
}

} // namespace

} // namespace test

int sqlite3_open(const char *file, sqlite3 **db) {
    const test::Noted call("open " + test::text(file));
    const int result = test::next(sqlite3_open, "sqlite3_open")(file, db);
    test::open_connections += *db != nullptr ? 1 : 0;
    return result;
}

int sqlite3_close(sqlite3 *db) {
    const test::Noted call("close");
    const int result = test::next(sqlite3_close, "sqlite3_close")(db);
    test::open_connections -= call.outermost() && db != nullptr && result == SQLITE_OK ? 1 : 0;
    return result;
}

int sqlite3_busy_timeout(sqlite3 *db, int ms) {
    const test::Noted call("wait " + std::to_string(ms));
    return test::next(sqlite3_busy_timeout, "sqlite3_busy_timeout")(db, ms);
}

int sqlite3_exec(sqlite3 *db, const char *sql, sqlite3_callback callback, void *context, char **message) {
    const test::Noted call("run " + test::text(sql));
    return test::next(sqlite3_exec, "sqlite3_exec")(db, sql, callback, context, message);
}

int sqlite3_prepare(sqlite3 *db, const char *sql, int length, sqlite3_stmt **statement, const char **tail) {
    const test::Noted call("run " + test::text(sql));
    return test::next(sqlite3_prepare, "sqlite3_prepare")(db, sql, length, statement, tail);
}
