#include "base/text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cwchar>
#include <utility>

namespace tqctl {
namespace {

struct Character {
    std::uint32_t code;
    std::size_t length; // in bytes; 0: not valid UTF-8
};

constexpr Character invalid{0, 0};

// The character that a non-empty text begins with. Overlong forms, surrogates and codes beyond Unicode are invalid.
Character first_character(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) {
        return {lead, 1};
    }
    Character character = invalid;
    std::uint32_t smallest = 0;
    if ((lead & 0xE0U) == 0xC0) {
        character = {lead & 0x1FU, 2};
        smallest = 0x80;
    } else if ((lead & 0xF0U) == 0xE0) {
        character = {lead & 0x0FU, 3};
        smallest = 0x800;
    } else if ((lead & 0xF8U) == 0xF0) {
        character = {lead & 0x07U, 4};
        smallest = 0x10000;
    }
    if (character.length == 0 || character.length > text.size()) {
        return invalid;
    }
    for (const char next : text.substr(1, character.length - 1)) {
        const auto byte = static_cast<unsigned char>(next);
        if ((byte & 0xC0U) != 0x80) {
            return invalid;
        }
        character.code = character.code << 6U | (byte & 0x3FU);
    }
    const bool surrogate = character.code >= 0xD800 && character.code <= 0xDFFF;
    if (character.code < smallest || character.code > 0x10FFFF || surrogate) {
        return invalid;
    }
    return character;
}

bool is_control(std::uint32_t code) {
    return code < 0x20 || (code >= 0x7F && code <= 0x9F);
}

bool separates_lines(std::uint32_t code) {
    return code == 0x2028 || code == 0x2029;
}

bool turns_direction(std::uint32_t code) {
    return code == 0x061C || code == 0x200E || code == 0x200F || (code >= 0x202A && code <= 0x202E) ||
           (code >= 0x2066 && code <= 0x2069);
}

void append_hex(std::string &out, std::uint32_t value, unsigned digits) {
    while (digits > 0) {
        --digits;
        out += "0123456789abcdef"[value >> (digits * 4) & 0xFU];
    }
}

void append_byte(std::string &out, char byte) {
    constexpr std::string_view bytes = "\n\r\t\\";
    if (const std::size_t known = bytes.find(byte); known != std::string_view::npos) {
        out += '\\';
        out += "nrt\\"[known];
    } else {
        out += "\\x";
        append_hex(out, static_cast<unsigned char>(byte), 2);
    }
}

bool ends_address(char c) {
    return c == ' ' || (static_cast<unsigned char>(c) < 0x20) || c == '"' || c == '<' || c == '>';
}

bool names_secret(std::string_view parameter) {
    constexpr std::array<std::string_view, 6> names{"pass", "pwd", "token", "secret", "key", "auth"};
    return std::ranges::any_of(names, [=](std::string_view name) { return parameter.find(name) != parameter.npos; });
}

std::size_t columns_of(const Character &character) {
    const int columns = character.length > 1 ? wcwidth(static_cast<wchar_t>(character.code)) : 1;
    return columns < 0 ? 1 : static_cast<std::size_t>(columns);
}

} // namespace

std::string escaped(std::string_view text, Charset charset) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const Character character = first_character(text);
        const std::size_t length = character.length == 0 ? 1 : character.length;
        const bool one_byte = length == 1;
        if (one_byte && (character.length == 0 || is_control(character.code) || text[0] == '\\')) {
            append_byte(out, text[0]);
        } else if (!one_byte && charset == Charset::ascii) {
            out += character.code > 0xFFFF ? "\\U" : "\\u";
            append_hex(out, character.code, character.code > 0xFFFF ? 8 : 4);
        } else if (is_control(character.code) || separates_lines(character.code) || turns_direction(character.code)) {
            out += "\\u";
            append_hex(out, character.code, 4);
        } else {
            out += text.substr(0, length);
        }
        text.remove_prefix(length);
    }
    return out;
}

bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const Character character = first_character(text);
        if (character.length == 0) {
            return false;
        }
        text.remove_prefix(character.length);
    }
    return true;
}

