// The removal of tasks: exactly the named path goes, whatever the names hold and whatever happens to the folders
// meanwhile. Whole trees are compared before and after; canaries lie beside everything. The wait is this program's own.

#include "child.h"
#include "files.h"
#include "next.h"
#include "support.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <iostream>
#include <map>
#include <random>
#include <sched.h>
#include <set>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace test;
namespace fs = std::filesystem;

static bool memory_for_folders = true;
static std::vector<double> waits; // until when; a signal ends the first one early
static std::function<void()> while_waiting;
static int swap_at_open = 0; // the openat() before which the folder is swapped for a link; 0: none

extern "C" {
int openat(int in, const char *name, int flags, ...) {
    const std::string last = name; // of the way to the share a symlink is followed
    if (last != "/" && last != "share" && last != "Download" && swap_at_open > 0 && --swap_at_open == 0) {
        EXPECT_EQ(renameat(in, name, AT_FDCWD, "/share/aside"), 0);
        EXPECT_EQ(symlinkat("/share/other", in, name), 0);
    }
    return next(openat, "openat")(in, name, flags, 0600);
}
int clock_nanosleep(clockid_t, int, const timespec *until, timespec *) {
    waits.push_back(double(until->tv_sec) + double(until->tv_nsec) / 1e9);
    if (waits.size() == 1) {
        return EINTR;
    }
    if (while_waiting) {
        while_waiting();
    }
    return 0;
}
DIR *fdopendir(int descriptor) {
    return memory_for_folders ? next(fdopendir, "fdopendir")(descriptor) : nullptr;
}
}

static int effort(int least, int quick, int full) {
    const char *value = std::getenv("KORVO_EFFORT");
    const std::string effort = value != nullptr ? value : "";
    return effort == "least" ? least : effort == "full" ? full : quick;
}

// ---- Trees

using Tree = std::map<std::string, std::string>; // path and content
using Paths = std::vector<std::string>;

static Tree tree(const fs::path &top = "/share") {
    Tree found;
    for (const auto &entry : fs::recursive_directory_iterator(top)) {
        const fs::path &path = entry.path();
        found[path] = entry.is_symlink()        ? std::string("-> ").append(fs::read_symlink(path))
                      : entry.is_directory()    ? "folder"
                      : entry.is_regular_file() ? content(path)
                                                : "pipe";
    }
    return found;
}

// What is left of a tree without these paths and what lies below them.
static Tree without(Tree tree, const Paths &gone) {
    for (const std::string &path : gone) {
        EXPECT_EQ(tree.erase(path), 1U) << "not there: " << path;
        std::erase_if(tree, [&](const auto &entry) { return entry.first.rfind(path + "/", 0) == 0; });
    }
    return tree;
}

static void plant_link(const std::string &to, const fs::path &at) {
    fs::create_directories(at.parent_path());
    fs::create_symlink(to, at);
}

static void configure(const std::string &torrents, const std::string &downloads) {
    write_file(profile, "[BTDownload]\nBT Download Folder = " + torrents + "\nHTTP_FTP Download Folder = " + downloads);
}

// ---- Tasks

static const char *const torrent_file = "/mnt/HDA_ROOT/a task.torrent";
static const char *const torrent_database = "/mnt/HDA_ROOT/a task.torrent.db";

struct Task {
    decltype(&bt_task_remove) remove;
    std::int32_t id;
};

static std::int32_t added(const std::string &columns, const std::vector<std::string> &texts, std::int32_t state) {
    std::string values = std::to_string(state);
    for (const std::string &text : texts) {
        values.append(", ").append(literal(text));
    }
    return std::stoi(sql("INSERT INTO " + columns + " VALUES (" + values + ") RETURNING task_id")[0][0]);
}

static Task torrent(const std::string &name, std::int32_t state = 1, const std::string &move_folder = "",
                    const std::string &file = torrent_file) {
    return {bt_task_remove, added("BT_TASK (task_state, task_torrent_name, task_move_folder, task_filename)",
                                  {name, move_folder, file}, state)};
}

static Task download(const std::string &address, const std::string &saved = "", std::int32_t state = 1,
                     const std::string &move_folder = "") {
    return {http_ftp_task_remove, added("HTTP_FTP_TASK (task_state, task_filename, task_savename, task_move_folder)",
                                        {address, saved, move_folder}, state)};
}

