// The configuration file: sections of "key = value" lines. A write changes one value and keeps everything else; the
// file is replaced as a whole under a lock, so a reader needs none and two writers lose nothing.
//
// A value that a line cannot hold as it stands (bytes beyond ASCII, control characters, blanks at its ends) is written
// in double quotes with \xHH, \" and \\ in it.

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

extern "C" { // headers for C alone
#include <collection.h>
#include <ini_configmod.h>
#include <ini_configobj.h>
#include <ini_valueobj.h>
}

namespace korvo {
namespace {

constexpr const char *file = KORVO_PROFILE_FILE;
constexpr const char *lock_file = KORVO_PROFILE_FILE ".lock";
constexpr const char *new_file_suffix = ".new";

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

enum class Strange { skip, refuse }; // lines that are neither a section, a value nor a comment

class Profile {
public:
    // Failed when the file is there and cannot be read or understood. A missing one is empty.
    explicit Profile(Strange lines, const char *path = file) {
        if (ini_config_create(&config_) != 0 || ini_config_set_wrap(config_, never_wrap) != 0) {
            return;
        }
        ini_cfgfile *opened = nullptr;
        const int error = ini_config_file_open(path, INI_META_NONE, &opened);
        const std::unique_ptr<ini_cfgfile, decltype(&ini_config_file_destroy)> owner(opened, ini_config_file_destroy);
        const std::uint32_t skipped = lines == Strange::skip ? INI_PARSE_IGNORE_NON_KVP : 0;
        read_ = error == ENOENT ||
                (error == 0 && ini_config_parse(opened, INI_STOP_ON_ANY, INI_MS_MERGE | INI_MV1S_ALLOW | INI_MV2S_ALLOW,
                                                INI_PARSE_NOWRAP | skipped, config_) == 0);
    }
    Profile(const Profile &) = delete;
    Profile &operator=(const Profile &) = delete;
    ~Profile() { ini_config_destroy(config_); }

    bool read() const { return read_; }

    // NULL when the key is missing; valid as long as the profile.
    const char *value(const char *section, const char *key) {
        const char *text = nullptr;
        value_obj *found = find(section, key);
        return found != nullptr && value_get_concatenated(found, &text) == 0 ? text : nullptr;
    }

    // The comment above a value stays with it.
    bool set(const char *section, const char *key, const char *text) {
        if (value_obj *found = find(section, key); found != nullptr) {
            return value_update(found, text, static_cast<std::uint32_t>(std::strlen(text)), INI_VALUE_CREATED,
                                never_wrap) == 0;
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
    value_obj *find(const char *section, const char *key) {
        value_obj *found = nullptr;
        return ini_get_config_valueobj(section, key, config_, INI_GET_FIRST_VALUE, &found) == 0 ? found : nullptr;
    }

    ini_cfgobj *config_ = nullptr;
    bool read_ = false;
};

// The new file lies beside the old one, behind whatever links lead there, and has its owner and mode.
bool replace_file(Profile &profile) {
    char target[PATH_MAX];
    char beside[PATH_MAX + sizeof ".new"];
    if (realpath(file, target) == nullptr) {
        std::snprintf(target, sizeof target, "%s", file);
    }
    std::snprintf(beside, sizeof beside, "%s%s", target, new_file_suffix);
    unlink(beside); // left by a writer that was killed; the lock is ours
    const Descriptor descriptor(open(beside, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!descriptor.valid()) {
        return false;
    }
    struct stat old {};
    const bool prepared = stat(target, &old) != 0 || ((fchown(descriptor.get(), old.st_uid, old.st_gid) == 0 ||
                                                       (old.st_uid == geteuid() && old.st_gid == getegid())) &&
                                                      fchmod(descriptor.get(), old.st_mode & 07777U) == 0);
    // A foreign line may come out as one that cannot be read: no reason to spoil the file.
    if (!prepared || !profile.write_to(descriptor.get()) || !Profile(Strange::refuse, beside).read() ||
        rename(beside, target) != 0) {
        unlink(beside);
        return false;
    }
    *std::strrchr(target, '/') = '\0';
    const Descriptor folder(open(target, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder.valid() && fsync(folder.get()) == 0;
}

bool store(const char *section, const char *key, const char *value) {
    const Memory text = encoded(value);
    const Descriptor lock(open(lock_file, O_RDONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (text == nullptr || !lock.valid() || flock(lock.get(), LOCK_EX) != 0) {
        return false;
    }
    Profile profile(Strange::refuse);
    return profile.read() && profile.set(section, key, text.get()) && replace_file(profile);
}

} // namespace
} // namespace korvo

int Get_Profile_String(const char *section, const char *key, const char *default_text, char *buffer, int size) {
    if (size <= 0) {
        return 0;
    }
    korvo::Profile profile(korvo::Strange::skip);
    if (const char *text = profile.read() ? profile.value(section, key) : nullptr; text != nullptr) {
        return korvo::decode(text, buffer, size);
    }
    const std::size_t length = strnlen(default_text, static_cast<std::size_t>(size) - 1);
    std::memcpy(buffer, default_text, length);
    buffer[length] = '\0';
    return static_cast<int>(length);
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
