#include "schema.h"

#include <array>

namespace tqctl {
namespace {

constexpr ColumnRule identifier(std::string_view name) {
    return {name, "INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE"};
}

constexpr ColumnRule number(std::string_view name) {
    return {name, "INTEGER"};
}

template <typename Record, std::size_t Width>
constexpr ColumnRule text(std::string_view name, char (Record::*)[Width]) {
    return {name, "TEXT", Width};
}

constexpr std::array task_columns{
    identifier("task_id"),
    text("task_torrent_name", &BtTaskRecord::task_torrent_name),
    text("task_filename", &BtTaskRecord::task_filename),
    text("task_current_tracker", &BtTaskRecord::task_current_tracker),
    number("task_state"),
    number("task_progress"),
    number("task_total_wanted_done"),
    number("task_total_wanted"),
    number("task_all_time_download"),
    number("task_all_time_upload"),
    number("task_download_rate"),
    number("task_upload_rate"),
    number("task_num_peers"),
    number("task_num_seeds"),
    number("task_block_size"),
    text("task_pieces", &BtTaskRecord::task_pieces),
    number("task_num_pieces"),
    number("task_announce_interval"),
    text("task_start_time", &BtTaskRecord::task_start_time),
    text("task_finish_time", &BtTaskRecord::task_finish_time),
    ColumnRule{"task_rating", "NUMERIC"},
    text("task_time_left", &BtTaskRecord::task_time_left),
    number("task_is_paused"),
    number("task_queue_position"),
    text("task_move_folder", &BtTaskRecord::task_move_folder),
    text("task_hash", &BtTaskRecord::task_hash),
    number("task_type"),
    text("task_magnet_link", &BtTaskRecord::task_magnet_link),
    number("task_record"),
};

constexpr std::array session_columns{
    identifier("session_id"), number("total_download"), number("total_upload"),
    number("download_rate"),  number("upload_rate"),    number("pause_all_time"),
};

constexpr std::array http_columns{
    identifier("task_id"),
    number("task_pid"),
    text("task_filename", &HttpFtpTaskRecord::task_filename),
    number("task_state"),
    number("task_progress"),
    number("task_total_size"),
    number("task_total_downloaded"),
    number("task_download_rate"),
    text("task_start_time", &HttpFtpTaskRecord::task_start_time),
    text("task_finish_time", &HttpFtpTaskRecord::task_finish_time),
    text("task_time_left", &HttpFtpTaskRecord::task_time_left),
    number("task_is_paused"),
    number("task_type"),
    text("task_username", &HttpFtpTaskRecord::task_username),
    text("task_password", &HttpFtpTaskRecord::task_password),
    number("task_errcode"),
    text("task_move_folder", &HttpFtpTaskRecord::task_move_folder),
    text("task_savename", &HttpFtpTaskRecord::task_savename),
    number("task_queue_position"),
};

constexpr std::array file_columns{
    identifier("fdata_id"),  number("fdata_command"),    number("fdata_task_id"),
    number("fdata_checked"), number("fdata_file_index"), text("fdata_file_path", &BtFileDataRecord::fdata_file_path),
};

constexpr std::array info_columns{
    identifier("infodata_id"),
    number("infodata_command"),
    number("infodata_task_id"),
    number("infodata_sender_pid"),
    text("infodata_creation_date", &BtInfoDataRecord::infodata_creation_date),
    text("infodata_name", &BtInfoDataRecord::infodata_name),
    text("infodata_comment", &BtInfoDataRecord::infodata_comment),
    text("infodata_creator", &BtInfoDataRecord::infodata_creator),
    number("infodata_piece_length"),
    number("infodata_num_pieces"),
    text("infodata_infohash", &BtInfoDataRecord::infodata_infohash),
    text("infodata_trackers", &BtInfoDataRecord::infodata_trackers),
    text("infodata_error", &BtInfoDataRecord::infodata_error),
    text("infodata_next_announce", &BtInfoDataRecord::infodata_next_announce),
    number("infodata_active_time"),
    number("infodata_seeding_time"),
};

constexpr std::array rss_columns{
    identifier("rss_id"),
    text("rss_url", &BtRssRecord::rss_url),
    text("rss_title", &BtRssRecord::rss_title),
    text("rss_enclosure_url", &BtRssRecord::rss_enclosure_url),
    text("rss_keyword", &BtRssRecord::rss_keyword),
    text("rss_user_def_title", &BtRssRecord::rss_user_def_title),
    number("rss_downloaded"),
};

constexpr std::array job_columns{
    identifier("rss_job_id"),
    text("rss_job_name", &BtRssJobRecord::rss_job_name),
    text("rss_job_filter", &BtRssJobRecord::rss_job_filter),
    text("rss_job_exclusion_filter", &BtRssJobRecord::rss_job_exclusion_filter),
    text("rss_job_url_applied", &BtRssJobRecord::rss_job_url_applied),
    number("rss_job_quality"),
    number("rss_job_interval"),
    number("rss_job_last_check"),
    number("rss_job_enable_episode"),
    text("rss_job_episode", &BtRssJobRecord::rss_job_episode),
};

constexpr std::array account_columns{
    identifier("account_id"),
    text("account_host", &BtAccountRecord::account_host),
    number("account_enable"),
    text("account_user", &BtAccountRecord::account_user),
    text("account_pass", &BtAccountRecord::account_pass),
};

// Index names belong to the whole file: the four that both kinds of task have are those of whichever table came first.
constexpr std::array task_indexes{
    IndexRule{"idx_task_filename", "task_filename"},
    IndexRule{"idx_task_status", "task_state"},
    IndexRule{"idx_task_progress", "task_progress"},
    IndexRule{"idx_task_is_paused", "task_is_paused"},
};
constexpr std::array http_indexes{
    IndexRule{"idx_task_pid", "task_pid"},
    IndexRule{"idx_task_filename", "task_filename"},
    IndexRule{"idx_task_status", "task_state"},
    IndexRule{"idx_task_progress", "task_progress"},
    IndexRule{"idx_task_is_paused", "task_is_paused"},
    IndexRule{"idx_task_type", "task_type"},
};
constexpr std::array file_indexes{
    IndexRule{"idx_fdata_command", "fdata_command"},
    IndexRule{"idx_fdata_task_id", "fdata_task_id"},
    IndexRule{"idx_fdata_file_index", "fdata_file_index"},
    IndexRule{"idx_fdata_file_path", "fdata_file_path"},
};
constexpr std::array info_indexes{
    IndexRule{"idx_infodata_command", "infodata_command"},
    IndexRule{"idx_infodata_task_id", "infodata_task_id"},
};
constexpr std::array rss_indexes{
    IndexRule{"idx_rss_id", "rss_id"},
    IndexRule{"idx_rss_url", "rss_url"},
    IndexRule{"idx_rss_keyword", "rss_keyword"},
    IndexRule{"idx_rss_user_def_title", "rss_user_def_title"},
    IndexRule{"idx_rss_downloaded", "rss_downloaded"},
};
constexpr std::array job_indexes{
    IndexRule{"idx_rss_job_id", "rss_job_id"},
    IndexRule{"idx_rss_job_url_applied", "rss_job_url_applied"},
};
constexpr std::array account_indexes{
    IndexRule{"idx_account_host", "account_host"},
    IndexRule{"idx_account_enable", "account_enable"},
};

constexpr std::array rules{
    TableRule{&bt_task_store, task_columns, task_indexes, 1, 7},
    TableRule{&session_store, session_columns, {}},
    TableRule{&http_ftp_task_store, http_columns, http_indexes, HTTP_FTP_TASK_STATE_QUEUED,
              HTTP_FTP_TASK_STATE_FINISHED},
    TableRule{&file_store, file_columns, file_indexes, 0, 0, "fdata_task_id"},
    TableRule{&info_store, info_columns, info_indexes, 0, 0, "infodata_task_id"},
    TableRule{&rss_store, rss_columns, rss_indexes},
    TableRule{&job_store, job_columns, job_indexes},
    TableRule{&account_store, account_columns, account_indexes},
};

} // namespace

std::span<const TableRule> table_rules() {
    return rules;
}

} // namespace tqctl