static Task with_process(Task task, pid_t process) {
    sql("UPDATE HTTP_FTP_TASK SET task_pid = " + std::to_string(process));
    return task;
}

class Removal : public StoreTest {
protected:
    Removal() {
        clear();
        for (const auto create :
             {bt_db_create_tbl_task, http_ftp_db_create_tbl_task, bt_fdata_create_tbl, bt_infodata_create_tbl}) {
            EXPECT_EQ(create(), BTDB_OK);
        }
        for (const char *canary : {"/share/canary", "/share/Download/canary", "/share/Download/folder/canary",
                                   "/share/Download.canary/f", "/share/Multimedia/canary", "/mnt/HDA_ROOT/canary"}) {
            write_file(canary);
        }
    }
    ~Removal() override {
        while_waiting = nullptr;
        waits.clear();
        clear();
    }
    static void clear() {
        for (const char *left : {profile, "/mnt/HDA_ROOT/canary", torrent_file, torrent_database}) {
            fs::remove_all(left);
        }
        for (const auto &share : fs::directory_iterator("/share")) {
            fs::remove_all(share);
        }
        fs::create_directory("/share/Download");
    }
    // Removes the only task and expects just these paths to go, and its row.
    static void expect_gone(const Task &task, std::int32_t data_too, const Paths &gone) {
        const Tree left = without(tree(), gone);
        EXPECT_EQ(task.remove(task.id, data_too), BTDB_OK);
        EXPECT_EQ(tree(), left);
        EXPECT_EQ(content("/mnt/HDA_ROOT/canary"), "data");
        EXPECT_EQ(sql("SELECT task_id FROM BT_TASK UNION ALL SELECT task_id FROM HTTP_FTP_TASK"), Rows());
    }
};

// ---- Which paths

TEST_F(Removal, ATorrentsDataIsWhereItsStateAndFolderSay) {
    for (const std::string usual : {"/share/Download/image.iso", "/share/Films/image.iso"}) {
        const std::string moved = "/share/Multimedia/image.iso";
        const struct {
            std::int32_t state;
            const char *move_folder;
            std::string place;
        } cases[] = {{1, "", usual},
                     {4, "Multimedia", usual},
                     {5, "Multimedia", moved},
                     {5, "", usual},
                     {6, "Multimedia", usual}};
        for (const auto &[state, move_folder, place] : cases) {
            for (const std::int32_t data_too : {0, 1, -1}) {
                for (const std::string &path : {usual, moved}) {
                    write_file(path + "/sub/file");
                    write_file(path + ".fastresume");
                }
                write_file(torrent_file);
                write_file(torrent_database);
                expect_gone(torrent("image.iso", state, move_folder), data_too,
                            data_too != 0 ? Paths{place, place + ".fastresume"} : Paths{place + ".fastresume"});
                EXPECT_FALSE(fs::exists(torrent_file) || fs::exists(torrent_database));
            }
        }
        configure("Films", "x");
    }
}

TEST_F(Removal, ATorrentsNameIsTakenAsItIs) {
    for (const std::string &name : std::vector<std::string>{
             "a b", "it's", "\"q\"", "$HOME $(x) `x`", "a\\", "a\nb", "-rf", "*", "...", "~", "%2e", "\xff\xfe",
             "folder/sub", "/a", "folder//./sub", "a/", "; rm -rf /share", std::string(255, 'n')}) {
        write_file("/share/Download/a beside");
        const fs::path path = fs::weakly_canonical("/share/Download/" + name + "/x").parent_path();
        write_file(path / "sub" / "file");
        SCOPED_TRACE(path);
        expect_gone(torrent(name), 1, {path});
    }
}

TEST_F(Removal, ANameThatClimbsRemovesTheTaskAndNoData) {
    for (const char *name : {"", ".", "..", "/", "./", "../", "../canary", "folder/..", "folder/../canary", "/..",
                             "folder/../../canary", "../../mnt/HDA_ROOT/canary"}) {
        write_file(torrent_file);
        expect_gone(torrent(name), 1, {});
        EXPECT_FALSE(fs::exists(torrent_file));
        expect_gone(download("x", name), 1, {});
    }
    for (const char *climbing : {"..", "Download/../Multimedia"}) {
        expect_gone(torrent("canary", 5, climbing), 1, {});
        expect_gone(download("x", "canary", 3, climbing), 1, {});
    }
}

