#include "output.h"

#include "failure.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <langinfo.h>
#include <unistd.h>

namespace tqctl {

bool output_is_terminal() {
    return isatty(STDOUT_FILENO) != 0;
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
        } else if (errno != EINTR) {
            throw Failure(Exit::failed, std::string("tqctl: standard output: ") + std::strerror(errno));
        }
    }
}

} // namespace tqctl
