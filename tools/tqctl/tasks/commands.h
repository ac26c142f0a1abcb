// The commands for tasks, put on the command line.
#ifndef KORVO_TQCTL_TASKS_COMMANDS_H
#define KORVO_TQCTL_TASKS_COMMANDS_H

#include <CLI/CLI.hpp>

namespace tqctl {

void add_add_command(CLI::App &app);
void add_list_commands(CLI::App &app);   // list, show, count
void add_change_commands(CLI::App &app); // set, pause, resume, recover
void add_files_command(CLI::App &app);
void add_remove_commands(CLI::App &app); // remove, clear, forget
void add_watch_command(CLI::App &app);

} // namespace tqctl

#endif