TEST_F(Removal, ADownloadedFileIsWhereItsNameAndStateSay) {
    const std::string hostile = "-rf $(x) `x` \"'\\\n";
    for (const std::string down : {"/share/Download/", "/share/Web/"}) {
        const std::string multi = "/share/Multimedia/";
        const struct {
            std::string address, saved;
            std::int32_t state;
            const char *move_folder;
            Paths gone;
        } cases[] = {
            {"http://h/x", "my%20file", 2, "Multimedia", {down + "my%20file", down + "my file"}},
            {"http://h/x", "my%20file", 3, "Multimedia", {multi + "my%20file", multi + "my file"}},
            {"http://h/x", "my%20file", 3, "", {down + "my%20file", down + "my file"}},
            {"http://h/my file", "", 2, "Multimedia", {down + "my%20file", down + "my file"}},
            {"http://h/my file", "", 3, "Multimedia", {multi + "my file"}},
            {"http://h/my file", "", 3, "", {down + "my file"}},
            {"http://h/my%20file", "", 1, "", {down + "my%20file"}},
            {"my file", "", 1, "", {}},
            {"http://h/", "", 1, "", {}},
            {"http://h/..", "", 1, "", {}},
            {"x", "folder", 1, "", {}},
            {"x", "folder/canary", 1, "", {down + "folder/canary"}},
            {"x", "canary/", 1, "", {}},
            {"x", "%2e%2e%2fcanary", 1, "", {}},
            {"x", "folder%2F..%2f..%2Fcanary", 1, "", {}},
            {"x", "c%61%6Ea%72y", 1, "", {down + "canary"}},
            {"x", "c%6hnary", 1, "", {down + "canary"}}, // digits that are none
            {"x", "%v3%v1nary", 1, "", {down + "\xf3\xf1nary"}},
            {"x", "c%61nary%", 1, "", {down + "canary%"}},
            {"x", "c%61nary%4", 1, "", {down + "canary%4"}},
            {"x", hostile, 1, "", {down + hostile}},
        };
        for (const auto &[address, saved, state, move_folder, gone] : cases) {
            SCOPED_TRACE(address + " " + saved + " " + std::to_string(state));
            for (const std::string &place : {down, multi}) {
                for (const std::string &name : {std::string("my%20file"), std::string("my file"), hostile}) {
                    write_file(place + name);
                }
            }
            for (const char *name : {"canary%", "canary%4", "\xf3\xf1nary", "canary", "folder/canary"}) {
                write_file(down + name);
            }
            expect_gone(download(address, saved, state, move_folder), 0, {});
            expect_gone(download(address, saved, state, move_folder), 1, gone);
        }
        configure("Download", "Web");
    }
}

// A truncated path would name the file "nam" or, with the slashes it is padded with, the file itself.
TEST_F(Removal, ATruncatedTextIsNoPath) {
    const auto padded = [](std::size_t length) { return "Download" + std::string(length - 8, '/'); };
    const auto encoded = [](std::size_t length) { // short once it is decoded
        std::string slashes(length % 3, '/');
        while (slashes.size() < length) {
            slashes += "%2f";
        }
        return slashes;
    };
    const std::size_t longest_folder = 1023 - std::string("/share//name").size();
    const struct {
        std::size_t longest;
        std::function<Task(std::size_t)> add;
    } cases[] = {
        {255, [&](std::size_t length) { return torrent("name", 5, padded(length)); }},
        {256, [&](std::size_t length) { return download("/", "name", 3, padded(length)); }},
        {1024, [](std::size_t length) { return torrent(std::string(length - 4, '/') + "name"); }},
        {1023, [&](std::size_t length) { return download("/", encoded(length - 4) + "name"); }},
        {1024, [](std::size_t length) { return download(std::string(length - 5, 'x') + "/name"); }},
        {255, [&](std::size_t length) { return configure(padded(length), ""), torrent("name"); }},
        {longest_folder, [&](std::size_t length) { return configure("", padded(length)), download("/", "name"); }},
        {longest_folder, [&](std::size_t length) { return configure("", padded(length)), download("/name"); }},
    };
    for (const auto &[longest, add] : cases) {
        for (const char *name : {"name", "nam"}) {
            write_file(std::string("/share/Download/") + name);
        }
        SCOPED_TRACE(longest);
        expect_gone(add(longest + 2), 1, {});
        expect_gone(add(longest + 1), 1, {});
        expect_gone(add(longest), 1, {"/share/Download/name"});
    }
    fs::remove(profile);

    // Blanks triple; what does not fit encoded still goes as it is.
    const std::string blanks(250, ' ');
    write_file("/share/Download/" + blanks);
    expect_gone(download('/' + blanks), 1, {"/share/Download/" + blanks});
    expect_gone(download('/' + std::string(1000, ' ')), 1, {});

    // A torrent file of 1024 bytes fits; of a longer name only so much arrives.
    const std::string file = "/mnt" + std::string(1010, '/') + "HDA_ROOT/x";
    for (const std::string rest : {"", "yz"}) {
        write_file("/mnt/HDA_ROOT/x");
        expect_gone(torrent("a", 1, "", file + rest), 0, {});
        EXPECT_EQ(fs::remove("/mnt/HDA_ROOT/x"), !rest.empty());
    }
}

