// The records' layout is part of the binary interface, the same on 32-bit ARM and on 64-bit PCs: a program built
// against an older header must find every field where it left it. The header also names the version that is built.

#include "korvo_bt.h"

#include <cstddef>
#include <string_view>

#define STRING_OF(number) #number
#define DOTTED(major, minor, patch) STRING_OF(major) "." STRING_OF(minor) "." STRING_OF(patch)
static_assert(std::string_view(BUILD_VERSION) == KORVO_BT_VERSION);
static_assert(std::string_view(BUILD_VERSION) ==
              DOTTED(KORVO_BT_VERSION_MAJOR, KORVO_BT_VERSION_MINOR, KORVO_BT_VERSION_PATCH));

static_assert(sizeof(BtTaskRecord) == 5704);
static_assert(offsetof(BtTaskRecord, task_state) == 3080);
static_assert(offsetof(BtTaskRecord, task_num_pieces) == 3256);
static_assert(offsetof(BtTaskRecord, task_rating) == 3304);
static_assert(offsetof(BtTaskRecord, task_is_paused) == 3320);
static_assert(offsetof(BtTaskRecord, task_type) == 3644);
static_assert(offsetof(BtTaskRecord, task_record) == 5700);
static_assert(sizeof(BtSessionRecord) == 24);
static_assert(sizeof(HttpFtpTaskRecord) == 2520);
static_assert(offsetof(HttpFtpTaskRecord, task_state) == 1036);
static_assert(offsetof(HttpFtpTaskRecord, task_total_size) == 1048);
static_assert(offsetof(HttpFtpTaskRecord, task_is_paused) == 1120);
static_assert(offsetof(HttpFtpTaskRecord, task_errcode) == 1228);
static_assert(offsetof(HttpFtpTaskRecord, task_queue_position) == 2516);
static_assert(sizeof(BtFileDataRecord) == 4116);
static_assert(offsetof(BtFileDataRecord, fdata_file_path) == 20);
static_assert(sizeof(BtInfoDataRecord) == 3860);
static_assert(offsetof(BtInfoDataRecord, infodata_piece_length) == 2228);
static_assert(offsetof(BtInfoDataRecord, infodata_active_time) == 3852);
static_assert(sizeof(BtRssRecord) == 3176);
static_assert(offsetof(BtRssRecord, rss_downloaded) == 3172);
static_assert(sizeof(BtRssJobRecord) == 3100);
static_assert(offsetof(BtRssJobRecord, rss_job_quality) == 2568);
static_assert(offsetof(BtRssJobRecord, rss_job_episode) == 2584);
static_assert(sizeof(BtAccountRecord) == 624);
static_assert(offsetof(BtAccountRecord, account_enable) == 520);
static_assert(offsetof(BtAccountRecord, account_pass) == 557);
static_assert(sizeof(BtMessage) == 24);
static_assert(offsetof(BtMessage, param1) == 4);
static_assert(sizeof(ScheduleRecord) == 180);
static_assert(offsetof(ScheduleRecord, hours) == 4);
static_assert(sizeof(NotificationRecord) == 12);
