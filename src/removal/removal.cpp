// Task removal: a task's row, its own files and, when asked, what it has downloaded. A failure on the way stops
// nothing.
//
// A path that was cut names another file. Therefore a text that may have been cut on its way into a record or a buffer
// is no path, and what it names stays.

#include "korvo_bt.h"
#include "platform.h"
#include "removal/delete_below_share.h"
#include "services/settings.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <unistd.h>

namespace korvo {
namespace {

constexpr char default_folder[] = "Download";
constexpr std::int32_t bt_state_in_move_folder = 5;
constexpr std::uint32_t by_task_id = 0;
constexpr std::uint32_t details_by_task_id = 2;
constexpr std::time_t companions_reappear_within_s = 3;

template <std::size_t Width> bool may_be_cut(const char (&field)[Width]) {
    return strnlen(field, Width) >= Width - 1;
}

// The folder below "/share/" that a task's data is in. False when the name is too long to be sure of.
template <std::size_t Size, std::size_t Width>
bool find_folder(char (&folder)[Size], const char *key, bool moved, const char (&move_folder)[Width]) {
    static_assert(Width - 1 <= Size, "what is not cut fits");
    // Whatever becomes of the read, it is never "/share/" itself.
    std::memcpy(folder, default_folder, sizeof default_folder);
    Get_Profile_String(settings_section, key, default_folder, folder, Size);
    if (moved && move_folder[0] != '\0') {
        if (may_be_cut(move_folder)) {
            return false;
        }
        std::memcpy(folder, move_folder, Width - 1);
        return true;
    }
    char whole[Size + 1] = "";
    if (may_be_cut(folder)) {
        Get_Profile_String(settings_section, key, default_folder, whole, sizeof whole);
    }
    return !may_be_cut(whole);
}

// ---- BitTorrent

void remove_torrent(const BtTaskRecord &task, bool data_too) {
    char folder[256];
    const bool moved = task.task_state == bt_state_in_move_folder;
    if (!find_folder(folder, "BT Download Folder", moved, task.task_move_folder) ||
        may_be_cut(task.task_torrent_name)) {
        return;
    }
    if (data_too) {
        remove_tree(folder, task.task_torrent_name);
    }
    char fast_resume[sizeof task.task_torrent_name + sizeof ".fastresume"];
    std::snprintf(fast_resume, sizeof fast_resume, "%s.fastresume", task.task_torrent_name);
    remove_file(folder, fast_resume);
}

void remove_companions(const char *filename) {
    if (filename[0] == '\0') {
        return;
    }
    char database[sizeof BtTaskRecord::task_filename + sizeof ".db"];
    std::snprintf(database, sizeof database, "%s.db", filename);
    unlink(filename);
    unlink(database);
}

// ---- HTTP and FTP

// Paths of 1024 bytes and more are not removed.
void remove_download(const char *folder, const char *name) {
    constexpr std::size_t longest = 1023;
    if (std::strlen("/share/") + std::strlen(folder) + std::strlen("/") + std::strlen(name) <= longest) {
        remove_file(folder, name);
    }
}

// a to f are 10 to 15, in either case: upper-case letters are 32 less, which the low bits do not show. What is no digit
// is not refused.
unsigned digit(char c) {
    const auto code = static_cast<unsigned char>(c);
    return code >= '0' && code <= '9' ? code - unsigned{'0'} : (code - unsigned{'a' - 10}) & 15U;
}

// A percent sign with fewer than two characters after it stands for itself.
void percent_decode(char *decoded, const char *name) {
    for (; *name != '\0'; ++name) {
        if (name[0] == '%' && name[1] != '\0' && name[2] != '\0') {
            *decoded++ = static_cast<char>(digit(name[1]) * 16 + digit(name[2]));
            name += 2;
        } else {
            *decoded++ = *name;
        }
    }
    *decoded = '\0';
}

void remove_downloads(const HttpFtpTaskRecord &task) {
    char folder[1024];
    const bool finished = task.task_state == HTTP_FTP_TASK_STATE_FINISHED;
    if (!find_folder(folder, "HTTP_FTP Download Folder", finished, task.task_move_folder) ||
        may_be_cut(task.task_savename)) {
        return;
    }
    if (task.task_savename[0] != '\0') {
        char decoded[sizeof task.task_savename];
        percent_decode(decoded, task.task_savename);
        remove_download(folder, task.task_savename);
        remove_download(folder, decoded);
        return;
    }
    char address[sizeof task.task_filename];
    const char *last = std::strrchr(task.task_filename, '/');
    if (last == nullptr || (may_be_cut(task.task_filename) &&
                            http_ftp_db_query_filename_by_task_id(task.task_id, address) != sizeof address - 1)) {
        return;
    }
    const char *name = last + 1;
    if (!finished) {
        char encoded[3 * sizeof task.task_filename];
        omra_url_encode(encoded, name);
        remove_download(folder, encoded);
    }
    remove_download(folder, name);
}

} // namespace
} // namespace korvo

std::int32_t bt_task_remove(std::int32_t task_id, std::int32_t remove_data) {
    BtTaskRecord task;
    if (bt_db_query_data_by_task_id(task_id, &task) != BTDB_OK) {
        return BTDB_ERR_NO_TASK;
    }
    char filename[sizeof task.task_filename];
    const bool whole = !korvo::may_be_cut(task.task_filename) ||
                       bt_db_query_filename_by_task_id(task_id, filename) == sizeof filename - 1;

    korvo::remove_torrent(task, remove_data != 0);
    if (whole) {
        korvo::remove_companions(task.task_filename);
    }
    bt_db_del_task(korvo::by_task_id, &task_id);
    bt_fdata_del(korvo::details_by_task_id, &task_id);
    bt_infodata_del(korvo::details_by_task_id, &task_id);

    // A torrent daemon that has not yet noticed may write the task's files once more.
    timespec left = {korvo::companions_reappear_within_s, 0};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
    if (whole) {
        korvo::remove_companions(task.task_filename);
    }
    return BTDB_OK;
}

std::int32_t http_ftp_task_remove(std::int32_t task_id, std::int32_t remove_data) {
    HttpFtpTaskRecord task;
    if (http_ftp_db_query_data_by_task_id(task_id, &task) != BTDB_OK) {
        return BTDB_ERR_NO_TASK;
    }
    if (task.task_pid > 0) {
        kill(task.task_pid, SIGKILL);
    }
    if (remove_data != 0) {
        korvo::remove_downloads(task);
    }
    http_ftp_db_del_task(korvo::by_task_id, &task_id);
    return BTDB_OK;
}