// ---- Trees of all kinds

TEST_F(Removal, LinksAreRemovedAndNotFollowed) {
    plant_link("/share/Multimedia", "/share/Download/data/in/absolute");
    plant_link("../../../Multimedia", "/share/Download/data/in/relative");
    plant_link("/share/Multimedia/canary", "/share/Download/data/file");
    plant_link("nowhere", "/share/Download/data/dangling");
    fs::create_hard_link("/share/canary", "/share/Download/data/hard");
    mkfifo("/share/Download/data/pipe", 0600);
    expect_gone(torrent("data"), 1, {"/share/Download/data"});

    for (const char *to : {"/share/Multimedia", "../Multimedia", "/share/Multimedia/canary", "nowhere", "."}) {
        plant_link(to, "/share/Download/link");
        expect_gone(torrent("link"), 1, {"/share/Download/link"});
        plant_link(to, "/share/Download/link");
        expect_gone(torrent("link/canary"), 1, {});
        expect_gone(torrent("canary", 5, "Download/link"), 1, {});
        expect_gone(download("/", "link/canary"), 1, {});
        expect_gone(download("/", "canary", 3, "Download/link"), 1, {});
        expect_gone(download("http://h/link"), 1, {"/share/Download/link"});
    }
}

// Shares are symlinks on devices.
TEST_F(Removal, AShareMayBeASymlinkAndStays) {
    const Paths files = {"/share/Multimedia/sub/film/f", "/share/Multimedia/sub/film.fastresume",
                         "/share/Multimedia/web"};
    for (const char *to : {"Multimedia", "/share/Multimedia", "../share/./Download/../Chained", "/share/Chained/"}) {
        plant_link("Multimedia/", "/share/Chained");
        plant_link(to, "/share/Linked");
        for (const std::string &file : files) {
            write_file(file);
        }
        expect_gone(torrent("film", 5, "Linked/sub"), 1, {"/share/Multimedia/sub/film", files[1]});
        expect_gone(download("/", "web", 3, "Linked"), 1, {files[2]});
        for (const char *nowhere : {"", ".", "/", "./"}) { // the share itself is never what is named
            configure(nowhere, nowhere);
            expect_gone(torrent("Linked"), 1, {});
            expect_gone(torrent("Multimedia", 5, "/"), 1, {});
            expect_gone(download("/Linked"), 1, {});
        }
        expect_gone(torrent("film", 5, "Linked/.."), 1, {});
        fs::remove("/share/Linked");
        fs::remove("/share/Chained");
    }
    plant_link("Round", "/share/Round");
    plant_link("nowhere", "/share/Dangling");
    plant_link("Multimedia/canary", "/share/File");
    for (const char *share : {"Round", "Dangling", "File"}) {
        expect_gone(torrent("canary", 5, share), 1, {});
    }
}

