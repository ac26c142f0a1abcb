// The removal of tasks: exactly the named path goes, whatever the names hold and whatever happens to the folders
// meanwhile. Whole trees are compared before and after; canaries lie beside everything. The wait is this program's own.

#include "child.h"
#include "files.h"
#include "support.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <functional>
#include <map>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace test;
namespace fs = std::filesystem;

static bool memory_for_folders = true;
static bool really_wait = false;
static std::vector<std::time_t> waits;
static std::function<void()> while_waiting;
static int swap_at_open = 0; // the openat() before which the folder is swapped for a link; 0: none

extern "C" {
int openat(int in, const char *name, int flags, ...) {
    if (swap_at_open > 0 && --swap_at_open == 0) {
        EXPECT_EQ(renameat(in, name, AT_FDCWD, "/share/aside"), 0);
        EXPECT_EQ(symlinkat("/share/other", in, name), 0);
    }
    return reinterpret_cast<decltype(&openat)>(dlsym(RTLD_NEXT, "openat"))(in, name, flags, 0600);
}
int nanosleep(const timespec *wanted, timespec *left) {
    if (really_wait) {
        return reinterpret_cast<decltype(&nanosleep)>(dlsym(RTLD_NEXT, "nanosleep"))(wanted, left);
    }
    waits.push_back(wanted->tv_sec);
    if (while_waiting) {
        while_waiting();
    }
    return 0;
}
DIR *fdopendir(int descriptor) {
    return memory_for_folders ? reinterpret_cast<decltype(&fdopendir)>(dlsym(RTLD_NEXT, "fdopendir"))(descriptor)
                              : nullptr;
}
}

// ---- Trees

using Tree = std::map<std::string, std::string>; // path and content

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
static Tree without(Tree tree, const std::vector<std::string> &gone) {
    for (const std::string &path : gone) {
        EXPECT_EQ(tree.erase(path), 1U) << "not there: " << path;
        std::erase_if(tree, [&](const auto &entry) { return entry.first.rfind(path + "/", 0) == 0; });
    }
    return tree;
}

// ---- Tasks

static const char *const torrent_file = "/mnt/HDA_ROOT/a task.torrent";
static const char *const torrent_database = "/mnt/HDA_ROOT/a task.torrent.db";

template <std::size_t Width> static void set(char (&field)[Width], const std::string &text) {
    ASSERT_LT(text.size(), Width);
    std::strcpy(field, text.c_str());
}

static std::int32_t add_bt(const std::string &name, std::int32_t state = 1, const std::string &move_folder = "",
                           const std::string &file = torrent_file) {
    BtTaskRecord task = {};
    set(task.task_torrent_name, name);
    set(task.task_filename, file);
    set(task.task_move_folder, move_folder);
    task.task_state = state;
    return bt_db_add_task(&task);
}

static std::int32_t add_http(const std::string &address, const std::string &saved, std::int32_t state = 1,
                             const std::string &move_folder = "", std::int32_t pid = 0) {
    HttpFtpTaskRecord task = {};
    set(task.task_filename, address);
    set(task.task_savename, saved);
    set(task.task_move_folder, move_folder);
    task.task_state = state;
    task.task_pid = pid;
    return http_ftp_db_add_task(&task);
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
        memory_for_folders = true;
        really_wait = false;
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
    // Removes a task and expects just these paths to go, and its row.
    static void expect_gone(bool torrent, std::int32_t id, std::int32_t data_too,
                            const std::vector<std::string> &gone) {
        const Tree left = without(tree(), gone);
        EXPECT_EQ(torrent ? bt_task_remove(id, data_too) : http_ftp_task_remove(id, data_too), BTDB_OK);
        EXPECT_EQ(tree(), left);
        EXPECT_EQ(content("/mnt/HDA_ROOT/canary"), "data");
        EXPECT_EQ(sql(std::string("SELECT task_id FROM ") + (torrent ? "BT_TASK" : "HTTP_FTP_TASK")), Rows());
    }
};

// ---- BitTorrent

