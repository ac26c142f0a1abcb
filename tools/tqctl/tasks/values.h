// What may stand in the fields of a task, and how it is stored.
#ifndef KORVO_TQCTL_TASKS_VALUES_H
#define KORVO_TQCTL_TASKS_VALUES_H

#include "store/write.h"

#include <string>
#include <string_view>

namespace tqctl {

// Whether a text is an address that an HTTP/FTP task can have.
bool is_http_ftp_address(std::string_view text);

// A value that was given for a column, in the form in which it is stored: a folder relative to "/share/", names that
// are one path component, hashes in lower case. Anything else is refused in the name of the option.
std::string stored_value(const Column &column, const std::string &value);

} // namespace tqctl

#endif
