// The walk over HTTP_FTP_TASK's columns, for the reads by key and for the dispatch queries.
#ifndef KORVO_HTTPFTP_RECORD_H
#define KORVO_HTTPFTP_RECORD_H

#include "frame/row.h"
#include "korvo_bt.h"

void read_columns(korvo::Row &row, HttpFtpTaskRecord &task);

#endif
