#include "message_queue.h"

#include "failure.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <korvo_bt.h>

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
    throw Failure(Exit::failed, std::string("tqctl: the message queue cannot be looked at: ") + std::strerror(errno));
}

std::uint64_t room_for_messages(const msqid_ds &queue) {
    constexpr std::size_t message_size = sizeof(BtMessage) - sizeof(BtMessage::mtype);
    const std::uint64_t bytes = queue.msg_qbytes - std::min<std::uint64_t>(queue.__msg_cbytes, queue.msg_qbytes);
    const std::uint64_t messages = queue.msg_qbytes - std::min<std::uint64_t>(queue.msg_qnum, queue.msg_qbytes);
    return std::min(bytes / message_size, messages);
}

} // namespace tqctl
