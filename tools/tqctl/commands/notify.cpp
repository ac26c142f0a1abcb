// Notifications: tqctl notify show, set, send.
#include "base/failure.h"
#include "base/output.h"
#include "commands/commands.h"
#include "options/options.h"
#include "store/message_queue.h"

#include <korvo_bt.h>
#include <memory>
#include <optional>
#include <platform.h>

namespace tqctl {
namespace {

// The library stores the switch for instant messages and does not read it back; the device's settings do.
NotificationRecord stored_switches() {
    NotificationRecord switches;
    get_tqv3_notification(&switches);
    switches.im = Get_Profile_Boolean("BTDownload", "Notification IM", 0);
    return switches;
}

void show() {
    const NotificationRecord switches = stored_switches();
    const auto line = [](const char *name, std::int32_t on) {
        return std::string(name) + "\t" + (on != 0 ? "on" : "off") + "\n";
    };
    print(line("email", switches.email) + line("im", switches.im) + line("desktop", switches.desktop));
}

struct Switches {
    std::optional<bool> email;
    std::optional<bool> im;
    std::optional<bool> desktop;
};

void set(const Switches &wanted) {
    if (!wanted.email && !wanted.im && !wanted.desktop) {
        throw CLI::ValidationError("set", "needs at least one of --email, --im and --desktop");
    }
    NotificationRecord switches = stored_switches();
    const auto take = [](std::int32_t &to, const std::optional<bool> &value) { to = value.value_or(to != 0) ? 1 : 0; };
    take(switches.email, wanted.email);
    take(switches.im, wanted.im);
    take(switches.desktop, wanted.desktop);
    set_tqv3_notification(&switches);
    // The library reports no failure of the device's configuration.
    const NotificationRecord kept = stored_switches();
    if (kept.email != switches.email || kept.im != switches.im || kept.desktop != switches.desktop) {
        throw Failure(Exit::failed, "the device's configuration could not store the switches");
    }
    tell_daemon_of_settings();
}

void add_switch(CLI::App &command, const char *name, std::optional<bool> &to, const char *help) {
    add_choice(command, name, help, {"on", "off"}, [&to](const std::string &word) {
        to = word == "on";
    })->type_name("on|off");
}

void send(const std::string &message) {
    if (stored_switches().email == 0) {
        throw Failure(Exit::failed, "alert mails are switched off (tqctl notify set --email on)");
    }
    if (const std::int32_t result = tqv3_notification_send(message.c_str()); result != 0) {
        throw Failure(Exit::failed,
                      "the mail could not be sent (tqv3_notification_send: " + std::to_string(result) + ")");
    }
}

} // namespace

void add_notify_commands(CLI::App &app) {
    CLI::App *notify = app.add_subcommand("notify", "Alert mails and other notifications");
    CLI::App *show_command = notify->add_subcommand("show", "Show the switches");
    show_command->callback(show);

    CLI::App *set_command = notify->add_subcommand("set", "Turn switches on or off");
    set_command->footer("Switches that are not given stay as they are.");
    const auto switches = std::make_shared<Switches>();
    add_switch(*set_command, "--email", switches->email, "Alert mails");
    add_switch(*set_command, "--im", switches->im, "Instant messages");
    add_switch(*set_command, "--desktop", switches->desktop, "Notifications on the desktop");
    set_command->callback([switches] { set(*switches); });

    CLI::App *send_command = notify->add_subcommand("send", "Send an alert mail");
    const auto message = std::make_shared<std::string>();
    send_command->add_option("MESSAGE", *message, "What it says")->required();
    send_command->callback([message] { send(*message); });
}

} // namespace tqctl
