// The names that removing a task takes apart, percent-decodes and deletes by: nothing outside the download directory
// is deleted, whatever they are.

#include "korvo_bt.h"
#include "platform.h"
#include "target.h"

#include <ctime>
#include <filesystem>
#include <fstream>

namespace {

std::string directory;

} // namespace

int Get_Profile_String(const char * /*section*/, const char * /*key*/, const char * /*text*/, char *buffer, int size) {
    return std::snprintf(buffer, static_cast<std::size_t>(size), "%s", directory.c_str());
}

// Nobody waits for a daemon here.
int clock_nanosleep(clockid_t, int, const timespec *, timespec *) {
    return 0;
}

namespace {

const char *const bystanders[] = {"/share/x", "/share/Download/x", "/share/Download/inside/x", "/mnt/HDA_ROOT/x",
                                  "/tmp/x"};

template <std::size_t Width> void copy(char (&field)[Width], const std::string &text) {
    std::memset(field, 0, Width);
    std::memcpy(field, text.data(), text.size() < Width - 1 ? text.size() : Width - 1);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    static const bool prepared = [] {
        bt_db_create_tbl_task();
        http_ftp_db_create_tbl_task();
        bt_fdata_create_tbl();
        bt_infodata_create_tbl();
        for (const char *file : bystanders) {
            std::filesystem::create_directories(std::filesystem::path(file).parent_path());
            std::ofstream(file) << "stays";
        }
        std::filesystem::create_directories("/share/Download/in");
        return true;
    }();
    KORVO_REQUIRE(prepared);
    fuzz::Input input(data, size);
    const unsigned kind = input.byte();
    const std::string name = input.text();
    directory = "Download/in/" + input.text();
    if (kind % 2 == 0) {
        HttpFtpTaskRecord task = {};
        task.task_state = static_cast<int32_t>(kind / 2 % 4);
        copy(task.task_move_folder, directory);
        kind / 8 % 2 == 0 ? copy(task.task_savename, name) : copy(task.task_filename, "http://host/" + name);
        const int32_t id = http_ftp_db_add_task(&task);
        KORVO_REQUIRE(http_ftp_task_remove(id, 1) == BTDB_OK);
        KORVO_REQUIRE(http_ftp_db_query_data_by_task_id(id, &task) == BTDB_ERR_QUERY);
    } else {
        BtTaskRecord task = {};
        task.task_state = static_cast<int32_t>(kind / 2 % 8);
        copy(task.task_move_folder, directory);
        copy(task.task_torrent_name, name);
        const int32_t id = bt_db_add_task(&task);
        KORVO_REQUIRE(bt_task_remove(id, 1) == BTDB_OK);
        KORVO_REQUIRE(bt_db_query_data_by_task_id(id, &task) == BTDB_ERR_QUERY);
    }
    for (const char *file : bystanders) {
        KORVO_REQUIRE(std::filesystem::exists(file));
    }
    return 0;
}
