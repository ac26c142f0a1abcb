#include "base/new_file.h"

#include "base/failure.h"
#include "base/signals.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tqctl {
namespace {

Failure failure(const std::string &path, const std::string &what) {
    return {Exit::failed, path + " " + what + ": " + std::strerror(errno)};
}

std::string directory_of(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

} // namespace

NewFile::NewFile(std::string path) : path_(std::move(path)) {
    struct stat status {};
    if (lstat(path_.c_str(), &status) == 0) {
        throw Failure(Exit::failed, path_ + " is there already; nothing is written over it");
    }
    constexpr mode_t owner_alone = S_IRUSR | S_IWUSR;
    descriptor_ = open(directory_of(path_).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, owner_alone);
    if (descriptor_ < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
        const sigset_t ending = signal_set({SIGINT, SIGTERM, SIGHUP});
        sigprocmask(SIG_BLOCK, &ending, &signals_before_);
        named_ = true;
        descriptor_ = open(path_.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, owner_alone);
    }
    if (descriptor_ < 0) {
        throw failure(path_, "cannot be made");
    }
}

NewFile::~NewFile() {
    close(descriptor_);
    if (named_ && !kept_) {
        unlink(path_.c_str());
    }
    if (named_) {
        sigprocmask(SIG_SETMASK, &signals_before_, nullptr); // one that came meanwhile ends the program now
    }
}

void NewFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        sigset_t waiting;
        sigpending(&waiting);
        if (named_ && (sigismember(&waiting, SIGINT) == 1 || sigismember(&waiting, SIGTERM) == 1 ||
                       sigismember(&waiting, SIGHUP) == 1)) {
            throw Failure(Exit::failed, path_ + " was not written: interrupted");
        }
        const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            throw failure(path_, "cannot be written");
        }
        bytes.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
}

bool NewFile::keep(unsigned mode) {
    if (fchmod(descriptor_, mode) != 0 || fsync(descriptor_) != 0) {
        throw failure(path_, "cannot be written");
    }
    if (!named_) {
        const std::string unnamed = "/proc/self/fd/" + std::to_string(descriptor_);
        if (linkat(AT_FDCWD, unnamed.c_str(), AT_FDCWD, path_.c_str(), AT_SYMLINK_FOLLOW) != 0) {
            return errno == EEXIST ? false : throw failure(path_, "cannot be made");
        }
    }
    kept_ = true;
    if (const int directory = open(directory_of(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); directory >= 0) {
        fsync(directory);
        close(directory);
    }
    return true;
}

} // namespace tqctl
