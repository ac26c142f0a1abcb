#include "trial.h"

#include <cstdio>
#include <map>
#include <utility>

namespace test {

std::vector<OperationOfTable> operations_to_try() {
    std::vector<OperationOfTable> operations;
    const std::vector<OperationOfTable> all = all_operations();
    for (std::size_t at = 0; at < all.size(); at += static_cast<std::size_t>(effort(5, 1, 1))) {
        operations.push_back(all[at]);
    }
    return operations;
}

namespace {

std::map<std::string, long> figures;

class PrintFigures : public testing::Environment {
    void TearDown() override {
        for (const auto &[what, count] : figures) {
            std::printf("%10ld  %s\n", count, what.c_str());
        }
    }
};
[[maybe_unused]] const testing::Environment *const prints_figures =
    testing::AddGlobalTestEnvironment(new PrintFigures); // GoogleTest owns it

} // namespace

void tally(const std::string &what, long count) {
    figures[what] += count;
}

void expect_integrity(Connection &connection) {
    EXPECT_EQ(connection.rows("PRAGMA integrity_check"), (Rows{{"ok"}}));
}

Trial::Trial(const OperationOfTable &of, std::string changed)
    : table_(*of.table), operation_(of.operation), changed_(std::move(changed)), before_(start()) {
    EXPECT_EQ(call(operation_), operation_.success);
    after_ = now_ = contents();
    read_.assign(scratch, sizeof scratch);
    listed_ = delivered;
}

Rows Trial::start() const {
    start_afresh();
    prepare(table_, operation_);
    Connection connection;
    connection.rows(changed_);
    return contents(connection);
}

bool Trial::attempt(const std::function<void()> &arm, const std::function<void()> &disarm) {
    if (now_ != before_) {
        start();
    }
    arm();
    const int32_t result = call(operation_);
    disarm();

    EXPECT_EQ(connections(), 0);
    Connection connection;
    now_ = contents(connection);
    expect_integrity(connection);
    tally(result == operation_.success ? "calls under a fault that succeeded" : "calls under a fault that failed");
    if (result == operation_.success) {
        EXPECT_EQ(now_, after_);
        EXPECT_EQ(std::string(scratch, sizeof scratch), read_);
        EXPECT_EQ(delivered, listed_);
        return true;
    }
    // An add whose identifier cannot be read back has stored its row, and only then.
    const bool adds = operation_.failure == BTDB_ERR_INSERT;
    const bool added = adds && (result == BTDB_ERR_QUERY || (result == BTDB_ERR_OPEN && now_ != before_));
    const bool failed = operation_.failure == sqlite_code ? result > SQLITE_OK : result == operation_.failure;
    EXPECT_TRUE(added || failed || result == BTDB_ERR_OPEN) << result;
    EXPECT_EQ(now_, added ? after_ : before_);
    EXPECT_TRUE(scratch_is_clean());
    // Not so what was delivered: SQLite hands a callback NULL for a number that it could not turn into a text, and
    // fails afterwards.
    return false;
}

} // namespace test