TEST_F(Removal, ATorrentsDataIsWhereItsStateAndFolderSay) {
    const std::string here = "/share/Download/image.iso", configured = "/share/Films/image.iso",
                      moved = "/share/Multimedia/image.iso";
    for (const std::string &usual : {here, configured}) {
        if (usual == configured) {
            write_file(profile, "[BTDownload]\nBT Download Folder = Films\nHTTP_FTP Download Folder = x\n");
        }
        for (const std::int32_t state : {1, 3, 4, 5, 6}) {
            for (const std::string move_folder : {"", "Multimedia"}) {
                for (const std::int32_t data_too : {0, 1, -1}) {
                    for (const std::string &path : {here, configured, moved}) {
                        write_file(path + "/sub/file");
                        write_file(path + ".fastresume");
                    }
                    write_file(torrent_file);
                    write_file(torrent_database);
                    const std::string &place = state == 5 && !move_folder.empty() ? moved : usual;
                    std::vector<std::string> gone = {place + ".fastresume"};
                    if (data_too != 0) {
                        gone.push_back(place);
                    }
                    expect_gone(true, add_bt("image.iso", state, move_folder), data_too, gone);
                    EXPECT_FALSE(fs::exists(torrent_file));
                    EXPECT_FALSE(fs::exists(torrent_database));
                }
            }
        }
    }
}

TEST_F(Removal, ATorrentsNameIsTakenAsItIs) {
    const std::vector<std::string> names = {"a b",
                                            "it's",
                                            "\"q\"",
                                            "$HOME $(x) `x`",
                                            "a\\",
                                            "a\nb",
                                            "-rf",
                                            "*",
                                            "...",
                                            "~",
                                            "%2e",
                                            "\xff\xfe",
                                            "folder/sub",
                                            "/a",
                                            "folder//./sub",
                                            "a/",
                                            std::string(255, 'n'),
                                            "; rm -rf /share"};
    for (const std::string &name : names) {
        for (const char *beside : {"a", "sub", "x"}) {
            write_file(std::string("/share/Download/") + beside + " beside");
        }
        const fs::path path = fs::weakly_canonical("/share/Download/" + name + "/x").parent_path();
        write_file(path / "sub" / "file");
        SCOPED_TRACE(path);
        expect_gone(true, add_bt(name), 1, {path});
    }
}

TEST_F(Removal, ANameThatClimbsRemovesTheTaskAndNoData) {
    for (const char *name : {"", ".", "..", "/", "./", "../", "../canary", "folder/..", "folder/../canary", "/..",
                             "folder/../../canary", "../../mnt/HDA_ROOT/canary"}) {
        write_file(torrent_file);
        expect_gone(true, add_bt(name), 1, {});
        expect_gone(true, add_bt("canary", 5, ".."), 1, {});
        expect_gone(true, add_bt("canary", 5, "Download/../Multimedia"), 1, {});
        EXPECT_FALSE(fs::exists(torrent_file));
        EXPECT_EQ(sql("SELECT * FROM BT_TASK"), Rows());
    }
}

TEST_F(Removal, APathThatMayBeCutStays) {
    std::string deep; // 255 bytes
    while (deep.size() < 255) {
        deep += deep.size() % 50 == 49 ? '/' : 'f';
    }
    for (const std::string rest : {"", "f"}) {
        const std::string data = "/share/" + deep + "/data";
        const auto plant = [&] {
            write_file(data);
            write_file(data + ".fastresume");
        };
        using Paths = std::vector<std::string>;
        plant();
        expect_gone(true, add_bt("data", 5, deep + rest), 1,
                    rest.empty() ? Paths{data, data + ".fastresume"} : Paths());
        plant();
        expect_gone(false, add_http("/", "data", 3, deep + rest), 1, rest.empty() ? Paths{data} : Paths());
        plant();
        write_file(profile, "[BTDownload]\nBT Download Folder = " + deep + rest + "\n");
        expect_gone(true, add_bt("data"), 1, rest.empty() ? Paths{data, data + ".fastresume"} : Paths());
    }

    // A name that fills its field may be the beginning of a longer one.
    fs::remove(profile);
    write_file("/share/Download/data");
    for (const std::size_t slashes : {1020U, 1019U}) {
        expect_gone(true, add_bt(std::string(slashes, '/') + "data"), 1,
                    slashes == 1020 ? std::vector<std::string>() : std::vector<std::string>{"/share/Download/data"});
    }
    write_file("/share/Download/data");
    expect_gone(false, add_http("/", std::string(1019, '/') + "data"), 1, {});

    // A file of 1024 bytes fits; of a longer name only so much arrives.
    const std::string file = "/mnt" + std::string(1010, '/') + "HDA_ROOT/x";
    for (const std::string rest : {"", "yz"}) {
        write_file("/mnt/HDA_ROOT/x");
        const std::int32_t id = add_bt("a", 1, "", "");
        sql("UPDATE BT_TASK SET task_filename = '" + file + rest + "'");
        expect_gone(true, id, 0, {});
        EXPECT_EQ(fs::remove("/mnt/HDA_ROOT/x"), !rest.empty());
    }
}