std::string without_passwords(std::string_view text, std::string_view instead) {
    // What the text stands for, a character each, and where in the text each begins.
    std::string meant;
    std::vector<std::size_t> starts;
    for (std::size_t at = 0; at < text.size();) {
        const auto escape = escaped_byte(text.substr(at));
        starts.push_back(at);
        meant += escape.value_or(text[at]);
        at += escape ? 3 : 1;
    }
    starts.push_back(text.size());
    const bool magnet = lower(text.substr(0, 7)) == "magnet:";
    const auto end_of_address = [&](std::size_t from) {
        while (from < meant.size() && !ends_address(meant[from]) &&
               !(magnet && text[starts[from]] == '&')) { // an escaped one belongs to the address
            ++from;
        }
        return from;
    };

    std::vector<std::pair<std::size_t, std::size_t>> hidden; // first and end, in what is meant
    for (std::size_t at = meant.find("://"); at != std::string::npos; at = meant.find("://", at)) {
        at += 3;
        const std::size_t end = end_of_address(at);
        const std::size_t host = meant.rfind('@', end - 1);
        const std::size_t colon = meant.find(':', at);
        if (host != std::string::npos && host >= at && colon < host) {
            hidden.emplace_back(colon + 1, host);
            at = host;
        }
    }
    for (std::size_t at = meant.find_first_of("?&"); at != std::string::npos; at = meant.find_first_of("?&", at + 1)) {
        const std::size_t equals = meant.find('=', at);
        if (equals != std::string::npos && names_secret(lower(std::string_view(meant).substr(at, equals - at)))) {
            hidden.emplace_back(equals + 1, std::min(meant.find_first_of("&#", equals), end_of_address(equals)));
        }
    }
    std::sort(hidden.begin(), hidden.end());

    std::string out;
    std::size_t done = 0;
    for (const auto &[first, end] : hidden) {
        if (first >= done && end > first) {
            out += text.substr(starts[done], starts[first] - starts[done]);
            out += instead;
            done = end;
        }
    }
    return out + std::string(text.substr(starts[done]));
}

std::size_t width_of(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        const Character character = first_character(text);
        width += columns_of(character);
        text.remove_prefix(std::max<std::size_t>(character.length, 1));
    }
    return width;
}

std::string fitted(std::string_view text, std::size_t width, bool right) {
    std::size_t taken = 0;
    std::size_t length = 0;
    while (length < text.size()) {
        const Character character = first_character(text.substr(length));
        if (taken + columns_of(character) > width) {
            break;
        }
        taken += columns_of(character);
        length += std::max<std::size_t>(character.length, 1);
    }
    const std::string padding(width - taken, ' ');
    return concat(right ? padding : "", text.substr(0, length), right ? "" : padding);
}

std::string human_bytes(std::int64_t bytes) {
    constexpr std::array units{"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    auto amount = static_cast<double>(bytes);
    std::size_t unit = 0;
    while ((amount >= 1023.95 || amount <= -1023.95) && unit + 1 < units.size()) {
        amount /= 1024;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", amount, units[unit]);
    return text;
}

std::string lower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return out;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (std::size_t end = 0; end != std::string_view::npos;) {
        end = text.find(separator);
        parts.push_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? 0 : end + 1);
    }
    return parts;
}

std::optional<char> hex_byte(std::string_view digits) {
    constexpr std::string_view known = "0123456789abcdef";
    const std::string both = lower(digits);
    const std::size_t high = both.size() == 2 ? known.find(both[0]) : known.npos;
    const std::size_t low = both.size() == 2 ? known.find(both[1]) : known.npos;
    return high != known.npos && low != known.npos ? std::optional(static_cast<char>(high * 16 + low)) : std::nullopt;
}

std::optional<char> escaped_byte(std::string_view text) {
    return text.starts_with('%') ? hex_byte(text.substr(1, 2)) : std::nullopt;
}

std::string octal(unsigned mode) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%04o", mode & 07777U);
    return digits;
}

} // namespace tqctl
