// Text that strangers wrote - torrent names, links, whatever another process stored - made safe to show. Pure
// functions.
#ifndef KORVO_TQCTL_BASE_TEXT_H
#define KORVO_TQCTL_BASE_TEXT_H

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace tqctl {

// Texts, characters and whole numbers one after the other.
template <class... Parts> std::string concat(const Parts &...parts) {
    std::string out;
    const auto add = [&out](const auto &part) {
        using Type = std::decay_t<decltype(part)>;
        if constexpr (std::is_integral_v<Type> && !std::is_same_v<Type, char>) {
            out += std::to_string(part);
        } else {
            out += part;
        }
    };
    (add(parts), ...);
    return out;
}

// What the reader of the output understands beyond ASCII.
enum class Charset { ascii, utf8 };

// The text with everything written out as an escape that could steer a terminal, break a line or a column, or turn the
// direction of what follows: control characters, line and paragraph separators, bidirectional marks, bytes that are
// not valid UTF-8, and (for Charset::ascii) everything beyond ASCII. A byte becomes \xHH, a character \uHHHH
// (\UHHHHHHHH where four digits are too few); line end, TAB and carriage return are \n, \t, \r; a backslash is doubled,
// so that no two texts come out the same.
std::string escaped(std::string_view text, Charset charset);

bool is_utf8(std::string_view text);

// A text with its passwords replaced: in each address in it everything from the ":" behind the user to the last "@",
// since a password may hold any character, and the values of parameters called token, passkey and the like. Escapes
// (%3A) count as what they stand for, as in magnet links. When in doubt more is hidden: "http://h:80/a@b" too.
std::string without_passwords(std::string_view text, std::string_view instead = "********");

// The columns that an escaped text takes up on a terminal.
std::size_t width_of(std::string_view text);

// An escaped text cut to that many columns or filled up with spaces, which go in front for `right`.
std::string fitted(std::string_view text, std::size_t width, bool right = false);

// "1.2 GiB"; with fewer than 1024 "17 B".
std::string human_bytes(std::int64_t bytes);

// ASCII letters in lower case, whatever the locale.
std::string lower(std::string_view text);

// The parts between separators; one empty part for the empty text.
std::vector<std::string_view> split(std::string_view text, char separator);

// A whole text as a decimal number.
template <class Number> std::optional<Number> number_in(std::string_view text) {
    Number number{};
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && stop == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// The byte that two hexadecimal digits stand for.
std::optional<char> hex_byte(std::string_view digits);

// The byte that an escape (%XX) at the start of a text stands for.
std::optional<char> escaped_byte(std::string_view text);

// The bits of a file's or a queue's mode, in four digits.
std::string octal(unsigned mode);

} // namespace tqctl

#endif
