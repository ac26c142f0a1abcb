// The message queue to the BitTorrent daemon. A queue that refuses or is full would end this process inside the
// library, with a word for the log and none for the operator; so the kernel is asked first.
#ifndef KORVO_TQCTL_STORE_MESSAGE_QUEUE_H
#define KORVO_TQCTL_STORE_MESSAGE_QUEUE_H

#include <cstdint>
#include <korvo_bt.h>
#include <optional>
#include <sys/msg.h>

namespace tqctl {

// What the kernel knows of the queue; nothing when there is none. Nothing is taken or made.
std::optional<msqid_ds> message_queue();

// How many more messages of ours it takes.
std::uint64_t room_for_messages(const msqid_ds &queue);

// Whether the queue refuses this user, who wants to send (0666) or receive (0777).
bool queue_refuses(int mode);

// Sends a message, making the queue where there is none. One that is refused or full is a Failure.
void send_message(const BtMessage &message);

// Sends a command to a daemon that has a queue already: a queue that a sender makes shuts a daemon out that does not
// run as root. Returns whether it was sent.
bool tell_daemon(std::int32_t command, std::int32_t task_id, std::int32_t parameter = 0);

// The same for "read the configuration file again".
void tell_daemon_of_settings();

} // namespace tqctl

#endif
