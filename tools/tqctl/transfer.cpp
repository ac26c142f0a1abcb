// The database as a whole, out and in: tqctl backup, export, import.
#include "commands.h"
#include "database_file.h"
#include "exchange.h"
#include "failure.h"
#include "output.h"
#include "stores.h"
#include "text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <unistd.h>

namespace tqctl {
namespace {

std::string quoted(const std::string &name) {
    std::string out = "\"";
    for (const char c : name) {
        out += c == '"' ? "\"\"" : std::string(1, c);
    }
    return out + "\"";
}

const Store *store_of(const std::string &table) {
    const auto *found = std::ranges::find_if(all_stores, [&](const Store *store) { return store->table == table; });
    return found != all_stores.end() ? *found : nullptr;
}

// ---- backup --------------------------------------------------------------------------------------------------------

// A new file that only its owner reads; gone again unless it is kept.
class NewFile {
public:
    explicit NewFile(std::string path) : path_(std::move(path)) {
        const int descriptor = open(path_.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, S_IRUSR | S_IWUSR);
        if (descriptor < 0) {
            throw Failure(Exit::failed, "tqctl: " + path_ + " could not be made: " + std::strerror(errno));
        }
        close(descriptor);
    }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    ~NewFile() {
        if (!kept_) {
            unlink(path_.c_str());
        }
    }
    void keep() { kept_ = true; }

private:
    std::string path_;
    bool kept_ = false;
};

void backup(const std::string &path) {
    require_database();
    NewFile file(path);
    Connection::read_only(BTDB_DEFAULT_FILE).copy_to(Connection::read_write(path));
    file.keep();
}

void add_backup(CLI::App &app) {
    CLI::App *command = app.add_subcommand("backup", "Copy the database to a file, while others use it");
    command->group("Database");
    command->footer("FILE must not be there yet. It holds every password and is readable by its owner\n"
                    "alone. To restore it, copy it back while no program uses the database.");
    const auto path = std::make_shared<std::string>();
    command->add_option("FILE", *path, "The new file")->required();
    command->callback([path] { backup(*path); });
}

// ---- export --------------------------------------------------------------------------------------------------------

// The value as others may see it: without a password, also where one stands in an address.
Cell masked(const Cell &cell, const std::string &column) {
    const std::string *text = std::get_if<std::string>(&cell);
    if (column == "account_pass" || column == "task_password") {
        const bool empty = std::holds_alternative<std::monostate>(cell) || (text != nullptr && text->empty());
        return empty ? cell : Cell(Masked{});
    }
    return text != nullptr && column == "task_filename" ? Cell(without_password(*text)) : cell;
}

std::int64_t last_id(const Connection &database, const std::string &table) {
    if (!Statement(database, "SELECT 1 FROM sqlite_master WHERE name = 'sqlite_sequence'").next()) {
        return 0;
    }
    Statement statement(database, "SELECT max(seq) FROM sqlite_sequence WHERE name = ?");
    statement.bind(0, table);
    return statement.next() ? statement.number(0) : 0;
}

void export_table(const Connection &database, const std::string &table, bool first_table, bool show_passwords) {
    Statement rows(database, "SELECT * FROM " + quoted(table) + " ORDER BY rowid");
    std::vector<std::string> columns;
    columns.reserve(static_cast<std::size_t>(rows.columns()));
    for (int column = 0; column < rows.columns(); ++column) {
        columns.push_back(rows.name(column));
    }
    std::string out = table_start(first_table, table, last_id(database, table), columns);
    for (bool first = true; rows.next(); first = false) {
        std::vector<Cell> cells;
        for (int column = 0; column < rows.columns(); ++column) {
            const Cell cell = rows.cell(column);
            cells.push_back(show_passwords ? cell : masked(cell, columns[static_cast<std::size_t>(column)]));
        }
        out += row_text(first, cells);
        if (out.size() > 1U << 16U) {
            print(out);
            out.clear();
        }
    }
    print(out + table_end());
}

// From a copy in memory: whoever reads the output may take his time, and nobody waits for him.
void write_export(bool show_passwords) {
    require_database();
    const Connection copy = Connection::in_memory();
    Connection::read_only(BTDB_DEFAULT_FILE).copy_to(copy);
    // In the order in which they were created: index names that two tables share belong to the first.
    Statement tables(copy, "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite\\_%' "
                           "ESCAPE '\\' ORDER BY rowid");
    print(export_start(!show_passwords));
    bool first = true;
    while (tables.next()) {
        const std::string table = tables.text(0);
        if (store_of(table) != nullptr) {
            export_table(copy, table, first, show_passwords);
            first = false;
        } else {
            warn("the table " + table + " belongs to no command and is left out");
        }
    }
    print(export_end());
}

void add_export(CLI::App &app) {
    CLI::App *command = app.add_subcommand("export", "Write every row as JSON to standard output");
    command->group("Database");
    command->footer("One moment of the database, exactly as it is. Passwords are left out unless\n"
                    "asked for; mind then who can read the output.");
    const auto show_passwords = std::make_shared<bool>(false);
    command->add_flag("--show-passwords", *show_passwords, "With passwords");
    command->callback([show_passwords] { write_export(*show_passwords); });
}

// ---- import --------------------------------------------------------------------------------------------------------

struct ImportOptions {
    std::string path;
    bool without_passwords = false;
};

std::string whole_text(std::istream &stream) {
    std::ostringstream text;
    text << stream.rdbuf();
    return std::move(text).str();
}

std::string read_input(const std::string &path) {
    if (path == "-") {
        return whole_text(std::cin);
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw Failure(Exit::failed, "tqctl: " + path + " could not be read: " + std::strerror(errno));
    }
    return whole_text(file);
}

Export understood(const std::string &json, const ImportOptions &options) {
    try {
        Export read = read_export(json);
        if (read.masked && !options.without_passwords) {
            throw FormatError("its passwords were left out; --without-passwords imports it with empty ones");
        }
        for (const ExportedTable &table : read.tables) {
            if (store_of(table.name) == nullptr) {
                throw FormatError("there is no table " + table.name);
            }
        }
        return read;
    } catch (const FormatError &error) {
        throw Failure(Exit::failed, std::string("tqctl: the export cannot be imported: ") + error.what());
    }
}

// The library's own statements make the tables. Its adds, though, take only what a record holds, and give every row an
// identifier of their own: rows go in by SQLite.
void import_table(const Connection &database, const ExportedTable &table) {
    Statement there(database, "SELECT * FROM " + quoted(table.name));
    std::vector<std::string> columns;
    std::string places;
    for (int column = 0; column < there.columns(); ++column) {
        columns.push_back(there.name(column));
        places += column == 0 ? "?" : ", ?";
    }
    if (columns != table.columns) {
        throw Failure(Exit::failed, "tqctl: the columns of " + table.name + " are others in the export");
    }
    Statement insert(database, "INSERT INTO " + quoted(table.name) + " VALUES (" + places + ")");
    for (const auto &row : table.rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            insert.bind(static_cast<int>(column), row[column]);
        }
        insert.run_once();
    }
    // No identifier is given twice, also when the rows that had the last ones are gone.
    const std::int64_t last = std::max(last_id(database, table.name), table.last_id);
    Statement forget(database, "DELETE FROM sqlite_sequence WHERE name = ?");
    forget.bind(0, table.name);
    forget.run_once();
    if (last > 0) {
        Statement remember(database, "INSERT INTO sqlite_sequence VALUES (?, ?)");
        remember.bind(0, table.name);
        remember.bind(1, last);
        remember.run_once();
    }
}

void require_empty(const Connection &database) {
    for (const Store *store : all_stores) {
        Statement known(database, "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?");
        known.bind(0, std::string(store->table));
        if (known.next() && Statement(database, std::string("SELECT 1 FROM ") + store->table + " LIMIT 1").next()) {
            throw Failure(Exit::failed, std::string("tqctl: the table ") + store->table +
                                            " holds rows already; an import needs an empty database");
        }
    }
}

void import(const ImportOptions &options) {
    const Export read = understood(read_input(options.path), options);
    for (const ExportedTable &table : read.tables) {
        create_if_missing(*store_of(table.name));
    }
    const Connection database = Connection::read_write(BTDB_DEFAULT_FILE);
    database.run("BEGIN IMMEDIATE"); // closing the connection early takes everything back
    require_empty(database);
    for (const ExportedTable &table : read.tables) {
        import_table(database, table);
    }
    database.run("COMMIT");
}

void add_import(CLI::App &app) {
    CLI::App *command = app.add_subcommand("import", "Read an export into an empty database");
    command->group("Database");
    command->footer("All or nothing. Creates the tables that the export has and the database has not.");
    const auto options = std::make_shared<ImportOptions>();
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