TEST_F(Removal, LinksAreRemovedAndNotFollowed) {
    const auto link = [](const std::string &to, const std::string &at) {
        fs::create_directories(fs::path(at).parent_path());
        fs::create_symlink(to, at);
    };
    link("/share/Multimedia", "/share/Download/data/in/absolute");
    link("../../../Multimedia", "/share/Download/data/in/relative");
    link("/share/Multimedia/canary", "/share/Download/data/file");
    link("nowhere", "/share/Download/data/dangling");
    fs::create_hard_link("/share/canary", "/share/Download/data/hard");
    mkfifo("/share/Download/data/pipe", 0600);
    expect_gone(true, add_bt("data"), 1, {"/share/Download/data"});

    for (const char *to : {"/share/Multimedia", "../Multimedia", "/share/Multimedia/canary", "nowhere", "."}) {
        link(to, "/share/Download/link");
        expect_gone(true, add_bt("link"), 1, {"/share/Download/link"});
        link(to, "/share/Download/link");
        expect_gone(false, add_http("http://h/link", ""), 1, {"/share/Download/link"});
        link(to, "/share/Download/link");
        expect_gone(true, add_bt("link/canary"), 1, {});
        expect_gone(true, add_bt("canary", 5, "Download/link"), 1, {});
        expect_gone(false, add_http("/", "link/canary"), 1, {});
        expect_gone(false, add_http("/", "canary", 3, "Download/link"), 1, {});
        fs::remove("/share/Download/link");
    }
    write_file("/share/Multimedia/canary.fastresume");
    link("Multimedia", "/share/Linked");
    expect_gone(true, add_bt("canary", 5, "Linked"), 1, {});
}

TEST_F(Removal, ADeepOrLargeTreeNeedsNeitherDescriptorsNorStack) {
    const auto outcome = in_child([] {
        const rlimit descriptors = {100, 100}, stack = {1 << 20, 1 << 20};
        setrlimit(RLIMIT_NOFILE, &descriptors);
        setrlimit(RLIMIT_STACK, &stack);
        const Tree before = tree();
        for (const int depth : {1, 63, 64, 65, 66, 127, 128, 129, 1000}) {
            for (const bool with_files : {false, true}) {
                std::string name = "deep";
                int here = open("/share/Download", O_RDONLY | O_DIRECTORY);
                for (int level = 0; level < depth; ++level) {
                    EXPECT_EQ(mkdirat(here, name.c_str(), 0700), 0);
                    const int below = openat(here, name.c_str(), O_RDONLY | O_DIRECTORY);
                    close(here);
                    here = below;
                    name = std::string(200, 'd');
                    if (with_files && level % 30 == 0) {
                        mkdirat(here, "beside", 0700);
                        close(openat(here, "file", O_WRONLY | O_CREAT, 0600));
                    }
                }
                close(here);
                EXPECT_EQ(bt_task_remove(add_bt("deep"), 1), BTDB_OK);
                if (fs::exists("/share/Download/deep")) {
                    FAIL() << depth;
                }
            }
        }
        EXPECT_EQ(tree(), before);
    });
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    for (int i = 0; i < 2000; ++i) {
        write_file("/share/Download/wide/" + std::to_string(i % 100) + "/" + std::to_string(i));
    }
    expect_gone(true, add_bt("wide"), 1, {"/share/Download/wide"});
}

