// The removal of trees of all kinds, deep or large, as "rm -rf" does it and whatever happens to the directories
// meanwhile.

#include "child.h"
#include "next.h"
#include "removal.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <iostream>
#include <random>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

bool memory_for_directories = true;
int swap_at_open = 0;              // the openat() before which the directory is swapped for a symlink; 0: none
bool move_before_going_up = false; // the directory, elsewhere
int highest_descriptor = 0;
std::string unopenable; // a directory for which there is no descriptor
uid_t symlinks_owner = 0, own_user = 0;

} // namespace

extern "C" {
int openat(int in, const char *name, int flags, ...) {
    const std::string last = name; // of the way to the share a symlink is followed
    if (last != "/" && last != "share" && last != "Download" && swap_at_open > 0 && --swap_at_open == 0) {
        EXPECT_EQ(renameat(in, name, AT_FDCWD, "/share/aside"), 0);
        EXPECT_EQ(symlinkat("/share/other", in, name), 0);
    }
    if (last == ".." && std::exchange(move_before_going_up, false)) {
        const std::string here = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(in));
        EXPECT_EQ(rename(here.c_str(), "/share/other/moved"), 0);
    }
    if (last == unopenable) {
        errno = EMFILE;
        return -1;
    }
    const int opened = test::next(openat, "openat64")(in, name, flags, 0600);
    highest_descriptor = std::max(highest_descriptor, opened);
    return opened;
}
int fstat(int descriptor, struct stat *status) noexcept {
    const int result = test::next(fstat, "fstat64")(descriptor, status); // its name where files are large, too
    if (result == 0 && S_ISLNK(status->st_mode) && symlinks_owner != 0) {
        status->st_uid = symlinks_owner;
    }
    return result;
}
uid_t geteuid() noexcept {
    return own_user != 0 ? own_user : test::next(geteuid, "geteuid")();
}
DIR *fdopendir(int descriptor) {
    return memory_for_directories ? test::next(fdopendir, "fdopendir")(descriptor) : nullptr;
}
}

