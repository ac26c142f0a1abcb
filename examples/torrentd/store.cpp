#include "store.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <korvo_bt_conventions.h>

namespace torrentd {
namespace {

// Rows of a file list that are added at a time: meanwhile nothing else is written.
constexpr int32_t files_at_a_time = 200;

// Columns come in the order of the record's fields.
std::string text(char **values, int column) {
    return values[column] != nullptr ? values[column] : "";
}

int32_t number(char **values, int column) {
    return values[column] != nullptr ? static_cast<int32_t>(std::strtoll(values[column], nullptr, 10)) : 0;
}

int collect_task(void *rows, int /*columns*/, char **values, char ** /*names*/) {
    static_cast<std::vector<TaskRow> *>(rows)->push_back({.id = number(values, 0),
                                                          .name = text(values, 1),
                                                          .torrent_file = text(values, 2),
                                                          .state = number(values, 4),
                                                          .finish_time = text(values, 19),
                                                          .paused = number(values, 22) != 0,
                                                          .queue_position = number(values, 23),
                                                          .move_folder = text(values, 24),
                                                          .hash = text(values, 25),
                                                          .magnet_link = text(values, 27),
                                                          .marker = number(values, 28)});
    return 0;
}

struct Mark {
    bool found = false;
    bool wanted = true;
};

int collect_mark(void *marks, int /*columns*/, char **values, char ** /*names*/) {
    auto &all = *static_cast<std::vector<Mark> *>(marks);
    const auto index = static_cast<std::size_t>(number(values, 4));
    if (index < all.size()) {
        all[index] = {true, number(values, 3) != TQ_FILE_UNWANTED};
    }
    return 0;
}

int collect_totals(void *record, int /*columns*/, char **values, char ** /*names*/) {
    *static_cast<BtSessionRecord *>(record) = {number(values, 0), number(values, 1), number(values, 2), 0, 0,
                                               number(values, 5)};
    return 0;
}

} // namespace

void create_tables() {
    bt_db_create_tbl_task();
    bt_db_create_tbl_session();
    bt_fdata_create_tbl();
    bt_infodata_create_tbl();
}

std::optional<std::vector<TaskRow>> list_tasks() {
    std::vector<TaskRow> rows;
    if (bt_db_query_task(nullptr, collect_task, 0, 0, 0, BT_TASK_FILTER_ALL, &rows) != BTDB_OK) {
        return {};
    }
    return rows;
}

std::optional<std::vector<bool>> read_file_choice(int32_t task, const std::vector<std::string> &paths) {
    std::vector<Mark> marks(paths.size());
    if (bt_fdata_query(nullptr, collect_mark, TQ_DETAIL_FILES, task, &marks) != BTDB_OK) {
        return {};
    }
    std::vector<bool> wanted;
    int32_t added = 0;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        wanted.push_back(marks[i].wanted);
        if (!marks[i].found) {
            BtFileDataRecord record{};
            record.fdata_command = TQ_DETAIL_FILES;
            record.fdata_task_id = task;
            record.fdata_checked = TQ_FILE_WANTED;
            record.fdata_file_index = static_cast<int32_t>(i);
            std::snprintf(record.fdata_file_path, sizeof record.fdata_file_path, "%s", paths[i].c_str());
            if (++added > files_at_a_time || bt_fdata_add(&record) != BTDB_OK) {
                return {};
            }
        }
    }
    return wanted;
}

bool release_task(const BtTaskRecord &last, int32_t task) {
    if ((last.task_hash[0] == '\0' || bt_db_update_task_by_hash(&last) == BTDB_OK) &&
        bt_db_update_recode_by_task_id(task, TQ_MARKER_RELEASED) == BTDB_OK) {
        return true;
    }
    const auto rows = list_tasks();
    return rows && std::none_of(rows->begin(), rows->end(), [task](const TaskRow &row) { return row.id == task; });
}

bool write_metadata(const BtInfoDataRecord &record) {
    if (bt_infodata_update(&record) == BTDB_OK) {
        return true;
    }
    return bt_infodata_query_count(record.infodata_command, record.infodata_task_id, record.infodata_sender_pid) == 0 &&
           bt_infodata_add(&record) == BTDB_OK;
}

bool delete_details(int32_t task) {
    constexpr uint32_t by_task = 2;
    return bt_fdata_del(by_task, &task) == BTDB_OK && bt_infodata_del(by_task, &task) == BTDB_OK;
}

std::optional<BtSessionRecord> read_totals() {
    BtSessionRecord record{};
    if (bt_db_query_session(nullptr, collect_totals, 0, 1, &record) != BTDB_OK) {
        return {};
    }
    if (record.session_id == 0) {
        record.session_id = bt_db_add_session(&record);
    }
    return record.session_id > 0 ? std::optional(record) : std::nullopt;
}

} // namespace torrentd
