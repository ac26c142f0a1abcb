#include "store/journal.h"

#include "base/output.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fstream>
#include <sqlite3.h>
#include <string_view>
#include <sys/stat.h>

namespace tqctl {
namespace {

sqlite3_vfs *trusting = nullptr;

bool is_no_regular_file(const char *path) {
    struct stat status {};
    return lstat(path, &status) == 0 && !S_ISREG(status.st_mode);
}

int open(sqlite3_vfs * /*vfs*/, const char *path, sqlite3_file *file, int flags, int *flags_out) {
    if ((flags & SQLITE_OPEN_SUPER_JOURNAL) != 0 ||
        ((flags & SQLITE_OPEN_MAIN_JOURNAL) != 0 && is_no_regular_file(path))) {
        file->pMethods = nullptr;
        errno = EPERM;
        return SQLITE_CANTOPEN;
    }
    return trusting->xOpen(trusting, path, file, flags, flags_out);
}

// The end of a journal that names a super-journal: the name, its length and a checksum, each a big-endian number of 32
// bits, and SQLite's mark.
std::string super_journal_of(const std::string &path) {
    constexpr std::string_view mark("\xd9\xd5\x05\xf9\x20\xa1\x63\xd7");
    constexpr std::size_t behind_name = 4 + 4 + mark.size();
    std::string end(PATH_MAX + behind_name, '\0');
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = file.tellg();
    file.seekg(std::max<std::streamoff>(0, size - static_cast<std::streamoff>(end.size())));
    file.read(end.data(), static_cast<std::streamsize>(end.size()));
    end.resize(static_cast<std::size_t>(file.gcount()));
    if (end.size() < behind_name || !end.ends_with(mark)) {
        return {};
    }
    end.resize(end.size() - behind_name + 4);
    std::size_t length = 0;
    for (const char byte : end.substr(end.size() - 4)) {
        length = length << 8U | static_cast<unsigned char>(byte);
    }
    end.resize(end.size() - 4);
    return length <= end.size() ? end.substr(end.size() - length) : "";
}

} // namespace

void distrust_journals() {
    static sqlite3_vfs distrusting{};
    trusting = sqlite3_vfs_find(nullptr);
    distrusting = *trusting;
    distrusting.zName = "tqctl";
    distrusting.xOpen = open;
    sqlite3_vfs_register(&distrusting, 1);
}

std::string fault_of_journal(const std::string &database) {
    const std::string path = database + "-journal";
    if (is_no_regular_file(path.c_str())) {
        return path + " is no regular file, and no program of this store has made it; remove it";
    }
    const std::string named = super_journal_of(path);
    return named.empty() ? ""
                         : path + " names the file " + named +
                               ", which any other program that uses the database next deletes; remove the journal, "
                               "and restore a backup";
}

} // namespace tqctl
