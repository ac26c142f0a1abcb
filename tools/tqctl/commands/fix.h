// Putting right what the doctor finds.
#ifndef KORVO_TQCTL_COMMANDS_FIX_H
#define KORVO_TQCTL_COMMANDS_FIX_H

#include "store/table.h"

#include <string>

namespace tqctl {

// The device's settings, where it has no library of its own for them.
constexpr const char *configuration_file = KORVO_PROFILE_FILE;

// Which rows of a table of details have no task.
std::string condition_of_orphans(const Table &table);

// Copies the database, then puts right what can be put right in it. Returns the copy's name.
std::string fix_database();

// Copies the database to a new file. Returns what is damaged in it, and so in the copy; empty for nothing.
std::string backup(const std::string &path);

} // namespace tqctl

#endif
