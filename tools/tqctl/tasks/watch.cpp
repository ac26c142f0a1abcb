// The tasks as they change: tqctl watch.
#include "base/signals.h"
#include "tasks/commands.h"
#include "tasks/task.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

namespace tqctl {
namespace {

struct Options {
    std::optional<std::int32_t> seconds;
    std::optional<std::int32_t> rounds;
    const Table *kind = nullptr;
    const Filter *filter = &filters().front();
    List list;
    std::string path;
};

// A screen and keys of its own, so that the terminal is afterwards what it was.
class Screen {
public:
    explicit Screen(bool used) : used_(used && terminal_can_move()) {
        if (used_) {
            print("\033[?1049h\033[?25l");
            keys_ = tcgetattr(STDIN_FILENO, &before_) == 0;
        }
        if (keys_) {
            termios raw = before_;
            raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
            tcsetattr(STDIN_FILENO, TCSANOW, &raw);
        }
    }
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;
    ~Screen() {
        if (keys_) {
            tcsetattr(STDIN_FILENO, TCSANOW, &before_);
        }
        constexpr std::string_view restore = "\033[?25h\033[?1049l";
        if (used_ && write(STDOUT_FILENO, restore.data(), restore.size()) < 0) {
            return; // the terminal is gone
        }
    }

    bool used() const { return used_; }
    bool keys() const { return keys_; }

private:
    bool used_;
    bool keys_ = false;
    termios before_{};
};

// Signals and keys as something to wait for.
class Events {
public:
    enum class What { nothing, redraw, suspend, end };

    Events() {
        const sigset_t set = signal_set({SIGINT, SIGTERM, SIGHUP, SIGWINCH, SIGTSTP});
        sigprocmask(SIG_BLOCK, &set, nullptr);
        descriptor_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
        if (descriptor_ < 0) {
            throw Failure(Exit::failed, std::string("signals: ") + std::strerror(errno));
        }
    }
    Events(const Events &) = delete;
    Events &operator=(const Events &) = delete;
    ~Events() { close(descriptor_); }

