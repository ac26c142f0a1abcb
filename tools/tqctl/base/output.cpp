#include "base/output.h"

#include "base/failure.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace tqctl {
namespace {

std::string_view environment(const char *name) {
    const char *value = std::getenv(name);
    return value != nullptr ? value : "";
}

// Where a signal or a full pipe stops a write, it goes on. Returns an error's number, 0 for none.
int write_all(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

int unnamed_file() {
    const std::string_view chosen = environment("TMPDIR");
    for (const std::string &directory : {std::string(chosen.empty() ? "/var/tmp" : chosen), std::string("/tmp")}) {
        std::string path = directory + "/tqctl-XXXXXX";
        const int file = mkostemp(path.data(), O_CLOEXEC);
        if (file >= 0) {
            unlink(path.c_str());
            return file;
        }
    }
    throw Failure(Exit::failed, std::string("no file for the output could be made in TMPDIR, /var/tmp or /tmp: ") +
                                    std::strerror(errno));
}

} // namespace

bool output_is_terminal() {
    return isatty(STDOUT_FILENO) != 0;
}

Window window() {
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0;
    return {known && size.ws_col > 0 ? size.ws_col : std::size_t{80},
            known && size.ws_row > 0 ? size.ws_row : std::size_t{24}};
}

bool terminal_can_move() {
    return !environment("TERM").empty() && environment("TERM") != "dumb";
}

bool colored(Color wanted) {
    return wanted == Color::automatic ? output_is_terminal() && environment("NO_COLOR").empty() && terminal_can_move()
                                      : wanted == Color::always;
}

Charset charset_of(int descriptor) {
    // Bytes beyond ASCII are control characters to a terminal that does not expect UTF-8.
    const bool plain_terminal = isatty(descriptor) != 0 && std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0;
    return plain_terminal ? Charset::ascii : Charset::utf8;
}

std::string shown(std::string_view text) {
    static const Charset charset = charset_of(STDOUT_FILENO);
    return escaped(text, charset);
}

void warn(std::string_view message) {
    tell("tqctl: " + escaped(message, charset_of(STDERR_FILENO)) + "\n");
}

void tell(std::string_view text) {
    if (write_all(STDERR_FILENO, text) != 0) {
        return; // there is nowhere left to say so
    }
}

void print(std::string_view text) {
    const int error = write_all(STDOUT_FILENO, text);
    if (error == EPIPE) {
        throw ReaderGone();
    }
    if (error != 0) {
        throw Failure(Exit::failed, std::string("standard output: ") + std::strerror(error));
    }
}

Spool::Spool(Spool &&other) noexcept
    : held_(std::move(other.held_)), file_(std::exchange(other.file_, -1)), read_(other.read_) {}

Spool::~Spool() {
    if (file_ >= 0) {
        close(file_);
    }
}

void Spool::flush() {
    file_ = file_ >= 0 ? file_ : unnamed_file();
    if (const int error = write_all(file_, held_); error != 0) {
        throw Failure(Exit::failed,
                      std::string("the output could not be held in a temporary file: ") + std::strerror(error));
    }
    held_.clear();
}

void Spool::add(std::string_view text) {
    constexpr std::size_t held_at_most = 4U << 20U;
    held_ += text;
    if (held_.size() > held_at_most) {
        flush();
    }
}

void Spool::rewind() {
    if (file_ >= 0) {
        flush();
        lseek(file_, 0, SEEK_SET);
    }
    read_ = false;
}

std::string_view Spool::next() {
    if (file_ < 0) {
        return std::exchange(read_, true) ? std::string_view() : held_;
    }
    part_.resize(1U << 16U);
    const ssize_t size = read(file_, part_.data(), part_.size());
    if (size < 0) {
        throw Failure(Exit::failed, std::string("the output's temporary file: ") + std::strerror(errno));
    }
    part_.resize(static_cast<std::size_t>(size));
    return part_;
}

void Spool::print() {
    rewind();
    for (std::string_view part = next(); !part.empty(); part = next()) {
        tqctl::print(part);
    }
}

} // namespace tqctl
