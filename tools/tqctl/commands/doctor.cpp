// Looks for what is wrong with the database and its surroundings: tqctl doctor. Changes nothing unless --fix is given.
#include "base/output.h"
#include "commands/commands.h"
#include "commands/fix.h"
#include "display/list.h"
#include "options/options.h"
#include "store/journal.h"
#include "store/message_queue.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <limits>
#include <map>
#include <sys/stat.h>

namespace tqctl {
namespace {

// What was found, as rows of a list.
class Findings {
public:
    void ok(const char *check, const std::string &text) { rows_.push_back({"ok", check, text}); }
    void note(const char *check, const std::string &text) { rows_.push_back({"note", check, text}); }
    void fault(const char *check, const std::string &text) { rows_.push_back({"fault", check, text}); }

    std::size_t faults() const {
        return static_cast<std::size_t>(
            std::ranges::count(rows_, "fault", [](const auto &row) { return std::string_view(row[0]); }));
    }
    void print(const Style &style) const {
        Sheet sheet({{"result", {}, Kind::text}, {"check", {}, Kind::text}, {"finding", {}, Kind::address, true}},
                    style);
        for (const auto &[result, check, text] : rows_) {
            sheet.row({{result}, {check}, {text}}, result);
        }
        sheet.print();
    }

private:
    std::vector<std::array<std::string, 3>> rows_;
};

// ---- Files ---------------------------------------------------------------------------------------------------------

void check_file(Findings &findings, const std::string &path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        Connection::read(path); // says what is wrong with it
    }
    const std::string mode = "mode " + octal(status.st_mode);
    if ((status.st_mode & S_IWOTH) != 0) {
        findings.fault("file", mode + ": every user of the machine may change it");
    } else if ((status.st_mode & S_IROTH) != 0) {
        findings.fault("file", mode + ": every user of the machine may read it, the passwords too");
    } else if ((status.st_mode & (S_IRUSR | S_IWUSR)) != (S_IRUSR | S_IWUSR)) {
        findings.fault("file", mode + ": its owner may not read and write it");
    } else {
        findings.ok("file", mode);
    }
}

// Whoever may write to the directory may put another file in the database's place; whoever may write to the
// configuration says where removed data lies.
void check_surroundings(Findings &findings) {
    const std::string directory = device_database().substr(0, device_database().rfind('/'));
    struct stat status {};
    if (stat(directory.c_str(), &status) == 0 && (status.st_mode & S_IWOTH) != 0 && (status.st_mode & S_ISVTX) == 0) {
        findings.fault("directory", directory + " has mode " + octal(status.st_mode) +
                                        ": every user of the machine may replace the database");
    }
    if (stat(configuration_file, &status) == 0 && (status.st_mode & S_IWOTH) != 0) {
        findings.fault("settings", concat(configuration_file, " has mode ", octal(status.st_mode),
                                          ": every user of the machine may change it"));
    }
}

// Looking into a file with a write-ahead log would leave files beside it. Its header tells; reading that by other means
// than SQLite's is safe while this process has no connection to the file.
bool has_write_ahead_log(const std::string &path) {
    std::array<char, 20> header{};
    std::ifstream(path, std::ios::binary).read(header.data(), header.size());
    return header[18] == 2 || header[19] == 2;
}

// Returns whether the file can be looked into.
bool check_journal(Findings &findings, const std::string &path) {
    if (const std::string fault = fault_of_journal(path); !fault.empty()) {
        findings.fault("journal", fault);
        return false;
    }
    const Connection::Journal journal = Connection::journal(path);
    if (journal == Connection::Journal::left_behind) {
        findings.fault("journal", "left behind by a program that was killed; the next call of the library that reads "
                                  "puts the file in order, and then the rest can be checked");
    } else if (journal == Connection::Journal::unused) {
        findings.note("journal", "an unused one is there, with nothing in it to be rolled back");
    } else {
        findings.ok("journal", journal == Connection::Journal::none ? "none left behind"
                                                                    : "there is one, of a program that is writing");
    }
    return journal != Connection::Journal::left_behind;
}

void check_integrity(Findings &findings, const Connection &database) {
    Statement check(database, "PRAGMA integrity_check(20)");
    while (check.next()) {
        const std::string result(check.text(0));
        if (result == "ok") {
            findings.ok("integrity", "SQLite finds nothing wrong");
        } else {
            findings.fault("integrity", result);
        }
    }
}

// ---- Tables and indexes --------------------------------------------------------------------------------------------

// A statement with blanks only where two words would run together.
std::string compact(std::string_view statement) {
    const auto is_word = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
    std::string out;
    bool blank = false;
    for (const char c : statement) {
        const bool space = std::isspace(static_cast<unsigned char>(c)) != 0;
        out += !space && blank && !out.empty() && is_word(out.back()) && is_word(c) ? " " : "";
        out += space ? "" : std::string(1, c);
        blank = space;
    }
    return out;
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
        objects[std::string(all.text(0))] = {std::string(all.text(1)), std::string(all.text(2)), compact(all.text(3))};
    }
    return objects;
}

