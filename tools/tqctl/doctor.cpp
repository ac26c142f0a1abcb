// Looks for what is wrong with the database and its surroundings, and changes nothing: tqctl doctor.
#include "commands.h"
#include "database_file.h"
#include "failure.h"
#include "listing.h"
#include "message_queue.h"
#include "schema.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <sys/stat.h>

namespace tqctl {
namespace {

// What was found, as rows of a list.
class Findings {
public:
    void ok(const char *check, const std::string &text) { add("ok", check, text); }
    void note(const char *check, const std::string &text) { add("note", check, text); }
    void fault(const char *check, const std::string &text) {
        add("fault", check, text);
        ++faults_;
    }

    std::size_t faults() const { return faults_; }
    Rows &rows() { return rows_; }

private:
    void add(const char *result, const char *check, const std::string &text) {
        rows_.rows.push_back({result, check, text});
    }

    Rows rows_{{"result", "check", "finding"}, {}, {}};
    std::size_t faults_ = 0;
};

// ---- The file ------------------------------------------------------------------------------------------------------

void check_file(Findings &findings, const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        throw Failure(Exit::database, "tqctl: " + path + " cannot be reached: " + std::strerror(errno));
    }
    const std::string mode = "mode " + octal(status.st_mode);
    if ((status.st_mode & S_IWOTH) != 0) {
        findings.fault("file", mode + ": every user of the machine may change it");
    } else if ((status.st_mode & (S_IRUSR | S_IWUSR)) != (S_IRUSR | S_IWUSR)) {
        findings.fault("file", mode + ": its owner may not read and write it");
    } else {
        const bool open = (status.st_mode & S_IROTH) != 0;
        findings.ok("file", mode + (open ? "; every user of the machine may read it, the passwords too" : ""));
    }
}

// Looking into a file with a write-ahead log would leave files beside it. Its header tells; reading that by other means
// than SQLite's is safe while this process has no connection to the file.
bool has_write_ahead_log(const std::string &path) {
    std::array<char, 20> header{};
    std::ifstream(path, std::ios::binary).read(header.data(), header.size());
    return header[18] == 2 || header[19] == 2;
}

// A journal beside a file that reads well belongs to somebody who is writing; one beside a file that does not is what a
// killed program left. Returns whether the file can be looked into.
bool check_journal(Findings &findings, const Connection &database, const std::string &path) {
    const bool readable =
        sqlite3_exec(database.handle(), "BEGIN; SELECT 1 FROM sqlite_master", nullptr, nullptr, nullptr) == SQLITE_OK;
    struct stat status {};
    const bool journal = stat((path + "-journal").c_str(), &status) == 0;
    if (readable) {
        findings.ok("journal", journal ? "there is one, of a program that is writing" : "none left behind");
    } else if (database.code() == SQLITE_READONLY_ROLLBACK || (journal && database.code() == SQLITE_CANTOPEN)) {
        findings.fault("journal", "left behind by a program that was killed; the next call of the library that reads "
                                  "puts the file in order, and then the rest can be checked");
    } else {
        findings.fault("file", std::string("cannot be read: ") + sqlite3_errmsg(database.handle()));
    }
    return readable;
}

void check_integrity(Findings &findings, const Connection &database) {
    Statement check(database, "PRAGMA integrity_check(20)");
    while (check.next()) {
        const std::string result = check.text(0);
        if (result == "ok") {
            findings.ok("integrity", "SQLite finds nothing wrong");
        } else {
            findings.fault("integrity", result);
        }
    }
}

// ---- Tables and indexes --------------------------------------------------------------------------------------------

bool is_word(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// A statement with blanks only where two words would run together.
std::string compact(std::string_view statement) {
    std::string out;
    bool blank = false;
    for (const char c : statement) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
            blank = true;
            continue;
        }
        if (blank && !out.empty() && is_word(out.back()) && is_word(c)) {
            out += ' ';
        }
        blank = false;
        out += c;
    }
    return out;
}

std::string create_statement(const TableRule &rule) {
    std::string out = std::string("CREATE TABLE ") + rule.store->table + "(";
    for (const ColumnRule &column : rule.columns) {
        out += (out.back() == '(' ? "" : ",") + std::string(column.name) + " " + std::string(column.type);
    }
    return out + ")";
}

std::string create_statement(const TableRule &rule, const IndexRule &index) {
    return compact("CREATE INDEX " + std::string(index.name) + " on " + rule.store->table + "(" +
                   std::string(index.column) + ")");
}

struct Object {
    std::string type;
    std::string table;
    std::string statement; // compact
};

