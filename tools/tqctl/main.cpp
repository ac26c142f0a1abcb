// tqctl, the operator's command line: arguments, dispatch, exit status. The commands are in the files of their groups.
#include "commands.h"
#include "failure.h"
#include "output.h"
#include "text.h"

#include <charconv>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <limits>
#include <new>
#include <sstream>

namespace tqctl {

std::int64_t read_number(const std::string &option, const std::string &text, std::int64_t least, std::int64_t most) {
    std::int64_t number = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number < least || number > most) {
        throw CLI::ValidationError(option, "\"" + text + "\" is not a number from " + std::to_string(least) + " to " +
                                               std::to_string(most));
    }
    return number;
}

CLI::Option *add_number(CLI::App &command, const std::string &name, const std::string &help,
                        std::function<void(std::int32_t)> take, std::int32_t least) {
    const auto read = [name, least, take = std::move(take)](const std::string &text) {
        take(static_cast<std::int32_t>(read_number(name, text, least, std::numeric_limits<std::int32_t>::max())));
    };
    return command.add_option_function<std::string>(name, read, help)->type_name("N");
}

void add_color(CLI::App &command, Color &color) {
    const auto take = [&color](const std::string &name) {
        if (name != "auto" && name != "always" && name != "never") {
            throw CLI::ValidationError("--color", "is auto, always or never");
        }
        color = name == "auto" ? Color::automatic : name == "always" ? Color::always : Color::never;
    };
    command.add_option_function<std::string>("--color", take, "auto (default), always or never")->type_name("WHEN");
}

namespace {

constexpr const char *exit_statuses = R"(Exit status: 0 done, 1 failed, 2 usage, 3 no such row or message,
             4 the database is missing or cannot be opened.
"tqctl help COMMAND" tells more about a command, "man tqctl" about all of them.)";

// "help COMMAND" is "COMMAND --help". And CLI11 takes the next argument for the value of "--folder="; "--folder"
// followed by an empty argument it reads right.
std::vector<std::string> arguments(int argc, char **argv) {
    std::vector<std::string> words;
    const bool help = argc > 1 && std::string_view(argv[1]) == "help";
    if (help) {
        ++argv;
        --argc;
    }
    bool options = true;
    for (const std::string_view word : std::vector<std::string_view>(argv + 1, argv + argc)) {
        options = options && word != "--";
        if (options && word.starts_with("--") && word.find('=') == word.size() - 1) {
            words.emplace_back(word.substr(0, word.size() - 1));
            words.emplace_back();
        } else {
            words.emplace_back(word);
        }
    }
    if (help) {
        words.emplace_back("--help");
    }
    return {words.rbegin(), words.rend()}; // the order that CLI11 wants them in
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
    if (const auto strangers = app.remaining(true); !strangers.empty()) {
        // Values stay unsaid: somebody may have written a password where none is taken.
        const std::string &first = strangers.front();
        complaint = first.starts_with('-') ? "there is no option " + first.substr(0, first.find('='))
                    : command->get_require_subcommand_min() > 0 ? "there is no command \"" + path + first + "\""
                                                                : "there are more arguments than the command takes";
    }
    return {Exit::usage, "tqctl: " + complaint + " (see tqctl " + path + "--help)"};
}

void run(int argc, char **argv) {
    CLI::App app{"Looks after a download manager's database.", "tqctl"};
    app.get_formatter()->column_width(26);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.get_formatter()->label("SUBCOMMANDS", "COMMAND");
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::Throw);
    app.require_subcommand(1);
#define TQCTL_GROUP(name) add_##name##_commands(app);
#include "groups.def"
#undef TQCTL_GROUP
    app.footer(exit_statuses); // last: commands added before it do not inherit it

    try {
        app.parse(arguments(argc, argv));
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
    try {
        tqctl::run(argc, argv);
        return static_cast<int>(Exit::done);
    } catch (const tqctl::Failure &failure) {
        // Messages quote arguments and names.
        std::fprintf(stderr, "%s\n", tqctl::escaped(failure.what(), tqctl::Charset::ascii).c_str());
        return static_cast<int>(failure.exit());
    } catch (const std::bad_alloc &) {
        std::fputs("tqctl: out of memory\n", stderr);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "tqctl: %s\n", tqctl::escaped(error.what(), tqctl::Charset::ascii).c_str());
    }
    return static_cast<int>(Exit::failed);
}
