#include "place.h"

#include "source.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fetch {
namespace {

Placed failure() {
    return errno == ENOSPC || errno == EDQUOT ? Placed::disk_full : Placed::failed;
}

Placed copy(const Descriptor &from, const Descriptor &to, const std::atomic<bool> &stop) {
    constexpr std::size_t step = 1048576;
    std::vector<char> buffer(step);
    if (ftruncate(to.get(), 0) != 0) {
        return failure();
    }
    for (int64_t at = 0;;) {
        const ssize_t size = pread(from.get(), buffer.data(), step, static_cast<off_t>(at));
        if (stop) {
            return Placed::stopped;
        }
        if (size < 0 || !write_all(to.get(), buffer.data(), static_cast<std::size_t>(size), at)) {
            return failure();
        }
        if (size == 0) {
            return fsync(to.get()) == 0 ? Placed::done : failure();
        }
        at += size;
    }
}

} // namespace

Placed place(const Placing &placing, const std::atomic<bool> &stop) {
    const Descriptor folder = open_folder(placing.folder);
    const Descriptor target = folder.valid() ? open_folder(placing.new_folder) : Descriptor();
    if (!target.valid()) {
        return failure();
    }
    const std::string partial = partial_name(placing.name);
    const Descriptor file = open_own_file(folder, partial, Missing::leave);
    struct stat here {};
    struct stat there {};
    if (!file.valid() || fsync(file.get()) != 0 || fstat(file.get(), &here) != 0 || fstat(target.get(), &there) != 0) {
        return failure();
    }
    Source source = load_source(folder, placing.name);
    source.folder = placing.new_folder;
    source.name = placing.new_name;
    source.file_number = 0;

    const bool elsewhere = here.st_dev != there.st_dev;
    const std::string moved = elsewhere ? copy_name(placing.task) : partial;
    if (elsewhere) {
        // Before there is a copy, so that a copy that nobody wants any more is found.
        if (!save_source(folder, placing.name, source)) {
            return failure();
        }
        const Descriptor to = open_own_file(target, moved, Missing::create);
        if (!to.valid()) {
            return failure();
        }
        if (const Placed copied = copy(file, to, stop); copied != Placed::done) {
            remove_file(target, moved);
            return copied;
        }
    }
    const Descriptor &from = elsewhere ? target : folder;
    source.file_number = file_number(from, moved);
    if (!save_source(folder, placing.name, source)) {
        return failure();
    }
    if (!rename_to_new(from, moved, target, placing.new_name)) {
        return errno == EEXIST ? Placed::name_taken : failure();
    }
    fsync(target.get());
    return Placed::done;
}

} // namespace fetch