    // The next event within a time; a key that was pressed goes to `key`.
    What wait(std::chrono::milliseconds time, bool keys, char &key) const {
        pollfd waiting[] = {{descriptor_, POLLIN, 0}, {STDOUT_FILENO, 0, 0}, {keys ? STDIN_FILENO : -1, POLLIN, 0}};
        const int happened = poll(waiting, 3, static_cast<int>(time.count()));
        if (happened < 0 || waiting[1].revents != 0) {
            return What::end;
        }
        signalfd_siginfo signal{};
        if (waiting[0].revents != 0 && read(descriptor_, &signal, sizeof signal) == sizeof signal) {
            return signal.ssi_signo == SIGWINCH  ? What::redraw
                   : signal.ssi_signo == SIGTSTP ? What::suspend
                                                 : What::end;
        }
        if (waiting[2].revents != 0) {
            const bool pressed = read(STDIN_FILENO, &key, 1) == 1;
            return !pressed || key == 'q' ? What::end : What::redraw;
        }
        return What::nothing;
    }

private:
    int descriptor_ = -1;
};

// The sums of all tasks, also of those that do not fit.
Sums sums_of(const Connection &database, const std::vector<Part> &parts) {
    Sums sums;
    for (const Part &part : parts) {
        const bool torrents = part.table == &bt_task_table;
        Statement row(database, concat("SELECT count(*), total(task_download_rate), ",
                                       torrents ? "total(task_upload_rate)" : "0", part.from()));
        row.next();
        sums.rows += row.number(0);
        sums.down += row.number(1);
        sums.up += row.number(2);
    }
    return sums;
}

std::string fit_to_window(const std::string &text, std::size_t columns) {
    return fitted(text, std::min(columns, width_of(text)));
}

// Everything of one look at the database.
std::string frame(const Options &options, const Connection &database, bool screen) {
    const auto parts = parts_of(options.kind, *options.filter);
    constexpr std::size_t other_lines = 4;
    const std::size_t lines = window().lines;
    const std::size_t room = lines > other_lines ? lines - other_lines : 1;
    const std::size_t columns = window().columns;
    database.run("BEGIN");
    const Sums sums = sums_of(database, parts);
    Sheet sheet =
        options.list.sheet(database, parts, defaults_of(options.kind), screen ? std::optional(room) : std::nullopt);
    database.run("COMMIT");
    std::string text;
    const std::size_t rows = sheet.rows();
    sheet.finish([&](std::string_view part) { text += part; });
    if (options.list.json()) {
        return concat(R"({"time":")", local_time(), R"(","tasks":)", text, R"(,"sum":{"tasks":)", sums.rows,
                      R"(,"download_rate":)", sums.down, R"(,"upload_rate":)", sums.up, "}}\n");
    }
    if (!screen) {
        return local_time() + "\n" + text + in_words(sums) + "\n\n";
    }
    const auto hidden = static_cast<std::size_t>(sums.rows) - rows;
    return fit_to_window(local_time() + "  q quit, b bt, h http, a all", columns) + "\n" + text +
           fit_to_window(in_words(sums) + (hidden > 0 ? concat("; ", hidden, " more") : ""), columns);
}

// Over what is there already, so that nothing flickers.
std::string drawn(const std::string &frame) {
    std::string out = "\033[H";
    for (const char c : frame) {
        out += c == '\n' ? "\033[K\n" : std::string(1, c);
    }
    return out + "\033[K\033[J";
}

// What the database says now, or why it says nothing: a lock or a missing file may pass.
std::string look(const Options &options, bool screen) {
    const Patience short_one{std::chrono::milliseconds(800), true, {}};
    try {
        return frame(options, Connection::read(options.path, short_one), screen);
    } catch (const Failure &failure) {
        if (!screen) {
            warn(failure.what());
            return {};
        }
        return fit_to_window(local_time() + "  " + shown(failure.what()), window().columns);
    }
}

void watch(Options &options) {
    try {
        Connection::read(options.path, {std::chrono::milliseconds(0), true, {}});
    } catch (const Failure &failure) {
        if (failure.exit() == Exit::database) { // a lock passes
            throw;
        }
    }
    const Events events;
    const bool terminal = output_is_terminal() && !options.list.json();
    std::optional<Screen> screen(std::in_place, terminal);
    char key = 0;
    const auto seconds = std::chrono::seconds(std::min(options.seconds.value_or(2), 2'000'000));
    for (std::int32_t round = 1;; ++round) {
        const std::string text = look(options, screen->used());
        print(screen->used() ? drawn(text) : text);
        if (round == options.rounds) {
            return;
        }
        const auto next = std::chrono::steady_clock::now() + seconds;
        auto event = Events::What::nothing;
        while (event == Events::What::nothing && std::chrono::steady_clock::now() < next) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - std::chrono::steady_clock::now());
            event = events.wait(left, screen->keys(), key);
        }
        if (event == Events::What::end) {
            return;
        }
        if (event == Events::What::suspend) {
            screen.reset(); // the shell gets its terminal back as it was
            kill(getpid(), SIGSTOP);
            screen.emplace(terminal);
        }
        options.kind = key == 'b'   ? &bt_task_table
                       : key == 'h' ? &http_task_table
                       : key == 'a' ? nullptr
                                    : options.kind;
    }
}

} // namespace

void add_watch_command(CLI::App &app) {
    CLI::App *command = app.add_subcommand("watch", "Show the tasks as they change");
    command->footer("On a terminal in one place, as many tasks as fit; b, h and a show BitTorrent\n"
                    "tasks, HTTP/FTP tasks or all, q and Ctrl-C end it. Else a block a round, which\n"
                    "begins with the time and ends with an empty line; with --json an object a line.");
    const auto options = std::make_shared<Options>();
    add_number(*command, "SECONDS", "Update interval (default: 2)", options->seconds, 1);
    add_filter(*command, options->filter);
    add_kind(*command, options->kind);
    add_number(*command, "--rounds", "End after this many", options->rounds, 1);
    options->list.add_options(*command);
    options->list.put_json_in_one_line();
    const auto path = add_database(*command);
    command->callback([=] {
        options->path = *path;
        watch(*options);
    });
}

} // namespace tqctl
