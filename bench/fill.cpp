// fill ROWS TABLES: the database file with the first so many tables, the two of tasks with so many rows each and the
// others with 200 at most. Rows that are there stay, so that a file can grow from one measurement to the next; what a
// measurement added goes.

#include <cstdio>
#include <cstdlib>
#include <korvo_bt.h>
#include <sqlite3.h>
#include <string>

struct Table {
    const char *name;
    int32_t (*create)();
};
namespace {

constexpr Table tables[] = {
    {"BT_TASK", bt_db_create_tbl_task},       {"HTTP_FTP_TASK", http_ftp_db_create_tbl_task},
    {"BT_SESSION", bt_db_create_tbl_session}, {"BT_FDATA", bt_fdata_create_tbl},
    {"BT_INFODATA", bt_infodata_create_tbl},  {"BT_RSS", bt_rss_create_tbl},
    {"BT_RSS_JOB", bt_rss_job_create_tbl},    {"BT_ACCOUNT", bt_account_create_tbl},
};

// A column's value in row i: strings of some forty bytes, or what fits a time; numbers that go through states and
// types.
std::string value_of(const std::string &column, const std::string &type) {
    if (type == "TEXT") {
        return column.find("time") != std::string::npos ? "printf('2026/%06d', i * 7919 % 1000003)"
                                                        : "printf('" + column + " %030d', i)";
    }
    if (column == "task_queue_position") {
        return "i";
    }
    return column == "task_is_paused" ? "i % 10 = 0" : "i % 8";
}

std::string filling(sqlite3 *db, const std::string &table, const std::string &rows) {
    std::string columns, values;
    sqlite3_stmt *info = nullptr;
    sqlite3_prepare_v2(db, ("PRAGMA table_info(" + table + ")").c_str(), -1, &info, nullptr);
    while (sqlite3_step(info) == SQLITE_ROW) {
        const std::string column = reinterpret_cast<const char *>(sqlite3_column_text(info, 1));
        const std::string type = reinterpret_cast<const char *>(sqlite3_column_text(info, 2));
        columns += (columns.empty() ? "" : ", ") + column;
        values += values.empty() ? "i" : ", " + value_of(column, type);
    }
    sqlite3_finalize(info);
    return "DELETE FROM " + table + " WHERE rowid > " + rows + "; INSERT INTO " + table + " (" + columns +
           ") WITH RECURSIVE row(i) AS (SELECT COUNT(*) + 1 FROM " + table +
           " UNION ALL SELECT i + 1 FROM row WHERE i <= " + rows + ") SELECT " + values +
           " FROM row WHERE i <= " + rows + ";";
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::fputs("usage: fill ROWS TABLES\n", stderr);
        return 2;
    }
    const std::string rows = argv[1];
    std::string statements = "BEGIN;";
    for (const Table &table : tables) {
        if (&table - tables < std::atoi(argv[2])) {
            table.create(); // it may be there already
        }
    }
    sqlite3 *db = nullptr;
    sqlite3_open(BTDB_DEFAULT_FILE, &db);
    for (const Table &table : tables) {
        const auto at = &table - tables;
        if (at < std::atoi(argv[2])) {
            statements += filling(db, table.name, at < 2 ? rows : "MIN(200, " + rows + ")");
        }
    }
    statements += "COMMIT;";
    if (sqlite3_exec(db, statements.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        std::fprintf(stderr, "fill: %s\n%s\n", sqlite3_errmsg(db), statements.c_str());
        return 1;
    }
    return sqlite3_close(db) == SQLITE_OK ? 0 : 1;
}
