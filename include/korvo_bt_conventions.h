/*
 * korvo_bt_conventions.h - what programs that share the store agree on.
 *
 * The store keeps states, units, times and message parameters without giving them a meaning. These
 * constants give them one: the meaning that our own programs (tqctl, tqfetchd and the examples) keep to,
 * and that others can join. They are no part of the store's contract: no function checks them, and a
 * device whose programs agree on other values loses nothing. docs/conventions.md explains each of them.
 *
 * Constants only. It serves C11 and C++17 and later.
 */
#ifndef KORVO_BT_CONVENTIONS_H
#define KORVO_BT_CONVENTIONS_H

/* ---- BitTorrent tasks ---------------------------------------------------------------------------- */

/* task_state. 1 to 4 and 7 are unfinished, 5 and 6 finished, as the filters of the listings have it. */
#define TQ_BT_STATE_QUEUED 1   /* also: just added, not yet seen by a daemon */
#define TQ_BT_STATE_CHECKING 2 /* comparing what is on the disk with the torrent */
#define TQ_BT_STATE_METADATA 3 /* fetching the metadata of a magnet link */
#define TQ_BT_STATE_DOWNLOADING 4
#define TQ_BT_STATE_FINISHED 5 /* complete, with its data in the move folder; without one, not to be seeded */
#define TQ_BT_STATE_SEEDING 6  /* complete and seeding from the download folder */
#define TQ_BT_STATE_FAILED 7   /* and paused; the reason is in infodata_error */

/* task_record, the removal marker. The interface writes 1 or 2, the daemon answers with 3. */
#define TQ_MARKER_NONE 0
#define TQ_MARKER_REMOVE 1           /* to be removed, the data stays */
#define TQ_MARKER_REMOVE_WITH_DATA 2 /* to be removed with its data */
#define TQ_MARKER_RELEASED 3         /* the daemon has released it: it touches no file of the task any more */
/* How long an interface waits for TQ_MARKER_RELEASED before it removes the task all the same. */
#define TQ_RELEASE_WAIT_SECONDS 5

/* Where the .torrent file of a task is kept, as <info-hash>.torrent: task_filename names that copy, which
 * the removal of the task deletes. Empty for a magnet link without metadata. */
#define TQ_TORRENT_DIRECTORY "/mnt/HDA_ROOT/torrents"
#define TQ_TORRENT_SUFFIX ".torrent"
/* Appended to task_torrent_name: fast-resume data, beside the data itself. */
#define TQ_FAST_RESUME_SUFFIX ".fastresume"

/* ---- HTTP/FTP tasks ------------------------------------------------------------------------------ */

/* The states are HTTP_FTP_TASK_STATE_* of korvo_bt.h. A failed task is queued, paused, and has an error
 * code: an HTTP status (400 to 599), an FTP reply (400 to 599), or, for a failure without an answer from
 * the server, 1000 plus the number that the transfer library gives it. */
#define TQ_ERROR_TRANSFER 1000
/* Failures of the daemon's own, not of a transfer. */
#define TQ_ERROR_DISK_FULL 900   /* the file system has no space left */
#define TQ_ERROR_FILE 901        /* the file could not be created, written or moved */
#define TQ_ERROR_UNSUPPORTED 902 /* the daemon does not fetch such addresses */

/* Appended to task_savename while the download is incomplete: the data, and what is known of its source. */
#define TQ_PARTIAL_SUFFIX ".part"
#define TQ_PARTIAL_INFO_SUFFIX ".part.info"

/* ---- Units and times ----------------------------------------------------------------------------- */

/* Bytes in one unit of the amounts of BT_TASK and of the totals of BT_SESSION. Amounts of HTTP_FTP_TASK
 * are bytes, progress is percent (0 to 100), rates are bytes a second, all times are local. */
#define TQ_BT_AMOUNT_UNIT 1024
#define TQ_SESSION_TOTAL_UNIT 1048576

/* strftime formats of stored times; the short one where the field holds fewer than 20 bytes
 * (task_finish_time of BT_TASK, infodata_next_announce). */
#define TQ_TIME_FORMAT "%Y-%m-%d %H:%M:%S"
#define TQ_TIME_FORMAT_SHORT "%Y-%m-%d %H:%M"

/* task_time_left is "HH:MM:SS", or one of these. */
#define TQ_TIME_LEFT_UNKNOWN ""
#define TQ_TIME_LEFT_MOST "99:59:59"

/* ---- Messages to the BitTorrent daemon ----------------------------------------------------------- */

/* param1 of a command message; param2 is the task's identifier, 0 for all tasks. The store is the
 * authority: a message says where to look, and its sender repeats it until it sees the effect. */
#define TQ_COMMAND_LOOK 1 /* the row was added or changed */
#define TQ_COMMAND_PAUSE 2
#define TQ_COMMAND_RESUME 3       /* also: try a failed task again */
#define TQ_COMMAND_FILES_CHOSEN 4 /* fdata_checked of the task's files was changed */
#define TQ_COMMAND_RELEASE 5      /* release the task, it is being removed; param3: 1 with its data, else 0 */

/* param1 of a configuration message; param2 is 0. */
#define TQ_CONFIG_CHANGED 1 /* the configuration file was changed: read it again */

/* ---- Details of a torrent ------------------------------------------------------------------------ */

#define TQ_DETAIL_FILES 1    /* fdata_command of a torrent's file list */
#define TQ_DETAIL_METADATA 2 /* infodata_command of a torrent's metadata */
#define TQ_DETAIL_SENDER 0   /* infodata_sender_pid: the BitTorrent daemon, whatever its process number */

/* fdata_checked. */
#define TQ_FILE_UNWANTED 0
#define TQ_FILE_WANTED 1

#endif
