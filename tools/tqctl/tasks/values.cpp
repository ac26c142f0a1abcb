#include "tasks/values.h"

#include "base/text.h"
#include "formats/magnet.h"
#include "options/options.h"

#include <algorithm>
#include <korvo_bt_conventions.h>

namespace tqctl {
namespace {

[[noreturn]] void refuse(const Column &column, const std::string &why) {
    throw CLI::ValidationError(option_of(column.title), why);
}

// Folders count from "/share/", also those that are written with it.
std::string folder(const Column &column, const std::string &value) {
    constexpr std::string_view share = "/share/";
    std::string relative = value.starts_with(share) ? value.substr(share.size()) : value;
    const auto parts = split(relative, '/');
    if (relative.starts_with('/') || std::ranges::find(parts, "..") != parts.end()) {
        refuse(column, "a folder lies below /share/ and is named from there on, as in Multimedia/Films");
    }
    return relative;
}

std::string file_name(const Column &column, const std::string &value) {
    if (value == "." || value == ".." || value.find('/') != std::string::npos) {
        refuse(column, "that is no name of one file or directory");
    }
    return value;
}

// A removal also deletes what a saved name stands for when percent signs are decoded, and the file has companions
// while it is incomplete.
std::string saved_name(const Column &column, const std::string &value) {
    constexpr std::size_t longest = 255 - (sizeof TQ_PARTIAL_INFO_SUFFIX - 1);
    if (value.find('%') != std::string::npos || value.size() > longest) {
        refuse(column, concat("a saved file's name has no percent sign and at most ", longest, " bytes"));
    }
    return file_name(column, value);
}

} // namespace

bool is_http_ftp_address(std::string_view text) {
    const std::size_t colon = text.find("://");
    const std::string scheme = lower(text.substr(0, colon));
    return colon != std::string_view::npos && colon + 3 < text.size() &&
           (scheme == "http" || scheme == "https" || scheme == "ftp" || scheme == "ftps");
}

std::string stored_value(const Column &column, const std::string &value) {
    if (column.title == "folder") {
        return folder(column, value);
    }
    if (column.title == "save_as") {
        return saved_name(column, value);
    }
    if (column.title == "name") {
        return file_name(column, value);
    }
    if (column.title == "hash") {
        const auto hash = info_hash(value);
        return hash ? *hash : (refuse(column, "neither 40 hexadecimal digits nor 32 of base32"), "");
    }
    if (column.title == "address" && !is_http_ftp_address(value)) {
        refuse(column, "not an http, https, ftp or ftps address");
    }
    return value;
}

} // namespace tqctl
