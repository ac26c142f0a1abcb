#include "options/password.h"

#include "base/failure.h"

#include <array>
#include <bsd/readpassphrase.h>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <unistd.h>

namespace tqctl {
namespace {

// Longer than any field, so that nothing is cut that would fit.
constexpr std::size_t longest = 4096;

std::string asked(const std::string &prompt) {
    std::array<char, longest> answer{};
    if (readpassphrase(prompt.c_str(), answer.data(), answer.size(), RPP_REQUIRE_TTY) == nullptr) {
        throw Failure(Exit::failed, std::string("the password could not be read: ") + std::strerror(errno));
    }
    std::string password = answer.data();
    explicit_bzero(answer.data(), answer.size());
    return password;
}

std::string first_line() {
    std::string line;
    if (!std::getline(std::cin, line)) {
        throw Failure(Exit::usage, "there is no password on standard input");
    }
    if (line.find('\0') != std::string::npos) {
        throw Failure(Exit::usage, "the password on standard input holds a NUL character");
    }
    return line;
}

} // namespace

std::string read_password(const std::string &prompt) {
    if (isatty(STDIN_FILENO) == 0) {
        return first_line();
    }
    std::string password = asked(prompt + ": ");
    if (asked(prompt + ", again: ") != password) {
        throw Failure(Exit::usage, "the two passwords differ");
    }
    return password;
}

} // namespace tqctl
