// The way out: standard output, and what is known about who reads it.
#pragma once

#include "text.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace tqctl {

// Whether a person looks at standard output rather than a program.
bool output_is_terminal();

// Of the terminal behind standard output.
struct Window {
    std::size_t columns;
    std::size_t lines;
};
Window window();

enum class Color { automatic, always, never };

// Whether to colour: by itself on a terminal that can, unless the environment has NO_COLOR.
bool colored(Color wanted);

// What a terminal of the current locale shows; programs get UTF-8.
Charset output_charset();

// To standard error: what the operator should know, though the command goes on.
void warn(const std::string &message);

// Writes at once. A reader that went away or a full disk is a Failure.
void print(std::string_view text);

} // namespace tqctl
