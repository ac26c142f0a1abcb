// Reads .torrent files. Takes any bytes: they come from web pages.
#ifndef KORVO_TQCTL_FORMATS_TORRENT_H
#define KORVO_TQCTL_FORMATS_TORRENT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tqctl {

struct Torrent {
    std::string name; // of the data: one path component
    std::string hash; // 40 hexadecimal digits, lower case
    struct File {
        std::string path; // begins with the name, no component ".." in it
        std::int64_t size;
    };
    std::vector<File> files;
    std::int64_t size = 0; // of all files
    std::int64_t piece_length = 0;
    std::int64_t pieces = 0;
};

struct TorrentReading {
    Torrent torrent;
    const char *fault; // nullptr, or what is wrong with the file
};

TorrentReading read_torrent(std::string_view bytes);

} // namespace tqctl

#endif
