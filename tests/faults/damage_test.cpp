// Database files with random damage, many of them with a random journal beside them: every call returns a documented
// code, and nothing is written past what it fills.

#include "trial.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>

namespace test {
namespace {

using Random = std::minstd_rand;

void damage(std::string &bytes, Random &random) {
    for (auto count = 1 + random() % 8; count > 0; --count) {
        // Half of it where SQLite keeps its own: at the beginning of the file, and of each page.
        std::size_t at = random() % bytes.size();
        at = random() % 2 == 0 ? at : random() % 3 == 0 ? at % 100 : at / 4096 * 4096 + at % 64;
        const std::size_t length = random() % 2 == 0 ? 1 : std::min<std::size_t>(bytes.size() - at, 16);
        const char byte[] = {static_cast<char>(bytes[at] ^ (1 << random() % 8)), static_cast<char>(random()), '\0',
                             '\xff'};
        std::fill_n(&bytes[at], length, byte[random() % std::size(byte)]);
        if (random() % 16 == 0) {
            bytes.resize(at + 1);
        }
    }
}

TEST_F(StoreTest, SurvivesDamagedFiles) {
    for (const Table &table : tables()) {
        table.create();
        for (int seed = 1; seed <= 4; ++seed) {
            insert(table, Record(table, seed).row());
        }
    }
    std::ifstream in(database, std::ios::binary);
    const std::string whole(std::istreambuf_iterator<char>(in), {});
    const std::vector<OperationOfTable> operations = all_operations();
    Random random(11);
    std::size_t next = 0;
    const int files = effort(20, 300, 10000);
    for (int file = 0; file < files && !HasFailure(); ++file) {
        std::string bytes = whole;
        damage(bytes, random);
        start_afresh();
        std::ofstream(database, std::ios::binary) << bytes;
        if (random() % 4 == 0) {
            std::ofstream(database + std::string("-journal"), std::ios::binary) << bytes.substr(0, random() % 9000);
        }
        for (int i = 0; i < 12; ++i) {
            const auto &[table, operation] = operations[next++ % operations.size()];
            SCOPED_TRACE("file " + std::to_string(file) + ", " + operation.name);
            const int32_t result = call(operation);
            const bool adds = operation.failure == BTDB_ERR_INSERT;
            EXPECT_TRUE(result >= 0 || result == operation.failure || result == BTDB_ERR_OPEN ||
                        (adds && result == BTDB_ERR_QUERY))
                << result;
            EXPECT_TRUE(std::all_of(scratch + std::max<std::size_t>(table->record_size, 1024), std::end(scratch),
                                    [](char c) { return c == '\xa5'; }));
            EXPECT_EQ(connections(), 0);
            tally(result >= 0 ? "calls on damaged files that succeeded" : "calls on damaged files that failed");
        }
    }
    tally("damaged files", files);
}

} // namespace
} // namespace test