namespace test {
namespace {

// Another process, which does something again and again until it is killed.
class Other {
public:
    explicit Other(const std::function<void(unsigned round)> &act) : process_(fork()) {
        for (unsigned round = 0; process_ == 0; ++round) {
            act(round);
        }
    }
    Other(const Other &) = delete;
    Other &operator=(const Other &) = delete;
    ~Other() {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }

private:
    pid_t process_;
};

TEST_F(Removal, ASymlinkIsRemovedAndNotFollowed) {
    for (const char *to : {"/share/Multimedia", "../Multimedia", "/share/Multimedia/canary", "nowhere", "."}) {
        fs::create_symlink(to, "/share/Download/symlink");
        expect_gone(torrent("symlink/canary"), 1, {});
        expect_gone(torrent("canary", 5, "Download/symlink"), 1, {});
        expect_gone(download("/", "symlink/canary"), 1, {});
        expect_gone(download("/", "canary", 3, "Download/symlink"), 1, {});
        expect_gone(torrent("symlink"), 1, {"/share/Download/symlink"});
        fs::create_symlink(to, "/share/Download/symlink");
        expect_gone(download("http://h/symlink"), 1, {"/share/Download/symlink"});
    }
}

// Shares are symlinks on devices.
TEST_F(Removal, AShareMayBeASymlinkAndStays) {
    const Paths files = {"/share/Multimedia/sub/film/f", "/share/Multimedia/sub/film.fastresume",
                         "/share/Multimedia/web"};
    for (const char *to : {"Multimedia", "/share/Multimedia", "../share/./Download/../Chained", "/share/Chained/"}) {
        fs::create_symlink("Multimedia/", "/share/Chained");
        fs::create_symlink(to, "/share/Linked");
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
    fs::create_symlink("Multimedia", "/share/Owned");
    symlinks_owner = own_user = 1234;
    write_file("/share/Multimedia/own");
    expect_gone(torrent("own", 5, "Owned"), 1, {"/share/Multimedia/own"});
    own_user = 4321;
    expect_gone(torrent("canary", 5, "Owned"), 1, {});
    symlinks_owner = own_user = 0;
    fs::create_symlink(std::string(1014, '/') + "share/Multimedia", "/share/Long"); // read in part
    fs::create_symlink("Round", "/share/Round");
    fs::create_symlink("nowhere", "/share/Dangling");
    fs::create_symlink("Multimedia/canary", "/share/File");
    for (const char *share : {"Long", "Round", "Dangling", "File"}) {
        expect_gone(torrent("canary", 5, share), 1, {});
    }
}

TEST_F(Removal, ADeepOrLargeTreeNeedsNeitherDescriptorsNorStack) {
    const Outcome outcome = in_child([] {
        const rlimit descriptors = {20, 20}, stack = {1 << 20, 1 << 20};
        setrlimit(RLIMIT_NOFILE, &descriptors);
        setrlimit(RLIMIT_STACK, &stack);
        fs::current_path("/share/Download");
        for (int level = 0; level < effort(2000, 2000, 50000); ++level) {
            const std::string name = level == 0 ? "deep" : std::string(200, 'd');
            fs::create_directory(name);
            fs::current_path(name);
            std::ofstream("file");
        }
        EXPECT_EQ(bt_task_remove(torrent("deep").id, 1), BTDB_OK);
        EXPECT_FALSE(fs::exists("/share/Download/deep"));
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
    memory_for_directories = false;
    EXPECT_EQ(bt_task_remove(torrent("data").id, 1), BTDB_OK);
    memory_for_directories = true;
    for (const char *name : {"sub", "inner"}) {
        write_file("/share/Download/data/sub/inner/file");
        unopenable = name;
        EXPECT_EQ(bt_task_remove(torrent("data").id, 1), BTDB_OK);
        unopenable.clear();
        EXPECT_TRUE(fs::exists("/share/Download/data/sub/inner/file"));
        EXPECT_NE(fs::exists("/share/Download/data/sub/file"), std::string(name) == "inner");
    }
    sql("DROP TABLE BT_FDATA");
    expect_gone(torrent("x"), 0, {});
}

TEST_F(Removal, EndsWhileOthersCreateFiles) {
    const auto create = [](unsigned round) {
        mkdir("/share/Download/busy", 0700);
        close(creat(("/share/Download/busy/" + std::to_string(getpid()) + "." + std::to_string(round)).c_str(), 0600));
    };
    const Other first(create), second(create), third(create), fourth(create);
    while (!fs::exists("/share/Download/busy")) {
    }
    EXPECT_EQ(bt_task_remove(torrent("busy").id, 1), BTDB_OK);
    EXPECT_EQ(sql("SELECT task_id FROM BT_TASK"), Rows());
}

// ---- As rm -rf does

using Random = std::minstd_rand;

// Something of any kind, with forbidding modes, and mount points where these are possible.
void plant_anything(const fs::path &at, Random &random, int depth) {
    const auto kind = random() % 12;
    if (kind == 0) {
        const char *const targets[] = {"/share/Multimedia", "../..", ".", "/share/canary", "nowhere"};
        fs::create_symlink(targets[random() % std::size(targets)], at);
    } else if (kind == 1) {
        mkfifo(at.c_str(), 0600);
    } else if (kind < 5 || depth == 0) {
        write_file(at);
    } else {
        fs::path inner = at;
        for (auto level = kind == 5 ? random() % 80 : 0; level > 0; --level) {
            inner /= "d";
        }
        fs::create_directories(inner);
        if (kind == 6) {
            mount("none", inner.c_str(), "tmpfs", 0, nullptr); // refused to an ordinary user
        }
        for (auto entry = random() % 7; entry > 0; --entry) {
            const std::string names[] = {"a", "a\nb", "-rf", "\xff*", std::string(254, 'n')};
            plant_anything(inner / (names[random() % std::size(names)] + std::to_string(entry)), random, depth - 1);
        }
        const mode_t modes[] = {0, 0100, 0300, 0400, 0500, 0600};
        const auto mode = random() % 20;
        chmod(inner.c_str(), mode < std::size(modes) ? modes[mode] : 0700);
    }
}

void compare_with_rm() {
    const Tree before = tree();
    int with_leftovers = 0;
    for (int seed = 1; seed <= effort(20, 60, 3000) && !testing::Test::HasFailure(); ++seed) {
        Tree left[2];
        for (const bool by_rm : {false, true}) {
            Random random(static_cast<unsigned>(seed));
            const std::string top = "/share/Download/top";
            plant_anything(top, random, 4);
            const char *const slash = seed % 5 == 0 && !fs::is_symlink(top) ? "/" : ""; // rm would follow that one
            if (by_rm) {
                EXPECT_NE(std::system(("rm -rf " + top + slash + " 2>/dev/null").c_str()), -1);
            } else {
                const Task task = torrent(std::string("top") + slash);
                const rlimit few = {static_cast<rlim_t>(seed % 2 == 0 ? 8 : 1024), 1024}, many = {1024, 1024};
                setrlimit(RLIMIT_NOFILE, &few);
                highest_descriptor = 0; // the C++ library may have opened directories by the same name
                EXPECT_EQ(bt_task_remove(task.id, 1), BTDB_OK);
                EXPECT_LT(highest_descriptor, 64);
                setrlimit(RLIMIT_NOFILE, &many);
            }
            left[by_rm] = tree();
            for (auto entry = left[by_rm].rbegin(); entry != left[by_rm].rend(); ++entry) {
                umount2(entry->first.c_str(), MNT_DETACH);
            }
            fs::remove_all(top);
            EXPECT_EQ(tree(), before) << seed;
        }
        EXPECT_EQ(left[false], left[true]) << seed;
        with_leftovers += left[false] != before ? 1 : 0;
    }
    EXPECT_GT(with_leftovers, effort(1, 3, 100));
}

// Becomes root with all rights over its own files, in a space of its own. Refused where root has given them up.
bool become_root() {
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

// ---- Somebody else in the tree

// Files at every level, so that a symlink in any place leads to names that are looked for.
void plant(const std::string &top) {
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
        canaries_ = tree("/share/other");
    }
    void expect_nothing_lost(const std::function<void()> &meanwhile) {
        fs::remove_all("/share/Download");
        fs::remove_all("/share/aside");
        plant("/share/Download/data");
        meanwhile();
        EXPECT_EQ(tree("/share/other"), canaries_);
    }

private:
    Tree canaries_;
};

TEST_F(Swapped, ADirectoryForASymlinkAtTheLastMomentLeadsNowhere) {
    int opens = 0;
    for (bool swapped = true; swapped && !HasFailure(); ++opens) {
        expect_nothing_lost([&] {
            swap_at_open = opens + 1;
            EXPECT_EQ(bt_task_remove(torrent("data").id, 1), BTDB_OK);
            swapped = std::exchange(swap_at_open, 0) == 0;
        });
    }
    EXPECT_GT(opens, 10) << "ten directories";
}

TEST_F(Swapped, ADirectoryThatIsMovedAwayLeadsNowhere) {
    expect_nothing_lost([] {
        std::string deep = "/share/Download/data";
        for (int level = 0; level < 40; ++level) {
            plant(deep.append("/in"));
        }
        move_before_going_up = true;
        EXPECT_EQ(bt_task_remove(torrent("data").id, 1), BTDB_OK);
        EXPECT_FALSE(std::exchange(move_before_going_up, false)) << "it did not go up";
        fs::remove_all("/share/other/moved");
    });
}

// Puts a symlink to the canaries in the place of a directory of the tree, and the directory back, as fast as it can.
void swap_directories(unsigned round) {
    const char *const directories[] = {"data", "data/a", "data/a/in", "data/b", "data/b/in", "data/c", "data/d/in"};
    fs::current_path("/share/Download");
    const char *const at = directories[round % std::size(directories)];
    if (rename(at, "../aside") == 0) {
        symlinkat("/share/other", AT_FDCWD, at);
        unlink(at);
        rename("../aside", at);
    }
    rename("data/c/in", "data/c/renamed");
}

TEST_F(Swapped, DirectoriesForSymlinksMeanwhileLeadNowhere) {
    const int races = effort(5, 50, 3000);
    for (int race = 0; race < races && !HasFailure(); ++race) {
        expect_nothing_lost([] {
            const Other racer(swap_directories);
            EXPECT_EQ(bt_task_remove(torrent("data").id, 1), BTDB_OK);
        });
    }
}

} // namespace
} // namespace test
