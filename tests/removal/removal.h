// What the tests of removal stand on: tasks, configured folders, and whole trees that are compared before and after.
// Canaries lie beside everything.
#ifndef KORVO_TESTS_REMOVAL_H
#define KORVO_TESTS_REMOVAL_H

#include "files.h"
#include "support.h"

#include <map>
#include <string>
#include <vector>

namespace test {

namespace fs = std::filesystem;

using Tree = std::map<std::string, std::string>; // path; mode, and content or target
using Paths = std::vector<std::string>;

// Directories that forbid it are made readable on the way.
Tree tree(const fs::path &top = "/share");

void configure(const std::string &torrents, const std::string &downloads);

constexpr const char *torrent_file = "/mnt/HDA_ROOT/a task.torrent";
constexpr const char *torrent_database = "/mnt/HDA_ROOT/a task.torrent.db";

struct Task {
    decltype(&bt_task_remove) remove;
    int32_t id;
};

Task torrent(const std::string &name, int32_t state = 1, const std::string &move_folder = "",
             const std::string &file = torrent_file);
Task download(const std::string &address, const std::string &saved = "", int32_t state = 1,
              const std::string &move_folder = "");

class Removal : public StoreTest {
protected:
    Removal();
    ~Removal() override { clear(); }
    static void clear();
    // Removes the only task and expects just these paths to go, and its row.
    static void expect_gone(const Task &task, int32_t data_too, const Paths &gone);
};

} // namespace test

#endif
