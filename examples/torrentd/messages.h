// Takes messages from the queue without dying with it and without losing any: this program, started once more, is the
// receiver. It takes one when it is asked for one, so that all but one stay in the queue, which outlives every process.
#ifndef KORVO_TORRENTD_MESSAGES_H
#define KORVO_TORRENTD_MESSAGES_H

#include <chrono>
#include <korvo_bt.h>
#include <optional>
#include <sys/types.h>

namespace torrentd {

class Receiver {
public:
    Receiver() = default;
    Receiver(const Receiver &) = delete;
    Receiver &operator=(const Receiver &) = delete;
    ~Receiver() { stop(); }

    // To poll for reading; -1 while there is no receiver.
    int descriptor() const { return socket_; }
    // Starts the receiver if there is none: at once, then every few seconds.
    void keep_running();
    // The next message, if there is one, and asks for another.
    std::optional<BtMessage> next();

private:
    void stop();

    int socket_ = -1;
    pid_t process_ = -1;
    std::chrono::steady_clock::time_point started_;
};

// The receiver's side of the socket; returns when the daemon is gone.
void hand_over_messages(int socket);

} // namespace torrentd

#endif
