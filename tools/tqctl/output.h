// The way out: standard output, and what is known about who reads it.
#pragma once

#include "text.h"

#include <string_view>

namespace tqctl {

// Whether a person looks at standard output rather than a program.
bool output_is_terminal();

// What a terminal of the current locale shows; programs get UTF-8.
Charset output_charset();

// To standard error: what the operator should know, though the command goes on.
void warn(const std::string &message);

// Writes at once. A reader that went away or a full disk is a Failure.
void print(std::string_view text);

} // namespace tqctl
