// The database as a whole, out and in: tqctl backup, export, import.
#include "base/new_file.h"
#include "base/output.h"
#include "commands/commands.h"
#include "commands/fix.h"
#include "formats/exchange.h"
#include "options/options.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <limits>
#include <sstream>
#include <sys/stat.h>

namespace tqctl {
namespace {

constexpr std::int64_t largest_id = std::numeric_limits<std::int32_t>::max();

std::string quoted(const std::string &name) {
    std::string out = "\"";
    for (const char c : name) {
        out += c == '"' ? "\"\"" : std::string(1, c);
    }
    return out + "\"";
}

// ---- backup --------------------------------------------------------------------------------------------------------

} // namespace

// The pages of the file as SQLite reads them, while a read transaction keeps writers out.
std::string backup(const std::string &path) {
    NewFile copy(path);
    const Connection database = Connection::read();
    if (Statement mode(database, "PRAGMA journal_mode"); mode.next() && mode.text(0) == "wal") {
        throw Failure(Exit::failed, database.path() + " has been given a write-ahead log; see tqctl doctor");
    }
    database.run("BEGIN");
    Statement(database, "SELECT 1 FROM sqlite_master").next(); // locks
    sqlite3_file *file = nullptr;
    sqlite3_file_control(database.handle(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
    sqlite3_int64 size = 0;
    if (const int result = file->pMethods->xFileSize(file, &size); result != SQLITE_OK) {
        throw database.failure(result);
    }
    std::string bytes(1U << 16U, '\0');
    for (sqlite3_int64 at = 0; at < size; at += static_cast<sqlite3_int64>(bytes.size())) {
        bytes.resize(static_cast<std::size_t>(std::min<sqlite3_int64>(size - at, 1 << 16)));
        if (const int result = file->pMethods->xRead(file, bytes.data(), static_cast<int>(bytes.size()), at);
            result != SQLITE_OK) {
            throw database.failure(result);
        }
        copy.write(bytes);
    }
    std::string damage = damage_of(database);
    database.run("COMMIT");
    if (!copy.keep()) {
        throw Failure(Exit::failed, path + " is there already; nothing is written over it");
    }
    return damage;
}

namespace {

void add_backup(CLI::App &app) {
    CLI::App *command = app.add_subcommand("backup", "Copy the database to a file, while others use it");
    command->footer("FILE must not be there yet. It holds every password and is readable by its owner\n"
                    "alone; it is there whole or not at all. To restore it, copy it back while no\n"
                    "program uses the database. Other commands read it with --db FILE.");
    const auto path = std::make_shared<std::string>();
    command->add_option("FILE", *path, "The new file")->required();
    command->callback([path] {
        if (const std::string damage = backup(*path); !damage.empty()) {
            throw Failure(Exit::failed, damage + "; " + *path + " is a copy of what is there");
        }
    });
}

// ---- export --------------------------------------------------------------------------------------------------------

// The value as others may see it.
ExportedCell masked(const Cell &cell, Kind kind) {
    const auto *text = std::get_if<std::string>(&cell);
    const bool nothing = std::holds_alternative<std::monostate>(cell) || (text != nullptr && text->empty());
    if (nothing || (kind != Kind::password && kind != Kind::address)) {
        return cell;
    }
    if (kind == Kind::address && text != nullptr) {
        const std::string rest = without_passwords(*text, "");
        return rest == *text ? ExportedCell(cell) : ExportedCell(Masked{rest});
    }
    return kind == Kind::password || std::holds_alternative<Blob>(cell) ? ExportedCell(Masked{}) : ExportedCell(cell);
}

std::int64_t last_id(const Connection &database, const std::string &table) {
    if (!database.has_table("sqlite_sequence")) {
        return 0;
    }
    Statement statement(database, "SELECT max(seq) FROM sqlite_sequence WHERE name = ?", {table});
    return statement.next() ? statement.number(0) : 0;
}

void export_table(Spool &spool, const Connection &database, const Table &table, bool first_table, bool show_passwords) {
    const std::string name(table.name);
    Statement rows(database, "SELECT * FROM " + quoted(name) + " ORDER BY rowid");
    std::vector<std::string> columns;
    std::vector<Kind> kinds;
    for (int i = 0; i < rows.columns(); ++i) {
        columns.push_back(rows.name(i));
        const Column *column = table.find(columns.back());
        kinds.push_back(column != nullptr ? column->kind : Kind::address); // another program's may hold anything
    }
    spool.add(table_start(first_table, name, last_id(database, name), columns));
    for (bool first = true; rows.next(); first = false) {
        std::vector<ExportedCell> cells;
        for (int i = 0; i < rows.columns(); ++i) {
            const Cell cell = rows.cell(i);
            cells.push_back(show_passwords ? ExportedCell(cell) : masked(cell, kinds[static_cast<std::size_t>(i)]));
        }
        spool.add(row_text(first, cells));
    }
    spool.add(table_end());
}

void write_export(const std::string &path, bool show_passwords) {
    Spool spool;
    {
        const Connection database = Connection::read(path);
        database.run("BEGIN"); // one moment of it
        // In the order in which they were created: index names that two tables share belong to the first.
        Statement tables(database, "SELECT name, type FROM sqlite_master WHERE type IN ('table', 'view') "
                                   "AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\' ORDER BY rowid");
        spool.add(export_start(!show_passwords));
        bool first = true;
        while (tables.next()) {
            if (const Table *table = find_table(tables.text(0)); table != nullptr) {
                export_table(spool, database, *table, first, show_passwords);
                first = false;
            } else {
                warn(concat("the ", tables.text(1), " ", tables.text(0), " belongs to no command and is left out"));
            }
        }
        spool.add(export_end());
    }
    spool.print();
}

void add_export(CLI::App &app) {
    CLI::App *command = app.add_subcommand("export", "Write every row as JSON to standard output");
    command->footer("One moment of the database, exactly as it is. Passwords are left out, those in\n"
                    "addresses too, unless asked for; mind then who can read the output.");
    const auto show_passwords = std::make_shared<bool>(false);
    command->add_flag("--show-passwords", *show_passwords, "With passwords");
    const auto path = add_database(*command);
    command->callback([=] { write_export(*path, *show_passwords); });
}

// ---- import --------------------------------------------------------------------------------------------------------

struct Options {
    std::string path;
    bool without_passwords = false;
};

std::string read_input(const std::string &path) {
    std::ostringstream text;
    if (path == "-") {
        text << std::cin.rdbuf();
        return std::move(text).str();
    }
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        throw Failure(Exit::failed, path + " is no regular file; - stands for standard input");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file || !(text << file.rdbuf())) {
        throw Failure(Exit::failed, path + " cannot be read");
    }
    return std::move(text).str();
}

// A row is refused that no command could reach, after which nothing could be added, or with a mask for a password.
void check_row(const ExportedTable &table, std::size_t number, const Options &options) {
    const auto refuse = [&](const std::string &why) {
        throw FormatError(concat("row ", number + 1, " of ", table.name, " ", why));
    };
    const auto &row = table.rows[number];
    const Cell *first = row.empty() ? nullptr : std::get_if<Cell>(&row.front());
    const auto *id = first != nullptr ? std::get_if<std::int64_t>(first) : nullptr;
    if (id == nullptr || *id < 1 || *id >= largest_id) {
        refuse("has no identifier from 1 to " + std::to_string(largest_id - 1));
    }
    for (const ExportedCell &cell : row) {
        const auto *value = std::get_if<Cell>(&cell);
        const auto *text = value != nullptr ? std::get_if<std::string>(value) : nullptr;
        if (value == nullptr && !options.without_passwords) {
            refuse("is without its password; --without-passwords imports it so");
        }
        if (text != nullptr && (*text == "********" || text->find(":********@") != std::string::npos)) {
            refuse("has asterisks in the place of a password");
        }
    }
}

Export understood(const std::string &json, const Options &options) {
    try {
        Export read = read_export(json);
        if (read.masked && !options.without_passwords) {
            throw FormatError("its passwords were left out; --without-passwords imports it without them");
        }
        for (const ExportedTable &table : read.tables) {
            if (find_table(table.name) == nullptr) {
                throw FormatError("there is no table " + table.name);
            }
            if (table.last_id < 0 || table.last_id >= largest_id) {
                throw FormatError("the last identifier of " + table.name + " leaves none for new rows");
            }
            for (std::size_t number = 0; number < table.rows.size(); ++number) {
                check_row(table, number, options);
            }
        }
        return read;
    } catch (const FormatError &error) {
        throw Failure(Exit::failed, std::string("the export cannot be imported: ") + error.what());
    }
}

void create_missing(const Connection &database, const Table &table) {
    if (!database.has_table(table.name)) {
        database.run(create_statement(table));
    }
    for (const Index &index : table.indexes) {
        if (!Statement(database, "SELECT 1 FROM sqlite_master WHERE name = ?", {std::string(index.name)}).next()) {
            database.run(create_statement(table, index));
        }
    }
}

// The library's adds take only what a record holds and give every row an identifier of their own; so rows go in by
// SQLite.
void import_table(const Connection &database, const ExportedTable &table) {
    Statement there(database, "SELECT * FROM " + quoted(table.name));
    std::vector<std::string> columns;
    std::string places;
    for (int column = 0; column < there.columns(); ++column) {
        columns.push_back(there.name(column));
        places += column == 0 ? "?" : ", ?";
    }
    if (columns != table.columns) {
        throw Failure(Exit::failed, "the columns of " + table.name + " are others in the export");
    }
    Statement insert(database, "INSERT INTO " + quoted(table.name) + " VALUES (" + places + ")");
    for (const auto &row : table.rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            const auto *masked = std::get_if<Masked>(&row[column]);
            insert.bind(static_cast<int>(column), masked != nullptr ? Cell(masked->text) : std::get<Cell>(row[column]));
        }
        insert.run_once();
    }
    // No identifier is given twice, also when the rows that had the last ones are gone.
    const std::int64_t last = std::max(last_id(database, table.name), table.last_id);
    Statement(database, "DELETE FROM sqlite_sequence WHERE name = ?", {table.name}).run_once();
    if (last > 0) {
        Statement(database, "INSERT INTO sqlite_sequence VALUES (?, ?)", {table.name, last}).run_once();
    }
}

void fill(const Connection &database, const Export &read) {
    for (const ExportedTable &table : read.tables) { // in this order: see export
        create_missing(database, *find_table(table.name));
    }
    for (const Table *table : all_tables()) {
        create_missing(database, *table);
    }
    for (const ExportedTable &table : read.tables) {
        import_table(database, table);
    }
}

// A database that is not there yet is made in memory, so that the file is whole from the start.
void import_new(const Export &read) {
    const Connection database = Connection::memory();
    fill(database, read);
    sqlite3_int64 size = 0;
    const std::unique_ptr<unsigned char, decltype(&sqlite3_free)> bytes(
        sqlite3_serialize(database.handle(), "main", &size, 0), sqlite3_free);
    if (bytes == nullptr) {
        throw database.failure(SQLITE_NOMEM);
    }
    NewFile file(device_database());
    file.write({reinterpret_cast<const char *>(bytes.get()), static_cast<std::size_t>(size)});
    const mode_t mask = umask(0);
    umask(mask);
    if (!file.keep(0640U & ~mask)) {
        throw Failure(Exit::failed, device_database() + " has come into being meanwhile; nothing was imported");
    }
}

void import_into(const Export &read) {
    const Connection database = Connection::write();
    database.run("BEGIN IMMEDIATE"); // closing the connection early takes everything back
    for (const Table *table : all_tables()) {
        const std::string name(table->name);
        if (database.has_table(name) && Statement(database, "SELECT 1 FROM " + name + " LIMIT 1").next()) {
            throw Failure(Exit::failed, "the table " + name + " holds rows already; an import needs an empty database");
        }
    }
    fill(database, read);
    database.run("COMMIT");
}

void import(const Options &options) {
    const Export read = understood(read_input(options.path), options);
    struct stat status {};
    const bool there = stat(device_database().c_str(), &status) == 0;
    there ? import_into(read) : import_new(read);
}

void add_import(CLI::App &app) {
    CLI::App *command = app.add_subcommand("import", "Read an export into an empty database");
    command->footer("All or nothing. Makes the database, and tables that it has not.");
    const auto options = std::make_shared<Options>();
    command->add_option("FILE", options->path, "The export; - for standard input")->required();
    command->add_flag("--without-passwords", options->without_passwords,
                      "Take an export whose passwords were left out;\nthey will be empty");
    command->callback([options] { import(*options); });
}

} // namespace

void add_transfer_commands(CLI::App &app) {
    add_backup(app);
    add_export(app);
    add_import(app);
}

} // namespace tqctl
