// The configuration file: sections of "key = value" lines. A write changes one line and keeps everything else; the file
// is replaced as a whole under a lock, so a reader needs none and two writers lose nothing. Names are looked up without
// regard to case, and the first of several counts.
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
#include <string_view>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace korvo {
namespace {

constexpr const char *file = KORVO_PROFILE_FILE;
static_assert(file[0] == '/' && sizeof KORVO_PROFILE_FILE < PATH_MAX);

constexpr int longest_wait_s = 20; // for other writers; as long as for those of the database
constexpr off_t largest_file = off_t{64} << 20U;

using Memory = std::unique_ptr<char, decltype(&std::free)>;

// ---- Values as lines hold them

bool is_plain(char c) {
    return c >= ' ' && c <= '~';
}

bool is_control(char c) {
    return static_cast<unsigned char>(c) < ' ';
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
int decode(std::string_view value, char *buffer, int size) {
    const char *text = value.data();
    const char *end = text + value.size();
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
            if (byte > 0 && digit(text[2]) >= 0) { // a NUL would end the text
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
// A negative descriptor stands for a file that does not exist: it is empty.
Memory read_text(int descriptor) {
    Memory none(nullptr, std::free);
    struct stat status {};
    if (descriptor >= 0 && (fstat(descriptor, &status) != 0 || status.st_size > largest_file)) {
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

// ---- Lines

enum class Strange { skip, refuse }; // lines that are neither a section, a value nor a comment

struct Line {
    enum class Kind { blank, section, value, strange, broken };
    Kind kind;
    std::string_view name{};
    std::string_view value{};
};

std::string_view trimmed(std::string_view text) {
    constexpr const char *blanks = " \t\r";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

Line understand(std::string_view text) {
    text = trimmed(text);
    if (text.empty() || text.front() == '#' || text.front() == ';') {
        return {Line::Kind::blank};
    }
    if (text.front() == '[') {
        const std::string_view name = text.back() == ']' ? trimmed(text.substr(1, text.size() - 2)) : "";
        return {name.empty() ? Line::Kind::broken : Line::Kind::section, name};
    }
    const std::size_t equals = text.find('=');
    const std::string_view name = trimmed(text.substr(0, equals));
    if (equals == text.npos || name.empty()) {
        return {std::any_of(text.begin(), text.end(), is_control) ? Line::Kind::broken : Line::Kind::strange};
    }
    return {Line::Kind::value, name, trimmed(text.substr(equals + 1))};
}

bool is_same(std::string_view name, const char *other) {
    return name.size() == std::strlen(other) && strncasecmp(name.data(), other, name.size()) == 0;
}

// A key's line in a text, or where there would be one.
struct Search {
    bool understood = true;
    bool has_section = false;
    bool found = false;
    std::string_view value{};
    std::size_t begin = 0;
    std::size_t end = 0;
};

Search search(std::string_view text, Strange lines, const char *section, const char *key) {
    constexpr std::string_view byte_order_mark = "\xef\xbb\xbf";
    Search result;
    bool inside = false;
    for (std::size_t at = text.starts_with(byte_order_mark) ? byte_order_mark.size() : 0, end = 0; at < text.size();
         at = end) {
        end = std::min(text.find('\n', at), text.size() - 1) + 1;
        const auto [kind, name, value] = understand(text.substr(at, end - at - (text[end - 1] == '\n' ? 1 : 0)));
        if (kind == Line::Kind::broken || (kind == Line::Kind::strange && lines == Strange::refuse)) {
            return {false};
        }
        if (kind == Line::Kind::section) {
            inside = is_same(name, section);
            result.has_section = result.has_section || inside;
        }
        const bool wanted = kind == Line::Kind::value && inside && is_same(name, key);
        if (wanted && !result.found) {
            result.found = true;
            result.value = value;
            result.begin = at;
            result.end = end;
        }
        if (inside && !result.found && kind != Line::Kind::blank) {
            result.begin = result.end = end; // behind what the section has
        }
    }
    if (!result.has_section) {
        result.begin = result.end = text.size();
    }
    return result;
}

// The text with the key's line replaced, or added to its section. NULL when it is not understood, or the value could
// not be read back.
Memory with_value(const char *text, const char *section, const char *key, const char *value) {
    Memory changed(nullptr, std::free);
    const Search old = search(text, Strange::refuse, section, key);
    if (!old.understood) {
        return changed;
    }
    constexpr const char *format = "%.*s%s%s%s%s%s = %s\n%s";
    const bool ends = old.begin == 0 || text[old.begin - 1] == '\n';
    const auto write = [&](char *to, std::size_t size) {
        return std::snprintf(to, size, format, static_cast<int>(old.begin), text, ends ? "" : "\n",
                             old.has_section ? "" : "[", old.has_section ? "" : section, old.has_section ? "" : "]\n",
                             key, value, text + old.end);
    };
    const auto size = static_cast<std::size_t>(write(nullptr, 0)) + 1;
    changed.reset(static_cast<char *>(std::malloc(size)));
    if (changed != nullptr) {
        write(changed.get(), size);
        const Search made = search(changed.get(), Strange::refuse, section, key);
        if (!made.understood || !made.found || made.value != value) {
            changed.reset();
        }
    }
    return changed;
}

// ---- Writing

// Where the file is, behind whatever symlinks lead there.
class Place {
public:
    Place() {
        if (realpath(file, path_) == nullptr) { // there is none yet
            std::snprintf(path_, sizeof path_, "%s", file);
        }
        name_ = std::strrchr(path_, '/') + 1;
        char directory[PATH_MAX];
        std::snprintf(directory, sizeof directory, "%.*s", static_cast<int>(name_ - path_), path_);
        directory_.replace(open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }

    int directory() const { return directory_.get(); }
    const char *name() const { return name_; }

private:
    char path_[PATH_MAX];
    const char *name_;
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
            locked.st_ino != named.st_ino) {
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
bool replace_file(const Place &place, int old, const char *text) {
    char name[NAME_MAX + sizeof ".new"];
    std::snprintf(name, sizeof name, "%s.new", place.name());
    unlinkat(place.directory(), name, 0); // left by a writer that was killed; the lock is ours
    const Descriptor made(
        openat(place.directory(), name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, old < 0 ? 0644 : S_IRUSR | S_IWUSR));
    if (!made.valid()) {
        return false;
    }
    if ((old >= 0 && !copy_access(old, made.get(), S_IRWXU | S_IRWXG | S_IRWXO)) ||
        !write_all(made.get(), text, std::strlen(text)) || fsync(made.get()) != 0 ||
        renameat(place.directory(), name, place.directory(), place.name()) != 0) {
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
    const Memory before = read_text(old.get());
    const Memory after =
        before != nullptr ? with_value(before.get(), section, key, text.get()) : Memory(nullptr, std::free);
    return after != nullptr && replace_file(place, old.get(), after.get());
}

} // namespace
} // namespace korvo

int korvo::read_profile(int descriptor, const char *section, const char *key, const char *default_text, char *buffer,
                        int size) {
    buffer[0] = '\0';
    const Memory text = read_text(descriptor);
    const Search found = text != nullptr ? search(text.get(), Strange::skip, section, key) : Search{false};
    if (!found.understood) {
        return -1;
    }
    if (found.found) {
        return decode(found.value, buffer, size);
    }
    const std::size_t length = strnlen(default_text, static_cast<std::size_t>(size) - 1);
    std::memcpy(buffer, default_text, length);
    buffer[length] = '\0';
    return static_cast<int>(length);
}

int korvo::read_profile(const char *section, const char *key, const char *default_text, char *buffer, int size) {
    const Descriptor opened(regular_file(open(file, O_RDONLY | open_flags)));
    char link;
    // A symlink that leads nowhere is a file that cannot be read, not one that is missing.
    if (!opened.valid() && (errno != ENOENT || readlink(file, &link, sizeof link) >= 0)) {
        buffer[0] = '\0';
        return -1;
    }
    return read_profile(opened.get(), section, key, default_text, buffer, size);
}

int Get_Profile_String(const char *section, const char *key, const char *default_text, char *buffer, int size) {
    return size > 0 ? std::max(0, korvo::read_profile(section, key, default_text, buffer, size)) : 0;
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
