// Files and directories as the tests of the services see them: written, read and compared as a whole.
#ifndef KORVO_TESTS_FILES_H
#define KORVO_TESTS_FILES_H

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

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

// A stand-in for the mail system's program: keeps its arguments and the mail, and exits with the given status.
inline void install_sendmail(int status = 0) {
    write_file("/tmp/sendmail",
               "#!/bin/sh\nprintf '%s ' \"$@\" >/tmp/arguments\ncat >/tmp/mail\nexit " + std::to_string(status) + "\n");
    std::filesystem::permissions("/tmp/sendmail", std::filesystem::perms::all);
}

} // namespace test

#endif