TEST_F(Removal, WhatCannotBeRemovedStopsNothing) {
    write_file("/share/Download/data/open/file");
    write_file("/share/Download/data/shut/file");
    fs::permissions("/share/Download/data/shut", fs::perms::owner_read | fs::perms::owner_exec);
    write_file("/share/Download/data/z");
    expect_gone(true, add_bt("data"), 1, {"/share/Download/data/open", "/share/Download/data/z"});
    fs::permissions("/share/Download/data/shut", fs::perms::owner_all);
    const Tree before = tree();
    memory_for_folders = false;
    EXPECT_EQ(bt_task_remove(add_bt("data"), 1), BTDB_OK);
    memory_for_folders = true;
    EXPECT_EQ(tree(), before);

    sql("DROP TABLE BT_FDATA");
    expect_gone(true, add_bt("x"), 0, {});
}

TEST_F(Removal, TheTasksRowsGoInOrderAndOthersStay) {
    const std::int32_t other = add_bt("other"), id = add_bt("name");
    for (const std::string &task : {std::to_string(other), std::to_string(id)}) {
        sql("INSERT INTO BT_FDATA (fdata_task_id) VALUES (" + task + "), (" + task +
            ");"
            "INSERT INTO BT_INFODATA (infodata_task_id) VALUES (" +
            task + ")");
    }
    add_http("http://h/x", "");
    for (const char *file : {torrent_file, torrent_database}) {
        write_file(file);
    }
    std::vector<std::string> statements;
    while_waiting = [] {
        EXPECT_EQ(sql("SELECT task_id FROM BT_TASK"), (Rows{{"1"}})) << "the wait comes last";
        EXPECT_FALSE(fs::exists(torrent_file));
        for (const char *file : {torrent_file, torrent_database, "/share/Download/name.fastresume"}) {
            write_file(file);
        }
    };
    {
        const Recording recording;
        EXPECT_EQ(bt_task_remove(id, 1), BTDB_OK);
        for (const std::string &call : recording.calls) {
            if (call.rfind("run DELETE FROM ", 0) == 0) {
                statements.push_back(call.substr(16, call.find(' ', 16) - 16));
            }
        }
    }
    EXPECT_EQ(statements, (std::vector<std::string>{"BT_TASK", "BT_FDATA", "BT_INFODATA"}));
    EXPECT_EQ(waits, std::vector<std::time_t>{3});
    EXPECT_FALSE(fs::exists(torrent_file) || fs::exists(torrent_database)) << "removed once more";
    EXPECT_TRUE(fs::exists("/share/Download/name.fastresume")) << "not once more";
    EXPECT_EQ(sql("SELECT fdata_task_id FROM BT_FDATA"), (Rows{{"1"}, {"1"}}));
    EXPECT_EQ(sql("SELECT infodata_task_id FROM BT_INFODATA"), Rows{{"1"}});
    EXPECT_EQ(sql("SELECT count(*) FROM HTTP_FTP_TASK"), Rows{{"1"}});
}

TEST_F(Removal, TheWaitLastsThreeSecondsAlsoWhenSignalsArrive) {
    struct sigaction action {
    }, before{};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, &before);
    const itimerval often = {{0, 700000}, {0, 700000}}, never = {};
    really_wait = true;
    setitimer(ITIMER_REAL, &often, nullptr);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(bt_task_remove(add_bt("name"), 0), BTDB_OK);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
}

// ---- HTTP and FTP

