// tqctl, the operator's command line: arguments, dispatch, exit status. The commands are in the directories of their
// subjects.
#include "base/failure.h"
#include "base/output.h"
#include "commands/commands.h"
#include "rows/commands.h"
#include "store/journal.h"
#include "tasks/commands.h"

#include <algorithm>
#include <clocale>
#include <csignal>
#include <new>
#include <numeric>
#include <sqlite3.h>
#include <sstream>
#include <unistd.h>

namespace tqctl {
namespace {

constexpr const char *exit_statuses = R"(Exit status: 0 done, 1 failed, 2 usage, 3 no such row or message,
             4 the database is missing or cannot be opened.
"tqctl help COMMAND" describes a command, "man tqctl" all of them.)";

// "help COMMAND" is "COMMAND --help". And CLI11 takes the next argument for the value of "--folder="; "--folder"
// followed by an empty argument it reads right.
std::vector<std::string> arguments(std::vector<std::string> given) {
    const bool help = !given.empty() && given.front() == "help";
    if (help) {
        given.erase(given.begin());
    }
    std::vector<std::string> words;
    bool options = true;
    for (const std::string &word : given) {
        options = options && word != "--";
        if (options && word.starts_with("--") && word.find('=') == word.size() - 1) {
            words.push_back(word.substr(0, word.size() - 1));
            words.emplace_back();
        } else {
            words.push_back(word);
        }
    }
    if (help) {
        words.emplace_back("--help");
    }
    return words;
}

// How many letters to change, add or leave out to get from one word to the other.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1, changed}));
        }
    }
    return row[b.size()];
}

// The name most like a word, worded as a question; empty when none is.
std::string suggestion(const std::string &word, const std::vector<std::string> &names) {
    const auto by_distance = [&](const std::string &a, const std::string &b) {
        return distance(word, a) < distance(word, b);
    };
    const auto nearest = std::ranges::min_element(names, by_distance);
    const bool like = nearest != names.end() && distance(word, *nearest) <= (word.size() < 4 ? 1 : 2);
    return like ? "; did you mean " + *nearest + "?" : "";
}

std::vector<std::string> names_of_commands(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

std::vector<std::string> names_of_options(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::Option *option : app.get_options()) {
        names.push_back(option->get_name());
    }
    return names;
}

// CLI11 notices a word that is no command only after it has missed a command.
Failure usage_failure(const CLI::App &app, const CLI::ParseError &error) {
    std::string complaint = error.what();
    std::string path;
    const CLI::App *command = &app;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        path += command->get_name() + " ";
    }
    if (!app.remaining(false).empty() && command != &app) {
        return {Exit::usage, "options go behind the command, as in tqctl " + path + app.remaining(false).front()};
    }
    if (complaint.find("flag override") != std::string::npos) {
        complaint = complaint.substr(0, complaint.find(' ')) + " takes no value; passwords are no arguments";
    } else if (command->get_require_subcommand_min() > 0) {
        complaint = "needs a command";
    }
    auto strangers = app.remaining(true);
    std::erase(strangers, "--");
    if (!strangers.empty()) {
        // Values stay unsaid: somebody may have written a password where none is taken.
        const std::string first = strangers.front().substr(0, strangers.front().find('='));
        const bool option = first.starts_with('-');
        const bool group = command->get_require_subcommand_min() > 0;
        complaint =
            option  ? "there is no option " + first + suggestion(first, names_of_options(*command))
            : group ? "there is no command \"" + path + first + "\"" + suggestion(first, names_of_commands(*command))
                    : "there are more arguments than the command takes";
    }
    return {Exit::usage, complaint + " (see tqctl " + path + "--help)"};
}

// "help nosuch" would show the help of all.
void require_known_help(const CLI::App &app, const std::vector<std::string> &words) {
    const CLI::App *command = &app;
    for (const std::string &word : words) {
        if (word.starts_with('-')) {
            break;
        }
        const auto commands = command->get_subcommands([&](const CLI::App *each) { return each->check_name(word); });
        if (commands.empty()) {
            throw Failure(Exit::usage,
                          "there is no command \"" + word + "\"" + suggestion(word, names_of_commands(*command)));
        }
        command = commands.front();
    }
}

void add_commands(CLI::App &app, const char *group, std::initializer_list<void (*)(CLI::App &)> adders) {
    for (const auto add : adders) {
        add(app);
    }
    for (CLI::App *command :
         app.get_subcommands([&](CLI::App *each) { return each->get_group() == app.get_group(); })) {
        command->group(group);
        if (!names_of_commands(*command).empty()) {
            command->require_subcommand(1);
        }
    }
}

void run(const std::vector<std::string> &given) {
    CLI::App app{"Looks after a download manager's database.", "tqctl"};
    app.get_formatter()->column_width(26);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.get_formatter()->label("SUBCOMMANDS", "COMMAND");
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::Throw);
    app.require_subcommand(1);
    app.set_version_flag("--version", concat("tqctl " TQCTL_VERSION " (SQLite ", sqlite3_libversion(), ")"),
                         "Print the version");
    app.group("Commands"); // and so of all that follow, until they are sorted
    add_commands(app, "Tasks",
                 {add_add_command, add_list_commands, add_watch_command, add_change_commands, add_files_command,
                  add_remove_commands});
    add_commands(app, "Torrents, feeds and accounts", {add_row_commands});
    add_commands(app, "Database", {add_init_command, add_doctor_command, add_transfer_commands});
    add_commands(app, "Settings and messages", {add_msg_commands, add_schedule_commands, add_notify_commands});
    app.footer(exit_statuses); // last: commands added before it do not inherit it

    std::vector<std::string> words = arguments(given);
    if (!given.empty() && given.front() == "help") {
        require_known_help(app, words);
    }
    std::ranges::reverse(words); // the order that CLI11 wants them in
    try {
        app.parse(words);
    } catch (const CLI::ParseError &error) {
        std::ostringstream help;
        std::ostringstream complaint;
        if (app.exit(error, help, complaint) != 0) {
            throw usage_failure(app, error);
        }
        print(help.str());
    }
}

} // namespace
} // namespace tqctl

int main(int argc, char **argv) {
    using tqctl::Exit;
    std::setlocale(LC_CTYPE, "");
    std::signal(SIGPIPE, SIG_IGN); // a reader that went away is then an error of the write
    tqctl::distrust_journals();
    try {
        tqctl::run(std::vector<std::string>(argv + 1, argv + argc));
        return static_cast<int>(Exit::done);
    } catch (const tqctl::ReaderGone &) {
        return static_cast<int>(Exit::done);
    } catch (const tqctl::Failure &failure) {
        tqctl::warn(failure.what()); // quotes arguments and names
        return static_cast<int>(failure.exit());
    } catch (const std::bad_alloc &) {
        tqctl::tell("tqctl: out of memory\n");
    } catch (const std::exception &error) {
        tqctl::warn(error.what());
    }
    return static_cast<int>(Exit::failed);
}
