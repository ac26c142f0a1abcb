// The commands for the database as a whole, the message queue and the device's settings, put on the command line.
#ifndef KORVO_TQCTL_COMMANDS_COMMANDS_H
#define KORVO_TQCTL_COMMANDS_COMMANDS_H

#include <CLI/CLI.hpp>

namespace tqctl {

void add_init_command(CLI::App &app);
void add_doctor_command(CLI::App &app);
void add_transfer_commands(CLI::App &app); // backup, export, import
void add_msg_commands(CLI::App &app);
void add_schedule_commands(CLI::App &app);
void add_notify_commands(CLI::App &app);

} // namespace tqctl

#endif
