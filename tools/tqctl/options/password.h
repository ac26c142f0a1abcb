// Passwords on their way in. Never an argument: those are there for every process of the machine to read.
#ifndef KORVO_TQCTL_OPTIONS_PASSWORD_H
#define KORVO_TQCTL_OPTIONS_PASSWORD_H

#include <string>

namespace tqctl {

// Asked for twice without showing it where standard input is a terminal; otherwise the first line of standard input.
std::string read_password(const std::string &prompt);

} // namespace tqctl

#endif
