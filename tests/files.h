// Files and directories as the tests of the services see them: written, read and compared as a whole.
#ifndef KORVO_TESTS_FILES_H
#define KORVO_TESTS_FILES_H

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/xattr.h>
#include <unistd.h>

namespace test {

constexpr const char *profile = "/mnt/HDA_ROOT/korvo.conf";

inline std::string content(const std::string &file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline void write_file(const std::string &file, const std::string &text = "data") {
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

// The file's own user may read it by name as well; the group, which the mode shows as reading, may not.
inline bool add_access_list(const char *file, const char *attribute = "system.posix_acl_access") {
    const struct {
        uint32_t version;
        struct {
            uint16_t tag, access;
            uint32_t id;
        } entries[5];
    } list = {2, {{1, 6, ~0U}, {2, 4, getuid()}, {4, 0, ~0U}, {16, 4, ~0U}, {32, 0, ~0U}}};
    return setxattr(file, attribute, &list, sizeof list, 0) == 0;
}

// A stand-in for the mail system's program: keeps its arguments and the mail, and exits with the given status.
inline void install_sendmail(int status = 0) {
    write_file("/tmp/sendmail",
               "#!/bin/sh\nprintf '%s ' \"$@\" >/tmp/arguments\ncat >/tmp/mail\nexit " + std::to_string(status) + "\n");
    std::filesystem::permissions("/tmp/sendmail", std::filesystem::perms::all);
}

} // namespace test

#endif
