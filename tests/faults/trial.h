// One operation, tried again and again while something fails underneath. A call then returns one of its codes and has
// done nothing, or succeeds and has done everything; the file is whole either way.
#ifndef KORVO_TESTS_TRIAL_H
#define KORVO_TESTS_TRIAL_H

#include "support.h"

#include <functional>
#include <string>
#include <vector>

namespace test {

class Trial {
public:
    // On the operation's rows, once `changed` by SQL.
    explicit Trial(const OperationOfTable &of, std::string changed = "");

    // Calls between the two, on a file as it was at the beginning, and judges. Whether the call succeeded.
    bool attempt(const std::function<void()> &arm, const std::function<void()> &disarm);

    // Whether a call that succeeds leaves the file other than it was.
    bool changes() const { return after_ != before_; }

private:
    Rows start() const;

    const Table &table_;
    const Operation &operation_;
    std::string changed_;
    Rows before_, after_, now_;
    std::string read_, listed_;
};

// All operations; every fifth with the least effort.
std::vector<OperationOfTable> operations_to_try();

// Counts; the figures are printed when the program has run all its tests.
void tally(const std::string &what, long count = 1);

// SQLite finds the file intact.
void expect_integrity(Connection &connection);

} // namespace test

#endif