TEST_F(Removal, ADeepOrLargeTreeNeedsNeitherDescriptorsNorStack) {
    const auto outcome = in_child([] {
        const rlimit descriptors = {20, 20}, stack = {1 << 20, 1 << 20};
        setrlimit(RLIMIT_NOFILE, &descriptors);
        setrlimit(RLIMIT_STACK, &stack);
        const Tree before = tree();
        for (const int depth : {1, 31, 32, 33, 1000, effort(2000, 2000, 50000)}) {
            fs::current_path("/share/Download");
            for (int level = 0; level < depth; ++level) {
                const std::string name = level == 0 ? "deep" : std::string(200, 'd');
                fs::create_directory(name);
                fs::current_path(name);
                if (level % 30 == 0) {
                    fs::create_directory("beside");
                    std::ofstream("file");
                }
            }
            EXPECT_EQ(bt_task_remove(torrent("deep").id, 1), BTDB_OK);
            ASSERT_FALSE(fs::exists("/share/Download/deep")) << depth;
        }
        EXPECT_EQ(tree(), before);
    });
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    for (int i = 0; i < effort(1000, 1000, 100000); ++i) {
        write_file("/share/Download/wide/" + std::to_string(i % 100) + "/" + std::to_string(i));
        fs::create_directory("/share/Download/wide/" + std::to_string(i));
    }
    expect_gone(torrent("wide"), 1, {"/share/Download/wide"});
}

TEST_F(Removal, WhatCannotBeRemovedStopsNothing) {
    write_file("/share/Download/data/sub/file");
    memory_for_folders = false;
    EXPECT_EQ(bt_task_remove(torrent("data").id, 1), BTDB_OK);
    memory_for_folders = true;
    EXPECT_TRUE(fs::exists("/share/Download/data/sub/file"));
    sql("DROP TABLE BT_FDATA");
    expect_gone(torrent("x"), 0, {});
}

// ---- As rm -rf does

class Random {
public:
    explicit Random(int seed) : engine_(static_cast<unsigned>(seed)) {}
    std::size_t operator()(std::size_t below) { return engine_() % below; }

private:
    std::mt19937 engine_;
};

// Something of any kind, with forbidding modes, and mount points where these are possible.
static void plant_anything(const fs::path &at, Random &random, int depth) {
    const std::size_t kind = random(12);
    if (kind == 0) {
        const char *const targets[] = {"/share/Multimedia", "../..", ".", "/share/canary", "nowhere"};
        fs::create_symlink(targets[random(std::size(targets))], at);
    } else if (kind == 1) {
        mkfifo(at.c_str(), 0600);
    } else if (kind < 5 || depth == 0) {
        write_file(at);
    } else {
        fs::path inner = at;
        for (std::size_t level = kind == 5 ? random(80) : 0; level > 0; --level) {
            inner /= "d";
        }
        fs::create_directories(inner);
        if (kind == 6) {
            mount("none", inner.c_str(), "tmpfs", 0, nullptr); // refused to an ordinary user
        }
        for (std::size_t entry = random(7); entry > 0; --entry) {
            const std::string names[] = {"a", "a\nb", "-rf", "\xff*", std::string(254, 'n')};
            plant_anything(inner / (names[random(std::size(names))] + std::to_string(entry)), random, depth - 1);
        }
        const mode_t modes[] = {0, 0100, 0300, 0400, 0500, 0600};
        const std::size_t mode = random(20);
        chmod(inner.c_str(), mode < std::size(modes) ? modes[mode] : 0700);
    }
}

// What has been left, each with its mode; takes it away.
static void clear_away(const fs::path &at, const std::string &name, Paths &left) {
    struct stat status;
    if (lstat(at.c_str(), &status) != 0) {
        return;
    }
    left.push_back(name + " " + std::to_string(status.st_mode));
    if (!S_ISDIR(status.st_mode)) {
        fs::remove(at);
        return;
    }
    chmod(at.c_str(), 0700);
    std::set<fs::path> entries;
    for (const auto &entry : fs::directory_iterator(at)) {
        entries.insert(entry.path());
    }
    for (const fs::path &entry : entries) {
        clear_away(entry, name + "/" + entry.filename().string(), left);
    }
    umount2(at.c_str(), MNT_DETACH);
    fs::remove(at);
}

