#include "store/message_queue.h"

#include "base/failure.h"
#include "base/text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <korvo_bt_conventions.h>

namespace tqctl {

std::optional<msqid_ds> message_queue() {
    msqid_ds status{};
    const int id = msgget(BT_MSG_KEY, 0);
    if (id != -1 && msgctl(id, IPC_STAT, &status) != -1) {
        return status;
    }
    if (id == -1 || errno == EINVAL || errno == EIDRM) { // never there, or gone in between
        return {};
    }
    throw Failure(Exit::failed, std::string("the message queue cannot be looked at: ") + std::strerror(errno));
}

std::uint64_t room_for_messages(const msqid_ds &queue) {
    constexpr std::size_t message_size = sizeof(BtMessage) - sizeof(BtMessage::mtype);
    const std::uint64_t bytes = queue.msg_qbytes - std::min<std::uint64_t>(queue.__msg_cbytes, queue.msg_qbytes);
    const std::uint64_t messages = queue.msg_qbytes - std::min<std::uint64_t>(queue.msg_qnum, queue.msg_qbytes);
    return std::min(bytes / message_size, messages);
}

bool queue_refuses(int mode) {
    return msgget(BT_MSG_KEY, mode) == -1 && errno == EACCES;
}

void send_message(const BtMessage &message) {
    if (queue_refuses(0666)) {
        throw Failure(Exit::failed,
                      std::string("the message queue takes nothing from this user: ") + std::strerror(EACCES));
    }
    if (const auto status = message_queue(); status && room_for_messages(*status) == 0) {
        throw Failure(Exit::failed, concat("the message queue is full, nothing was sent: ", status->msg_qnum,
                                           " messages wait for the daemon"));
    }
    __bt_msg_send(message.mtype, message.param1, message.param2, message.param3, message.param4, message.param5);
}

namespace {

bool daemon_listens() {
    if (queue_refuses(0666)) {
        return false;
    }
    const auto status = message_queue();
    return status && room_for_messages(*status) > 0;
}

} // namespace

bool tell_daemon(std::int32_t command, std::int32_t task_id, std::int32_t parameter) {
    return daemon_listens() && bt_msg_send_command(command, task_id, parameter, 0, 0) == 0;
}

void tell_daemon_of_settings() {
    if (daemon_listens()) {
        bt_msg_send_config(TQ_CONFIG_CHANGED, 0);
    }
}

} // namespace tqctl
