// The message queue to the torrent daemon: tqctl msg.
#include "commands.h"
#include "failure.h"
#include "message_queue.h"
#include "output.h"
#include "table.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <pwd.h>
#include <sys/msg.h>

namespace tqctl {
namespace {

std::string with_reason(const std::string &what) {
    return "tqctl: " + what + ": " + std::strerror(errno);
}

// A queue that refuses us would end this process, with a word for the log and none for the operator. So we ask first,
// for what the library will ask.
bool refused(int mode) {
    return msgget(BT_MSG_KEY, mode) == -1 && errno == EACCES;
}

// ---- send-command, send-config -------------------------------------------------------------------------------------

void send(const BtMessage &message) {
    if (refused(0666)) {
        throw Failure(Exit::failed, with_reason("the message queue takes nothing from this user"));
    }
    if (const auto status = message_queue(); status && room_for_messages(*status) == 0) {
        throw Failure(Exit::failed, "tqctl: the message queue is full, nothing was sent: " +
                                        std::to_string(status->msg_qnum) + " messages wait for the daemon");
    }
    __bt_msg_send(message.mtype, message.param1, message.param2, message.param3, message.param4, message.param5);
}

constexpr std::array parameters{&BtMessage::param1, &BtMessage::param2, &BtMessage::param3, &BtMessage::param4,
                                &BtMessage::param5};

void add_send(CLI::App &msg, const char *name, const char *help, std::int32_t type, std::size_t count) {
    CLI::App *command = msg.add_subcommand(name, help);
    command->footer("What the numbers mean is up to the daemon.");
    const auto message = std::make_shared<BtMessage>();
    message->mtype = type;
    for (std::size_t i = 0; i < count; ++i) {
        const bool second = parameters[i] == &BtMessage::param2;
        add_number(
            *command, "P" + std::to_string(i + 1), second ? "0 or more" : "Any number",
            [message, i](std::int32_t number) { (*message).*parameters[i] = number; },
            second ? 0 : std::numeric_limits<std::int32_t>::min())
            ->required();
    }
    command->callback([message] { send(*message); });
}

// ---- get -----------------------------------------------------------------------------------------------------------

std::string told(const BtMessage &message, char separator) {
    std::string text = message.mtype == BT_MSG_COMMAND  ? "command"
                       : message.mtype == BT_MSG_CONFIG ? "config"
                                                        : std::to_string(message.mtype);
    for (const auto parameter : parameters) {
        text += separator + std::to_string(message.*parameter);
    }
    return text;
}

// Whether there was one. It is off the queue then, so it is told in any case.
bool print_next() {
    BtMessage message{};
    if (bt_msg_get(&message) == 0) {
        return false;
    }
    try {
        print(told(message, '\t') + "\n");
    } catch (const Failure &failure) {
        throw Failure(failure.exit(), std::string(failure.what()) + "; the message taken was: " + told(message, ' '));
    }
    return true;
}

void follow() {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    sigprocmask(SIG_BLOCK, &ending, nullptr); // they are noticed between two messages, never within one
    for (;;) {
        const bool more = print_next();
        const timespec pause{0, more ? 0 : 200'000'000};
        if (sigtimedwait(&ending, nullptr, &pause) != -1) {
            return;
        }
    }
}

void get(bool following) {
    if (refused(0777)) {
        throw Failure(Exit::failed, with_reason("the message queue hands nothing to this user") +
                                        "; one that a sender made is for root only (see tqctl msg clean --help)");
    }
    err_debuglevel = 0; // an empty queue is told by the exit status
    if (following) {
        follow();
    } else if (!print_next()) {
        throw Failure(Exit::not_there, "tqctl: no message waits");
    }
}

void add_get(CLI::App &msg) {
    CLI::App *command = msg.add_subcommand("get", "Take the oldest message off the queue");
    command->footer("Prints the type (command, config or a number) and five numbers, TABs between.\n"
                    "The daemon will not see this message. Exit status 3 when none waits.");
    const auto following = std::make_shared<bool>();
    command->add_flag("--follow", *following, "Take every message as it comes, until Ctrl-C");
    command->callback([following] { get(*following); });
}

// ---- clean, status -------------------------------------------------------------------------------------------------

void clean() {
    if (bt_msg_clean() != 0) {
        throw Failure(Exit::failed, with_reason("the message queue was not removed"));
    }
}

void add_clean(CLI::App &msg) {
    CLI::App *command = msg.add_subcommand("clean", "Remove the queue and all that waits in it");
    command->footer("A program that sends or receives in the same moment is ended by it. The next one\n"
                    "makes a new queue. Useful where a sender made a queue (mode 0666) and a daemon\n"
                    "that does not run as root is to receive: start the daemon next.");
    command->callback(clean);
}

std::string user_name(uid_t user) {
    const passwd *entry = getpwuid(user);
    return entry != nullptr ? entry->pw_name : std::to_string(user);
}

void status(bool json) {
    const auto known = message_queue();
    if (!known) {
        throw Failure(Exit::not_there, "tqctl: there is no message queue");
    }
    static const std::vector<Column> columns{
        {"messages", "messages", Kind::number}, {"room", "room", Kind::number}, {"bytes", "bytes", Kind::number},
        {"limit", "limit", Kind::number},       {"owner", "owner", Kind::text}, {"mode", "mode", Kind::text},
    };
    Rows rows;
    rows.names = {"messages", "room", "bytes", "limit", "owner", "mode"};
    rows.rows = {{std::to_string(known->msg_qnum), std::to_string(room_for_messages(*known)),
                  std::to_string(known->__msg_cbytes), std::to_string(known->msg_qbytes),
                  user_name(known->msg_perm.uid), octal(known->msg_perm.mode)}};
    print(json ? json_record(rows, columns) : records(rows, columns));
}

void add_status(CLI::App &msg) {
    CLI::App *command = msg.add_subcommand("status", "Tell what waits, without taking it");
    command->footer("messages: how many wait; room: how many more fit; bytes: what they take up;\n"
                    "limit: the bytes they may take up; mode: 0777 when a receiver made the queue,\n"
                    "0666 when a sender did, and then only root receives. Exit status 3: no queue.");
    const auto json = std::make_shared<bool>();
    command->add_flag("--json", *json, "A JSON object");
    command->callback([json] { status(*json); });
}

} // namespace

void add_msg_commands(CLI::App &app) {
    CLI::App *msg = app.add_subcommand("msg", "Messages to the torrent daemon");
    msg->group("Commands");
    msg->require_subcommand(1);
    add_send(*msg, "send-command", "Send a command", BT_MSG_COMMAND, 5);
    add_send(*msg, "send-config", "Send a configuration message", BT_MSG_CONFIG, 2);
    add_get(*msg);
    add_clean(*msg);
    add_status(*msg);
    msg->group("Daemon");
}

} // namespace tqctl
