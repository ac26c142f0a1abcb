#include "formats/magnet.h"

#include <algorithm>
#include <cstddef>

namespace tqctl {
namespace {

// Independent of the locale.
char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool starts_with_any_case(std::string_view text, std::string_view lower_case_start) {
    return text.size() >= lower_case_start.size() &&
           std::equal(lower_case_start.begin(), lower_case_start.end(), text.begin(),
                      [](char wanted, char found) { return wanted == lower(found); });
}

// The value of one digit in a lower-case alphabet, or npos.
std::size_t digit(char c, std::string_view alphabet) {
    return alphabet.find(lower(c));
}

constexpr std::string_view hex_digits = "0123456789abcdef";
constexpr std::string_view base32_digits = "abcdefghijklmnopqrstuvwxyz234567";

// A percent sign that two hexadecimal digits do not follow stands for itself.
std::string percent_decoded(std::string_view text) {
    std::string out;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '%' && at + 2 < text.size()) {
            const std::size_t high = digit(text[at + 1], hex_digits);
            const std::size_t low = digit(text[at + 2], hex_digits);
            if (high != std::string_view::npos && low != std::string_view::npos) {
                out += static_cast<char>(high * 16 + low);
                at += 2;
                continue;
            }
        }
        out += text[at] == '+' ? ' ' : text[at];
    }
    return out;
}

// "xt", or "xt.1", "xt.2" ... where a link names several.
bool is_topic(std::string_view key) {
    return key == "xt" || key.starts_with("xt.");
}

} // namespace

std::optional<std::string> info_hash(std::string_view text) {
    const bool base32 = text.size() == 32;
    if (!base32 && text.size() != 40) {
        return std::nullopt;
    }
    std::string hash;
    std::size_t bits = 0;
    unsigned waiting = 0;
    for (const char c : text) {
        const std::size_t value = digit(c, base32 ? base32_digits : hex_digits);
        if (value == std::string_view::npos) {
            return std::nullopt;
        }
        bits = (bits << (base32 ? 5U : 4U)) | value;
        waiting += base32 ? 5 : 4;
        while (waiting >= 4) {
            waiting -= 4;
            hash += hex_digits[bits >> waiting & 0xFU];
        }
        bits &= 0xFU;
    }
    return hash;
}

MagnetReading read_magnet(std::string_view link) {
    constexpr std::string_view scheme = "magnet:?";
    constexpr std::string_view urn = "urn:btih:";
    if (!starts_with_any_case(link, scheme)) {
        return {{}, "not a magnet link: it does not begin with \"magnet:?\""};
    }
    link.remove_prefix(scheme.size());

    Magnet magnet;
    bool malformed_hash = false;
    bool named = false;
    while (!link.empty()) {
        const std::string_view parameter = link.substr(0, link.find('&'));
        link.remove_prefix(std::min(link.size(), parameter.size() + 1));
        const std::size_t equals = parameter.find('=');
        if (equals == std::string_view::npos) {
            continue;
        }
        const std::string_view key = parameter.substr(0, equals);
        const std::string value = percent_decoded(parameter.substr(equals + 1));
        if (is_topic(key) && magnet.hash.empty() && starts_with_any_case(value, urn)) {
            const auto hash = info_hash(std::string_view(value).substr(urn.size()));
            malformed_hash = !hash;
            magnet.hash = hash.value_or("");
        } else if (key == "dn" && !named) {
            magnet.name = value;
            named = true;
        }
    }

    if (malformed_hash) {
        return {{}, "the magnet link's hash is neither 40 hexadecimal digits nor 32 characters of base32"};
    }
    if (magnet.hash.empty()) {
        return {{}, "the magnet link has no BitTorrent hash (xt=urn:btih:...)"};
    }
    if (magnet.name.find('\0') != std::string::npos) {
        return {{}, "the magnet link's name holds a NUL character"};
    }
    return {magnet, nullptr};
}

} // namespace tqctl
