// The diagnostic log: one for the whole process, filtered by level and module, to one destination at a time. It knows
// nothing of the rest of the library.

#include "korvo_bt.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <strings.h>
#include <syslog.h>
#include <unistd.h>

int32_t err_debuglevel = 10;

namespace {

uint32_t err_debugmask = 0xFFFFFFFF;
int32_t err_logdest = LOGDEST_STDERR;
std::FILE *err_logfile = nullptr;

// Not std::mutex, which reports an error by throwing.
pthread_mutex_t err_mutex = PTHREAD_MUTEX_INITIALIZER;

constexpr const char *aborting = "Aborting\n";

// The module at index i has the bit 1 << i.
constexpr std::array module_names{"config", "webserver", "database", "scan", "query", "index",
                                  "browse", "playlist",  "art",      "daap", "main",  "rend"};

bool filtered(int32_t level, uint32_t bits) {
    // Programs may change the threshold while other threads log.
    const int32_t threshold = std::atomic_ref(err_debuglevel).load(std::memory_order_relaxed);
    return level > threshold || (bits & err_debugmask) == 0;
}

void write_to_syslog(const char *message, bool fatal) {
    syslog(LOG_NOTICE, "%s", message);
    if (fatal) {
        syslog(LOG_INFO, "%s", aborting);
    }
}

// Flushed as one piece, so that lines stay whole also when several processes append to the same file.
void write_to_file(const char *message, bool fatal) {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    tzset(); // localtime_r() need not notice that the time zone has changed
    localtime_r(&now, &local);
    char timestamp[256];
    std::strftime(timestamp, sizeof timestamp, "%Y-%m-%d %T", &local);
    std::fprintf(err_logfile, "%s: %s", timestamp, message);
    if (fatal) {
        std::fprintf(err_logfile, "%s: %s", timestamp, aborting);
    }
    std::fflush(err_logfile);
}

void write_message(const char *message, bool fatal) {
    if (fatal) {
        std::fputs(message, stderr);
        std::fputs(aborting, stderr);
        std::fflush(stderr);
    }
    switch (err_logdest) {
    case LOGDEST_STDERR:
        if (!fatal) {
            std::fputs(message, stderr);
        }
        break;
    case LOGDEST_SYSLOG:
        write_to_syslog(message, fatal);
        break;
    case LOGDEST_LOGFILE:
        write_to_file(message, fatal);
        break;
    default: // nowhere
        break;
    }
}

// Out of line, so that a filtered message pays nothing for what is needed here.
[[gnu::noinline, gnu::format(printf, 2, 0)]] void log_message(bool fatal, const char *format, std::va_list arguments) {
    char message[1024];
    std::vsnprintf(message, sizeof message, format, arguments);
    if (const int error = pthread_mutex_lock(&err_mutex); error != 0) {
        errno = error;
    }
    write_message(message, fatal);
    if (const int error = pthread_mutex_unlock(&err_mutex); error != 0) {
        errno = error;
    }
}

void close_destination() {
    if (err_logdest == LOGDEST_SYSLOG) {
        closelog();
    } else if (err_logdest == LOGDEST_LOGFILE) {
        std::fclose(err_logfile);
    }
}

// Appends, as fopen()'s mode "a". No child inherits the descriptor, and a FIFO that nobody reads is an error rather
// than a wait without end; once it is open, a FIFO takes lines in the ordinary way.
std::FILE *open_file(const char *name) {
    const int descriptor = open(name, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
    if (descriptor == -1) {
        return nullptr;
    }
    fcntl(descriptor, F_SETFL, O_APPEND);
    std::FILE *const file = fdopen(descriptor, "a");
    if (file == nullptr) {
        close(descriptor);
    }
    return file;
}

void open_destination(const char *name, int32_t destination) {
    if (destination == LOGDEST_SYSLOG) {
        openlog(name, LOG_PID, LOG_DAEMON);
    } else if (destination == LOGDEST_LOGFILE) {
        err_logfile = open_file(name);
        if (err_logfile == nullptr) {
            std::fprintf(stderr, "Error opening %s: %s\n", name, std::strerror(errno));
            std::exit(EXIT_FAILURE);
        }
    }
}

// 0 for a name that no module has.
uint32_t module_bit(const char *name) {
    uint32_t bit = 1;
    for (const char *module : module_names) {
        if (strcasecmp(name, module) == 0) {
            return bit;
        }
        bit <<= 1;
    }
    return 0;
}

} // namespace

void err_log(int32_t level, uint32_t modules, const char *format, ...) {
    const bool fatal = level == 0;
    if (!fatal && filtered(level, modules)) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    log_message(fatal, format, arguments);
    va_end(arguments);
    if (fatal) {
        std::exit(EXIT_FAILURE);
    }
}

void err_setdest(const char *name, int32_t destination) {
    if (destination == err_logdest) {
        return;
    }
    close_destination();
    open_destination(name, destination);
    err_logdest = destination;
}

int32_t err_setdebugmask(char *list) {
    err_debugmask = ERR_MODULE_SELF;
    for (;;) {
        list += std::strspn(list, ",");
        if (*list == '\0') {
            err_log(5, ERR_MODULE_SELF, "Debug mask is 0x%08x\n", err_debugmask);
            return 0;
        }
        const char *name = list;
        list += std::strcspn(list, ",");
        if (*list == ',') {
            *list++ = '\0';
        }
        const uint32_t bit = module_bit(name);
        if (bit == 0) {
            err_log(1, ERR_MODULE_SELF, "Unknown module: %s\n", name);
            return 1;
        }
        err_log(9, ERR_MODULE_SELF, "Adding module %s to debug list (0x%08x)\n", name, bit);
        err_debugmask |= bit;
    }
}
