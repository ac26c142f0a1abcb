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

// Listings of the page from 1 to 1, which has no rows, tell cheaply whether there is a table to list.
inline int no_row(void *, int, char **, char **) {
    return 1;
}

// A read for one identifier that no row has hands SQLite's own code through: 0 when the table could be read.
inline constexpr Store bt_task_store{
    "BT_TASK",
    "bt_db_create_tbl_task",
    bt_db_create_tbl_task,
    [] { return bt_db_query_data_by_task_id_with_callback(nullptr, 0, nullptr) == 0; },
};

inline constexpr Store session_store{
    "BT_SESSION",
    "bt_db_create_tbl_session",
    bt_db_create_tbl_session,
    [] { return bt_db_query_session(nullptr, no_row, 1, 1, nullptr) == BTDB_OK; },
};

inline constexpr Store http_ftp_task_store{
    "HTTP_FTP_TASK",
    "http_ftp_db_create_tbl_task",
    http_ftp_db_create_tbl_task,
    [] { return http_ftp_db_query_task(nullptr, no_row, 0, 1, 1, HTTP_FTP_TASK_FILTER_ALL, nullptr) == BTDB_OK; },
};

inline constexpr Store file_store{
    "BT_FDATA",
    "bt_fdata_create_tbl",
    bt_fdata_create_tbl,
    [] { return bt_fdata_query_count(0, 0) >= 0; },
};

inline constexpr Store info_store{
    "BT_INFODATA",
    "bt_infodata_create_tbl",
    bt_infodata_create_tbl,
    [] { return bt_infodata_query_count(0, 0, 0) >= 0; },
};

inline constexpr Store rss_store{
    "BT_RSS",
    "bt_rss_create_tbl",
    bt_rss_create_tbl,
    [] { return bt_rss_query(nullptr, no_row, 0, 1, 1, nullptr) == BTDB_OK; },
};

inline constexpr Store job_store{
    "BT_RSS_JOB",
    "bt_rss_job_create_tbl",
    bt_rss_job_create_tbl,
    [] { return bt_rss_job_query(nullptr, no_row, 0, 1, 1, nullptr) == BTDB_OK; },
};

inline constexpr Store account_store{
    "BT_ACCOUNT",
    "bt_account_create_tbl",
    bt_account_create_tbl,
    [] { return bt_account_query_count() >= 0; },
};

// In the order in which they are created: index names that two tables share go to the first of them.
inline constexpr std::array all_stores{
    &bt_task_store, &session_store, &http_ftp_task_store, &file_store,
    &info_store,    &rss_store,     &job_store,           &account_store,
};

} // namespace tqctl
