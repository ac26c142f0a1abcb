#include "names.h"

#include <algorithm>
#include <cctype>
#include <curl/curl.h>
#include <memory>
#include <strings.h>

namespace fetch {
namespace {

using Url = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

Url parsed(const std::string &address) {
    Url url(curl_url(), curl_url_cleanup);
    if (url && curl_url_set(url.get(), CURLUPART_URL, address.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
        url.reset();
    }
    return url;
}

std::string part_of(const Url &url, CURLUPart part) {
    char *text = nullptr;
    if (!url || curl_url_get(url.get(), part, &text, 0) != CURLUE_OK) {
        return {};
    }
    std::string out = text;
    curl_free(text);
    return out;
}

std::string decoded(const std::string &text) {
    int length = 0;
    char *plain = curl_easy_unescape(nullptr, text.data(), static_cast<int>(text.size()), &length);
    std::string out = plain == nullptr ? text : std::string(plain, static_cast<std::size_t>(length));
    curl_free(plain);
    return out;
}

// Cuts at the end of a character.
std::string cut(const std::string &text, std::size_t length) {
    while (length > 0 && length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U) {
        --length;
    }
    return text.substr(0, length);
}

// Puts something between a name and its extension, and cuts the name where that gets too long.
std::string with_insertion(const std::string &name, const std::string &insertion) {
    constexpr std::size_t longest_extension = 16;
    std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0 || name.size() - dot > longest_extension) {
        dot = name.size();
    }
    const std::string end = insertion + name.substr(dot);
    return cut(name, std::min(dot, longest_name - end.size())) + end;
}

// The value of a parameter that begins at a position: up to a semicolon, or in quotes.
std::string parameter_value(std::string_view header, std::size_t at) {
    std::string value;
    const bool quoted = at < header.size() && header[at] == '"';
    for (at += quoted ? 1 : 0; at < header.size() && header[at] != (quoted ? '"' : ';'); ++at) {
        if (quoted && header[at] == '\\' && at + 1 < header.size()) {
            ++at;
        }
        value += header[at];
    }
    while (!quoted && !value.empty() && value.back() == ' ') {
        value.pop_back();
    }
    return value;
}

// The value of "; NAME=", empty where there is none.
std::string parameter(std::string_view header, std::string_view name) {
    bool quoted = false;
    for (std::size_t at = 0; at < header.size(); ++at) {
        if (quoted && header[at] == '\\') {
            ++at;
        } else if (header[at] == '"') {
            quoted = !quoted;
        } else if (header[at] == ';' && !quoted) {
            const std::size_t begin = std::min(header.find_first_not_of(" \t", at + 1), header.size());
            if (header.size() - begin > name.size() && header[begin + name.size()] == '=' &&
                strncasecmp(header.data() + begin, name.data(), name.size()) == 0) {
                return parameter_value(header, begin + name.size() + 1);
            }
        }
    }
    return {};
}

} // namespace

std::string safe_name(std::string_view text) {
    const std::size_t slash = text.find_last_of("/\\");
    std::string name(slash == std::string_view::npos ? text : text.substr(slash + 1));
    std::ranges::replace_if(
        name, [](unsigned char c) { return c < ' ' || c == 127 || c == '%'; }, '_');
    if (name.empty()) {
        return "download";
    }
    if (name[0] == '.') {
        name[0] = '_';
    }
    return name.size() > longest_name ? with_insertion(name, {}) : name;
}

std::string name_of_address(const std::string &address) {
    const std::string path = part_of(parsed(address), CURLUPART_PATH);
    return safe_name(decoded(path.substr(path.rfind('/') + 1)));
}

std::string name_of_disposition(std::string_view header) {
    // "UTF-8''a%20b", which is preferred. Another charset's bytes are taken as they are.
    const std::string extended = parameter(header, "filename*");
    if (const std::size_t tick = extended.rfind('\''); tick != std::string::npos) {
        return safe_name(decoded(extended.substr(tick + 1)));
    }
    const std::string plain = parameter(header, "filename");
    return plain.empty() ? plain : safe_name(plain);
}

std::string numbered(const std::string &name, int number) {
    return number == 1 ? name : with_insertion(name, " (" + std::to_string(number) + ")");
}

std::string without_login(const std::string &address) {
    const Url url = parsed(address);
    if (url) {
        curl_url_set(url.get(), CURLUPART_USER, nullptr, 0);
        curl_url_set(url.get(), CURLUPART_PASSWORD, nullptr, 0);
        curl_url_set(url.get(), CURLUPART_OPTIONS, nullptr, 0);
    }
    return part_of(url, CURLUPART_URL);
}

bool has_login(const std::string &address) {
    return !part_of(parsed(address), CURLUPART_USER).empty();
}

std::string host_of(const std::string &address) {
    const Url url = parsed(address);
    const std::string port = part_of(url, CURLUPART_PORT);
    return part_of(url, CURLUPART_HOST) + (port.empty() ? "" : ":" + port);
}

} // namespace fetch
