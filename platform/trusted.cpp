// Follows a path as the kernel does, component by component, so that what is checked is what is opened.

#include "trusted.h"

#include "descriptor.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace korvo {
namespace {

constexpr int most_links = 40; // the kernel's own limit
constexpr int directory_flags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool is_ours(const Descriptor &opened) {
    struct stat status {};
    return opened.valid() && fstat(opened.get(), &status) == 0 && (status.st_uid == 0 || status.st_uid == geteuid()) &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

} // namespace
} // namespace korvo

int korvo::open_trusted(const char *path) {
    char rest[PATH_MAX];
    char target[PATH_MAX];
    if (path[0] != '/' || std::snprintf(rest, sizeof rest, "%s", path) >= PATH_MAX) {
        return -1;
    }
    Descriptor directory(open("/", directory_flags));
    char *next = rest;
    for (int links = 0; is_ours(directory);) {
        char *name = next + std::strspn(next, "/");
        char *end = name + std::strcspn(name, "/");
        const bool last = *end == '\0';
        *end = '\0';
        next = last ? end : end + 1;
        if (const ssize_t length = readlinkat(directory.get(), name, target, sizeof target); length >= 0) {
            // What the symlink holds comes before what is left of the path.
            const auto size = static_cast<std::size_t>(length);
            if (++links > most_links || size + 1 + std::strlen(next) >= sizeof target) {
                return -1;
            }
            std::snprintf(target + size, sizeof target - size, "%s%s", last ? "" : "/", next);
            std::memcpy(rest, target, sizeof rest);
            next = rest;
            if (rest[0] == '/') {
                directory.replace(open("/", directory_flags));
            }
            continue;
        }
        if (last) {
            Descriptor file(openat(directory.get(), name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
            return is_ours(file) ? file.release() : -1;
        }
        directory.replace(openat(directory.get(), name, directory_flags));
    }
    return -1;
}
