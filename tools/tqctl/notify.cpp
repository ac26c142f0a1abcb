// Notifications: tqctl notify show, set, send.
#include "commands.h"
#include "failure.h"
#include "output.h"

#include <korvo_bt.h>
#include <memory>
#include <optional>

namespace tqctl {
namespace {

NotificationRecord stored_switches() {
    NotificationRecord switches;
    get_tqv3_notification(&switches);
    return switches;
}

void show() {
    const NotificationRecord switches = stored_switches();
    const auto line = [](const char *name, std::int32_t on) {
        return std::string(name) + "\t" + (on != 0 ? "on" : "off") + "\n";
    };
    print(line("email", switches.email) + line("desktop", switches.desktop));
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
    if (kept.email != switches.email || kept.desktop != switches.desktop) {
        throw Failure(Exit::failed, "tqctl: the device's configuration did not take the switches");
    }
}

void add_switch(CLI::App &command, const char *name, std::optional<bool> &to, const char *help) {
    const auto take = [name, &to](const std::string &value) {
        if (value != "on" && value != "off") {
            throw CLI::ValidationError(name, "\"" + value + "\" is neither on nor off");
        }
        to = value == "on";
    };
    command.add_option_function<std::string>(name, take, help)->type_name("on|off");
}

void send(const std::string &message) {
    if (stored_switches().email == 0) {
        throw Failure(Exit::failed, "tqctl: alert mails are switched off (tqctl notify set --email on)");
    }
    if (const std::int32_t result = tqv3_notification_send(message.c_str()); result != 0) {
        throw Failure(Exit::failed, "tqv3_notification_send: " + std::to_string(result) + ": the mail was not taken");
    }
}

} // namespace

void add_notify_commands(CLI::App &app) {
    CLI::App *notify = app.add_subcommand("notify", "Alert mails and other notifications");
    notify->group("Commands");
    notify->require_subcommand(1);
    CLI::App *show_command = notify->add_subcommand("show", "Show the switches");
    show_command->footer("That for instant messages can be set, but the library does not read it back.");
    show_command->callback(show);

    CLI::App *set_command = notify->add_subcommand("set", "Turn switches on or off");
    set_command->footer("Not given, --email and --desktop stay as they are, and --im is off.");
    const auto switches = std::make_shared<Switches>();
    add_switch(*set_command, "--email", switches->email, "Alert mails");
    add_switch(*set_command, "--im", switches->im, "Instant messages");
    add_switch(*set_command, "--desktop", switches->desktop, "Notifications on the desktop");
    set_command->callback([switches] { set(*switches); });

    CLI::App *send_command = notify->add_subcommand("send", "Send an alert mail");
    const auto message = std::make_shared<std::string>();
    send_command->add_option("MESSAGE", *message, "What it says")->required();
    send_command->callback([message] { send(*message); });
    notify->group("Settings");
}

} // namespace tqctl
