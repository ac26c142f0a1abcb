// What the store is told of a torrent: units, times and texts as the conventions have them.
#ifndef KORVO_TORRENTD_RECORDS_H
#define KORVO_TORRENTD_RECORDS_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <korvo_bt.h>
#include <libtorrent/torrent_info.hpp>
#include <libtorrent/torrent_status.hpp>
#include <string>
#include <vector>

namespace torrentd {

// A text that is too long is cut: it is for reading only.
template <std::size_t Size> void put(char (&field)[Size], const std::string &text) {
    std::snprintf(field, Size, "%s", text.c_str());
}

// The nearest number that a field can hold; none of those here is negative.
int32_t narrow(int64_t number);

std::string local_time(std::time_t time, const char *format);

// A task's record as far as the session knows it.
BtTaskRecord progress_of(const lt::torrent_status &status);

BtInfoDataRecord metadata_of(const lt::torrent_info &torrent, const std::vector<std::string> &trackers);

} // namespace torrentd

#endif