// Everything in the file that somebody has created, by name.
std::map<std::string, Object> objects_of(const Connection &database) {
    std::map<std::string, Object> objects;
    Statement all(database, "SELECT name, type, tbl_name, sql FROM sqlite_master WHERE sql IS NOT NULL "
                            "AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'");
    while (all.next()) {
        objects[all.text(0)] = {all.text(1), all.text(2), compact(all.text(3))};
    }
    return objects;
}

// Takes what is as it should be out of the objects. Returns the tables that can be looked into.
std::vector<TableRule> check_tables(Findings &findings, std::map<std::string, Object> &objects) {
    std::vector<TableRule> sound;
    for (const TableRule &rule : table_rules()) {
        const auto found = objects.find(rule.store->table);
        if (found == objects.end()) {
            findings.fault("tables", std::string(rule.store->table) + " is missing; tqctl init creates it");
            continue;
        }
        if (found->second.statement == create_statement(rule)) {
            sound.push_back(rule);
        } else {
            findings.fault("tables", std::string(rule.store->table) +
                                         " has other columns than it should: " + found->second.statement);
        }
        objects.erase(found);
    }
    if (sound.size() == table_rules().size()) {
        findings.ok("tables", std::to_string(sound.size()) + ", as they should be");
    }
    return sound;
}

void check_indexes(Findings &findings, std::map<std::string, Object> &objects, const std::vector<TableRule> &tables) {
    std::map<std::string, std::vector<std::string>> wanted; // name to the statements that are right
    for (const TableRule &rule : tables) {
        for (const IndexRule &index : rule.indexes) {
            wanted[std::string(index.name)].push_back(create_statement(rule, index));
        }
    }
    const std::size_t before = findings.faults();
    for (const auto &[name, statements] : wanted) {
        const auto found = objects.find(name);
        if (found == objects.end()) {
            findings.fault("indexes", name + " is missing; tqctl init creates it");
            continue;
        }
        if (std::ranges::find(statements, found->second.statement) == statements.end()) {
            findings.fault("indexes", name + " is another than it should be: " + found->second.statement);
        }
        objects.erase(found);
    }
    if (findings.faults() == before) {
        findings.ok("indexes", std::to_string(wanted.size()) + ", as they should be");
    }
}

void check_foreign(Findings &findings, const std::map<std::string, Object> &objects) {
    for (const auto &[name, object] : objects) {
        const std::string &table = object.table;
        const bool ours =
            std::ranges::any_of(table_rules(), [&table](const TableRule &rule) { return table == rule.store->table; });
        std::string what = "the ";
        what.append(object.type).append(" ").append(name);
        if (ours) {
            findings.fault("foreign", what + " on " + table + " is none of ours and changes how it behaves");
        } else {
            findings.note("foreign", what + " is none of ours");
        }
    }
}

// ---- Rows ----------------------------------------------------------------------------------------------------------

// The rows of a table that a condition finds, counted, and the first of them named; empty where there is none.
std::string rows_with(const Connection &database, const TableRule &rule, const std::string &condition,
                      const std::string &meaning) {
    const std::string id(rule.columns.front().name);
    Statement found(database, "SELECT count(*), min(" + id + ") FROM " + rule.store->table + " WHERE " + condition);
    if (!found.next() || found.number(0) == 0) {
        return {};
    }
    return std::string(rule.store->table) + ": " + std::to_string(found.number(0)) + " " + meaning +
           "; the first has " + id + " " + found.text(1);
}

void check_rows(Findings &findings, const Connection &database, const char *check, const TableRule &rule,
                const std::string &condition, const std::string &meaning) {
    if (const std::string found = rows_with(database, rule, condition, meaning); !found.empty()) {
        findings.fault(check, found);
    }
}

void check_texts(Findings &findings, const Connection &database, const TableRule &rule) {
    for (const ColumnRule &column : rule.columns) {
        if (column.width != 0) {
            const std::string name(column.name);
            check_rows(findings, database, "texts", rule,
                       "length(CAST(" + name + " AS BLOB)) >= " + std::to_string(column.width),
                       "whose " + name + " is longer than the " + std::to_string(column.width - 1) +
                           " bytes that a record holds");
        }
    }
}

void check_identifiers(Findings &findings, const Connection &database, const TableRule &rule) {
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    const std::string id(rule.columns.front().name);
    check_rows(findings, database, "identifiers", rule, id + " NOT BETWEEN 1 AND " + std::to_string(most),
               "with an identifier that is not from 1 to " + std::to_string(most));
    Statement next(database,
                   std::string("SELECT max(seq) FROM sqlite_sequence WHERE name = '") + rule.store->table + "'");
    if (next.next() && next.number(0) >= most) {
        findings.fault("identifiers",
                       std::string(rule.store->table) + ": the next one will be above " + std::to_string(most));
    }
}

