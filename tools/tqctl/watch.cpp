// The tasks as they change: tqctl watch.
#include "commands.h"
#include "failure.h"
#include "listing.h"
#include "output.h"
#include "tasks.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <optional>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace tqctl {
namespace {

struct WatchOptions {
    std::int32_t seconds = 2;
    std::optional<std::int32_t> rounds;
    std::int32_t filter = BT_TASK_FILTER_ALL;
    Listing listing{columns_of_both};
};

// ---- What is shown -------------------------------------------------------------------------------------------------

struct Sums {
    std::size_t tasks = 0;
    std::int64_t down = 0;
    std::int64_t up = 0;
};

Sums sums_of(const Rows &rows) {
    const std::size_t down = rows.position("task_download_rate");
    const std::size_t up = rows.position("task_upload_rate");
    Sums sums;
    sums.tasks = rows.rows.size();
    for (const Row &row : rows.rows) {
        sums.down += whole_number(row[down]).value_or(0);
        sums.up += whole_number(row[up]).value_or(0);
    }
    return sums;
}

std::string in_words(const Sums &sums) {
    return "tasks: " + std::to_string(sums.tasks) + ", down: " + std::to_string(sums.down) +
           ", up: " + std::to_string(sums.up);
}

std::string json_line(const WatchOptions &options, const Rows &rows, const Sums &sums) {
    std::string tasks = options.listing.text(rows);
    std::erase(tasks, '\n'); // between the tasks; in texts they are escaped
    return R"({"time":")" + local_time() + R"(","tasks":)" + tasks + R"(,"sum":{"tasks":)" +
           std::to_string(sums.tasks) + R"(,"download_rate":)" + std::to_string(sums.down) + R"(,"upload_rate":)" +
           std::to_string(sums.up) + "}}\n";
}

// As many rows as the window has room for, then the sums.
std::string screen(const WatchOptions &options, Rows &rows, const Sums &sums) {
    constexpr std::size_t other_lines = 4;
    const std::size_t lines = window().lines;
    const std::size_t room = lines > other_lines ? lines - other_lines : 1;
    const std::size_t hidden = rows.rows.size() > room ? rows.rows.size() - room : 0;
    rows.rows.resize(rows.rows.size() - hidden);
    const std::string frame = local_time() + "\n" + options.listing.text(rows) + in_words(sums) +
                              (hidden > 0 ? "; " + std::to_string(hidden) + " more than fit" : "");
    // Over what is there already, so that nothing flickers.
    std::string out = "\033[H";
    for (const char c : frame) {
        out += c == '\n' ? "\033[K\n" : std::string(1, c);
    }
    return out + "\033[J";
}

std::string frame(const WatchOptions &options) {
    const auto [start, end] = options.listing.range();
    Rows rows = tasks_of_both(start, end, options.filter);
    mask_http_tasks(rows);
    if (!options.listing.json()) {
        add_status(rows, nullptr);
    }
    options.listing.arrange(rows);
    const Sums sums = sums_of(rows);
    if (options.listing.json()) {
        return json_line(options, rows, sums);
    }
    if (output_is_terminal()) {
        return screen(options, rows, sums);
    }
    return local_time() + "\n" + options.listing.text(rows) + in_words(sums) + "\n\n";
}

// ---- When it is shown ----------------------------------------------------------------------------------------------

// A screen of its own, so that the terminal is afterwards what it was.
class Screen {
public:
    explicit Screen(bool used) : used_(used) {
        if (used_) {
            print("\033[?1049h\033[?25l");
        }
    }
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;
    ~Screen() {
        constexpr std::string_view restore = "\033[?25h\033[?1049l";
        if (used_ && write(STDOUT_FILENO, restore.data(), restore.size()) < 0) {
            return; // the terminal is gone
        }
    }

private:
    bool used_;
};

// Signals as something to wait for rather than something that interrupts a call of the library.
class Signals {
public:
    Signals() {
        sigset_t set;
        sigemptyset(&set);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGWINCH}) {
            sigaddset(&set, signal);
        }
        sigprocmask(SIG_BLOCK, &set, nullptr);
        descriptor_ = signalfd(-1, &set, SFD_CLOEXEC);
        if (descriptor_ < 0) {
            throw Failure(Exit::failed, std::string("tqctl: signals: ") + std::strerror(errno));
        }
    }
    Signals(const Signals &) = delete;
    Signals &operator=(const Signals &) = delete;
    ~Signals() { close(descriptor_); }

    // Whether to go on: false when a signal or the reader wants the end.
    bool wait(std::int32_t seconds) const {
        pollfd waiting[] = {{descriptor_, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
        const int happened = poll(waiting, 2, seconds > 2'000'000 ? -1 : seconds * 1000);
        if (happened < 0 || waiting[1].revents != 0) {
            return false;
        }
        signalfd_siginfo signal{};
        return waiting[0].revents == 0 ||
               (read(descriptor_, &signal, sizeof signal) == sizeof signal && signal.ssi_signo == SIGWINCH);
    }

private:
    int descriptor_ = -1;
};

void watch(const WatchOptions &options) {
    require_database();
    const Signals signals;
    const Screen own_screen(output_is_terminal() && !options.listing.json());
    try {
        for (std::int32_t round = 1;; ++round) {
            print(frame(options));
            if (round == options.rounds || !signals.wait(options.seconds)) {
                return;
            }
        }
    } catch (const ReaderGone &) { // is how a pipe ends
    }
}

} // namespace

void add_watch_commands(CLI::App &app) {
    CLI::App *command = app.add_subcommand("watch", "Show the tasks as they change");
    command->group("Tasks");
    command->footer("On a terminal in one place, as many tasks as fit; else a block a round, which\n"
                    "begins with the time and ends with an empty line; with --json an object a line.\n"
                    "Ctrl-C ends it.");
    const auto options = std::make_shared<WatchOptions>();
    add_number(
        *command, "SECONDS", "From one look to the next (default: 2)",
        [options](std::int32_t n) { options->seconds = n; }, 1);
    add_filter(*command, [options](std::int32_t code) { options->filter = code; });
    add_number(
        *command, "--rounds", "End after this many", [options](std::int32_t n) { options->rounds = n; }, 1);
    options->listing.add_options(*command);
    options->listing.paint(status_color);
    command->callback([options] { watch(*options); });
}

} // namespace tqctl
