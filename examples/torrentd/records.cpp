#include "records.h"

#include <algorithm>
#include <korvo_bt_conventions.h>
#include <limits>

namespace torrentd {
namespace {

int32_t percent(int64_t part, int64_t whole) {
    return whole > 0 ? narrow(static_cast<int64_t>(100.0 * static_cast<double>(part) / static_cast<double>(whole))) : 0;
}

std::string time_left(int64_t bytes, int64_t rate) {
    if (rate <= 0) {
        return TQ_TIME_LEFT_UNKNOWN;
    }
    const int64_t seconds = bytes / rate;
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", narrow(seconds / 3600), narrow(seconds / 60 % 60),
                  narrow(seconds % 60));
    return seconds < 100 * 3600 ? text : TQ_TIME_LEFT_MOST;
}

// A digit for each share of the pieces: 0 none of it, 9 all of it.
std::string piece_map(const lt::typed_bitfield<lt::piece_index_t> &pieces) {
    const int64_t count = pieces.size();
    const int64_t shares = std::min<int64_t>(count, sizeof BtTaskRecord::task_pieces - 1);
    std::string map;
    for (int64_t share = 0; share < shares; ++share) {
        const int64_t begin = share * count / shares;
        const int64_t end = (share + 1) * count / shares;
        int64_t there = 0;
        for (int64_t piece = begin; piece < end; ++piece) {
            there += pieces[lt::piece_index_t{static_cast<int32_t>(piece)}] ? 1 : 0;
        }
        map += static_cast<char>('0' + there * 9 / (end - begin));
    }
    return map;
}

} // namespace

int32_t narrow(int64_t number) {
    return static_cast<int32_t>(std::clamp<int64_t>(number, 0, std::numeric_limits<int32_t>::max()));
}

std::string local_time(std::time_t time, const char *format) {
    return bt_task_fmttime(narrow(time), format);
}

BtTaskRecord progress_of(const lt::torrent_status &status) {
    BtTaskRecord record{};
    put(record.task_current_tracker, status.current_tracker);
    record.task_progress = percent(status.total_wanted_done, status.total_wanted);
    record.task_total_wanted_done = narrow(status.total_wanted_done / TQ_BT_AMOUNT_UNIT);
    record.task_total_wanted = narrow(status.total_wanted / TQ_BT_AMOUNT_UNIT);
    record.task_all_time_download = narrow(status.all_time_download / TQ_BT_AMOUNT_UNIT);
    record.task_all_time_upload = narrow(status.all_time_upload / TQ_BT_AMOUNT_UNIT);
    record.task_download_rate = status.download_payload_rate;
    record.task_upload_rate = status.upload_payload_rate;
    record.task_num_peers = status.num_peers;
    record.task_num_seeds = status.num_seeds;
    put(record.task_pieces, piece_map(status.pieces));
    record.task_rating = static_cast<float>(percent(status.all_time_upload, status.all_time_download));
    put(record.task_time_left, time_left(status.total_wanted - status.total_wanted_done, status.download_payload_rate));
    return record;
}

BtInfoDataRecord metadata_of(const lt::torrent_info &torrent, const std::vector<std::string> &trackers) {
    BtInfoDataRecord record{};
    if (torrent.creation_date() > 0) {
        put(record.infodata_creation_date, local_time(torrent.creation_date(), TQ_TIME_FORMAT));
    }
    put(record.infodata_name, torrent.name());
    put(record.infodata_comment, torrent.comment());
    put(record.infodata_creator, torrent.creator());
    record.infodata_piece_length = torrent.piece_length();
    record.infodata_num_pieces = torrent.num_pieces();
    std::string lines;
    for (const std::string &tracker : trackers) {
        lines += lines.empty() ? tracker : "\n" + tracker;
    }
    put(record.infodata_trackers, lines);
    return record;
}

} // namespace torrentd