TEST_F(Removal, ADownloadedFileIsWhereItsNameAndStateSay) {
    const std::string down = "/share/Download/", web = "/share/Web/", multi = "/share/Multimedia/";
    const struct {
        const char *address, *saved;
        std::int32_t state;
        const char *move_folder;
        std::vector<std::string> gone;
    } cases[] = {
        {"http://h/x", "my%20file", 1, "", {down + "my%20file", down + "my file"}},
        {"http://h/x", "my%20file", 2, "Multimedia", {down + "my%20file", down + "my file"}},
        {"http://h/x", "my%20file", 3, "Multimedia", {multi + "my%20file", multi + "my file"}},
        {"http://h/x", "my%20file", 3, "", {down + "my%20file", down + "my file"}},
        {"http://h/my file", "", 1, "", {down + "my%20file", down + "my file"}},
        {"http://h/my file", "", 2, "Multimedia", {down + "my%20file", down + "my file"}},
        {"http://h/my file", "", 3, "Multimedia", {multi + "my file"}},
        {"http://h/my file", "", 3, "", {down + "my file"}},
        {"http://h/my%20file", "", 1, "", {down + "my%20file"}},
        {"my file", "", 1, "", {}},
        {"http://h/", "", 1, "", {}},
        {"http://h/..", "", 1, "", {}},
        {"http://h/.", "", 3, "", {}},
        {"x", "..", 1, "", {}},
        {"x", "folder", 1, "", {}},
        {"x", "folder/canary", 1, "", {down + "folder/canary"}},
        {"x", "canary/", 1, "", {}},
        {"x", "../canary", 1, "", {}},
        {"x", "%2e%2e%2fcanary", 1, "", {}},
        {"x", "folder%2F..%2f..%2Fcanary", 1, "", {}},
        {"x", "canary", 3, "..", {}},
        {"x", "/canary", 1, "", {down + "canary"}},
        {"x", "c%61%6Ea%72y", 1, "", {down + "canary"}},
        {"x", "%v3%v1nary", 1, "", {down + "\xf3\xf1nary"}}, // digits that are none
        {"x", "canary%", 1, "", {down + "canary%"}},
        {"x", "canary%4", 1, "", {down + "canary%4"}},
        {"x", "100%", 1, "", {down + "100%"}},
        {"x", "-rf $(x) `x` \"'\\\n", 1, "", {down + "-rf $(x) `x` \"'\\\n"}},
    };
    for (const auto &task : cases) {
        SCOPED_TRACE(std::string(task.address) + " " + task.saved + " " + std::to_string(task.state));
        for (const std::string &place : {down, web, multi}) {
            for (const char *name : {"my%20file", "my file", "canary%", "canary%4", "100%", "\xf3\xf1nary", "canary",
                                     "folder/canary", "-rf $(x) `x` \"'\\\n"}) {
                write_file(place + name);
            }
        }
        fs::remove(profile);
        expect_gone(false, add_http(task.address, task.saved, task.state, task.move_folder), 0, {});
        expect_gone(false, add_http(task.address, task.saved, task.state, task.move_folder), 1, task.gone);
        write_file(profile, "[BTDownload]\nHTTP_FTP Download Folder = Web\nBT Download Folder = Download\n");
        std::vector<std::string> gone = task.gone;
        for (std::string &path : gone) {
            if (path.rfind(down, 0) == 0) {
                path = web + path.substr(down.size());
                write_file(path);
            }
        }
        if (gone.empty() || gone[0].rfind(web, 0) == 0) {
            expect_gone(false, add_http(task.address, task.saved, task.state, task.move_folder), 1, gone);
        }
    }
}

TEST_F(Removal, AnAddressOrPathThatDoesNotFitStays) {
    // "/share/" + folder + "/" + name of 1023 bytes fits; folders as long as that are padded with slashes.
    for (const std::size_t length : {1023U, 1024U}) {
        write_file("/share/Download/name");
        write_file(profile, "[BTDownload]\nHTTP_FTP Download Folder = Download" +
                                std::string(length - std::strlen("/share/Download/name"), '/') + "\n");
        for (const bool saved : {false, true}) {
            write_file("/share/Download/name");
            const std::vector<std::string> gone = {"/share/Download/name"};
            expect_gone(false, add_http("http://h/name", saved ? "name" : ""), 1,
                        length == 1023 ? gone : std::vector<std::string>());
        }
    }
    fs::remove(profile);
    // Blanks triple; what does not fit encoded still goes as it is.
    const std::string blanks(250, ' ');
    write_file("/share/Download/" + blanks);
    expect_gone(false, add_http(std::string("/") + blanks, ""), 1, {"/share/Download/" + blanks});
    expect_gone(false, add_http(std::string("/") + std::string(1000, ' '), ""), 1, {});

    const std::string address = "http://h/" + std::string(1024 - 14, 'x') + "/name";
    for (const char *rest : {"", "less"}) {
        write_file("/share/Download/name");
        const std::int32_t id = add_http("x", "");
        sql("UPDATE HTTP_FTP_TASK SET task_filename = '" + address + rest + "'");
        expect_gone(false, id, 1,
                    *rest == '\0' ? std::vector<std::string>{"/share/Download/name"} : std::vector<std::string>());
    }
}

