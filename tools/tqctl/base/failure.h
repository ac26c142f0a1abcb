// What went wrong, said to people first: what is wrong and what to do; behind it the library's call and its code.
#ifndef KORVO_TQCTL_BASE_FAILURE_H
#define KORVO_TQCTL_BASE_FAILURE_H

#include <exception>
#include <string>

namespace tqctl {

enum class Exit : int {
    done = 0,
    failed = 1,
    usage = 2,
    not_there = 3, // no such row or message
    database = 4,  // missing, or cannot be opened
};

class Failure : public std::exception {
public:
    Failure(Exit exit, std::string message) : exit_(exit), message_(std::move(message)) {}

    Exit exit() const noexcept { return exit_; }
    const char *what() const noexcept override { return message_.c_str(); }

private:
    Exit exit_;
    std::string message_;
};

// Nobody reads standard output any more: the command ends without a word.
struct ReaderGone {};

} // namespace tqctl

#endif
