// The message queue to the torrent daemon, looked at without taking or making anything.
#pragma once

#include <cstdint>
#include <optional>
#include <sys/msg.h>

namespace tqctl {

// What the kernel knows of the queue; nothing when there is none.
std::optional<msqid_ds> message_queue();

// How many more messages of ours it takes.
std::uint64_t room_for_messages(const msqid_ds &queue);

} // namespace tqctl
