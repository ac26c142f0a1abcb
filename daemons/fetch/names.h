// Names of downloaded files, as strangers suggest them, made into names that are safe to create. Pure functions.
#ifndef KORVO_FETCH_NAMES_H
#define KORVO_FETCH_NAMES_H

#include <cstddef>
#include <string>
#include <string_view>

namespace fetch {

// With the suffixes of partial files a name has at most the 255 bytes that file systems take.
constexpr std::size_t longest_name = 245;

// One component of a path: what follows the last slash or backslash, without control characters, percent signs (the
// removal of a task decodes them) and a leading dot, and not too long. "download" where nothing is left.
std::string safe_name(std::string_view text);

// The last part of an address, percent-decoded.
std::string name_of_address(const std::string &address);

// The file name in a Content-Disposition header; empty when there is none.
std::string name_of_disposition(std::string_view header);

// "a.iso" as "a (2).iso"; the name itself for number 1.
std::string numbered(const std::string &name, int number);

// The address without user name and password; empty when it is none.
std::string without_login(const std::string &address);

bool has_login(const std::string &address);

// The host of an address, followed by ":" and the port when the address names one.
std::string host_of(const std::string &address);

} // namespace fetch

#endif
