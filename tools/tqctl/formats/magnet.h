// Reads magnet links. Pure functions that take any bytes: links come from web pages.
#ifndef KORVO_TQCTL_FORMATS_MAGNET_H
#define KORVO_TQCTL_FORMATS_MAGNET_H

#include <optional>
#include <string>
#include <string_view>

namespace tqctl {

struct Magnet {
    std::string hash; // 40 hexadecimal digits, lower case
    std::string name; // empty when the link has none
};

struct MagnetReading {
    Magnet magnet;
    const char *fault; // nullptr, or what is wrong with the link
};

// The first BitTorrent hash ("xt=urn:btih:...") and the first name ("dn=...", percent-encoded, blanks also as '+').
MagnetReading read_magnet(std::string_view link);

// An info-hash written as 40 hexadecimal digits or 32 characters of base32, in either case of letters, as 40
// lower-case hexadecimal digits. Nothing else is an info-hash.
std::optional<std::string> info_hash(std::string_view text);

} // namespace tqctl

#endif
