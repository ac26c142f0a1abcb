#include "text.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

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
    switch (byte) {
    case '\n':
        out += "\\n";
        return;
    case '\r':
        out += "\\r";
        return;
    case '\t':
        out += "\\t";
        return;
    case '\\':
        out += "\\\\";
        return;
    default:
        out += "\\x";
        append_hex(out, static_cast<unsigned char>(byte), 2);
    }
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

std::string without_password(std::string_view address) {
    constexpr auto none = std::string_view::npos;
    const std::size_t scheme = address.find("://");
    const std::size_t begin = scheme == none ? none : scheme + 3;
    const std::string_view authority =
        begin == none ? "" : address.substr(begin, address.find_first_of("/?#", begin) - begin);
    const std::size_t at = authority.rfind('@');
    const std::size_t colon = authority.find(':');
    if (at == none || colon >= at) {
        return std::string(address);
    }
    return std::string(address.substr(0, begin + colon + 1)) + "********" + std::string(address.substr(begin + at));
}

std::string octal(unsigned mode) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%04o", mode & 07777U);
    return digits;
}

} // namespace tqctl
