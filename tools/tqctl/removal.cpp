// Tasks removed as a whole: tqctl remove. What would go is worked out here as the library does it, for the operator to
// see; the removal itself is the library's.
#include "failure.h"
#include "output.h"
#include "tasks.h"

#include <platform.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iostream>
#include <unistd.h>

namespace tqctl {
namespace {

namespace fs = std::filesystem;

// ---- What would go -------------------------------------------------------------------------------------------------

enum class Wanted { file, anything };

class Plan {
public:
    explicit Plan(std::string row) : lines_("row\t" + std::move(row) + "\n") {}

    void add_process(std::int32_t pid) { lines_ += "process\t" + std::to_string(pid) + "\n"; }

    // What is at a path, unless it is a folder and only files are wanted.
    void add(const fs::path &path, Wanted wanted) {
        std::error_code none;
        const fs::file_status status = fs::symlink_status(path, none);
        const bool folder = fs::is_directory(status);
        if (fs::exists(status) && (!folder || wanted == Wanted::anything)) {
            const std::string line = (folder ? "folder\t" : "file\t") + escaped(path.string(), output_charset()) + "\n";
            lines_ += lines_.find(line) == std::string::npos ? line : "";
        }
    }

    // The same below "/share/", where nothing climbs and no link is followed.
    void add_shared(const std::string &folder, const std::string &name, Wanted wanted) {
        const fs::path named = "/share/" + folder + "/" + name;
        const fs::path path = named.lexically_normal();
        std::error_code none;
        const bool inside = std::find(named.begin(), named.end(), "..") == named.end() && path.has_filename() &&
                            fs::path("/" + name).lexically_normal() != "/" &&
                            fs::canonical(path.parent_path(), none) == path.parent_path();
        if (inside) {
            add(path, wanted);
        }
    }

    const std::string &lines() const { return lines_; }

private:
    std::string lines_;
};

std::string folder_of(const char *key, bool moved, const std::string &move_folder) {
    if (moved && !move_folder.empty()) {
        return move_folder;
    }
    char folder[1024] = "";
    Get_Profile_String("BTDownload", key, "Download", folder, sizeof folder);
    return folder;
}

void plan_bt(Plan &plan, std::int32_t id, bool data_too) {
    constexpr std::int32_t moved_state = 5;
    BtTaskRecord task{};
    bt_db_query_data_by_task_id(id, &task);
    const std::string folder = folder_of("BT Download Folder", task.task_state == moved_state, task.task_move_folder);
    const std::string name = task.task_torrent_name;
    if (data_too) {
        plan.add_shared(folder, name, Wanted::anything);
    }
    plan.add_shared(folder, name + ".fastresume", Wanted::file);
    if (task.task_filename[0] != '\0') {
        plan.add(task.task_filename, Wanted::file);
        plan.add(std::string(task.task_filename) + ".db", Wanted::file);
    }
}

int digit(char c) {
    const int code = static_cast<unsigned char>(c);
    return std::isdigit(code) != 0 ? code - '0' : (code - ('a' - 10)) & 15;
}

std::string percent_decoded(const std::string &name) {
    std::string out;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool escape = name[i] == '%' && i + 2 < name.size();
        out += escape ? static_cast<char>(digit(name[i + 1]) * 16 + digit(name[i + 2])) : name[i];
        i += escape ? 2 : 0;
    }
    return out.substr(0, out.find('\0')); // an encoded NUL ends it
}

void plan_http(Plan &plan, std::int32_t id, bool data_too) {
    HttpFtpTaskRecord task{};
    http_ftp_db_query_data_by_task_id(id, &task);
    if (task.task_pid > 0) {
        plan.add_process(task.task_pid);
    }
    if (!data_too) {
        return;
    }
    const bool finished = task.task_state == HTTP_FTP_TASK_STATE_FINISHED;
    const std::string folder = folder_of("HTTP_FTP Download Folder", finished, task.task_move_folder);
    const std::string saved = task.task_savename;
    const char *last = std::strrchr(task.task_filename, '/');
    if (!saved.empty()) {
        plan.add_shared(folder, saved, Wanted::file);
        plan.add_shared(folder, percent_decoded(saved), Wanted::file);
    } else if (last != nullptr) {
        char encoded[3 * sizeof task.task_filename];
        omra_url_encode(encoded, last + 1);
        plan.add_shared(folder, finished ? last + 1 : encoded, Wanted::file);
        plan.add_shared(folder, last + 1, Wanted::file);
    }
}

bool agreed() {
    std::cerr << "Remove all of this? [y/N] " << std::flush;
    std::string answer;
    return std::getline(std::cin, answer) && (answer == "y" || answer == "yes");
}

} // namespace

void remove_task(const TaskKind &kind, std::int32_t id, const RemoveOptions &options) {
    require_database();
    kind.require(id);
    const bool torrent = &kind == &bt_tasks;
    Plan plan(named(kind, id));
    (torrent ? plan_bt : plan_http)(plan, id, options.delete_data);
    if (options.dry_run) {
        return print(plan.lines());
    }
    if (!options.yes) {
        if (isatty(STDIN_FILENO) == 0) {
            throw Failure(Exit::usage, "tqctl: nobody can be asked here; --yes removes without asking");
        }
        std::cerr << plan.lines();
        if (!agreed()) {
            throw Failure(Exit::failed, "tqctl: nothing was removed");
        }
    }
    const std::int32_t result = (torrent ? bt_task_remove : http_ftp_task_remove)(id, options.delete_data ? 1 : 0);
    checked(torrent ? "bt_task_remove" : "http_ftp_task_remove", result, *kind.store, named(kind, id));
    // The library goes on when a row cannot be deleted, and says nothing.
    bool gone = false;
    try {
        kind.require(id);
    } catch (const Failure &failure) {
        gone = failure.exit() == Exit::not_there;
    }
    if (!gone) {
        throw Failure(Exit::failed, "tqctl: " + named(kind, id) + " is still there, though its files may be gone");
    }
}

} // namespace tqctl
