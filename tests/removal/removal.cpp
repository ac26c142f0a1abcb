#include "removal.h"

#include <sys/stat.h>

namespace test {
namespace {

// What is left of a tree without these paths and what lies below them.
Tree without(Tree tree, const Paths &gone) {
    for (const std::string &path : gone) {
        EXPECT_EQ(tree.erase(path), 1U) << "not there: " << path;
        std::erase_if(tree, [&](const auto &entry) { return entry.first.rfind(path + "/", 0) == 0; });
    }
    return tree;
}

int32_t add(const std::string &columns, const std::vector<std::string> &texts, int32_t state) {
    std::string values = std::to_string(state);
    for (const std::string &text : texts) {
        values.append(", ").append(literal(text));
    }
    return std::stoi(sql("INSERT INTO " + columns + " VALUES (" + values + ") RETURNING task_id")[0][0]);
}

} // namespace

Tree tree(const fs::path &top) {
    Tree found;
    for (const auto &entry : fs::recursive_directory_iterator(top)) {
        const fs::path &path = entry.path();
        struct stat status = {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0);
        found[path] = std::to_string(status.st_mode) + (entry.is_symlink()        ? fs::read_symlink(path).string()
                                                        : entry.is_regular_file() ? content(path)
                                                                                  : "");
        if (S_ISDIR(status.st_mode)) {
            fs::permissions(path, fs::perms::owner_all, fs::perm_options::add);
        }
    }
    return found;
}

void configure(const std::string &torrents, const std::string &downloads) {
    write_file(profile, "[BTDownload]\nBT Download Folder = " + torrents + "\nHTTP_FTP Download Folder = " + downloads);
}

Task torrent(const std::string &name, int32_t state, const std::string &move_folder, const std::string &file) {
    return {bt_task_remove, add("BT_TASK (task_state, task_torrent_name, task_move_folder, task_filename)",
                                {name, move_folder, file}, state)};
}

Task download(const std::string &address, const std::string &saved, int32_t state, const std::string &move_folder) {
    return {http_ftp_task_remove, add("HTTP_FTP_TASK (task_state, task_filename, task_savename, task_move_folder)",
                                      {address, saved, move_folder}, state)};
}

Removal::Removal() {
    clear();
    for (const auto create :
         {bt_db_create_tbl_task, http_ftp_db_create_tbl_task, bt_fdata_create_tbl, bt_infodata_create_tbl}) {
        EXPECT_EQ(create(), BTDB_OK);
    }
    for (const char *canary : {"/share/canary", "/share/Download/canary", "/share/Download/inner/canary",
                               "/share/Download.canary/f", "/share/Multimedia/canary", "/mnt/HDA_ROOT/canary"}) {
        write_file(canary);
    }
}

void Removal::clear() {
    for (const char *left : {profile, "/mnt/HDA_ROOT/canary", torrent_file, torrent_database}) {
        fs::remove_all(left);
    }
    for (const auto &share : fs::directory_iterator("/share")) {
        fs::remove_all(share);
    }
    fs::create_directory("/share/Download");
}

void Removal::expect_gone(const Task &task, int32_t data_too, const Paths &gone) {
    const Tree left = without(tree(), gone);
    EXPECT_EQ(task.remove(task.id, data_too), BTDB_OK);
    EXPECT_EQ(tree(), left);
    EXPECT_EQ(content("/mnt/HDA_ROOT/canary"), "data");
    EXPECT_EQ(sql("SELECT task_id FROM BT_TASK UNION ALL SELECT task_id FROM HTTP_FTP_TASK WHERE task_id > 0"), Rows());
}

} // namespace test
