// The message queue to the BitTorrent daemon. Nobody holds a handle: every call looks the queue up by its key, and none
// waits. What goes wrong ends the process, by way of the diagnostic log's fatal level.

#include "korvo_bt.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <utility>

namespace {

// A message as the kernel takes it: its type is a long, which may be wider than a record's.
struct KernelMessage {
    long mtype;
    int32_t params[5];
};

static_assert(sizeof(KernelMessage::params) == sizeof(BtMessage) - offsetof(BtMessage, param1));

// The oldest message whose type a record holds. What has a wider one comes from no caller of this library: it is
// dropped.
ssize_t receive(int queue, KernelMessage *message) {
    ssize_t received;
    do {
        received = msgrcv(queue, message, sizeof message->params, 0, IPC_NOWAIT | MSG_NOERROR);
    } while (received != -1 && !std::in_range<int32_t>(message->mtype));
    return received;
}

} // namespace

int32_t __bt_msg_send(int32_t mtype, int32_t param1, int32_t param2, int32_t param3, int32_t param4, int32_t param5) {
    if (param2 < 0) {
        return -1;
    }
    const KernelMessage message = {mtype, {param1, param2, param3, param4, param5}};
    const int queue = msgget(BT_MSG_KEY, IPC_CREAT | 0666);
    if (queue == -1 || msgsnd(queue, &message, sizeof message.params, IPC_NOWAIT) == -1) {
        err_log(0, ERR_MODULE_CONFIG, "error - msgsnd\n");
    }
    return 0;
}

int32_t bt_msg_send_command(int32_t param1, int32_t param2, int32_t param3, int32_t param4, int32_t param5) {
    return __bt_msg_send(BT_MSG_COMMAND, param1, param2, param3, param4, param5);
}

int32_t bt_msg_send_config(int32_t param1, int32_t param2) {
    return __bt_msg_send(BT_MSG_CONFIG, param1, param2, 0, 0, 0);
}

int32_t bt_msg_get(BtMessage *record) {
    if (record == nullptr) {
        return -1;
    }
    const int queue = msgget(BT_MSG_KEY, IPC_CREAT | 0777);
    if (queue == -1) {
        err_log(0, ERR_MODULE_CONFIG, "bt_msg_get(): msgget error!\n");
    }
    KernelMessage message;
    const ssize_t received = receive(queue, &message);
    if (received == -1) {
        if (errno != ENOMSG) {
            err_log(0, ERR_MODULE_CONFIG, "bt_msg_get(): msgrcv error!\n");
        }
        err_log(9, ERR_MODULE_CONFIG, "bt_msg_get(): no message\n");
        return 0;
    }
    // Another program's message may be shorter; what it does not have stays as it is in the record.
    record->mtype = static_cast<int32_t>(message.mtype);
    std::memcpy(reinterpret_cast<char *>(record) + offsetof(BtMessage, param1), message.params,
                static_cast<std::size_t>(received));
    err_log(9, ERR_MODULE_CONFIG, "bt_msg_get(): %d\n", record->mtype);
    return record->mtype;
}

int32_t bt_msg_clean() {
    const int queue = msgget(BT_MSG_KEY, 0);
    return queue == -1 ? 0 : msgctl(queue, IPC_RMID, nullptr);
}