TEST_F(Removal, OnlyTheProcessOfAKnownTaskIsKilled) {
    const pid_t downloader = fork();
    if (downloader == 0) {
        pause();
        _exit(0);
    }
    const std::int32_t id = add_http("http://h/x", "", 1, "", downloader);
    EXPECT_EQ(BTDB_ERR_NO_TASK, -100);
    for (const std::int32_t unknown : {id + 1, 0, -1}) {
        EXPECT_EQ(http_ftp_task_remove(unknown, 1), BTDB_ERR_NO_TASK);
        EXPECT_EQ(bt_task_remove(unknown, 1), BTDB_ERR_NO_TASK);
    }
    EXPECT_TRUE(waits.empty());
    EXPECT_EQ(waitpid(downloader, nullptr, WNOHANG), 0) << "it runs on";
    expect_gone(false, id, 0, {});
    int status = 0;
    waitpid(downloader, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    expect_gone(false, add_http("http://h/x", "", 1, "", downloader), 0, {}); // gone already

    // 0 would be the caller's own process group, and a negative one another.
    const auto outcome = in_child([] {
        setpgid(0, 0);
        for (const std::int32_t pid : {0, -getpid()}) {
            expect_gone(false, add_http("http://h/x", "", 1, "", pid), 0, {});
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

TEST_F(Removal, AFolderSwappedForALinkAtTheLastMomentLeadsNowhere) {
    plant("/share/other/Download/data");
    plant("/share/other/data");
    plant("/share/other");
    const Tree canaries = tree("/share/other");
    int opens = 0;
    for (bool swapped = true; swapped && !HasFailure();) {
        for (const char *left : {"/share/Download", "/share/aside"}) {
            fs::remove_all(left);
        }
        plant("/share/Download/data");
        swap_at_open = ++opens;
        EXPECT_EQ(bt_task_remove(add_bt("data"), 1), BTDB_OK);
        swapped = swap_at_open == 0;
        swap_at_open = 0;
        EXPECT_EQ(tree("/share/other"), canaries) << opens;
    }
    EXPECT_GE(opens, 11) << "the way there, ten folders, the fast-resume file's way";
}

// Puts a link to the canaries in the place of a folder of the tree, and the folder back, as fast as it can. It follows
// no link itself.
[[noreturn]] static void swap_folders() {
    const auto swap = [](int in, const char *name) {
        if (renameat(in, name, AT_FDCWD, "/share/aside") == 0) {
            symlinkat("/share/other", in, name);
            unlinkat(in, name, 0);
            renameat(AT_FDCWD, "/share/aside", in, name);
        }
    };
    constexpr int no_link = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;
    const int download = open("/share/Download", no_link);
    for (unsigned round = 0;; ++round) {
        const char sub[] = {static_cast<char>('a' + round % 4), '\0'};
        const int data = openat(download, "data", no_link), below = openat(data, sub, no_link);
        swap(below, "in");
        swap(data, sub);
        swap(round % 8 == 0 ? download : -1, "data");
        renameat(below, "in", below, "renamed");
        close(below);
        close(data);
    }
}

TEST_F(Removal, FoldersSwappedForLinksMeanwhileLeadNowhere) {
    const char *value = std::getenv("KORVO_EFFORT");
    const std::string effort = value != nullptr ? value : "";
    const int races = effort == "least" ? 5 : effort == "full" ? 3000 : 50;
    plant("/share/other");
    const Tree canaries = tree("/share/other");
    const pid_t racer = fork();
    if (racer == 0) {
        swap_folders();
    }
    for (int race = 0; race < races && !HasFailure(); ++race) {
        kill(racer, SIGSTOP);
        waitpid(racer, nullptr, WUNTRACED);
        fs::remove_all("/share/Download/data");
        fs::remove_all("/share/aside");
        plant("/share/Download/data");
        kill(racer, SIGCONT);
        EXPECT_EQ(bt_task_remove(add_bt("data"), 1), BTDB_OK);
        EXPECT_EQ(tree("/share/other"), canaries);
    }
    kill(racer, SIGKILL);
    waitpid(racer, nullptr, 0);
}
