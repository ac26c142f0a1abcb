// The commands for rows that are no tasks, put on the command line.
#ifndef KORVO_TQCTL_ROWS_COMMANDS_H
#define KORVO_TQCTL_ROWS_COMMANDS_H

#include <CLI/CLI.hpp>

namespace tqctl {

void add_row_commands(CLI::App &app); // info, session, rss, job, account

} // namespace tqctl

#endif
