// The message queue to the torrent daemon: tqctl msg.
#include "base/failure.h"
#include "base/output.h"
#include "base/signals.h"
#include "commands/commands.h"
#include "display/sheet.h"
#include "options/options.h"
#include "store/message_queue.h"
#include "tasks/task.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <korvo_bt_conventions.h>
#include <memory>
#include <pwd.h>
#include <sys/msg.h>

namespace tqctl {
namespace {

std::string with_reason(const std::string &what) {
    return what + ": " + std::strerror(errno);
}

// ---- What messages say ---------------------------------------------------------------------------------------------

struct Message {
    const char *name;
    std::int32_t type;
    std::int32_t code;
    const char *help;
};

constexpr std::array messages{
    Message{"look", BT_MSG_COMMAND, TQ_COMMAND_LOOK, "look at a task that is new or was changed"},
    Message{"pause", BT_MSG_COMMAND, TQ_COMMAND_PAUSE, "pause a task, or all"},
    Message{"resume", BT_MSG_COMMAND, TQ_COMMAND_RESUME, "resume a task, or all"},
    Message{"files", BT_MSG_COMMAND, TQ_COMMAND_FILES_CHOSEN, "read again which files of a task are wanted"},
    Message{"release", BT_MSG_COMMAND, TQ_COMMAND_RELEASE, "let go of a task that is being removed"},
    Message{"settings", BT_MSG_CONFIG, TQ_CONFIG_CHANGED, "read the configuration file again"},
};

// ---- send ----------------------------------------------------------------------------------------------------------

void send(const std::string &name, const std::string &task) {
    const auto *message = std::ranges::find_if(messages, [&](const Message &each) { return name == each.name; });
    const bool all_allowed = message->code == TQ_COMMAND_PAUSE || message->code == TQ_COMMAND_RESUME;
    if ((message->type == BT_MSG_CONFIG) != task.empty()) {
        throw CLI::ValidationError("send", task.empty() ? "needs a task" : "takes no task with \"settings\"");
    }
    BtMessage sent{message->type, message->code, 0, 0, 0, 0};
    if (!task.empty() && !(task == "all" && all_allowed)) {
        if (task == "all" || task.find_first_of(",-") != std::string::npos) {
            throw CLI::ValidationError("send", "such a message is about one task");
        }
        sent.param2 = named_tasks(Connection::read(), {{task}, &bt_task_table}).front().id;
    }
    send_message(sent);
}

void add_send(CLI::App &msg) {
    CLI::App *command = msg.add_subcommand("send", "Send the daemon a message");
    std::string meanings = "Messages:\n";
    std::vector<std::string> names;
    for (const Message &message : messages) {
        names.emplace_back(message.name);
        meanings += "  " + names.back() + std::string(10 - names.back().size(), ' ') + message.help + "\n";
    }
    command->footer(meanings + "Other commands send them when it is time to; this one is for trying a daemon.");
    const auto name = std::make_shared<std::string>();
    const auto task = std::make_shared<std::string>();
    add_choice(*command, "MESSAGE", "One of those below", names, [name](const std::string &word) { *name = word; })
        ->required()
        ->type_name("");
    command->add_option("TASK", *task, "bt:3, 3 or an info-hash; all")->type_name("");
    command->callback([=] { send(*name, *task); });
}

constexpr std::array parameters{&BtMessage::param1, &BtMessage::param2, &BtMessage::param3, &BtMessage::param4,
                                &BtMessage::param5};

// ---- get -----------------------------------------------------------------------------------------------------------

std::string told(const BtMessage &message, char separator) {
    std::string text = message.mtype == BT_MSG_COMMAND  ? "command"
                       : message.mtype == BT_MSG_CONFIG ? "config"
                                                        : std::to_string(message.mtype);
    for (const auto parameter : parameters) {
        text += separator + std::to_string(message.*parameter);
    }
    for (const Message &known : messages) {
        text += known.type == message.mtype && known.code == message.param1 ? separator + std::string(known.name) : "";
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
        throw Failure(failure.exit(), concat(failure.what(), "; the message taken was: ", told(message, ' ')));
    }
    return true;
}

void follow() {
    const sigset_t ending = signal_set({SIGINT, SIGTERM});
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
    if (queue_refuses(0777)) {
        throw Failure(Exit::failed, concat("the message queue hands nothing to this user: ", std::strerror(EACCES),
                                           "; one that a sender made is for root only (see tqctl msg clean --help)"));
    }
    err_debuglevel = 0; // an empty queue is told by the exit status
    if (following) {
        follow();
    } else if (!print_next()) {
        throw Failure(Exit::not_there, "no message waits");
    }
}

void add_get(CLI::App &msg) {
    CLI::App *command = msg.add_subcommand("get", "Take the oldest message off the queue");
    command->footer(
        "Prints the type (command, config or a number), five numbers, and what a known\nmessage is called, TABs between.\n"
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
        throw Failure(Exit::not_there, "there is no message queue");
    }
    print_record({{"messages", std::to_string(known->msg_qnum), Kind::number},
                  {"room", std::to_string(room_for_messages(*known)), Kind::number},
                  {"bytes", std::to_string(known->__msg_cbytes), Kind::number},
                  {"limit", std::to_string(known->msg_qbytes), Kind::number},
                  {"owner", user_name(known->msg_perm.uid)},
                  {"mode", octal(known->msg_perm.mode)}},
                 json);
}

void add_status(CLI::App &msg) {
    CLI::App *command = msg.add_subcommand("status", "Show what waits, without taking it");
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
    add_send(*msg);
    add_get(*msg);
    add_clean(*msg);
    add_status(*msg);
}

} // namespace tqctl