static void compare_with_rm() {
    write_file("/share/Other/canary");
    write_file("/share/Download/canary");
    const Tree before = tree();
    int with_leftovers = 0;
    for (int seed = 0; seed < effort(20, 60, 3000) && !testing::Test::HasFailure(); ++seed) {
        Paths left[2];
        const char *const tops[] = {"/share/Download/top", "/share/Other/top"};
        for (const char *top : tops) {
            Random random(seed);
            plant_anything(top, random, 4);
        }
        const std::string slash = seed % 5 == 0 && !fs::is_symlink(tops[0]) ? "/" : ""; // rm would follow that one
        const Task task = torrent("top" + slash);
        const rlimit few = {static_cast<rlim_t>(seed % 2 == 0 ? 16 : 1024), 1024};
        setrlimit(RLIMIT_NOFILE, &few);
        EXPECT_EQ(bt_task_remove(task.id, 1), BTDB_OK);
        const rlimit many = {1024, 1024};
        setrlimit(RLIMIT_NOFILE, &many);
        EXPECT_NE(std::system(("rm -rf /share/Other/top" + slash + " 2>/dev/null").c_str()), -1);
        for (int i = 0; i < 2; ++i) {
            clear_away(tops[i], "top", left[i]);
        }
        EXPECT_EQ(left[0], left[1]) << seed;
        EXPECT_EQ(tree(), before) << seed;
        with_leftovers += left[0].empty() ? 0 : 1;
    }
    EXPECT_GT(with_leftovers, effort(1, 3, 100));
}

// Becomes root with all rights over its own files, in a space of its own. Refused where root has given them up.
static bool become_root() {
    const std::string user = std::to_string(geteuid()), group = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return false;
    }
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/gid_map") << "0 " + group + " 1";
    return static_cast<bool>(std::ofstream("/proc/self/uid_map") << "0 " + user + " 1" << std::flush);
}

TEST_F(Removal, LeavesWhatRmLeaves) {
    Outcome outcome = in_child(compare_with_rm);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    outcome = in_child([] {
        if (become_root()) {
            compare_with_rm();
        } else {
            std::cout << "Not compared as root with all rights, which cannot be had here.\n";
        }
    });
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
}

TEST_F(Removal, EndsWhileOthersCreateFiles) {
    std::vector<pid_t> others;
    for (int other = 0; other < 4; ++other) {
        others.push_back(fork());
        for (unsigned i = 0; others.back() == 0; ++i) {
            mkdir("/share/Download/busy", 0700);
            close(creat(("/share/Download/busy/" + std::to_string(getpid()) + "." + std::to_string(i)).c_str(), 0600));
        }
    }
    while (!fs::exists("/share/Download/busy")) {
    }
    EXPECT_EQ(bt_task_remove(torrent("busy").id, 1), BTDB_OK);
    for (const pid_t other : others) {
        kill(other, SIGKILL);
        waitpid(other, nullptr, 0);
    }
    EXPECT_EQ(sql("SELECT task_id FROM BT_TASK"), Rows());
}

// ---- Rows and processes

TEST_F(Removal, TheTasksRowsGoInOrderAndOthersStay) {
    const std::int32_t id = torrent("name").id, other = torrent("other").id;
    for (const std::string &task : {std::to_string(id), std::to_string(other)}) {
        sql("INSERT INTO BT_FDATA (fdata_task_id) VALUES (" + task + "), (" + task + ");" +
            "INSERT INTO BT_INFODATA (infodata_task_id) VALUES (" + task + ")");
    }
    download("http://h/x");
    const Paths files = {torrent_file, torrent_database, "/share/Download/name.fastresume"};
    const auto write_files = [&] {
        for (const std::string &file : files) {
            EXPECT_FALSE(fs::exists(file));
            write_file(file);
        }
    };
    write_files();
    for (const std::string table : {"BT_FDATA", "BT_INFODATA"}) { // as a lock would, until it is dropped
        sql("CREATE TRIGGER refuse_" + table + " BEFORE DELETE ON " + table + " BEGIN SELECT RAISE(FAIL, 'no'); END");
    }
    while_waiting = [&] {
        sql("DROP TRIGGER refuse_BT_FDATA; DROP TRIGGER refuse_BT_INFODATA");
        EXPECT_EQ(sql("SELECT task_id FROM BT_TASK"), Rows{{"2"}}) << "the wait comes last";
        write_files();
        while_waiting = nullptr;
    };
    std::vector<std::string> statements;
    {
        const Recording recording;
        EXPECT_EQ(bt_task_remove(id, 1), BTDB_OK);
        for (const std::string &call : recording.calls) {
            if (call.rfind("run DELETE FROM ", 0) == 0) {
                statements.push_back(call.substr(16, call.find(' ', 16) - 16));
            }
        }
    }
    EXPECT_EQ(statements, (std::vector<std::string>{"BT_TASK", "BT_FDATA", "BT_INFODATA", "BT_FDATA", "BT_INFODATA"}))
        << "tried again";
    EXPECT_EQ(waits[0], waits[1]) << "after a signal";
    EXPECT_NEAR(waits.back() - waits[0], 2.95, 1e-6) << "steps";
    EXPECT_FALSE(fs::exists(torrent_file) || fs::exists(torrent_database)) << "removed once more";
    EXPECT_TRUE(fs::exists(files[2])) << "not once more";
    EXPECT_EQ(sql("SELECT fdata_task_id FROM BT_FDATA UNION ALL SELECT infodata_task_id FROM BT_INFODATA "
                  "UNION ALL SELECT 'web ' || count(*) FROM HTTP_FTP_TASK"),
              (Rows{{"2"}, {"2"}, {"2"}, {"web 1"}}));
}