// States belong to the programs that write them, so a strange one is no fault.
void check_states(Findings &findings, const Connection &database, const TableRule &rule) {
    if (rule.last_state == 0) {
        return;
    }
    const std::string known = std::to_string(rule.first_state) + " AND " + std::to_string(rule.last_state);
    const std::string found =
        rows_with(database, rule, "typeof(task_state) <> 'integer' OR task_state NOT BETWEEN " + known,
                  "in a state that belongs to no group of states");
    if (!found.empty()) {
        findings.note("states", found);
    }
}

void check_contents(Findings &findings, const Connection &database, const std::vector<TableRule> &tables) {
    const std::size_t before = findings.faults();
    const bool tasks = std::ranges::any_of(tables, [](const TableRule &rule) { return rule.store == &bt_task_store; });
    for (const TableRule &rule : tables) {
        if (!rule.task_column.empty() && tasks) {
            check_rows(findings, database, "tasks", rule,
                       std::string(rule.task_column) + " IS NULL OR " + std::string(rule.task_column) +
                           " NOT IN (SELECT task_id FROM BT_TASK)",
                       "of no task");
        }
        check_states(findings, database, rule);
        check_texts(findings, database, rule);
        check_identifiers(findings, database, rule);
    }
    if (findings.faults() == before) {
        findings.ok("rows", "each has its task, and fits its record");
    }
}

// ---- The message queue ---------------------------------------------------------------------------------------------

void check_queue(Findings &findings) {
    const auto queue = message_queue();
    if (!queue) {
        findings.ok("queue", "none yet; the first message makes it");
        return;
    }
    const std::string waiting = "messages waiting: " + std::to_string(queue->msg_qnum);
    if (room_for_messages(*queue) == 0) {
        findings.fault("queue", waiting + "; it is full, and the next program that sends will end; is the daemon "
                                          "running?");
    } else {
        findings.ok("queue", waiting + ", mode " + octal(queue->msg_perm.mode));
    }
}

// ---- All of it -----------------------------------------------------------------------------------------------------

// A damaged file may fail any of the checks.
template <typename Check> void attempt(Findings &findings, const char *name, Check check) {
    try {
        check();
    } catch (const Failure &failure) {
        findings.fault(name, failure.what());
    }
}

void examine(Findings &findings, const std::string &path) {
    check_file(findings, path);
    if (has_write_ahead_log(path)) {
        findings.fault("journal", "somebody has given the file a write-ahead log, which a plain copy misses; \"PRAGMA "
                                  "journal_mode = DELETE\" in SQLite's own shell takes it away, and then the rest can "
                                  "be checked");
        return;
    }
    const Connection database = Connection::read_only(path);
    if (!check_journal(findings, database, path)) {
        return;
    }
    attempt(findings, "integrity", [&] { check_integrity(findings, database); });
    attempt(findings, "tables", [&] {
        std::map<std::string, Object> objects = objects_of(database);
        const std::vector<TableRule> tables = check_tables(findings, objects);
        check_indexes(findings, objects, tables);
        check_foreign(findings, objects);
        check_contents(findings, database, tables);
    });
}

struct DoctorOptions {
    explicit DoctorOptions(const std::vector<Column> &columns) : listing(columns) {}

    Listing listing;
    std::string path;
};

void doctor(const DoctorOptions &options) {
    Findings findings;
    if (options.path.empty()) {
        require_database();
        examine(findings, BTDB_DEFAULT_FILE);
        attempt(findings, "queue", [&] { check_queue(findings); });
    } else {
        examine(findings, options.path);
    }
    options.listing.print(findings.rows());
    if (findings.faults() > 0) {
        throw Failure(Exit::failed, "tqctl: " + std::to_string(findings.faults()) + " of these need a hand");
    }
}

} // namespace

void add_doctor_commands(CLI::App &app) {
    static const std::vector<Column> columns{
        {"result", "result", Kind::text},
        {"check", "check", Kind::text},
        {"finding", "finding", Kind::prose},
    };
    CLI::App *command = app.add_subcommand("doctor", "Look for what is wrong, and change nothing");
    command->group("Database");
    command->footer("Exit status 1 when something needs a hand: a \"fault\". Looks at the file and what\n"
                    "was left beside it, its tables, indexes and rows, and the message queue.");
    const auto options = std::make_shared<DoctorOptions>(columns);
    command->add_option("FILE", options->path, "Another file, such as a backup");
    options->listing.add_options(*command);
    options->listing.paint([](const Rows &, const Row &row) {
        return row[0] == "fault" ? red : row[0] == "note" ? yellow : green;
    });
    command->callback([options] { doctor(*options); });
}

} // namespace tqctl
