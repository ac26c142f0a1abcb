// The filters of HTTP/FTP tasks, as WHERE fragments; for the HTTP/FTP listing and counts and for the combined listing.
#ifndef KORVO_HTTPFTP_TASK_FILTER_H
#define KORVO_HTTPFTP_TASK_FILTER_H

#include "frame/statement.h"

namespace korvo {

bool valid_http_ftp_task_filter(int32_t filter);

// The fragment of a valid filter; empty for the one that selects every task.
Sql http_ftp_task_where(int32_t filter);

} // namespace korvo

#endif
