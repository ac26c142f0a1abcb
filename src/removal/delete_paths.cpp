#include "removal/delete_paths.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace korvo {
namespace {

using Kind = NamedPath::Kind;

// To be passed through, a directory needs no read permission.
constexpr int to_pass = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int to_read = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool is(const char *component, const char *dots) {
    return std::strcmp(component, dots) == 0;
}

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor() { replace(-1); }

    int get() const { return number_; }
    void replace(int number) {
        if (number_ >= 0) {
            close(number_);
        }
        number_ = number;
    }

private:
    int number_;
};

// ---- The way to the named path

// Where a path below "/share/" ends: its last component, and the directory that this lies in, held open.
class Place {
public:
    explicit Place(const NamedPath &path) : path_(path) {
        char share[] = "/share";
        found_ = follow(share) && enter_folder() && enter_all_but_last();
        const std::size_t length = std::strlen(path.name);
        names_directory_ = length > 0 && path.name[length - 1] == '/';
    }

    bool found() const { return found_; }
    bool names_directory() const { return names_directory_; }
    int directory() const { return at_.get(); }
    const char *name() const { return last_; }

private:
    bool enter(const char *component) {
        const int below = openat(at_.get(), component, to_pass);
        if (below >= 0) {
            at_.replace(below);
        }
        return below >= 0;
    }

