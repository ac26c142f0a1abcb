#include "child.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {

Outcome in_child(const std::function<void()> &body) {
    constexpr int expectation_failed = 77;
    constexpr int killed = 128;
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        body();
        std::exit(testing::Test::HasFailure() ? expectation_failed : 0);
    }
    close(ends[1]);
    Outcome outcome = {};
    char buffer[4096];
    for (ssize_t count; (count = read(ends[0], buffer, sizeof buffer)) > 0;) {
        outcome.errors.append(buffer, static_cast<std::size_t>(count));
    }
    close(ends[0]);
    EXPECT_EQ(waitpid(child, &outcome.status, 0), child);
    outcome.status = WIFEXITED(outcome.status) ? WEXITSTATUS(outcome.status) : killed + WTERMSIG(outcome.status);
    return outcome;
}

void expect_in_child(const std::string &errors, const std::function<void()> &body, int status) {
    const Outcome outcome = in_child(body);
    EXPECT_EQ(outcome.errors, errors);
    EXPECT_EQ(outcome.status, status);
}

} // namespace test
