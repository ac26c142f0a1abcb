// tqfetchd, the HTTP and FTP download daemon: options, the lock that keeps a second one out, the log, signals, and the
// two threads.
#include "exchange.h"
#include "options.h"
#include "store.h"
#include "transfers.h"

#include "korvo_bt.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <curl/curl.h>
#include <exception>
#include <fcntl.h>
#include <future>
#include <iostream>
#include <sys/signalfd.h>
#include <unistd.h>

namespace fetch {
namespace {

enum Exit : int { done = 0, failed = 1, usage = 2, runs_already = 3 };

// Beside the store, so that it is one for each.
constexpr const char *lock_file = "/mnt/HDA_ROOT/tqfetchd.lock";

// What is opened next must not become standard output.
void open_standard_streams() {
    int opened = 0;
    do {
        opened = open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (opened >= 0 && opened <= STDERR_FILENO && fcntl(opened, F_SETFD, 0) == 0);
    if (opened > STDERR_FILENO) {
        close(opened);
    }
}

// A lock of the process, which no child inherits. Held until the process ends.
int take_lock() {
    const int file = open(lock_file, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file < 0) {
        std::fprintf(stderr, "tqfetchd: %s: %s\n", lock_file, std::strerror(errno));
        return failed;
    }
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fcntl(file, F_SETLK, &lock) == 0) {
        return done;
    }
    const bool held = errno == EACCES || errno == EAGAIN;
    lock.l_pid = 0;
    if (held && fcntl(file, F_GETLK, &lock) == 0) {
        std::fprintf(stderr, "tqfetchd: another tqfetchd runs already (process %ld)\n", static_cast<long>(lock.l_pid));
        return runs_already;
    }
    std::fprintf(stderr, "tqfetchd: %s cannot be locked: %s\n", lock_file, std::strerror(errno));
    return failed;
}

// Blocked in every thread and every child, and read from the descriptor.
int receive_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

int serve(const Options &options) {
    constexpr int32_t log_event = 3;
    constexpr auto patience = std::chrono::seconds(5);

    open_standard_streams();
    if (const int status = take_lock(); status != done) {
        return status;
    }
    err_debuglevel = options.log_level;
    if (options.syslog) {
        err_setdest("tqfetchd", LOGDEST_SYSLOG);
    }
    const int signals = receive_signals();
    if (signals < 0 || curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        std::fputs("tqfetchd: out of descriptors or memory\n", stderr);
        return failed;
    }
    err_log(log_event, ERR_MODULE_MAIN, "tqfetchd " KORVO_VERSION " is ready\n");

    Exchange exchange;
    Transfers transfers(options, exchange);
    Store store(options, exchange);
    auto stored = std::async(std::launch::async, [&store] { store.run(); });
    transfers.run(signals);
    store.hurry();
    if (stored.wait_for(patience) != std::future_status::ready) {
        // The store is locked. The next start puts the tasks back in the queue.
        err_log(log_event, ERR_MODULE_MAIN, "ended without the store's answer\n");
        _exit(done);
    }
    err_log(log_event, ERR_MODULE_MAIN, "ended\n");
    return done;
}

int run(int argc, char **argv) {
    CLI::App app{"Downloads the HTTP and FTP tasks of the download manager's store, until SIGTERM or SIGINT.\n"
                 "SIGHUP: reads the settings again, and tries at once what waits to be tried again.",
                 "tqfetchd"};
    Options options;
    constexpr int32_t many = 1'000'000;
    app.get_formatter()->column_width(26);
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    const auto number = [&app](const char *name, int32_t &value, int32_t least, int32_t most, const char *help) {
        app.add_option(name, value, help)->capture_default_str()->check(CLI::Range(least, most))->type_name("N");
    };
    number("--transfers", options.transfers, 1, 100, "So many at once");
    number("--timeout", options.timeout_s, 1, many, "Seconds without an answer or a byte that end a transfer");
    number("--retries", options.retries, 0, many, "Tries after a temporary failure, without any progress");
    number("--retry-wait", options.retry_wait_s, 1, many, "Seconds before the first; each next wait is twice as long");
    number("--log-level", options.log_level, 1, 10, "1 errors, 3 also what happens to tasks");
    app.add_flag("--syslog", options.syslog, "Log to syslog rather than to standard error");
    app.set_version_flag("--version", "tqfetchd " KORVO_VERSION);
    app.footer("Exit status: 0 ended by a signal, 1 failed, 2 usage, 3 another one runs.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        const bool asked_for = app.exit(error) == 0;
        if (!std::cout.flush()) {
            throw std::runtime_error("standard output cannot be written");
        }
        return asked_for ? done : usage;
    }
    return serve(options);
}

} // namespace
} // namespace fetch

int main(int argc, char **argv) {
    try {
        return fetch::run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "tqfetchd: %s\n", error.what());
        return fetch::failed;
    }
}
