// The tables of the database as the tool knows them: what `init` creates, and how to find out whether one is there.
#pragma once

#include <array>
#include <cstdint>
#include <korvo_bt.h>

namespace tqctl {

struct Store {
    const char *table;
    const char *create_operation;
    std::int32_t (*create)();
    bool (*readable)(); // whether the table exists and can be read, at little cost
};

// A read for one identifier that no row has hands SQLite's own code through: 0 when the table could be read.
inline constexpr Store bt_task_store{
    "BT_TASK",
    "bt_db_create_tbl_task",
    bt_db_create_tbl_task,
    [] { return bt_db_query_data_by_task_id_with_callback(nullptr, 0, nullptr) == 0; },
};

inline constexpr std::array all_stores{&bt_task_store};

} // namespace tqctl
