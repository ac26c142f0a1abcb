// The message queue: the kernel's own, in the sandbox's space, looked at and filled behind the library's back.

#include "child.h"
#include "next.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <korvo_bt.h>
#include <sys/msg.h>
#include <sys/stat.h>
#include <vector>

namespace {

// Whether another process removes the queue just before the library's next use of it.
bool queue_vanishes = false;

void vanish(int queue) {
    if (std::exchange(queue_vanishes, false)) {
        EXPECT_EQ(test::next(msgctl, "msgctl")(queue, IPC_RMID, nullptr), 0);
    }
}

} // namespace

ssize_t msgrcv(int queue, void *message, std::size_t size, long type, int flags) {
    vanish(queue);
    return test::next(msgrcv, "msgrcv")(queue, message, size, type, flags);
}

int msgctl(int queue, int command, msqid_ds *status) noexcept {
    vanish(queue);
    return test::next(msgctl, "msgctl")(queue, command, status);
}

namespace test {
namespace {

constexpr int key = 2502;

int queue() {
    return msgget(key, 0);
}

void make_queue(int mode) {
    EXPECT_NE(msgget(key, IPC_CREAT | IPC_EXCL | mode), -1);
}

msqid_ds status() {
    msqid_ds status = {};
    EXPECT_EQ(msgctl(queue(), IPC_STAT, &status), 0);
    return status;
}

struct Raw {
    long type;
    int32_t words[16];
};

void send_raw(const Raw &message, std::size_t size) {
    ASSERT_EQ(msgsnd(msgget(key, IPC_CREAT | 0777), &message, size, IPC_NOWAIT), 0);
}

// The type, then the parameters.
std::vector<long> receive_raw() {
    Raw message = {};
    const ssize_t size = msgrcv(queue(), &message, sizeof message.words, 0, IPC_NOWAIT);
    EXPECT_EQ(size, 20);
    std::vector<long> words = {message.type};
    words.insert(words.end(), message.words, message.words + size / 4);
    return words;
}

class MsgTest : public testing::Test {
protected:
    MsgTest() { remove(); }
    ~MsgTest() override { remove(); }
    static void remove() { msgctl(queue(), IPC_RMID, nullptr); }
};

TEST_F(MsgTest, SendsRecordsOfSixWords) {
    EXPECT_EQ(bt_msg_send_command(7, 3, 10, 20, 30), 0);
    EXPECT_EQ(bt_msg_send_command(INT32_MIN, INT32_MAX, -1, INT32_MIN, 0x01020304), 0);
    EXPECT_EQ(bt_msg_send_config(5, 0), 0);
    EXPECT_EQ(__bt_msg_send(INT32_MAX, -1, 0, 1, 2, 3), 0);
    EXPECT_EQ(status().msg_qnum, 4U);
    const std::vector<std::vector<long>> expected = {
        {2, 7, 3, 10, 20, 30},
        {2, INT32_MIN, INT32_MAX, -1, INT32_MIN, 0x01020304},
        {1, 5, 0, 0, 0, 0},
        {INT32_MAX, -1, 0, 1, 2, 3},
    };
    for (const auto &words : expected) {
        EXPECT_EQ(receive_raw(), words);
    }
}

TEST_F(MsgTest, RefusesBadArgumentsWithoutTouchingTheQueue) {
    expect_in_child("", [] {
        for (const int32_t negative : {-1, INT32_MIN}) {
            EXPECT_EQ(bt_msg_send_command(1, negative, 1, 1, 1), -1);
            EXPECT_EQ(bt_msg_send_config(1, negative), -1);
            EXPECT_EQ(__bt_msg_send(0, 1, negative, 1, 1, 1), -1);
        }
        EXPECT_EQ(bt_msg_get(nullptr), -1);
    });
    EXPECT_EQ(queue(), -1);
}

TEST_F(MsgTest, ReceivesWhateverIsThere) {
    constexpr int32_t old = 0x5a5a5a5a;
    struct {
        Raw message;
        std::size_t size; // of what another program sends; 0: nothing
        int32_t record[6];
        const char *logged;
    } const steps[] = {
        {{}, 0, {old, old, old, old, old, old}, "bt_msg_get(): no message\n"},
        {{1, {5, 6}}, 20, {1, 5, 6, 0, 0, 0}, "bt_msg_get(): 1\n"},
        {{2, {7, 3, 10, 20, 30}}, 20, {2, 7, 3, 10, 20, 30}, "bt_msg_get(): 2\n"},
        {{77, {1, -2, 3, 4, 5, 6, 7, 8}}, 64, {77, 1, -2, 3, 4, 5}, "bt_msg_get(): 77\n"},
        {{3, {9}}, 4, {3, 9, old, old, old, old}, "bt_msg_get(): 3\n"},
        {{}, 0, {old, old, old, old, old, old}, "bt_msg_get(): no message\n"},
    };
    for (const auto &step : steps) {
        expect_in_child(step.logged, [&] {
            if (step.size > 0) {
                send_raw(step.message, step.size);
            }
            int32_t words[8];
            std::fill(std::begin(words), std::end(words), old);
            EXPECT_EQ(bt_msg_get(reinterpret_cast<BtMessage *>(words)), step.message.type);
            EXPECT_TRUE(std::equal(step.record, step.record + 6, words));
            EXPECT_EQ(words[6], old) << "written past the record";
        });
    }
}

TEST_F(MsgTest, DropsWhatARecordCannotHold) {
    if (sizeof(long) == sizeof(int32_t)) {
        GTEST_SKIP() << "a record holds every type";
    }
    for (const int64_t type : {INT64_C(1) << 31, INT64_C(1) << 32, INT64_MAX, INT64_C(7)}) {
        send_raw({static_cast<long>(type), {}}, 20);
    }
    BtMessage record = {};
    EXPECT_EQ(bt_msg_get(&record), 7);
    EXPECT_EQ(bt_msg_get(&record), 0);
}

TEST_F(MsgTest, KeepsTheOrderAndIsQuietBelowLevelNine) {
    expect_in_child("", [] {
        err_debuglevel = 8;
        BtMessage record = {};
        EXPECT_EQ(bt_msg_get(&record), 0);
        bt_msg_send_command(1, 1, 1, 1, 1);
        bt_msg_send_config(2, 2);
        bt_msg_send_command(3, 3, 3, 3, 3);
        for (const int32_t first : {1, 2, 3}) {
            EXPECT_EQ(bt_msg_get(&record), first == 2 ? BT_MSG_CONFIG : BT_MSG_COMMAND);
            EXPECT_EQ(record.param1, first);
        }
    });
}

TEST_F(MsgTest, MakesTheQueueWithTheModeOfWhoeverComesFirst) {
    BtMessage record = {};
    for (const bool sender_first : {true, false}) {
        expect_in_child(sender_first ? "" : "bt_msg_get(): no message\n", [&] {
            umask(0777); // has no say
            sender_first ? bt_msg_send_config(1, 0) : bt_msg_get(&record);
        });
        EXPECT_EQ(status().msg_perm.mode, sender_first ? 0666 : 0777);
        remove();
    }
}

TEST_F(MsgTest, EndsTheProcessWhenItFails) {
    static BtMessage record = {};
    const struct {
        std::function<void()> prepare, call;
        std::string message;
    } cases[] = {
        {[] {}, [] { __bt_msg_send(0, 1, 1, 1, 1, 1); }, "error - msgsnd\n"},
        {[] {}, [] { __bt_msg_send(INT32_MIN, 1, 1, 1, 1, 1); }, "error - msgsnd\n"},
        {[] { make_queue(0); }, [] { bt_msg_send_config(1, 1); }, "error - msgsnd\n"},
        {[] { bt_msg_send_config(1, 1); }, [] { bt_msg_get(&record); }, "bt_msg_get(): msgget error!\n"},
        {[] { make_queue(0777); }, [] { queue_vanishes = true, bt_msg_get(&record); }, "bt_msg_get(): msgrcv error!\n"},
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(&each - cases);
        remove();
        each.prepare();
        const auto body = [&] {
            err_debuglevel = -1;
            each.call();
        };
        expect_in_child(each.message + "Aborting\n", body, EXIT_FAILURE);
    }
}

TEST_F(MsgTest, EndsTheSenderIntoAFullQueue) {
    const auto send_for_ever = [] {
        for (;;) {
            bt_msg_send_command(1, 2, 3, 4, 5);
        }
    };
    expect_in_child("error - msgsnd\nAborting\n", send_for_ever, EXIT_FAILURE);
    EXPECT_EQ(status().msg_qnum, status().msg_qbytes / 20) << "sent before";
    EXPECT_EQ(receive_raw(), (std::vector<long>{2, 1, 2, 3, 4, 5}));
    EXPECT_EQ(bt_msg_send_config(1, 1), 0) << "there is room again";
}

TEST_F(MsgTest, RemovesTheQueueWithItsMessages) {
    EXPECT_EQ(bt_msg_clean(), 0);
    EXPECT_EQ(queue(), -1) << "made by the removal";
    for (const int mode : {0666, 0}) {
        make_queue(mode);
        EXPECT_EQ(bt_msg_clean(), 0);
        EXPECT_EQ(queue(), -1);
    }
    make_queue(0666);
    queue_vanishes = true;
    EXPECT_EQ(bt_msg_clean(), -1);
    EXPECT_EQ(bt_msg_send_config(1, 1), 0);
    EXPECT_EQ(status().msg_qnum, 1U) << "a new queue";
}

} // namespace
} // namespace test
