// The way out: standard output, standard error, and what is known about who reads them.
#ifndef KORVO_TQCTL_BASE_OUTPUT_H
#define KORVO_TQCTL_BASE_OUTPUT_H

#include "base/text.h"

#include <cstdint>
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

// Whether the terminal understands escape sequences at all.
bool terminal_can_move();

enum class Color { automatic, always, never };

// Whether to colour: by itself on a terminal that can, unless the environment has NO_COLOR.
bool colored(Color wanted);

// What the reader of a descriptor is shown: a terminal what its locale knows, programs UTF-8.
Charset charset_of(int descriptor);

// A text for standard output, escaped.
std::string shown(std::string_view text);

// To standard error, escaped: what the operator should know, though the command goes on.
void warn(std::string_view message);

// To standard error as it stands: questions and what they are about.
void tell(std::string_view text);

// Writes to standard output at once. A full disk is a Failure.
void print(std::string_view text);

// Output that is held back until the database is free again: whoever reads it may take his time, and while a listing
// runs nobody can write to the database. Beyond a few MiB it waits in a file without a name.
class Spool {
public:
    Spool() = default;
    Spool(Spool &&other) noexcept;
    Spool(const Spool &) = delete;
    Spool &operator=(const Spool &) = delete;
    ~Spool();

    void add(std::string_view text);
    void rewind();

    // The next part of what was added, the empty text at its end.
    std::string_view next();

    void print(); // all of it

private:
    void flush();

    std::string held_;
    std::string part_;
    int file_ = -1;
    bool read_ = false;
};

} // namespace tqctl

#endif
