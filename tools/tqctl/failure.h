// What can go wrong, said so that the operator knows what to do: the failed operation, its code, the code's meaning.
#pragma once

#include "stores.h"

#include <cstdint>
#include <exception>
#include <string>

namespace tqctl {

enum class Exit : int {
    done = 0,
    failed = 1,
    usage = 2,
    not_there = 3,
    database = 4, // missing, or cannot be opened
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

// Nobody reads standard output any more.
struct ReaderGone : Failure {
    using Failure::Failure;
};

// Ends the command unless the database file is there. Called before the first call of the library, which would create
// a missing file.
void require_database();

// A failed call of the library, worded "operation: CODE (number): meaning".
Failure call_failure(Exit exit, const char *operation, std::int32_t code, const std::string &meaning);

// Passes on a result that is no failure. Otherwise looks at the file and the table to find out what the code means
// here, and throws. `wanted` names the one task that a read looks for ("task 7"); empty for everything else.
std::int32_t checked(const char *operation, std::int32_t result, const Store &store, const std::string &wanted = {});

// Whether it was missing.
bool create_if_missing(const Store &store);

} // namespace tqctl
