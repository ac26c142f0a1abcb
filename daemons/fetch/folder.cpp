#include "folder.h"

#include "platform.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

namespace fetch {
namespace {

constexpr int as_directory = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// The directory of a share may be a symlink that the system made.
bool is_of_the_system(const Descriptor &above, const std::string &name) {
    struct stat status {};
    return fstatat(above.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           (status.st_uid == 0 || status.st_uid == geteuid());
}

// Who owns it says nothing on file systems that know no owners.
bool is_own_file(const Descriptor &file) {
    struct stat status {};
    return fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

} // namespace

std::string download_folder() {
    std::array<char, 1024> folder{};
    Get_Profile_String("BTDownload", "HTTP_FTP Download Folder", "Download", folder.data(),
                       static_cast<int>(folder.size()));
    return folder.data();
}

Descriptor open_folder(const std::string &folder) {
    Descriptor at(open("/share", as_directory));
    bool share = true;
    for (std::size_t begin = 0; at.valid() && begin < folder.size();) {
        const std::size_t end = std::min(folder.find('/', begin), folder.size());
        const std::string component = folder.substr(begin, end - begin);
        begin = end + 1;
        const bool steers = std::ranges::any_of(component, [](unsigned char c) { return c < ' '; });
        if (component == ".." || steers) {
            errno = EINVAL;
            return {};
        }
        if (component.empty() || component == ".") {
            continue;
        }
        const int links = share && is_of_the_system(at, component) ? 0 : O_NOFOLLOW;
        at = Descriptor(openat(at.get(), component.c_str(), as_directory | links));
        share = false;
    }
    if (at.valid() && share) { // "/share/" itself holds shares, no downloads
        errno = EINVAL;
        return {};
    }
    return at;
}

Descriptor open_own_file(const Descriptor &folder, const std::string &name, Missing missing) {
    constexpr int read_and_write = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    Descriptor file(openat(folder.get(), name.c_str(), read_and_write));
    if (file.valid() && is_own_file(file)) {
        return file;
    }
    if (missing == Missing::leave) {
        return {};
    }
    if (file.valid() || errno != ENOENT) {
        remove_file(folder, name);
    }
    return Descriptor(openat(folder.get(), name.c_str(), read_and_write | O_CREAT | O_EXCL, 0666));
}

bool exists(const Descriptor &folder, const std::string &name) {
    struct stat status {};
    return fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 || errno != ENOENT;
}

void remove_file(const Descriptor &folder, const std::string &name) {
    unlinkat(folder.get(), name.c_str(), 0);
}

std::vector<std::string> names_in(const Descriptor &folder) {
    std::vector<std::string> names;
    const int again = openat(folder.get(), ".", as_directory);
    const auto close_stream = [](DIR *stream) { closedir(stream); };
    const std::unique_ptr<DIR, decltype(close_stream)> stream(again < 0 ? nullptr : fdopendir(again));
    for (const dirent *entry = nullptr; stream && (entry = readdir(stream.get())) != nullptr;) {
        names.emplace_back(entry->d_name);
    }
    return names;
}

uint64_t file_number(const Descriptor &folder, const std::string &name) {
    struct stat status {};
    return fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 ? status.st_ino : 0;
}

bool rename_to_new(const Descriptor &from, const std::string &name, const Descriptor &to, const std::string &new_name) {
    const int old_folder = from.get();
    const int new_folder = to.get();
    if (renameat2(old_folder, name.c_str(), new_folder, new_name.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return false;
    }
    // Not every file system can refuse to replace, and not every one has second names.
    if (linkat(old_folder, name.c_str(), new_folder, new_name.c_str(), 0) == 0) {
        remove_file(from, name);
        return true;
    }
    if (errno == EEXIST) {
        return false;
    }
    if (exists(to, new_name)) {
        errno = EEXIST;
        return false;
    }
    return renameat(old_folder, name.c_str(), new_folder, new_name.c_str()) == 0;
}

bool replace_file(const Descriptor &folder, const std::string &name, const std::string &contents,
                  const std::string &interim_name) {
    remove_file(folder, interim_name);
    const Descriptor file(
        openat(folder.get(), interim_name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (file.valid() && write_all(file.get(), contents.data(), contents.size(), 0) && fsync(file.get()) == 0 &&
        renameat(folder.get(), interim_name.c_str(), folder.get(), name.c_str()) == 0) {
        return true;
    }
    const int error = errno;
    remove_file(folder, interim_name);
    errno = error;
    return false;
}

std::string read_file(const Descriptor &folder, const std::string &name) {
    constexpr std::size_t longest = 65536;
    const Descriptor file = open_own_file(folder, name, Missing::leave);
    std::string contents(longest, '\0');
    const ssize_t size = file.valid() ? pread(file.get(), contents.data(), longest, 0) : 0;
    contents.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return contents;
}

bool write_all(int file, const char *data, std::size_t size, int64_t at) {
    while (size > 0) {
        const ssize_t written = pwrite(file, data, size, static_cast<off_t>(at));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            return false;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
        at += written;
    }
    return true;
}

} // namespace fetch
