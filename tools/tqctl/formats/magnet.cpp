#include "formats/magnet.h"

#include "base/text.h"

#include <algorithm>
#include <cstddef>

namespace tqctl {
namespace {

constexpr std::string_view hex_digits = "0123456789abcdef";
constexpr std::string_view base32_digits = "abcdefghijklmnopqrstuvwxyz234567";

// A percent sign that two hexadecimal digits do not follow stands for itself.
std::string percent_decoded(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const auto escape = escaped_byte(text);
        out += escape.value_or(text[0] == '+' ? ' ' : text[0]);
        text.remove_prefix(escape ? 3 : 1);
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
    for (const char c : lower(text)) {
        const std::size_t value = (base32 ? base32_digits : hex_digits).find(c);
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
    if (!lower(link.substr(0, scheme.size())).starts_with(scheme)) {
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
        if (is_topic(key) && magnet.hash.empty() && lower(value).starts_with(urn)) {
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
