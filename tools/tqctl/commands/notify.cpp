// Notifications: tqctl notify show, set, send.
#include "base/failure.h"
#include "commands/commands.h"
#include "display/sheet.h"
#include "options/options.h"
#include "store/message_queue.h"

#include <algorithm>
#include <array>
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

struct Switch {
    const char *name;
    std::int32_t NotificationRecord::*on;
    const char *help;
};
constexpr std::array switches{
    Switch{"email", &NotificationRecord::email, "Alert mails"},
    Switch{"im", &NotificationRecord::im, "Instant messages"},
    Switch{"desktop", &NotificationRecord::desktop, "Notifications on the desktop"},
};

void show() {
    const NotificationRecord stored = stored_switches();
    std::vector<Titled> values;
    for (const auto &[name, on, help] : switches) {
        values.push_back({name, stored.*on != 0 ? "on" : "off"});
    }
    print_record(values, false);
}

using Wanted = std::array<std::optional<bool>, switches.size()>;

void set(const Wanted &wanted) {
    if (std::ranges::none_of(wanted, &std::optional<bool>::has_value)) {
        throw CLI::ValidationError("set", "needs at least one of --email, --im and --desktop");
    }
    NotificationRecord record = stored_switches();
    for (std::size_t i = 0; i < switches.size(); ++i) {
        std::int32_t &on = record.*switches[i].on;
        on = wanted[i].value_or(on != 0) ? 1 : 0;
    }
    set_tqv3_notification(&record);
    // The library reports no failure of the device's configuration.
    const NotificationRecord kept = stored_switches();
    if (!std::ranges::all_of(switches, [&](const Switch &each) { return kept.*each.on == record.*each.on; })) {
        throw Failure(Exit::failed, "the device's configuration could not store the switches");
    }
    tell_daemon_of_settings();
}

void send(const std::string &message) {
    if (stored_switches().email == 0) {
        throw Failure(Exit::failed, "alert mails are switched off (tqctl notify set --email on)");
    }
    if (const std::int32_t result = tqv3_notification_send(message.c_str()); result != 0) {
        throw Failure(Exit::failed, concat("the mail could not be sent (tqv3_notification_send: ", result, ")"));
    }
}

} // namespace

void add_notify_commands(CLI::App &app) {
    CLI::App *notify = app.add_subcommand("notify", "Alert mails and other notifications");
    notify->add_subcommand("show", "Show the switches")->callback(show);

    CLI::App *set_command = notify->add_subcommand("set", "Turn switches on or off");
    set_command->footer("Switches that are not given stay as they are.");
    const auto wanted = std::make_shared<Wanted>();
    for (std::size_t i = 0; i < switches.size(); ++i) {
        add_choice(*set_command, std::string("--") + switches[i].name, switches[i].help, {"on", "off"},
                   [wanted, i](const std::string &word) { (*wanted)[i] = word == "on"; })
            ->type_name("on|off");
    }
    set_command->callback([wanted] { set(*wanted); });

    CLI::App *send_command = notify->add_subcommand("send", "Send an alert mail");
    const auto message = std::make_shared<std::string>();
    send_command->add_option("MESSAGE", *message, "What it says")->required();
    send_command->callback([message] { send(*message); });
}

} // namespace tqctl
