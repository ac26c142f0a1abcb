// A child process, for what ends a process or changes its state for good.
#ifndef KORVO_TESTS_CHILD_H
#define KORVO_TESTS_CHILD_H

#include <functional>
#include <string>

namespace test {

struct Outcome {
    int status;         // the exit status; 0 when the body came to its end, with no expectation failed
    std::string errors; // what it wrote to standard error
};

Outcome in_child(const std::function<void()> &body);

void expect_in_child(const std::string &errors, const std::function<void()> &body, int status = 0);

} // namespace test

#endif