TEST_F(Removal, OnlyTheProcessOfAKnownTaskIsKilled) {
    const pid_t downloader = fork();
    if (downloader == 0) {
        pause();
        _exit(0);
    }
    const Task task = with_process(download("http://h/x"), downloader);
    for (const std::int32_t unknown : {task.id + 1, 0, -1}) {
        EXPECT_EQ(http_ftp_task_remove(unknown, 1), BTDB_ERR_NO_TASK);
        EXPECT_EQ(bt_task_remove(unknown, 1), BTDB_ERR_NO_TASK);
    }
    EXPECT_TRUE(waits.empty());
    EXPECT_EQ(waitpid(downloader, nullptr, WNOHANG), 0) << "it runs on";
    expect_gone(task, 0, {});
    int status = 0;
    waitpid(downloader, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    expect_gone(with_process(download("http://h/x"), downloader), 0, {}); // gone already

    // 0 would be the caller's own process group, and a negative one another.
    const auto outcome = in_child([] {
        setpgid(0, 0);
        for (const pid_t pid : {0, -getpid()}) {
            expect_gone(with_process(download("http://h/x"), pid), 0, {});
        }
    });
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
}

// ---- Somebody else in the tree

// Files at every level, so that a link in any place leads to names that are looked for.
static void plant(const std::string &top) {
    for (const char *sub : {"/a/in/", "/b/in/", "/c/in/", "/d/in/", "/in/", "/"}) {
        for (const char *file : {"1", "2", "3", "4", "5"}) {
            write_file(top + sub + file);
        }
    }
}

class Swapped : public Removal {
protected:
    Swapped() {
        plant("/share/other/data");
        plant("/share/other");
        canaries = tree("/share/other");
    }
    static void replant() {
        fs::remove_all("/share/Download");
        fs::remove_all("/share/aside");
        plant("/share/Download/data");
    }
    Tree canaries;
};

TEST_F(Swapped, FolderForALinkAtTheLastMomentLeadsNowhere) {
    int opens = 0;
    for (bool swapped = true; swapped && !HasFailure(); ++opens) {
        replant();
        swap_at_open = opens + 1;
        EXPECT_EQ(bt_task_remove(torrent("data").id, 1), BTDB_OK);
        swapped = swap_at_open == 0;
        swap_at_open = 0;
        EXPECT_EQ(tree("/share/other"), canaries) << opens;
    }
    EXPECT_GT(opens, 10) << "ten folders";
}

// Puts a link to the canaries in the place of a folder of the tree, and the folder back, as fast as it can.
[[noreturn]] static void swap_folders() {
    const char *const folders[] = {"data", "data/a", "data/a/in", "data/b", "data/b/in", "data/c", "data/d/in"};
    fs::current_path("/share/Download");
    for (unsigned round = 0;; ++round) {
        const char *const at = folders[round % std::size(folders)];
        if (rename(at, "../aside") == 0) {
            symlinkat("/share/other", AT_FDCWD, at);
            unlink(at);
            rename("../aside", at);
        }
        rename("data/c/in", "data/c/renamed");
    }
}

TEST_F(Swapped, FoldersForLinksMeanwhileLeadNowhere) {
    const int races = effort(5, 50, 3000);
    for (int race = 0; race < races && !HasFailure(); ++race) {
        replant();
        const pid_t racer = fork();
        if (racer == 0) {
            swap_folders();
        }
        EXPECT_EQ(bt_task_remove(torrent("data").id, 1), BTDB_OK);
        kill(racer, SIGKILL);
        waitpid(racer, nullptr, 0);
        EXPECT_EQ(tree("/share/other"), canaries);
    }
}
