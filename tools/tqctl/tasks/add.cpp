// tqctl add: tasks from magnet links, .torrent files, addresses, or an info-hash.
#include "base/new_file.h"
#include "formats/magnet.h"
#include "formats/torrent.h"
#include "options/password.h"
#include "store/message_queue.h"
#include "tasks/commands.h"
#include "tasks/task.h"
#include "tasks/values.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <korvo_bt_conventions.h>
#include <limits>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace tqctl {
namespace {

// A task to be added: its row, and for one from a .torrent file that file and what is in it.
struct NewTask {
    Record record;
    std::string where;   // it comes from: an address, or a line of a file
    std::string torrent; // bytes of the file
    std::vector<Torrent::File> files;
};

bool is_given(const Given &given, std::string_view title) {
    return std::ranges::any_of(given, [=](const auto &each) { return each.first == title; });
}

// What options say, in the form in which it is stored.
void take_options(Record &record, const Given &given) {
    for (const auto &[column, value] : values_of(given, record.table(), on_add)) {
        record.set(*column, stored_value(*column, value), option_of(column->title));
    }
}

// Names that a link or a web page brings become one path component.
std::string as_file_name(std::string name) {
    std::ranges::replace(name, '/', '_');
    return name == "." || name == ".." ? "_" + name : name;
}

void take_magnet(NewTask &task, const std::string &link, const Given &given) {
    const auto [magnet, fault] = read_magnet(link);
    if (fault != nullptr) {
        throw CLI::ValidationError("ADDRESS", fault);
    }
    task.record.set("magnet", link);
    if (!is_given(given, "hash")) {
        task.record.set("hash", magnet.hash);
    }
    if (!is_given(given, "name")) {
        task.record.set("name", as_file_name(magnet.name.empty() ? magnet.hash : magnet.name));
    }
}

void take_torrent(NewTask &task, const std::string &path) {
    constexpr std::size_t largest = 64U << 20U;
    std::ifstream file(path, std::ios::binary);
    task.torrent.resize(largest + 1);
    file.read(task.torrent.data(), static_cast<std::streamsize>(task.torrent.size()));
    task.torrent.resize(static_cast<std::size_t>(file.gcount()));
    if (file.bad() || task.torrent.empty() || task.torrent.size() > largest) {
        throw CLI::ValidationError("ADDRESS", '"' + path + "\" cannot be read as a .torrent file");
    }
    const auto [torrent, fault] = read_torrent(task.torrent);
    if (fault != nullptr) {
        throw CLI::ValidationError("ADDRESS", '"' + path + "\": " + fault);
    }
    const auto limited = [](std::int64_t number) {
        return std::to_string(std::min<std::int64_t>(number, std::numeric_limits<std::int32_t>::max()));
    };
    task.record.set("name", torrent.name);
    task.record.set("hash", torrent.hash);
    task.record.set("file", concat(TQ_TORRENT_DIRECTORY, "/", torrent.hash, TQ_TORRENT_SUFFIX));
    task.record.set("wanted", limited((torrent.size + TQ_BT_AMOUNT_UNIT - 1) / TQ_BT_AMOUNT_UNIT));
    task.record.set("block_size", limited(torrent.piece_length));
    task.record.set("num_pieces", limited(torrent.pieces));
    task.files = torrent.files;
}

// Understands an address; nothing happens yet.
NewTask new_task(const std::string &address, const Given &given) {
    const bool http = is_http_ftp_address(address);
    const bool magnet = lower(address.substr(0, 7)) == "magnet:";
    NewTask task{Record(http ? http_task_table : bt_task_table), address, {}, {}};
    Record &record = task.record;
    take_options(record, given);
    if (http) {
        record.set("address", address);
    } else if (magnet) {
        take_magnet(task, address, given);
    } else if (address.empty()) {
        if (!is_given(given, "hash")) {
            throw CLI::ValidationError("add", "needs an address, a .torrent file or --hash");
        }
        task.where = "magnet:?xt=urn:btih:" + record.text("hash");
        take_magnet(task, task.where, given);
    } else {
        struct stat status {};
        if (stat(address.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
            throw CLI::ValidationError("ADDRESS", "that is no magnet link, no http, https, ftp or ftps address and no "
                                                  ".torrent file");
        }
        take_torrent(task, address);
    }
    // NOLINTNEXTLINE(bugprone-branch-clone): the two kinds have numbers of their own, which agree here.
    record.set("state", std::to_string(http ? HTTP_FTP_TASK_STATE_QUEUED : TQ_BT_STATE_QUEUED));
    record.set("start_time", local_time());
    return task;
}

// One address a line, as download tools take it; empty lines and lines that begin with # are none.
std::vector<NewTask> tasks_in(const std::string &file, const Given &given) {
    std::ifstream stream;
    if (file != "-") {
        stream.open(file);
    }
    std::istream &from = file == "-" ? std::cin : stream;
    std::vector<NewTask> tasks;
    std::string line;
    std::size_t number = 1;
    for (; std::getline(from, line); ++number) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (line.empty() || line.front() == '#') {
            continue;
        }
        try {
            tasks.push_back(new_task(line, given));
        } catch (const std::exception &error) {
            throw Failure(Exit::usage, concat(file, ", line ", number, ": ", error.what()));
        }
    }
    if (!from.eof()) {
        throw Failure(Exit::failed, file + " cannot be read");
    }
    return tasks;
}

// The task that is there already with the same hash or address.
std::optional<Task> same_task(const Connection &database, const Record &record) {
    const bool torrent = &record.table() == &bt_task_table;
    const std::string key = record.text(torrent ? "hash" : "address");
    Statement same(database,
                   torrent ? "SELECT task_id FROM BT_TASK WHERE lower(task_hash) = ?"
                           : "SELECT task_id FROM HTTP_FTP_TASK WHERE task_filename = ?",
                   {key});
    return !key.empty() && same.next() ? std::optional(Task{&record.table(), static_cast<std::int32_t>(same.number(0))})
                                       : std::nullopt;
}

void add_files(const NewTask &task, std::int32_t id) {
    Record file(file_table);
    file.set("command", std::to_string(TQ_DETAIL_FILES));
    file.set("task", std::to_string(id));
    file.set("wanted", std::to_string(TQ_FILE_WANTED));
    for (std::size_t index = 0; index < task.files.size(); ++index) {
        file.set("index", std::to_string(index));
        file.set("path", task.files[index].path);
        add_row(file);
    }
}

// Of the same torrent one copy serves.
void copy_torrent(const NewTask &task) {
    const std::string path = task.record.text("file");
    if (access(path.c_str(), F_OK) != 0) {
        NewFile copy(path);
        copy.write(task.torrent);
        copy.keep();
    }
}

Task add_task(const NewTask &task) {
    const bool torrent = &task.record.table() == &bt_task_table;
    if (!task.torrent.empty()) {
        mkdir(TQ_TORRENT_DIRECTORY, 0755);
        copy_torrent(task);
    }
    const std::int32_t id = add_row(task.record);
    add_files(task, id);
    if (torrent) {
        tell_daemon(TQ_COMMAND_LOOK, id);
    }
    return {&task.record.table(), id};
}

struct Options {
    std::vector<std::string> addresses;
    std::string input;
    bool duplicates = false;
};

void add(const Options &options, const Given &given) {
    std::vector<NewTask> tasks;
    if (!options.input.empty()) {
        tasks = tasks_in(options.input, given);
    }
    for (const std::string &address : options.addresses) {
        tasks.push_back(new_task(address, given));
    }
    if (options.input.empty() && options.addresses.empty()) {
        tasks.push_back(new_task("", given));
    }
    if (is_given(given, "password")) {
        const std::string password = read_password("Password");
        for (NewTask &task : tasks) {
            task.record.set("password", password);
        }
    }
    require_writable();
    std::size_t left_out = 0;
    for (const NewTask &task : tasks) {
        const auto same = options.duplicates ? std::nullopt : same_task(Connection::read(), task.record);
        if (same) {
            warn(without_passwords(task.where) + " is there already as " + name_of(*same) + " and was not added");
            ++left_out;
            continue;
        }
        const Task added = add_task(task);
        try {
            print(name_of(added) + (tasks.size() > 1 ? "\t" + shown(without_passwords(task.where)) : "") + "\n");
        } catch (const Failure &failure) {
            throw Failure(failure.exit(), failure.what() + ("; " + name_of(added) + " is added"));
        } catch (const ReaderGone &) { // the others are to be added all the same
        }
    }
    if (left_out > 0) {
        throw Failure(Exit::failed, concat(left_out, " of ", tasks.size(), " not added; --duplicates adds them again"));
    }
}

} // namespace

void add_add_command(CLI::App &app) {
    CLI::App *command = app.add_subcommand("add", "Add tasks");
    command->footer("A magnet link, a .torrent file or --hash alone makes a BitTorrent task, an http,\n"
                    "https, ftp or ftps address an HTTP/FTP task; both are queued. Prints each new\n"
                    "task's name, such as bt:3, and of several what it was made from. Everything is\n"
                    "checked before the first is added. What is there already is left out, with exit\n"
                    "status 1.");
    const auto options = std::make_shared<Options>();
    command->add_option("ADDRESS", options->addresses, "Magnet links, .torrent files, addresses")->type_name("");
    command->add_option("--input", options->input, "A file with one of these a line; - for standard\ninput")
        ->type_name("FILE");
    command->add_flag("--duplicates", options->duplicates, "Add also what is there already");
    const auto given = add_fields(*command, {&bt_task_table, &http_task_table}, on_add);
    command->callback([=] { add(*options, *given); });
}

} // namespace tqctl
