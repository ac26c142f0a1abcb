#include "tasks/task.h"

#include "bt/task_filter.h"
#include "formats/magnet.h"
#include "httpftp/task_filter.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <korvo_bt_conventions.h>

namespace tqctl {
namespace {

constexpr std::array kinds{&bt_task_table, &http_task_table};

const Table *kind_named(std::string_view name) {
    return name == "bt" ? &bt_task_table : name == "http" ? &http_task_table : nullptr;
}

// What a word's part says: of which kind (nullptr: of any), and a range or a hash.
struct Wanted {
    const Table *kind = nullptr;
    IdentifierRange range{};
    std::string hash{};
    std::string text; // as it was written, without the kind
};

[[noreturn]] void no_task_name(const std::string &word) {
    throw CLI::ValidationError("TASK", '"' + word +
                                           R"(" names no task; one is named like bt:3, http:3, 3, 3-7, all, )"
                                           "or by its info-hash");
}

// "bt:3,5-7": the parts have the kind of the one before unless they say another.
std::vector<Wanted> wanted_by(const std::string &word, const Table *only_kind) {
    std::vector<Wanted> all;
    const Table *kind = only_kind;
    for (std::string_view part : split(word, ',')) {
        if (const std::size_t colon = part.find(':'); colon != std::string_view::npos) {
            kind = kind_named(lower(part.substr(0, colon)));
            if (kind == nullptr || (only_kind != nullptr && kind != only_kind)) {
                no_task_name(word);
            }
            part.remove_prefix(colon + 1);
        }
        Wanted wanted{kind, {}, {}, std::string(part)};
        if (const auto hash = info_hash(part); hash && kind != &http_task_table) {
            wanted.kind = &bt_task_table;
            wanted.hash = *hash;
        } else if (const auto ranges = read_selection(part)) {
            wanted.range = ranges->front();
        } else {
            no_task_name(word);
        }
        all.push_back(std::move(wanted));
    }
    return all;
}

struct Candidate {
    Task task;
    std::string name;
};

std::vector<Candidate> candidates(const Connection &database, const Wanted &wanted) {
    std::vector<Candidate> found;
    for (const Table *table : kinds) {
        if (wanted.kind != nullptr && wanted.kind != table) {
            continue;
        }
        Statement rows(database,
                       concat("SELECT task_id, ", table->find("name")->sql(), " FROM ", table->name,
                              wanted.hash.empty() ? " WHERE task_id BETWEEN ? AND ?" : " WHERE lower(task_hash) = ?"));
        if (wanted.hash.empty()) {
            rows.bind(0, std::int64_t{wanted.range.first});
            rows.bind(1, std::int64_t{wanted.range.last});
        } else {
            rows.bind(0, wanted.hash);
        }
        while (rows.next()) {
            found.push_back({{table, static_cast<std::int32_t>(rows.number(0))}, without_passwords(rows.text(1))});
        }
    }
    return found;
}

[[noreturn]] void ambiguous(const Wanted &wanted, const std::vector<Candidate> &found) {
    std::string which;
    for (const Candidate &each : {found.front(), found.back()}) {
        which += (which.empty() ? "" : " or ") + name_of(each.task) + " (" + each.name + ")";
    }
    throw Failure(Exit::usage, wanted.text + (found.size() == 2 ? " may be " : " may be one of several tasks: ") +
                                   which + "; say which");
}

} // namespace

std::string_view kind_of(const Table &table) {
    return &table == &bt_task_table ? "bt" : "http";
}

std::string name_of(const Task &task) {
    return concat(kind_of(*task.table), ":", task.id);
}

void add_kind(CLI::App &command, const Table *&to) {
    add_choice(command, "--kind", "bt, http or all (default)", {"bt", "http", "all"},
               [&to](const std::string &word) { to = kind_named(word); });
}

std::shared_ptr<TaskWords> add_tasks(CLI::App &command, const Table *kind, bool required) {
    auto words = std::make_shared<TaskWords>();
    words->kind = kind;
    command.add_option("TASK", words->words, "bt:3, http:3, bt:3-7, an info-hash; 3 where only\none task fits; all")
        ->required(required)
        ->type_name("");
    if (kind == nullptr) {
        add_kind(command, words->kind);
    }
    return words;
}

