// What every command group needs to put its commands on the command line. A group is one file with a function
//
//     void tqctl::add_NAME_commands(CLI::App &app)
//
// and one line in groups.def.
#pragma once

#include "output.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <string>

namespace tqctl {

#define TQCTL_GROUP(name) void add_##name##_commands(CLI::App &app);
#include "groups.def"
#undef TQCTL_GROUP

// A whole text as a decimal number between the two bounds; anything else is refused in the name of the option.
std::int64_t read_number(const std::string &option, const std::string &text, std::int64_t least, std::int64_t most);

// An option (or, named without dashes, an argument) that takes one decimal number from `least` on. CLI11 by itself
// would read "010" as eight.
CLI::Option *add_number(CLI::App &command, const std::string &name, const std::string &help,
                        std::function<void(std::int32_t)> take, std::int32_t least);

// "--color", which decides about `color`.
void add_color(CLI::App &command, Color &color);

} // namespace tqctl