// Takes what is as it should be out of the objects. Returns the tables that can be looked into.
std::vector<const Table *> check_tables(Findings &findings, std::map<std::string, Object> &objects) {
    std::vector<const Table *> sound;
    for (const Table *table : all_tables()) {
        const auto found = objects.find(std::string(table->name));
        if (found == objects.end()) {
            findings.fault("tables", std::string(table->name) + " is missing; tqctl init creates it");
            continue;
        }
        if (found->second.statement == compact(create_statement(*table))) {
            sound.push_back(table);
        } else {
            findings.fault("tables",
                           concat(table->name, " has other columns than it should: ", found->second.statement));
        }
        objects.erase(found);
    }
    if (sound.size() == all_tables().size()) {
        findings.ok("tables", std::to_string(sound.size()) + ", as they should be");
    }
    return sound;
}

void check_indexes(Findings &findings, std::map<std::string, Object> &objects,
                   const std::vector<const Table *> &tables) {
    std::map<std::string, std::vector<std::string>> wanted; // name to the statements that are right
    for (const Table *table : tables) {
        for (const Index &index : table->indexes) {
            wanted[std::string(index.name)].push_back(compact(create_statement(*table, index)));
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
            findings.fault("indexes", name + " differs from the expected definition: " + found->second.statement);
        }
        objects.erase(found);
    }
    if (findings.faults() == before) {
        findings.ok("indexes", std::to_string(wanted.size()) + ", as they should be");
    }
}

void check_foreign(Findings &findings, const std::map<std::string, Object> &objects) {
    for (const auto &[name, object] : objects) {
        if (find_table(object.table) != nullptr) {
            findings.fault("foreign", "the " + object.type + " " + name + " on " + object.table +
                                          " is unknown and changes how it behaves");
        } else {
            findings.note("foreign", "the " + object.type + " " + name + " is unknown");
        }
    }
}

// ---- Rows ----------------------------------------------------------------------------------------------------------

// The rows of a table that a condition finds, counted, and the first of them named; empty where there is none.
std::string rows_with(const Connection &database, const Table &table, const std::string &condition,
                      const std::string &meaning) {
    const std::string id(table.id().name);
    Statement found(database, concat("SELECT count(*), min(", id, ") FROM ", table.name, " WHERE ", condition));
    if (!found.next() || found.number(0) == 0) {
        return {};
    }
    return concat(table.name, ": ", found.number(0), " ", meaning, "; the first has ", id, " ", found.text(1));
}

void check_rows(Findings &findings, const Connection &database, const char *check, const Table &table,
                const std::string &condition, const std::string &meaning) {
    if (const std::string found = rows_with(database, table, condition, meaning); !found.empty()) {
        findings.fault(check, found);
    }
}

void check_texts(Findings &findings, const Connection &database, const Table &table) {
    for (const Column &column : table.columns) {
        if (is_text(column.kind) && !column.name.empty()) {
            const std::string name(column.name);
            check_rows(findings, database, "texts", table, concat("length(CAST(", name, " AS BLOB)) >= ", column.width),
                       concat("whose ", name, " is longer than the ", column.width - 1,
                              " bytes that a record holds, and is read truncated; set it anew, or remove the row"));
        }
    }
}

// What a record reads as 0 or as another number.
void check_numbers(Findings &findings, const Connection &database, const Table &table) {
    for (const Column &column : table.columns.subspan(1)) {
        if (!is_text(column.kind) && !column.name.empty()) {
            const std::string too_large = column.width == sizeof(std::int32_t)
                                              ? concat(" OR ", column.name, " NOT BETWEEN -2147483648 AND 2147483647")
                                              : "";
            check_rows(
                findings, database, "numbers", table,
                concat("typeof(", column.name, ") IN ('text', 'blob')", too_large),
                concat("whose ", column.name, " is no number that a record holds; set it anew, or remove the row"));
        }
    }
}

void check_identifiers(Findings &findings, const Connection &database, const Table &table) {
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    const std::string id(table.id().name);
    check_rows(findings, database, "identifiers", table, concat(id, " NOT BETWEEN 1 AND ", most),
               concat("with an identifier that is not from 1 to ", most,
                      ", which no command reaches; SQLite's own shell can delete it"));
    Statement next(database, "SELECT max(seq) FROM sqlite_sequence WHERE name = ?", {std::string(table.name)});
    if (next.next() && next.number(0) >= most) {
        findings.fault("identifiers", concat(table.name, ": the next one will be above ", most));
    }
}

