// The configuration file: sections of "key = value" lines. A write changes one value and keeps everything else; the
// file is replaced as a whole under a lock, so a reader needs none and two writers lose nothing.
//
// A value that a line cannot hold as it stands (bytes beyond ASCII, control characters, spaces at its ends) is written
// in double quotes with \xHH, \" and \\ in it.

#include "profile.h"

#include "deadline.h"
#include "descriptor.h"
#include "platform.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <memory>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>

extern "C" { // headers for C alone
#include <collection.h>
#include <ini_configmod.h>
#include <ini_configobj.h>
#include <ini_valueobj.h>
}

namespace korvo {
namespace {

constexpr const char *file = KORVO_PROFILE_FILE;

constexpr int longest_wait_s = 20; // for other writers; as long as for those of the database
constexpr off_t largest_file = off_t{64} << 20U;

// Values stay on one line, however long they are.
constexpr int never_wrap = INT_MAX / 2;

using Memory = std::unique_ptr<char, decltype(&std::free)>;

// ---- Values as lines hold them

bool is_plain(char c) {
    return c >= ' ' && c <= '~';
}

bool stands_as_it_is(const char *value) {
    const char *end = value + std::strlen(value);
    return value == end || (std::all_of(value, end, is_plain) && value[0] != ' ' && value[0] != '"' && end[-1] != ' ');
}

Memory encoded(const char *value) {
    if (stands_as_it_is(value)) {
        return {strdup(value), std::free};
    }
    constexpr std::size_t longest_escape = 4;
    Memory text(static_cast<char *>(std::malloc(longest_escape * std::strlen(value) + sizeof "\"\"")), std::free);
    if (char *to = text.get(); to != nullptr) {
        *to++ = '"';
        for (; *value != '\0'; ++value) {
            const auto byte = static_cast<unsigned char>(*value);
            if (!is_plain(*value)) {
                for (const char c : {'\\', 'x', "0123456789abcdef"[byte >> 4U], "0123456789abcdef"[byte & 0xFU]}) {
                    *to++ = c;
                }
                continue;
            }
            if (*value == '"' || *value == '\\') {
                *to++ = '\\';
            }
            *to++ = *value;
        }
        *to++ = '"';
        *to = '\0';
    }
    return text;
}

int digit(char c) {
    return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// Into a buffer of at least one byte; what does not fit is left out.
int decode(const char *text, char *buffer, int size) {
    const char *end = text + std::strlen(text);
    const bool quoted = end - text >= 2 && text[0] == '"' && end[-1] == '"';
    if (quoted) {
        ++text;
        --end;
    }
    int length = 0;
    while (text < end && length < size - 1) {
        if (quoted && text[0] == '\\' && end - text >= 2) {
            ++text;
            const int byte = text[0] == 'x' && end - text >= 3 ? digit(text[1]) * 16 + digit(text[2]) : 0;
            if (byte > 0 && digit(text[1]) >= 0 && digit(text[2]) >= 0) { // a NUL would end the text
                buffer[length++] = static_cast<char>(byte);
                text += 3;
                continue;
            }
        }
        buffer[length++] = *text++;
    }
    buffer[length] = '\0';
    return length;
}

// ---- The file as a whole

// Of a FIFO, too, without waiting for somebody else.
constexpr int open_flags = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// Passes a file on that was just opened, and closes anything else.
int regular_file(int descriptor) {
    Descriptor opened(descriptor);
    struct stat status {};
    if (opened.valid() && (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))) {
        errno = EINVAL;
        return -1;
    }
    return opened.release();
}

// NULL when it cannot be read. A NUL is not text: it is what some file systems fill a file with after a power failure.
Memory read_text(int descriptor) {
    Memory none(nullptr, std::free);
    struct stat status {};
    if (fstat(descriptor, &status) != 0 || status.st_size > largest_file) {
        return none;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    Memory text(static_cast<char *>(std::malloc(size + 1)), std::free);
    if (text == nullptr) {
        return none;
    }
    for (std::size_t length = 0; length < size;) {
        const ssize_t count = pread(descriptor, text.get() + length, size - length, static_cast<off_t>(length));
        if (count <= 0) {
            return none;
        }
        length += static_cast<std::size_t>(count);
    }
    text.get()[size] = '\0';
    return std::strlen(text.get()) == size ? std::move(text) : std::move(none);
}

enum class Strange { skip, refuse }; // lines that are neither a section, a value nor a comment

class Profile {
public:
    // Of an open file; a negative descriptor stands for one that does not exist, which is empty.
    Profile(Strange lines, int descriptor) {
        if (ini_config_create(&config_) != 0 || ini_config_set_wrap(config_, never_wrap) != 0) {
            return;
        }
        read_ = descriptor < 0 || parse(lines, read_text(descriptor));
    }
    Profile(const Profile &) = delete;
    Profile &operator=(const Profile &) = delete;
    ~Profile() { ini_config_destroy(config_); }

    // Not when the file cannot be read or understood.
    bool read() const { return read_; }

    // Finds the key's text, or NULL when the key is missing; valid as long as the profile. False when nobody can say.
    bool value(const char *section, const char *key, const char *&text) {
        value_obj *found = nullptr;
        text = nullptr;
        return read_ && find(section, key, found) && (found == nullptr || value_get_concatenated(found, &text) == 0);
    }

    // The comment above a value stays with it.
    bool set(const char *section, const char *key, const char *text) {
        value_obj *found = nullptr;
        if (!read_ || !find(section, key, found)) {
            return false;
        }
        if (found != nullptr) {
            return value_update(found, text, static_cast<uint32_t>(std::strlen(text)), INI_VALUE_CREATED, never_wrap) ==
                   0;
        }
        const int added = ini_config_add_section(config_, section, nullptr, 0, COL_DSP_END, nullptr, 0);
        return (added == 0 || added == EEXIST) &&
               ini_config_add_str_value(config_, section, key, text, nullptr, 0, never_wrap, COL_DSP_END, nullptr, 0,
                                        INI_VA_NOCHECK) == 0;
    }

    bool write_to(int descriptor) {
        simplebuffer *text = nullptr;
        if (simplebuffer_alloc(&text) != 0) {
            return false;
        }
        const std::unique_ptr<simplebuffer, decltype(&simplebuffer_free)> owner(text, simplebuffer_free);
        return ini_config_serialize(config_, text) == 0 &&
               write_all(descriptor, reinterpret_cast<const char *>(simplebuffer_get_buf(text)),
                         simplebuffer_get_len(text)) &&
               fsync(descriptor) == 0;
    }

private:
    // C comments are no part of the grammar: a value below a line that starts like one would be lost.
    bool parse(Strange lines, const Memory &text) {
        ini_cfgfile *opened = nullptr;
        if (text == nullptr ||
            ini_config_file_from_mem(text.get(), static_cast<uint32_t>(std::strlen(text.get())), &opened) != 0) {
            return false;
        }
        const std::unique_ptr<ini_cfgfile, decltype(&ini_config_file_destroy)> owner(opened, ini_config_file_destroy);
        const uint32_t skipped = lines == Strange::skip ? INI_PARSE_IGNORE_NON_KVP : 0;
        return ini_config_parse(opened, INI_STOP_ON_ANY, INI_MS_MERGE | INI_MV1S_ALLOW | INI_MV2S_ALLOW,
                                INI_PARSE_NOWRAP | INI_PARSE_NO_C_COMMENTS | skipped, config_) == 0;
    }

    bool find(const char *section, const char *key, value_obj *&found) {
        return ini_get_config_valueobj(section, key, config_, INI_GET_FIRST_VALUE, &found) == 0;
    }

    ini_cfgobj *config_ = nullptr;
    bool read_ = false;
};

// ---- Writing

// Where the file is, behind whatever symlinks lead there.
class Place {
public:
    Place() {
        if (realpath(file, path_) == nullptr) { // there is none yet
            std::snprintf(path_, sizeof path_, "%s", file);
        }
        char directory[PATH_MAX] = ".";
        if (const char *slash = std::strrchr(path_, '/'); slash != nullptr) {
            name_ = slash + 1;
            std::snprintf(directory, sizeof directory, "%.*s", static_cast<int>(name_ - path_), path_);
        }
        directory_.replace(open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }

    int directory() const { return directory_.get(); }
    const char *name() const { return name_; }

private:
    char path_[PATH_MAX];
    const char *name_ = path_;
    Descriptor directory_{-1};
};

// Takes over what a file's access list says, and that it has none where the directory has given the new file one.
bool copy_access_list(int from, int to) {
    constexpr const char *attribute = "system.posix_acl_access";
    const ssize_t size = fgetxattr(from, attribute, nullptr, 0);
    if (size < 0) {
        return errno == EOPNOTSUPP || (errno == ENODATA && (fremovexattr(to, attribute) == 0 || errno == ENODATA));
    }
    const auto length = static_cast<std::size_t>(size);
    const Memory list(static_cast<char *>(std::malloc(length)), std::free);
    return list != nullptr && fgetxattr(from, attribute, list.get(), length) == size &&
           fsetxattr(to, attribute, list.get(), length, 0) == 0;
}

// Gives a file that only its maker can use another's owner, group, access list and mode, the latter within the mask.
// Who may not give a file away keeps group and mode: the other members of the group go on using it.
bool copy_access(int from, int to, mode_t mask) {
    struct stat old {};
    struct stat made {};
    return fstat(from, &old) == 0 &&
           (fchown(to, old.st_uid, old.st_gid) == 0 || fchown(to, static_cast<uid_t>(-1), old.st_gid) == 0 ||
            (fstat(to, &made) == 0 && made.st_gid == old.st_gid)) &&
           copy_access_list(from, to) && fchmod(to, old.st_mode & mask) == 0;
}

// Held by one writer at a time. The lock file is there only while somebody writes, and only those who may write the
// configuration file can open it, so nobody else can keep them waiting.
class WriteLock {
public:
    explicit WriteLock(const Place &place) : place_(place) {
        std::snprintf(name_, sizeof name_, "%s.lock", place.name());
    }
    WriteLock(const WriteLock &) = delete;
    WriteLock &operator=(const WriteLock &) = delete;
    ~WriteLock() {
        if (file_.valid()) {
            unlinkat(place_.directory(), name_, 0);
            flock(file_.get(), LOCK_UN); // a child that was forked meanwhile has the descriptor too
        }
    }

    // Waits for its turn, at a lock file with the access of the configuration file, if there is one.
    bool take(int profile) {
        const Deadline deadline(longest_wait_s);
        while (!try_to_take()) {
            if ((errno != EWOULDBLOCK && errno != EACCES) || !deadline.wait()) {
                return false;
            }
        }
        // The result does not matter: one that a killed writer left is another's, and open to whom it was open before.
        copy_access(profile, file_.get(), S_IWUSR | S_IWGRP | S_IWOTH);
        return true;
    }

private:
    // EWOULDBLOCK: another writer has it. EACCES: another writer is just about to have it.
    bool try_to_take() {
        Descriptor opened(openat(place_.directory(), name_, O_WRONLY | O_CREAT | O_NOFOLLOW | open_flags, S_IWUSR));
        if (!opened.valid() || flock(opened.get(), LOCK_EX | LOCK_NB) != 0) {
            return false;
        }
        struct stat locked {};
        struct stat named {};
        if (fstat(opened.get(), &locked) != 0 || fstatat(place_.directory(), name_, &named, AT_SYMLINK_NOFOLLOW) != 0 ||
            locked.st_ino != named.st_ino || locked.st_dev != named.st_dev) {
            errno = EWOULDBLOCK; // the writer before has removed it
            return false;
        }
        file_.replace(opened.release());
        return true;
    }

    const Place &place_;
    char name_[NAME_MAX + sizeof ".lock"];
    Descriptor file_{-1};
};

// The new file lies beside the old one, and nobody has more access to it than to that one at any time.
bool replace_file(const Place &place, int old, Profile &profile, const char *section, const char *key,
                  const char *text) {
    char name[NAME_MAX + sizeof ".new"];
    std::snprintf(name, sizeof name, "%s.new", place.name());
    unlinkat(place.directory(), name, 0); // left by a writer that was killed; the lock is ours
    const Descriptor made(
        openat(place.directory(), name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, old < 0 ? 0644 : S_IRUSR | S_IWUSR));
    if (!made.valid()) {
        return false;
    }
    // What cannot be read back, a name with a "=" or somebody else's line that now looks different, is not stored.
    const auto is_read_back = [&] {
        Profile written(Strange::refuse, made.get());
        const char *found = nullptr;
        return written.value(section, key, found) && found != nullptr && std::strcmp(found, text) == 0;
    };
    if ((old >= 0 && !copy_access(old, made.get(), S_IRWXU | S_IRWXG | S_IRWXO)) || !profile.write_to(made.get()) ||
        !is_read_back() || renameat(place.directory(), name, place.directory(), place.name()) != 0) {
        unlinkat(place.directory(), name, 0);
        return false;
    }
    return fsync(place.directory()) == 0;
}

// For writing, since its own mode decides who may change it and not only its directory's.
int open_to_change(const Place &place) {
    return regular_file(openat(place.directory(), place.name(), O_RDWR | O_NOFOLLOW | open_flags));
}

bool store(const char *section, const char *key, const char *value) {
    const Memory text = encoded(value);
    const Place place;
    Descriptor old(open_to_change(place));
    if (text == nullptr || (!old.valid() && errno != ENOENT) ||
        faccessat(place.directory(), ".", W_OK | X_OK, AT_EACCESS) != 0) {
        return false;
    }
    WriteLock lock(place);
    if (!lock.take(old.get())) {
        return false;
    }
    old.replace(open_to_change(place)); // the writer before has replaced it
    if (!old.valid() && errno != ENOENT) {
        return false;
    }
    Profile profile(Strange::refuse, old.get());
    return profile.set(section, key, text.get()) && replace_file(place, old.get(), profile, section, key, text.get());
}

} // namespace
} // namespace korvo

int korvo::read_profile(int descriptor, const char *section, const char *key, const char *default_text, char *buffer,
                        int size) {
    Profile profile(Strange::skip, descriptor);
    const char *text = nullptr;
    if (!profile.value(section, key, text)) {
        default_text = "";
    } else if (text != nullptr) {
        return decode(text, buffer, size);
    }
    const std::size_t length = strnlen(default_text, static_cast<std::size_t>(size) - 1);
    std::memcpy(buffer, default_text, length);
    buffer[length] = '\0';
    return static_cast<int>(length);
}

int Get_Profile_String(const char *section, const char *key, const char *default_text, char *buffer, int size) {
    if (size <= 0) {
        return 0;
    }
    const korvo::Descriptor file(korvo::regular_file(open(korvo::file, O_RDONLY | korvo::open_flags)));
    char link;
    // A symlink that leads nowhere is a file that cannot be read, not one that is missing.
    if (!file.valid() && (errno != ENOENT || readlink(korvo::file, &link, sizeof link) >= 0)) {
        buffer[0] = '\0';
        return 0;
    }
    return korvo::read_profile(file.get(), section, key, default_text, buffer, size);
}

int Get_Profile_Boolean(const char *section, const char *key, int default_value) {
    char text[8];
    Get_Profile_String(section, key, "", text, sizeof text);
    for (const char *word : {"true", "yes", "on", "1"}) {
        if (strcasecmp(text, word) == 0) {
            return 1;
        }
    }
    for (const char *word : {"false", "no", "off", "0"}) {
        if (strcasecmp(text, word) == 0) {
            return 0;
        }
    }
    return default_value;
}

int Set_Profile_String(const char *section, const char *key, const char *value) {
    return korvo::store(section, key, value) ? 0 : -1;
}

int Set_Profile_Boolean(const char *section, const char *key, int value) {
    return korvo::store(section, key, value != 0 ? "true" : "false") ? 0 : -1;
}
