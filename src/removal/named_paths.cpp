#include "removal/named_paths.h"

#include "platform.h"
#include "services/settings.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace korvo {
namespace {

using Kind = NamedPath::Kind;

constexpr int32_t bt_state_in_move_folder = 5;

// What does not fit is left out.
void add(NamedPaths &list, Kind kind, const char *folder, const char *name, const char *ending = "") {
    NamedPath &path = list.paths[list.count];
    const auto folder_length = static_cast<std::size_t>(std::snprintf(path.folder, sizeof path.folder, "%s", folder));
    const auto length = static_cast<std::size_t>(std::snprintf(path.name, sizeof path.name, "%s%s", name, ending));
    if (folder_length < sizeof path.folder && length < sizeof path.name) {
        path.kind = kind;
        ++list.count;
    }
}

// ---- Texts that may have been truncated

// A text that fills its field is whole when it is what the row holds.
struct Stored {
    int32_t task_id;
    int column;
    const char *read;
    bool whole;
};

int compare(void *context, int columns, char **values, char ** /*names*/) {
    auto &stored = *static_cast<Stored *>(context);
    if (values[0] == nullptr || std::strtol(values[0], nullptr, 10) != stored.task_id) {
        return 0;
    }
    const char *value = stored.column < columns ? values[stored.column] : nullptr;
    stored.whole = value != nullptr && std::strcmp(value, stored.read) == 0;
    return 1;
}

template <std::size_t Width> bool whole(const BtTaskRecord &task, int column, const char (&field)[Width]) {
    Stored stored = {task.task_id, column, field, std::strlen(field) < Width - 1};
    if (!stored.whole) {
        bt_db_query_data_by_task_id_with_callback(compare, task.task_id, &stored);
    }
    return stored.whole;
}

template <std::size_t Width> bool whole(const HttpFtpTaskRecord &task, int column, const char (&field)[Width]) {
    Stored stored = {task.task_id, column, field, std::strlen(field) < Width - 1};
    if (!stored.whole) {
        http_ftp_db_query_task(nullptr, compare, 0, 0, 0, HTTP_FTP_TASK_FILTER_ALL, &stored);
    }
    return stored.whole;
}

// The directory below "/share/" that a task's data is in, at most Size - 2 bytes; null when it is longer or truncated.
template <std::size_t Size, class Record>
const char *find_folder(char (&configured)[Size], const char *key, const Record &task, bool moved, int move_column) {
    if (moved && task.task_move_folder[0] != '\0') {
        const bool usable =
            std::strlen(task.task_move_folder) < Size - 1 && whole(task, move_column, task.task_move_folder);
        return usable ? task.task_move_folder : nullptr;
    }
    configured[0] = '\0'; // should the read leave it alone: no directory is named then
    Get_Profile_String(settings_section, key, "Download", configured, Size);
    return strnlen(configured, Size) < Size - 1 ? configured : nullptr;
}

// ---- HTTP and FTP

// Paths of 1024 bytes and more are left out.
void add_download(NamedPaths &list, const char *folder, const char *name) {
    constexpr std::size_t longest = 1023;
    if (std::strlen("/share/") + std::strlen(folder) + std::strlen("/") + std::strlen(name) <= longest) {
        add(list, Kind::file, folder, name);
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

} // namespace

NamedPaths torrent_paths(const BtTaskRecord &task, bool data_too) {
    NamedPaths list;
    char configured[256 + 1];
    const bool moved = task.task_state == bt_state_in_move_folder;
    const char *folder = find_folder(configured, "BT Download Folder", task, moved, 24);
    if (folder != nullptr && whole(task, 1, task.task_torrent_name)) {
        if (data_too) {
            add(list, Kind::tree, folder, task.task_torrent_name);
        }
        add(list, Kind::file, folder, task.task_torrent_name, ".fastresume");
    }
    if (task.task_filename[0] != '\0' && whole(task, 2, task.task_filename)) {
        add(list, Kind::own_file, "", task.task_filename);
        add(list, Kind::own_file, "", task.task_filename, ".db");
    }
    return list;
}

NamedPaths download_paths(const HttpFtpTaskRecord &task, bool data_too) {
    NamedPaths list;
    char configured[1024 + 1];
    const bool finished = task.task_state == HTTP_FTP_TASK_STATE_FINISHED;
    const char *folder = data_too ? find_folder(configured, "HTTP_FTP Download Folder", task, finished, 16) : nullptr;
    if (folder == nullptr || !whole(task, 17, task.task_savename)) {
        return list;
    }
    const char *last = std::strrchr(task.task_filename, '/');
    if (task.task_savename[0] != '\0') {
        char decoded[sizeof task.task_savename];
        percent_decode(decoded, task.task_savename);
        add_download(list, folder, task.task_savename);
        add_download(list, folder, decoded);
    } else if (last != nullptr && whole(task, 2, task.task_filename)) {
        if (!finished) {
            char encoded[3 * sizeof task.task_filename];
            omra_url_encode(encoded, last + 1);
            add_download(list, folder, encoded);
        }
        add_download(list, folder, last + 1);
    }
    return list;
}

} // namespace korvo