std::vector<Task> named_tasks(const Connection &database, const TaskWords &words) {
    std::vector<Task> tasks;
    for (const std::string &word : words.words) {
        for (const Wanted &wanted : wanted_by(word, words.kind)) {
            const std::vector<Candidate> found = candidates(database, wanted);
            const bool single = !wanted.hash.empty() || wanted.range.first == wanted.range.last;
            if (single && found.empty()) {
                throw wanted.kind != nullptr && wanted.hash.empty()
                    ? no_such_row(*wanted.kind, wanted.range.first)
                    : Failure(Exit::not_there, "there is no task " + wanted.text);
            }
            const bool both = !found.empty() && found.front().task.table != found.back().task.table;
            if ((single && found.size() > 1) || (both && wanted.text != "all")) {
                ambiguous(wanted, found);
            }
            for (const Candidate &each : found) {
                tasks.push_back(each.task);
            }
        }
    }
    if (tasks.empty()) {
        throw Failure(Exit::not_there, "no task matches");
    }
    const auto before = [](const Task &a, const Task &b) {
        return a.table != b.table ? a.table == &bt_task_table : a.id < b.id;
    };
    std::ranges::sort(tasks, before);
    const auto same = [](const Task &a, const Task &b) { return a.table == b.table && a.id == b.id; };
    tasks.erase(std::unique(tasks.begin(), tasks.end(), same), tasks.end());
    return tasks;
}

// ---- Filters

const std::vector<Filter> &filters() {
    static const std::vector<Filter> all{
        {"all", BT_TASK_FILTER_ALL, "every task"},
        {"running", BT_TASK_FILTER_RUNNING, "not finished and not paused"},
        {"finished", BT_TASK_FILTER_FINISHED, "complete, seeding or not"},
        {"active", BT_TASK_FILTER_ACTIVE, "data is moving now"},
        {"inactive", BT_TASK_FILTER_INACTIVE, "no data is moving, whatever the state"},
        {"paused", BT_TASK_FILTER_PAUSED, "not finished, and paused"},
        {"state5", BT_TASK_FILTER_STATE_5, "data in the move folder; of HTTP/FTP tasks, finished"},
    };
    return all;
}

const Filter &filter_named(const std::string &name) {
    return *std::ranges::find_if(filters(), [&](const Filter &filter) { return name == filter.name; });
}

void add_filter(CLI::App &command, const Filter *&to) {
    std::vector<std::string> names;
    std::ranges::transform(filters(), std::back_inserter(names), &Filter::name);
    add_choice(command, "--filter", "Which tasks (default: all)", names,
               [&to](const std::string &name) { to = &filter_named(name); });
}

std::string condition_of(const Table &table, const Filter &filter) {
    constexpr std::string_view start = "WHERE ";
    const bool finished_only = &table == &http_task_table && filter.code == BT_TASK_FILTER_STATE_5;
    const korvo::Sql where = &table == &bt_task_table
                                 ? korvo::bt_task_where(filter.code)
                                 : korvo::http_ftp_task_where(finished_only ? BT_TASK_FILTER_FINISHED : filter.code);
    const std::string_view text = where.get();
    return std::string(text.starts_with(start) ? text.substr(start.size()) : text);
}

std::vector<Part> parts_of(const Table *kind, const Filter &filter) {
    std::vector<Part> parts;
    for (const Table *table : kinds) {
        if (kind == nullptr || kind == table) {
            parts.push_back({table, condition_of(*table, filter), {}});
        }
    }
    return parts;
}

Defaults defaults_of(const Table *kind) {
    return kind != nullptr ? defaults_of(*kind)
                           : Defaults{"task status paused percent done wanted download_rate upload_rate time_left name",
                                      "task status percent wanted download_rate upload_rate time_left name",
                                      "start_time, kind, id"};
}

std::string local_time() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[32];
    if (std::strftime(text, sizeof text, TQ_TIME_FORMAT, &local) == 0) {
        throw Failure(Exit::failed, "the clock's time cannot be written as a start time");
    }
    return text;
}

} // namespace tqctl