    // Symlinks on the way to and of the share itself are followed if root or this process's user made them, and so
    // is each that these lead through. What is looked at is what is followed: nobody can swap it in between.
    bool follow_symlink(const char *component) {
        const Descriptor symlink(openat(at_.get(), component, O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat status;
        if (symlinks_left_-- == 0 || fstat(symlink.get(), &status) != 0 ||
            (status.st_uid != 0 && status.st_uid != geteuid())) {
            return false;
        }
        char target[1024];
        const ssize_t length = readlinkat(symlink.get(), "", target, sizeof target);
        if (length <= 0 || length == sizeof target) {
            return false;
        }
        target[length] = '\0';
        return follow(target);
    }

    bool follow(char *path) {
        bool entered = path[0] != '/' || enter("/");
        char *rest = nullptr;
        for (char *at = strtok_r(path, "/", &rest); entered && at != nullptr; at = strtok_r(nullptr, "/", &rest)) {
            entered = enter(at) || follow_symlink(at);
        }
        return entered;
    }

    bool enter_folder() {
        bool in_share = false;
        char *rest = nullptr;
        for (char *at = strtok_r(path_.folder, "/", &rest); at != nullptr; at = strtok_r(nullptr, "/", &rest)) {
            if (is(at, ".")) {
                continue;
            }
            if (is(at, "..") || (!enter(at) && (in_share || !follow_symlink(at)))) {
                return false;
            }
            in_share = true;
        }
        return in_share;
    }

    bool enter_all_but_last() {
        char *rest = nullptr;
        for (char *at = strtok_r(path_.name, "/", &rest); at != nullptr; at = strtok_r(nullptr, "/", &rest)) {
            if (is(at, "..") || (last_ != nullptr && !is(last_, ".") && !enter(last_))) {
                return false;
            }
            last_ = at;
        }
        return last_ != nullptr && !is(last_, ".");
    }

    NamedPath path_; // taken apart in here
    Descriptor at_{AT_FDCWD};
    const char *last_ = nullptr;
    int symlinks_left_ = 8;
    bool found_;
    bool names_directory_;
};

// ---- Emptying a directory

// Takes the open directory, which may be none.
DIR *stream_of(int directory) {
    DIR *const stream = directory >= 0 ? fdopendir(directory) : nullptr;
    if (stream == nullptr && directory >= 0) {
        close(directory);
    }
    return stream;
}

// A directory that is being emptied, and the way back to it.
struct Level {
    Level *above;
    Level *below;
    DIR *stream; // null while it is given up
    dev_t device;
    ino_t inode;
    off_t behind; // the position behind the entry that was read last
    off_t kept;   // and behind the last one that could not be deleted
    int reopened;

    char *name() { return reinterpret_cast<char *>(this + 1); } // in the directory above
};

// Empties a directory and what lies below it, whatever the depth: only so many directories are held open. Where that is
// not enough, the upper ones are given up and opened again by "..", each known by its device and inode. An entry that
// cannot be deleted stays and does not keep the others.
class Emptying {
public:
    // Takes the open directory. Returns whether entries may have been passed over that could be deleted.
    bool run(int top) {
        enter(top, "");
        while (here_ != nullptr) {
            const dirent *entry = readdir(here_->stream);
            if (entry == nullptr) {
                go_up();
            } else if (!is(entry->d_name, ".") && !is(entry->d_name, "..")) {
                here_->behind = entry->d_off;
                delete_entry(entry->d_name);
            }
        }
        return passed_over_;
    }

private:
    static constexpr int held_at_most = 32;
    // Somebody who makes directories as fast as they are entered would lead on for ever, and so would somebody who
    // makes deep ones beside those that have been deleted.
    static constexpr int deepest = 100'000;
    static constexpr int read_from_start_at_most = 1000;

    void delete_entry(const char *name) {
        if (unlinkat(dirfd(here_->stream), name, 0) != 0 && !enter(open_below(name), name)) {
            delete_directory(dirfd(here_->stream), name);
        }
    }

    void delete_directory(int directory, const char *name) {
        if (unlinkat(directory, name, AT_REMOVEDIR) != 0) {
            here_->kept = here_->behind;
        }
    }

    int open_below(const char *name) {
        int below = -1;
        do {
            below = openat(dirfd(here_->stream), name, to_read);
        } while (below < 0 && errno == EMFILE && give_up_highest());
        return below;
    }

    // Takes the open directory, which may be none.
    bool enter(int directory, const char *name) {
        DIR *const stream = stream_of(directory);
        if (stream == nullptr) {
            return false;
        }
        struct stat status;
        const std::size_t size = std::strlen(name) + 1;
        auto *const level = static_cast<Level *>(std::malloc(sizeof(Level) + size));
        if (level == nullptr || depth_ == deepest || fstat(directory, &status) != 0) {
            std::free(level);
            closedir(stream);
            return false;
        }
        *level = {here_, nullptr, stream, status.st_dev, status.st_ino, 0, 0, 0};
        std::memcpy(level->name(), name, size);
        (here_ != nullptr ? here_->below : highest_) = level;
        here_ = level;
        ++depth_;
        if (++held_ > held_at_most) {
            give_up_highest();
        }
        return true;
    }

    // The one above stays open: from a directory that may not be searched no ".." leads back to it.
    bool give_up_highest() {
        if (highest_ == here_ || highest_->below == here_) {
            return false;
        }
        closedir(highest_->stream);
        highest_->stream = nullptr;
        highest_ = highest_->below;
        --held_;
        return true;
    }

    // Deletes the directory that has been emptied and goes on in the one above. When that is not found again (somebody
    // has moved this one), nothing above it is.
    void go_up() {
        Level *const left = here_;
        here_ = left->above;
        if (here_ != nullptr) {
            const int above = here_->stream != nullptr ? dirfd(here_->stream) : open_above(dirfd(left->stream));
            delete_directory(above, left->name());
            if (here_->stream == nullptr) {
                hold_again(above);
            }
        }
        closedir(left->stream);
        std::free(left);
        --held_;
        --depth_;
        while (here_ != nullptr && here_->stream == nullptr) {
            Level *const lost = here_;
            here_ = lost->above;
            passed_over_ = true;
            std::free(lost);
        }
    }

    int open_above(int below) const {
        const int above = openat(below, "..", to_read);
        struct stat status;
        if (fstat(above, &status) == 0 && (status.st_dev != here_->device || status.st_ino != here_->inode)) {
            close(above);
            return -1;
        }
        return above;
    }

    // Where nothing was kept, reading from the start is right on every file system. Some number the entries by their
    // places, which change as others are deleted.
    void hold_again(int directory) {
        const off_t from = here_->reopened++ < read_from_start_at_most ? here_->kept : here_->behind;
        passed_over_ |= from != 0;
        lseek(directory, from, SEEK_SET);
        here_->stream = stream_of(directory);
        highest_ = here_;
        ++held_;
    }

    Level *here_ = nullptr;
    Level *highest_ = nullptr; // the highest that is held open
    int held_ = 0;
    int depth_ = 0;
    bool passed_over_ = false;
};

void delete_tree(const Place &place) {
    if (!place.names_directory() && unlinkat(place.directory(), place.name(), 0) == 0) {
        return;
    }
    // Others may create entries for ever: there is no third pass.
    bool again = true;
    for (int pass = 0; pass < 2 && again; ++pass) {
        again = Emptying().run(openat(place.directory(), place.name(), to_read));
    }
    unlinkat(place.directory(), place.name(), AT_REMOVEDIR);
}

} // namespace

void delete_path(const NamedPath &path) {
    if (path.kind == Kind::own_file) {
        unlink(path.name);
        return;
    }
    const Place place(path);
    if (!place.found()) {
        return;
    }
    if (path.kind == Kind::tree) {
        delete_tree(place);
    } else if (!place.names_directory()) {
        unlinkat(place.directory(), place.name(), 0);
    }
}

Found find_path(const NamedPath &path) {
    struct stat status;
    bool found = false;
    bool names_directory = false;
    if (path.kind == Kind::own_file) {
        found = lstat(path.name, &status) == 0;
    } else if (const Place place(path); place.found()) {
        found = fstatat(place.directory(), place.name(), &status, AT_SYMLINK_NOFOLLOW) == 0;
        names_directory = place.names_directory();
    }
    if (found && S_ISDIR(status.st_mode)) {
        return path.kind == Kind::tree ? Found::directory : Found::nothing;
    }
    return found && !names_directory ? Found::file : Found::nothing;
}

} // namespace korvo