// States belong to the programs that write them, so a strange one is no fault.
void check_states(Findings &findings, const Connection &database, const Table &table) {
    if (&table != &bt_task_table && &table != &http_task_table) {
        return;
    }
    const std::string last = &table == &bt_task_table ? "7" : "3";
    const std::string found =
        rows_with(database, table, "typeof(task_state) <> 'integer' OR task_state NOT BETWEEN 1 AND " + last,
                  "in a state that belongs to no group of states");
    if (!found.empty()) {
        findings.note("states", found);
    }
}

// A process that is gone downloads nothing any more, and its number may become another's, which a removal would kill.
void check_processes(Findings &findings, const Connection &database) {
    Statement tasks(database, "SELECT task_id, task_pid FROM HTTP_FTP_TASK WHERE task_pid > 0");
    while (tasks.next()) {
        const std::int64_t pid = tasks.number(1);
        if (pid > std::numeric_limits<pid_t>::max() || (kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH)) {
            findings.fault("processes", concat("http:", tasks.number(0), " is downloaded by process ", pid,
                                               ", which is gone; tqctl recover"));
        }
    }
}

void check_contents(Findings &findings, const Connection &database, const std::vector<const Table *> &tables) {
    const std::size_t before = findings.faults();
    const auto sound = [&](const Table &table) { return std::ranges::find(tables, &table) != tables.end(); };
    for (const Table *table : tables) {
        if (!table->task_column.empty() && sound(bt_task_table)) {
            check_rows(findings, database, "tasks", *table, condition_of_orphans(*table), "of no task");
        }
        check_states(findings, database, *table);
        check_texts(findings, database, *table);
        check_numbers(findings, database, *table);
        check_identifiers(findings, database, *table);
    }
    if (sound(http_task_table) && database.path() == device_database()) {
        check_processes(findings, database);
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
    const std::string mode = ", mode " + octal(queue->msg_perm.mode & 0777U);
    if (room_for_messages(*queue) == 0) {
        findings.fault("queue", waiting + "; it is full, and the next program that sends will end; is the daemon "
                                          "running? tqctl msg clean removes all of them");
    } else if ((queue->msg_perm.mode & 0777U) != 0777) {
        findings.note("queue", waiting + mode +
                                   ": a sender made it, and a daemon that does not run as root cannot "
                                   "receive; tqctl msg clean, then start the daemon");
    } else {
        findings.ok("queue", waiting + mode);
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
    if (path == device_database()) {
        check_surroundings(findings);
        attempt(findings, "queue", [&] { check_queue(findings); });
    }
    if (has_write_ahead_log(path)) {
        findings.fault("journal", "somebody has given the file a write-ahead log, which a plain copy misses; \"PRAGMA "
                                  "journal_mode = DELETE\" in SQLite's own shell takes it away, and then the rest can "
                                  "be checked");
        return;
    }
    if (!check_journal(findings, path)) {
        return;
    }
    attempt(findings, "file", [&] {
        const Connection database = Connection::read(path);
        attempt(findings, "integrity", [&] { check_integrity(findings, database); });
        attempt(findings, "tables", [&] {
            std::map<std::string, Object> objects = objects_of(database);
            const std::vector<const Table *> tables = check_tables(findings, objects);
            check_indexes(findings, objects, tables);
            check_foreign(findings, objects);
            check_contents(findings, database, tables);
        });
    });
}

struct Options {
    List list;
    std::string path = device_database();
    bool fix = false;
};

void doctor(const Options &options) {
    if (options.fix && options.path != device_database()) {
        throw CLI::ValidationError("--fix", "is for the device's own database");
    }
    Findings findings;
    examine(findings, options.path);
    if (options.fix && findings.faults() > 0) {
        warn("the database is kept as it was in " + fix_database());
        findings = {};
        examine(findings, options.path);
    }
    findings.print(options.list.style());
    if (findings.faults() > 0) {
        throw Failure(Exit::failed, concat(findings.faults(), findings.faults() == 1 ? " fault" : " faults",
                                           options.fix ? " left, not for --fix to put right" : ""));
    }
}

} // namespace

void add_doctor_command(CLI::App &app) {
    CLI::App *command = app.add_subcommand("doctor", "Look for what is wrong with the database");
    command->footer("Exit status 1 when there is a \"fault\". Looks at the file and what\n"
                    "was left beside it, its tables, indexes and rows, the modes of what surrounds\n"
                    "it, processes that are gone and the message queue. Changes nothing without\n"
                    "--fix, which makes a backup beside the database first and then puts right modes\n"
                    "of files, missing tables and indexes, rows of no task, processes that are gone\n"
                    "and identifiers that ran out, the smaller of which are then used again. It only\n"
                    "reports damage, foreign objects, a strange journal, values that no record holds,\n"
                    "a full message queue and the directory's mode.");
    const auto options = std::make_shared<Options>();
    command->add_option("FILE", options->path, "Another file, such as a backup");
    command->add_flag("--fix", options->fix, "Put right what can be, after a backup");
    options->list.add_form_options(*command);
    command->callback([options] { doctor(*options); });
}

} // namespace tqctl
