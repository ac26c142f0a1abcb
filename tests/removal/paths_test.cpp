// Which paths a removal names, by the task's state, name and folder: exactly these go, whatever the names hold.

#include "removal.h"

#include <functional>

namespace test {
namespace {

TEST_F(Removal, ATorrentsDataIsWhereItsStateAndFolderSay) {
    for (const std::string usual : {"/share/Download/image.iso", "/share/Films/image.iso"}) {
        const std::string moved = "/share/Multimedia/image.iso";
        const struct {
            int32_t state;
            const char *move_folder;
            std::string place;
        } cases[] = {{1, "", usual},
                     {4, "Multimedia", usual},
                     {5, "Multimedia", moved},
                     {5, "", usual},
                     {6, "Multimedia", usual}};
        for (const auto &[state, move_folder, place] : cases) {
            for (const int32_t data_too : {0, 1, -1}) {
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
             "inner/sub", "/a", "inner//./sub", "a/", "; rm -rf /share", std::string(255, 'n')}) {
        write_file("/share/Download/a beside");
        const fs::path path = fs::weakly_canonical("/share/Download/" + name + "/x").parent_path();
        write_file(path / "sub" / "file");
        SCOPED_TRACE(path);
        expect_gone(torrent(name), 1, {path});
    }
}

TEST_F(Removal, ANameThatClimbsRemovesTheTaskAndNoData) {
    for (const char *name : {"", ".", "..", "/", "./", "../", "../canary", "inner/..", "inner/../canary", "/..",
                             "inner/../../canary", "../../mnt/HDA_ROOT/canary"}) {
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
            int32_t state;
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
            {"x", "inner", 1, "", {}},
            {"x", "inner/canary", 1, "", {down + "inner/canary"}},
            {"x", "canary/", 1, "", {}},
            {"x", "%2e%2e%2fcanary", 1, "", {}},
            {"x", "inner%2F..%2f..%2Fcanary", 1, "", {}},
            {"x", "c%61%6Ea%72y", 1, "", {down + "canary"}},
            {"x", "c%6hnary", 1, "", {down + "canary"}}, // digits that are none
            {"x", "%v3%&1nary", 1, "", {down + "\xf3\xf1nary"}},
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
            for (const char *name : {"canary%", "canary%4", "\xf3\xf1nary", "canary", "inner/canary"}) {
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
    sql("INSERT INTO HTTP_FTP_TASK (task_id) VALUES (-1)"); // another task's texts count for nothing
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

    // Spaces triple; what does not fit encoded still goes as it is.
    const std::string spaces(250, ' ');
    write_file("/share/Download/" + spaces);
    expect_gone(download('/' + spaces), 1, {"/share/Download/" + spaces});
    expect_gone(download('/' + std::string(1000, ' ')), 1, {});

    // A torrent file of 1024 bytes fits; of a longer name only so much arrives.
    const std::string file = "/mnt" + std::string(1010, '/') + "HDA_ROOT/x";
    for (const std::string rest : {"", "yz"}) {
        write_file("/mnt/HDA_ROOT/x");
        expect_gone(torrent("a", 1, "", file + rest), 0, {});
        EXPECT_EQ(fs::remove("/mnt/HDA_ROOT/x"), !rest.empty());
    }
}

} // namespace
} // namespace test
