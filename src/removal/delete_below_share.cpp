#include "removal/delete_below_share.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace korvo {
namespace {

constexpr int as_folder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr int as_folder_no_link = as_folder | O_NOFOLLOW;

// The next component of a path that is not ".".
char *next_component(char *path, char **rest) {
    char *component = strtok_r(path, "/", rest);
    while (component != nullptr && std::strcmp(component, ".") == 0) {
        component = strtok_r(nullptr, "/", rest);
    }
    return component;
}

// Where a path ends: the last component, and the folder that it lies in, held open.
class Place {
public:
    Place(const char *folder, const char *name) : folder_(open("/share", as_folder)) {
        found_ = enter(folder) && enter_last() && enter(name) && last_ != nullptr;
    }
    Place(const Place &) = delete;
    Place &operator=(const Place &) = delete;
    ~Place() { leave(); }

    bool found() const { return found_; }
    int folder() const { return folder_; }
    const char *name() const { return last_; }

private:
    // Enters every folder of the path but the last component.
    bool enter(const char *path) {
        const std::size_t size = std::strlen(path) + 1;
        if (size > sizeof path_) {
            return false;
        }
        std::memcpy(path_, path, size);
        char *rest = nullptr;
        for (char *at = next_component(path_, &rest); at != nullptr; at = next_component(nullptr, &rest)) {
            if (std::strcmp(at, "..") == 0 || !enter_last()) {
                return false;
            }
            last_ = at;
        }
        return true;
    }

    bool enter_last() {
        if (last_ != nullptr) {
            const int below = openat(folder_, last_, as_folder_no_link);
            leave();
            folder_ = below;
            last_ = nullptr;
        }
        return folder_ >= 0;
    }

    void leave() const {
        if (folder_ >= 0) {
            close(folder_);
        }
    }

    int folder_;
    const char *last_ = nullptr;
    bool found_;
    char path_[2048];
};

// Empties an open folder and closes it; returns whether anything was removed. So many levels are held open at a time:
// where the tree is deeper, the upper ones are given up, to be found again from the top once what lies below is gone.
bool empty_folder(int folder) {
    struct Level {
        DIR *stream;
        const char *below; // the entry that is being emptied
    };
    constexpr std::size_t levels_held = 64;
    Level levels[levels_held];
    std::size_t depth = 0;
    bool removed = false;

    const auto enter = [&](int entered) {
        DIR *stream = entered >= 0 ? fdopendir(entered) : nullptr;
        if (stream == nullptr) {
            if (entered >= 0) {
                close(entered);
            }
            return;
        }
        if (depth == levels_held) {
            for (depth = 0; depth < levels_held - 1; ++depth) {
                closedir(levels[depth].stream);
            }
            levels[0] = levels[depth];
            depth = 1;
        }
        levels[depth++] = {stream, nullptr};
    };

    enter(folder);
    while (depth > 0) {
        Level &level = levels[depth - 1];
        const int here = dirfd(level.stream);
        if (level.below != nullptr) {
            removed |= unlinkat(here, level.below, AT_REMOVEDIR) == 0;
            level.below = nullptr;
        }
        const dirent *entry = readdir(level.stream);
        if (entry == nullptr) {
            closedir(level.stream);
            --depth;
        } else if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            if (unlinkat(here, entry->d_name, 0) == 0) {
                removed = true;
            } else if (errno == EISDIR || errno == EPERM) {
                level.below = entry->d_name;
                enter(openat(here, entry->d_name, as_folder_no_link));
            }
        }
    }
    return removed;
}

} // namespace

void remove_file(const char *folder, const char *name) {
    const std::size_t length = std::strlen(name);
    if (length == 0 || name[length - 1] == '/') { // what ends in a slash is no file
        return;
    }
    const Place place(folder, name);
    if (place.found()) {
        unlinkat(place.folder(), place.name(), 0);
    }
}

void remove_tree(const char *folder, const char *name) {
    const Place place(folder, name);
    if (!place.found() || unlinkat(place.folder(), place.name(), 0) == 0) {
        return;
    }
    bool going_on = true;
    while (going_on && unlinkat(place.folder(), place.name(), AT_REMOVEDIR) != 0) {
        const int top = openat(place.folder(), place.name(), as_folder_no_link);
        going_on = top >= 0 && empty_folder(top);
    }
}

} // namespace korvo
