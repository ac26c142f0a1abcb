// torrentd, a BitTorrent daemon on the store: options, signals, and the loop that everything happens in.
#include "daemon.h"
#include "messages.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

constexpr char usage[] = "usage: torrentd [--listen ADDRESS:PORT[,...]] [--no-discovery]\n"
                         "\n"
                         "Downloads the BitTorrent tasks of the store until it gets SIGTERM or SIGINT.\n"
                         "  --listen        where peers connect to; 0.0.0.0:6881,[::]:6881 by default\n"
                         "  --no-discovery  no DHT, no local peers, no port mapping: only trackers and links\n";

int bell = -1;
volatile std::sig_atomic_t ended = 0;

void ring() {
    const uint64_t once = 1;
    if (write(bell, &once, sizeof once) < 0) {
        // it has been rung often enough
    }
}

void end(int) {
    const int error = errno;
    ended = 1;
    ring();
    errno = error;
}

void run(const torrentd::Options &options) {
    using Clock = std::chrono::steady_clock;
    torrentd::Receiver receiver;
    receiver.keep_running(); // first, so that the queue is made by a receiver and may be received from
    torrentd::Daemon daemon(options, ring);
    Clock::time_point next = Clock::now();
    while (ended == 0) {
        if (Clock::now() >= next) {
            next = Clock::now() + std::chrono::seconds(1);
            receiver.keep_running();
            daemon.tick();
        }
        pollfd events[] = {{bell, POLLIN, 0}, {receiver.descriptor(), POLLIN, 0}};
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(next - Clock::now()).count() + 1;
        poll(events, std::size(events), static_cast<int>(std::clamp<int64_t>(left, 0, 1000)));
        uint64_t rings = 0;
        if ((events[0].revents & POLLIN) != 0 && read(bell, &rings, sizeof rings) < 0) {
            continue;
        }
        daemon.handle_events();
        if (events[1].revents != 0) {
            if (const auto message = receiver.next()) {
                daemon.obey(*message);
            }
        }
    }
    err_log(5, ERR_MODULE_MAIN, "ending\n");
    daemon.end();
}

} // namespace

int main(int argc, char **argv) {
    torrentd::Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--hand-over-messages") {
            torrentd::hand_over_messages(STDIN_FILENO);
            return 0;
        }
        if (argument == "--listen" && i + 1 < argc) {
            options.listen = argv[++i];
        } else if (argument == "--no-discovery") {
            options.discovery = false;
        } else {
            std::fputs(usage, argument == "--help" ? stdout : stderr);
            return argument == "--help" ? 0 : 2;
        }
    }
    bell = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    struct sigaction action {};
    action.sa_handler = end;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    err_debuglevel = 5;
    run(options);
    return 0;
}
