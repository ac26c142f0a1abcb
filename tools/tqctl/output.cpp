#include "output.h"

#include "failure.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tqctl {

bool output_is_terminal() {
    return isatty(STDOUT_FILENO) != 0;
}

Window window() {
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0;
    return {known && size.ws_col > 0 ? size.ws_col : std::size_t{80},
            known && size.ws_row > 0 ? size.ws_row : std::size_t{24}};
}

bool colored(Color wanted) {
    if (wanted != Color::automatic) {
        return wanted == Color::always;
    }
    const auto environment = [](const char *name) {
        const char *value = std::getenv(name);
        return std::string_view(value != nullptr ? value : "");
    };
    return output_is_terminal() && environment("NO_COLOR").empty() && environment("TERM") != "dumb" &&
           !environment("TERM").empty();
}

Charset output_charset() {
    // Bytes beyond ASCII are control characters to a terminal that does not expect UTF-8.
    const bool plain_terminal = output_is_terminal() && std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0;
    return plain_terminal ? Charset::ascii : Charset::utf8;
}

void warn(const std::string &message) {
    std::fprintf(stderr, "tqctl: %s\n", escaped(message, Charset::ascii).c_str());
}

void print(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EPIPE) {
            throw ReaderGone(Exit::failed, std::string("tqctl: standard output: ") + std::strerror(errno));
        } else if (errno != EINTR) {
            throw Failure(Exit::failed, std::string("tqctl: standard output: ") + std::strerror(errno));
        }
    }
}

} // namespace tqctl
