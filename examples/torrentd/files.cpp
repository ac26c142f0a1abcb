#include "files.h"

#include "platform.h"

#include <algorithm>

#include <cstddef>
#include <fcntl.h>
#include <filesystem>
#include <korvo_bt_conventions.h>
#include <libtorrent/load_torrent.hpp>
#include <libtorrent/read_resume_data.hpp>
#include <sstream>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace torrentd {
namespace {

namespace fs = std::filesystem;

constexpr char fresh_suffix[] = ".new"; // of a file that is being written
constexpr std::size_t longest_name = 255;
constexpr std::size_t longest_file = 100 << 20;

std::string fast_resume_path(const std::string &directory, const std::string &name) {
    return directory + "/" + name + TQ_FAST_RESUME_SUFFIX;
}

// Reads an ordinary file. Anything else, such as a pipe that somebody put there, is none.
std::vector<char> read_file(const std::string &path) {
    std::vector<char> data;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    struct stat about {};
    if (file >= 0 && fstat(file, &about) == 0 && S_ISREG(about.st_mode) &&
        static_cast<std::size_t>(about.st_size) <= longest_file) {
        data.resize(static_cast<std::size_t>(about.st_size));
        if (read(file, data.data(), data.size()) != about.st_size) {
            data.clear();
        }
    }
    if (file >= 0) {
        close(file);
    }
    return data;
}

bool write_all(int file, const std::vector<char> &data) {
    std::size_t written = 0;
    while (written < data.size()) {
        const ssize_t more = write(file, data.data() + written, data.size() - written);
        if (more <= 0) {
            return false;
        }
        written += static_cast<std::size_t>(more);
    }
    return true;
}

} // namespace

std::string directory_of(const std::string &folder) {
    for (const fs::path &part : fs::path(folder)) {
        if (part == "..") {
            return {};
        }
    }
    return folder.empty() ? std::string() : "/share/" + folder;
}

std::string download_directory() {
    char folder[256] = "";
    Get_Profile_String("BTDownload", "BT Download Folder", "Download", folder, sizeof folder);
    return directory_of(folder);
}

std::string data_name(const lt::torrent_info &torrent) {
    const lt::file_storage &files = torrent.files();
    std::string name = files.file_path(lt::file_index_t{0});
    name.erase(std::min(name.find('/'), name.size()));
    for (const lt::file_index_t file : files.file_range()) {
        const std::string path = files.file_path(file);
        if (path != name && !path.starts_with(name + "/")) {
            return {};
        }
    }
    const bool fits = name.size() + sizeof TQ_FAST_RESUME_SUFFIX + sizeof fresh_suffix - 2 <= longest_name;
    return fits && name != "." && name != ".." && name.find('\0') == std::string::npos ? name : std::string();
}

std::string hash_text(const lt::info_hash_t &hashes) {
    std::ostringstream text;
    hashes.has_v1() ? text << hashes.v1 : text << hashes.v2;
    return text.str().substr(0, 40);
}

bool same_hash(const std::string &one, const std::string &other) {
    return strcasecmp(one.c_str(), other.c_str()) == 0;
}

bool exists(const std::string &path) {
    std::error_code none;
    return fs::exists(fs::symlink_status(path, none));
}

bool is_symlink(const std::string &path) {
    std::error_code none;
    return fs::is_symlink(path, none);
}

std::optional<lt::add_torrent_params> read_torrent_file(const std::string &path) {
    try {
        return lt::load_torrent_buffer(read_file(path));
    } catch (const lt::system_error &) {
        return {};
    }
}

std::optional<lt::add_torrent_params> read_fast_resume(const std::string &directory, const std::string &name,
                                                       const std::string &hash) {
    lt::error_code error;
    lt::add_torrent_params found = lt::read_resume_data(read_file(fast_resume_path(directory, name)), error);
    if (error || found.ti == nullptr || !same_hash(hash_text(found.ti->info_hashes()), hash)) {
        return {};
    }
    found.renamed_files.clear();
    return found;
}

bool write_fast_resume(const std::string &directory, const std::string &name, const std::vector<char> &data) {
    const std::string path = fast_resume_path(directory, name);
    const std::string fresh = path + fresh_suffix;
    unlink(fresh.c_str()); // of a daemon that was killed
    const int file = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    const bool written = file >= 0 && write_all(file, data) && fsync(file) == 0;
    if (file >= 0) {
        close(file);
    }
    if (!written || std::rename(fresh.c_str(), path.c_str()) != 0) {
        unlink(fresh.c_str());
        return false;
    }
    return true;
}

void remove_files(const std::string &directory, const std::string &name, bool with_data) {
    std::error_code ignored;
    unlink(fast_resume_path(directory, name).c_str());
    unlink((fast_resume_path(directory, name) + fresh_suffix).c_str());
    if (with_data) {
        fs::remove_all(directory + "/" + name, ignored);
    }
}

// The fast-resume file comes first: where it is, the name belongs to this torrent. A rename moves all of the data at
// once; a copy gets its name when it is complete.
std::string move_data(const std::string &from, const std::string &to, const std::string &name,
                      const std::vector<char> &fast_resume) {
    const std::string source = from + "/" + name;
    const std::string target = to + "/" + name;
    const std::string copy = target + fresh_suffix;
    std::error_code error;
    fs::create_directories(to, error);
    if (!exists(fast_resume_path(to, name)) && exists(target)) {
        return "the move folder has something of that name";
    }
    if (!write_fast_resume(to, name, fast_resume)) {
        return "the move folder cannot be written to";
    }
    if (exists(source) && !exists(target) && std::rename(source.c_str(), target.c_str()) != 0) {
        fs::remove_all(copy, error);
        fs::copy(source, copy, fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
        if (error) {
            const std::string reason = error.message();
            fs::remove_all(copy, error);
            remove_files(to, name, false);
            return "the data could not be moved: " + reason;
        }
        fs::rename(copy, target, error);
    }
    if (exists(target)) {
        fs::remove_all(source, error);
    }
    remove_files(from, name, false);
    return {};
}

} // namespace torrentd
