// Processes that write at the same time, that meet a lock, and that are killed: what was acknowledged is there, once
// and whole; what was not is there whole or not at all.

#include "disk.h"
#include "trial.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace test;

// ---- Processes

static pid_t start(const std::function<void()> &work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    EXPECT_GT(child, 0);
    return child;
}

static int ended(pid_t child) {
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

// The file's bytes. No connection is open meanwhile.
class Snapshot {
public:
    Snapshot() {
        std::ifstream file(database, std::ios::binary);
        bytes_.assign(std::istreambuf_iterator<char>(file), {});
    }
    void restore() const {
        start_afresh();
        std::ofstream(database, std::ios::binary) << bytes_;
    }

private:
    std::string bytes_;
};

// ---- What becomes of a row: it is added, updated and, every other one, deleted. Each step is noted before and after.

constexpr int writers = 8, most_items = 6000;

struct Item {
    std::atomic<unsigned char> begun, done; // steps
};
struct Shared {
    std::atomic<bool> stop;
    std::atomic<int> calls, refused;
    Item items[writers][most_items];
};

static Shared *share() {
    void *memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    EXPECT_NE(memory, MAP_FAILED);
    return static_cast<Shared *>(memory);
}

static const Table &table_of(int item) {
    return tables()[static_cast<std::size_t>(item) % tables().size()];
}
static int seed_of(int writer, int item) {
    return 1000 + writer * 10000 + item;
}

static Record added(const Table &table, int seed) {
    Record record(table, seed);
    for (std::size_t at = 0; at < table.fields.size(); ++at) {
        if (std::strcmp(table.fields[at].column, "task_record") == 0) {
            record.set(at, 0); // by the add
        }
    }
    return record;
}

static const Update &update_of(const Table &table, int seed) {
    return table.updates[static_cast<std::size_t>(seed) % table.updates.size()];
}

// What the update is given, and what it makes of the row.
static Record update_values(const Table &table, int seed, const Record &row) {
    Record values(table, seed + 1'000'000);
    for (const std::string &key : update_of(table, seed).keys) {
        values.copy(key, row);
    }
    return values;
}
static Record updated(const Table &table, int seed) {
    Record row = added(table, seed);
    if (!table.updates.empty()) {
        const Record values = update_values(table, seed, row);
        for (const std::string &column : update_of(table, seed).writes) {
            row.copy(column, values);
        }
    }
    return row;
}

// The row without its identifier, which is SQLite's choice.
static Row essence(Row row) {
    row.erase(row.begin());
    return row;
}

static std::string identifier(const Table &table, const Record &row) {
    Connection connection;
    connection.rows("PRAGMA busy_timeout = 20000");
    const Rows found = connection.rows("SELECT rowid FROM " + std::string(table.name) + " WHERE " +
                                       table.fields[1].column + " = " + row.row()[1]);
    return found.size() == 1 ? found[0][0] : "0";
}

class Writer {
public:
    Writer(Shared &shared, int number, bool reads) : shared_(shared), number_(number), reads_(reads) {}

    // Until so many calls have been made by all.
    void work(int calls) {
        for (int item = 0; item < most_items && shared_.calls < calls; ++item) {
            work_on(item);
        }
    }

private:
    void work_on(int item) {
        const Table &table = table_of(item);
        const int seed = seed_of(number_, item);
        Record row = added(table, seed);
        Record given = row;
        step(item, 1, [&] { return table.add(given.data()) >= 0; });
        row.set(0, std::stoi(identifier(table, row)));
        if (!table.updates.empty()) {
            Record values = update_values(table, seed, row);
            step(item, 2, [&] { return update_of(table, seed).call(values.data()) == BTDB_OK; });
            const auto id = *static_cast<const std::int32_t *>(row.field(0));
            row = updated(table, seed);
            row.set(0, id);
        }
        if (reads_) {
            read(table, row);
        }
        if (seed % 2 == 0 && table.remove != nullptr) {
            const std::uint32_t selector = table.selectors[static_cast<std::size_t>(seed) / 2 % table.selectors.size()];
            step(item, 3, [&] {
                const std::int32_t result = table.remove(selector, row.field(selector));
                if (result == BTDB_ERR_DELETE && !table.drop_and_remove_wait) {
                    ++shared_.refused;
                    return false;
                }
                EXPECT_EQ(result, BTDB_OK) << table.name;
                return true;
            });
        }
    }

    void step(int item, unsigned char number, const std::function<bool()> &call) {
        Item &noted = shared_.items[number_][item];
        noted.begun = number;
        ++shared_.calls;
        if (call()) {
            noted.done = number;
        } else {
            noted.begun = noted.done.load();
            EXPECT_EQ(number, 3) << table_of(item).name << ": nothing but a delete may give up";
        }
    }

    // The row, and one of the reads that every table has for its first rows.
    void read(const Table &table, const Record &row) {
        if (!table.reads.empty()) {
            Record found(table);
            ++shared_.calls;
            EXPECT_EQ(table.reads[0](Record(row).data(), found.data()), BTDB_OK);
            EXPECT_EQ(found.row(), row.as_read().row());
        }
        const Operation &operation = table.operations[random_() % table.operations.size()];
        if (operation.before.empty() && (operation.failure == BTDB_ERR_QUERY || operation.failure == sqlite_code)) {
            ++shared_.calls;
            EXPECT_GE(call(operation), 0) << operation.name;
        }
    }

    Shared &shared_;
    int number_;
    bool reads_;
    std::minstd_rand random_{static_cast<unsigned>(number_ + 1)};
};

class Processes : public StoreTest {
protected:
    Processes() {
        for (const Table &table : tables()) {
            table.create();
            insert(table, Record(table, 1).row());
            insert(table, Record(table, 2).row());
        }
    }
    ~Processes() override { munmap(shared, sizeof *shared); }

    // Compares the file with the notes: how many acknowledged steps there were.
    int account();

    Shared *shared = share();
};

int Processes::account() {
    int acknowledged = 0;
    Connection connection;
    expect_integrity(connection);
    for (std::size_t at = 0; at < tables().size(); ++at) {
        const Table &table = tables()[at];
        std::map<Row, int> rows;
        for (const Row &row : stored(table)) {
            ++rows[essence(row)];
        }
        --rows[essence(Record(table, 1).row())];
        --rows[essence(Record(table, 2).row())];
        for (int writer = 0; writer < writers; ++writer) {
            for (int item = static_cast<int>(at); item < most_items; item += static_cast<int>(tables().size())) {
                const Item &noted = shared->items[writer][item];
                const int seed = seed_of(writer, item), done = noted.done, begun = noted.begun;
                if (begun == 0) {
                    break;
                }
                acknowledged += done;
                const Row forms[] = {{}, essence(added(table, seed).row()), essence(updated(table, seed).row()), {}};
                // An item that is not updated is deleted as it was added.
                int found = 0;
                for (const int form : {done, begun}) {
                    if (!forms[form].empty() && rows[forms[form]] == 1) {
                        rows[forms[form]] = 0;
                        ++found;
                    }
                }
                const bool may_be_absent = forms[done].empty() || forms[begun].empty();
                EXPECT_TRUE(found == 1 || (found == 0 && may_be_absent))
                    << table.name << " item " << item << " of " << writer << ": step " << begun << " begun, " << done
                    << " done, found " << found;
            }
        }
        for (const auto &[row, count] : rows) {
            EXPECT_EQ(count, 0) << "half or doubled: " << table.name << " " << testing::PrintToString(row);
        }
    }
    return acknowledged;
}

// ---- At the same time

TEST_F(Processes, LoseAndDoubleNothingAtTheSameTime) {
    for (const bool held : {false, true}) {
        SCOPED_TRACE(held ? "while the lock is held now and then" : "");
        const Snapshot snapshot;
        std::memset(static_cast<void *>(shared), 0, sizeof *shared);
        const int calls = effort(100, 500, 10000);
        pid_t children[writers];
        for (int writer = 0; writer < writers; ++writer) {
            children[writer] = start([&] { Writer(*shared, writer, true).work(calls); });
        }
        const pid_t holder = start([&] {
            Connection connection;
            while (held && !shared->stop) {
                connection.rows("PRAGMA busy_timeout = 20000; BEGIN EXCLUSIVE");
                usleep(20'000);
                connection.rows("COMMIT");
                usleep(5'000);
            }
        });
        for (const pid_t child : children) {
            EXPECT_EQ(ended(child), 0);
        }
        shared->stop = true;
        EXPECT_EQ(ended(holder), 0);
        const int acknowledged = account();
        const std::string how = held ? " of 8 processes under locks" : " of 8 processes";
        tally("calls" + how, shared->calls);
        tally("changes acknowledged and found" + how, acknowledged);
        tally("deletes that did not wait and failed at once" + how, shared->refused);
        snapshot.restore();
    }
}

// ---- Killed

TEST_F(Processes, LoseNothingAcknowledgedWhenTheyAreKilled) {
    const Snapshot snapshot;
    std::minstd_rand random(7);
    const int rounds = effort(5, 40, 1000);
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        snapshot.restore();
        std::memset(static_cast<void *>(shared), 0, sizeof *shared);
        pid_t children[3];
        for (pid_t &child : children) {
            const auto writer = static_cast<int>(&child - children);
            child = start([&] { Writer(*shared, writer, false).work(INT32_MAX); });
        }
        usleep(static_cast<useconds_t>(random() % 20'000));
        for (const pid_t child : children) {
            kill(child, SIGKILL);
        }
        for (const pid_t child : children) {
            ended(child);
        }
        tally("changes acknowledged before a kill and found", account());
        tally("kills of writers", static_cast<long>(std::size(children)));
    }
    tally("rounds of killing writers", rounds);
}

class Killed : public StoreTest, public testing::WithParamInterface<OperationOfTable> {};

INSTANTIATE_TEST_SUITE_P(Faults, Killed, testing::ValuesIn(operations_to_try()),
                         [](const auto &of) { return name_of(of.param); });

// At each file operation in turn, also in the middle of a write.
TEST_P(Killed, HaveDoneAllOrNothing) {
    using disk::On;
    static const disk::Accident accidents[] = {
        {"", {On::open, On::remove, On::write, On::sync, On::truncate}, disk::Accident::kills},
        {"", {On::write}, disk::Accident::kills_halfway},
    };
    prepare(*GetParam().table, GetParam().operation);
    const Snapshot snapshot;
    const Rows before = contents();
    ASSERT_EQ(call(GetParam().operation), GetParam().operation.success);
    const Rows after = contents();
    for (const disk::Accident &accident : accidents) {
        bool killed = before != after;
        bool changed = false;
        for (int at = 1; killed; at += effort(7, 5, 1)) {
            SCOPED_TRACE(at);
            snapshot.restore();
            const int status = ended(start([&] {
                disk::arm(accident, at);
                _exit(call(GetParam().operation) == GetParam().operation.success ? 0 : 1);
            }));
            killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
            EXPECT_TRUE(killed || status == 0);
            Connection connection;
            expect_integrity(connection);
            const Rows now = contents(connection);
            EXPECT_TRUE(now == after || (now == before && killed && !changed)) << testing::PrintToString(now);
            changed = now == after;
            tally("kills at a file operation", killed ? 1 : 0);
        }
    }
}
