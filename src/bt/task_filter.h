// The filters of BitTorrent tasks, as WHERE fragments; for the BT listing and counts and for the combined listing.
#ifndef KORVO_BT_TASK_FILTER_H
#define KORVO_BT_TASK_FILTER_H

#include "frame/statement.h"

namespace korvo {

bool valid_bt_task_filter(int32_t filter);

// The fragment of a valid filter; empty for the one that selects every task.
Sql bt_task_where(int32_t filter);

} // namespace korvo

#endif
