/*
 * korvo_bt.h - the state store of the download manager.
 *
 * One shared library, libKorvo_bt.so.1, in which download daemons and the programs of the web interface
 * keep and read everything they know about downloads, in one SQLite file. This header is the whole
 * contract, for C11 and C++17 and later. In this order it declares:
 *
 *      err_*                                  the diagnostic log
 *      bt_db_*_task*                          BitTorrent tasks: add, update, look up, list, count
 *      bt_db_*_session                        totals of the BitTorrent session
 *      tq_db_query_task                       both kinds of task in one list
 *      http_ftp_db_*, http_db_*, ftp_db_*     HTTP/FTP tasks, and which one is downloaded next
 *      bt_fdata_*, bt_infodata_*              files and metadata of a torrent
 *      bt_rss_*, bt_rss_job_*                 items of RSS feeds, jobs that download from feeds
 *      bt_account_*                           accounts per host
 *      *bt_msg_*                              the message queue to the BitTorrent daemon
 *      bt_task_remove, http_ftp_task_remove   a task's removal with its files
 *      *_task_fmttime                         times for display
 *      *_tqv3_*                               the weekly schedule, notifications, alert mail
 *      omra_url_encode                        URL encoding of spaces
 *
 * What the stored numbers mean is agreed on in korvo_bt_conventions.h.
 *
 * Conventions, which hold for every function unless its own description says otherwise:
 *
 *  1. Results. A function returns a signed 32-bit number: BTDB_OK (0), or a count, an identifier or a
 *     length (0 or more), or one of the negative codes BTDB_ERR_*. There is no error string and no errno.
 *     A call that fails has changed nothing in the database. The exceptions are described where they
 *     occur: an add whose row is stored but whose new identifier could not be read, the create of a table
 *     that exists, which still creates its missing indexes, and the removal of a task.
 *
 *  2. Arguments are checked first. BTDB_ERR_PARAM means that nothing was opened or changed.
 *
 *  3. Ownership. Every record, string and buffer belongs to the caller. The library reads it during the
 *     call, fills it where the function says so, and keeps no pointer to it. A record that a function
 *     fills is left as it was when the function fails.
 *
 *  4. Strings are NUL-terminated bytes, by custom UTF-8, stored unchanged: quotes, line breaks and control
 *     characters included. A stored string that is longer than the record's field is truncated to the
 *     field when it is read, with a NUL at the end; an SQL NULL (only other programs write it) is read as
 *     the empty string. The bytes of a field after its NUL are zero.
 *
 *  5. One connection per call. Every store function opens the database file, runs one statement and closes
 *     the file. A create also runs the statements of its indexes, some adds read the new identifier on a
 *     second connection and say so, and the removal of a task consists of several calls. No connection,
 *     descriptor, lock, cache or allocation outlives the call. There is nothing to initialise and nothing
 *     to shut down.
 *
 *  6. Waiting for locks. While another process holds a conflicting lock on the file, a call waits, and
 *     fails with its ordinary code when that takes too long: up to 20 seconds to read the schema of the
 *     file, with which each statement begins, and up to 20 seconds more to run the statement. An add that
 *     reads the identifier on a second connection, and a create for each of its indexes, can wait as long
 *     again. Functions that do not wait for locks say so.
 *
 *  7. Threads and processes. Every function may be called from any thread of any number of processes at
 *     the same time. Each statement is atomic; two calls in a row are not. A process must not call the
 *     library in a child that was forked while another thread was inside it, and must not open or close
 *     the database file by other means than SQLite: that drops the locks of calls that run at the time.
 *
 *  8. Row callbacks have the signature of sqlite3_exec's callback: see TqRowCallback. A listing accepts
 *     NULL: it then runs and discards its rows.
 *
 *  9. Paging. Listings take two positions, start and end, counted from 0 in the listing's order, end
 *     exclusive. Both 0 lists everything. Otherwise the rows at start .. end-1 are listed; start equal
 *     to end (not 0) lists none and is success. A negative value, or start above end, gives
 *     BTDB_ERR_PARAM.
 *
 * 10. The database file argument. Listings that take a `file` open BTDB_DEFAULT_FILE when it is NULL; any
 *     other string, the empty one included, is handed to SQLite unchanged. A file that does not exist is
 *     created empty.
 *
 * 11. Column positions. Delete functions select rows by one column: `selector` is the column's position,
 *     counted from 0, in the table (the order of the record's fields), and `value` points to an int32_t
 *     for a number or is the string itself. A selector that the function does not accept, and a NULL
 *     value, give BTDB_ERR_PARAM.
 *
 * 12. Running out of memory is an ordinary failure: the function's own code, and nothing changed.
 *
 * 13. Power failures. A success is on the disk: written and synced. On a file system that delays the
 *     deletion of a file (the rollback journal), a power failure can undo the last call before it, as a
 *     whole. No call is ever half done.
 *
 * Intended, and not to be "repaired" by callers or maintainers: records are plain fixed-width structures
 * whose layout is the same on 32-bit ARM and on 64-bit PCs; statements are built with SQLite's "'%q'"
 * quoting instead of bound parameters; an update that matches no row is reported as BTDB_ERR_UPDATE, like
 * one that failed, while a delete that matches no row is BTDB_OK.
 */
#ifndef KORVO_BT_H
#define KORVO_BT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define KORVO_BT_API __attribute__((visibility("default")))
#define KORVO_BT_PRINTF(text, arguments) __attribute__((__format__(__printf__, text, arguments)))
#else
#define KORVO_BT_API
#define KORVO_BT_PRINTF(text, arguments)
#endif

/* ---- Version ------------------------------------------------------------------------------------- */

/* The version that this header belongs to. A program built against it works with every library of the
 * same major version that is not older. */
#define KORVO_BT_VERSION_MAJOR 1
#define KORVO_BT_VERSION_MINOR 0
#define KORVO_BT_VERSION_PATCH 0
#define KORVO_BT_VERSION "1.0.0"

/* ---- Result codes ------------------------------------------------------------------------------ */

/* Done; the function has nothing else to return. */
#define BTDB_OK 0
/* An argument check failed: a NULL record, key, value or buffer; a negative identifier; a selector,
 * field code or filter out of range (compared unsigned: negative ones too); paging out of order. */
#define BTDB_ERR_PARAM (-11)
/* A schedule function was given a NULL record. */
#define BTDB_ERR_NULL (-12)
/* The database file could not be opened: its directory is missing, or access is refused. */
#define BTDB_ERR_OPEN (-20)
/* CREATE TABLE failed (the table exists already) or DROP TABLE failed (it does not exist). */
#define BTDB_ERR_TABLE (-21)
/* Deleting all rows of a table failed (the table does not exist). */
#define BTDB_ERR_FLUSH (-22)
/* The INSERT of an add failed (the table does not exist, the disk is full, the file is read-only). No row
 * was stored. */
#define BTDB_ERR_INSERT (-23)
/* A read found no row, or a negative value, or could not run (the table does not exist, the file is
 * damaged); or a listing could not run or was stopped by its callback. */
#define BTDB_ERR_QUERY (-24)
/* A delete by column could not run. */
#define BTDB_ERR_DELETE (-27)
/* An UPDATE could not run (as above), or matched no row. A matched row counts also when no value changed. */
#define BTDB_ERR_UPDATE (-28)
/* The task to remove could not be read: there is none, or the database does not answer. */
#define BTDB_ERR_NO_TASK (-100)

/* Besides the causes named above, the codes from BTDB_ERR_TABLE to BTDB_ERR_UPDATE also report a file that
 * stayed locked for longer than the call waits, a damaged file, a full disk or memory that ran out. So
 * BTDB_ERR_QUERY and BTDB_ERR_UPDATE do not prove that a row is absent. Before a program discards something
 * because a task is gone, it waits and then counts or lists the table: a listing that succeeds without the
 * task proves it, a call that fails does not. */

/* ---- Advice to authors of daemons ---------------------------------------------------------------- */

/* Picking tasks. Picking a task, entering a process and changing the state are three calls, and picking
 * does not claim the task. Let one process do it, under a lock of its own.
 *
 * Several transfers in one process. http_ftp_task_remove() kills the process in task_pid. A daemon that
 * entered its own would lose all its transfers with the first removed task. It starts an idle child process
 * for each task, enters the child's number, and stops the transfer when that child dies. The child goes
 * when its parent does (PR_SET_PDEATHSIG) and resets what it inherited.
 *
 * A failed HTTP/FTP task. There is no failed state: a failed task that stays queued would be picked again
 * at once. Store the error code, then set it paused and queued: it is passed over and shown as failed until
 * somebody resumes it.
 *
 * Writing progress. Write the columns that changed, about once a second for each task, and nothing while
 * nothing changes: each write is a transaction of its own, and a disk takes some fifty to a thousand of
 * them a second. Updates of a whole record overwrite what others changed since it was read, as when a user
 * pauses a task: prefer the updates of one field.
 *
 * Waiting. A call can wait for 20 seconds and more (see the conventions). A process that must go on
 * meanwhile makes its calls in a thread of their own.
 *
 * Missing tasks. A failed read does not prove that a task is gone: see the result codes above.
 *
 * The message queue. A send or receive that fails ends the calling process. Send from a child process and
 * look at its exit status; receive in a child process that passes one message at a time to its parent,
 * through a pipe, so that its end loses at most one. The queue has no acknowledgements: the database is the
 * authority, and a sender repeats its message until it sees the effect.
 *
 * Where files must lie for removal to find them. A download is below "/share/", in the directory that the
 * device's configuration names for its kind, or in the task's move folder once the task is finished
 * (BitTorrent state 5, HTTP/FTP state 3). Both are relative to "/share/": "Movies", not "/share/Movies",
 * which stands for "/share/share/Movies". Its name there is task_torrent_name or task_savename.
 * Fast-resume data lies beside the torrent's data, with ".fastresume" appended. task_filename of a
 * BitTorrent task is a path of its own, to be given in full, since a relative one is taken from the
 * directory in which the removing process works; a file with ".db" appended belongs to it. A saved name
 * should hold no percent sign: "a%41.bin" stands for "aA.bin" as well. */

/* ---- The database file ------------------------------------------------------------------------- */

/* The file that every function opens unless it takes a `file` argument of its own. Its directory must
 * exist; the file is created empty by the first call, with the mode that the process's umask leaves of
 * 0644, so that no group can write to it before a chmod. While something is written SQLite keeps a journal
 * beside it, with the file's mode. Tables are created by the create functions alone.
 *
 * A file that the process may only read can be read; adds then fail with BTDB_ERR_INSERT, updates with
 * BTDB_ERR_UPDATE. A symlink in place of the file is followed. Whoever can write to the directory, or to
 * the file, decides what callers read, and can keep their calls waiting or running without end. A journal
 * that somebody puts into the directory can make any call delete any file that the process may delete.
 * The mode of the directory protects the store as much as that of the file: see SECURITY.md. */
#define BTDB_DEFAULT_FILE "/mnt/HDA_ROOT/tq.db"

/* Called once per row of a listing, before the listing function returns, on the caller's thread.
 *
 *   context  the pointer given to the listing function, untouched
 *   columns  the number of columns
 *   values   the row's values as strings, one a column; NULL for an SQL NULL
 *   names    the column names
 *
 * The strings are valid during this call only: copy what is to be kept. Returning 0 goes on; any other
 * value stops the listing, which then returns BTDB_ERR_QUERY (rows already delivered stay delivered).
 * The callback may call functions of this library. But the file is being read while it runs: a write from
 * inside it waits for the listing's own lock and fails after 20 seconds, or at once where the function does
 * not wait. It must return in the ordinary way: neither an exception nor longjmp may leave it. */
typedef int (*TqRowCallback)(void *context, int columns, char **values, char **names);

/* ---- The diagnostic log ------------------------------------------------------------------------- */

/* One log for the whole process. The library's message queue writes to it, and a program that links the
 * library may use it for messages of its own. A message has a level and a set of module bits. Level 0 is
 * fatal: it is always written, and THE PROCESS THEN ENDS with exit status 1. Any other message is written
 * when its level is not above err_debuglevel and one of its module bits is in the mask.
 *
 * What a daemon's author must know:
 *   - Without any setup, messages of all modules up to level 10 go to standard error. Among them are those
 *     that bt_msg_get() writes at level 9 whenever it is called, also when it finds the queue empty: a
 *     daemon that polls its queue sets err_debuglevel to 8 or less, or chooses another destination.
 *   - The library ends the process only in these cases: an err_log() of level 0, which is also how the
 *     message queue reports that it cannot be reached, that it is full or that it refuses a message; and
 *     a log file that err_setdest() cannot open. It calls exit(): a forked child in which
 *     that happens runs the handlers that its parent registered with atexit(), and writes once more
 *     what its parent had not flushed when it forked. Flush before fork().
 *   - Standard error that is a pipe without a reader, or such a FIFO as log file, raises SIGPIPE, as any
 *     write to it does. It ends a process that does not ignore or handle the signal.
 *   - None of these functions may be called from a signal handler. */

/* Modules. Each bit but the last has a name that err_setdebugmask() knows: "config" and so on, in lower
 * case. The message queue logs under ERR_MODULE_CONFIG, err_setdebugmask() under ERR_MODULE_SELF. */
#define ERR_MODULE_CONFIG 0x00000001U
#define ERR_MODULE_WEBSERVER 0x00000002U
#define ERR_MODULE_DATABASE 0x00000004U
#define ERR_MODULE_SCAN 0x00000008U
#define ERR_MODULE_QUERY 0x00000010U
#define ERR_MODULE_INDEX 0x00000020U
#define ERR_MODULE_BROWSE 0x00000040U
#define ERR_MODULE_PLAYLIST 0x00000080U
#define ERR_MODULE_ART 0x00000100U
#define ERR_MODULE_DAAP 0x00000200U
#define ERR_MODULE_MAIN 0x00000400U
#define ERR_MODULE_REND 0x00000800U
#define ERR_MODULE_SELF 0x80000000U

/* Destinations. With any other number only fatal messages are written, to standard error. */
#define LOGDEST_STDERR 0  /* standard error, the message alone; the destination at the start */
#define LOGDEST_SYSLOG 1  /* syslog: facility LOG_DAEMON, priority LOG_NOTICE, with the process id */
#define LOGDEST_LOGFILE 2 /* a file, appended to: "2024-05-17 08:30:02: message", in TZ's local time */

/* The threshold, 10 at the start. Programs read and assign it directly, also while other threads log
 * (then with an atomic store). Below 0, only fatal messages and levels not above it are written. */
KORVO_BT_API extern int32_t err_debuglevel;

/* Writes a message, or returns at once when it is filtered: that costs a comparison and a bit test.
 *   level    0 ends the process after writing; any other, negative ones too, is compared with the threshold
 *   modules  the message's module bits; ignored at level 0
 *   format   printf's, followed by its arguments and checked by the compiler. End it with "\n": none
 *            is added. A message above 1023 bytes is truncated, and its "\n" with it
 * A fatal message goes to standard error, followed by "Aborting\n", and to syslog or the log file as well
 * when that is the destination. Messages of several threads do not mix. A message that cannot be written, as
 * when the disk is full, is silently lost; a mutex that fails leaves its error in errno, and the message
 * is written. */
KORVO_BT_API void err_log(int32_t level, uint32_t modules, const char *format, ...) KORVO_BT_PRINTF(3, 4);

/* Chooses the destination: closes the one in use and opens the new one. Choosing the destination in use
 * changes nothing, whatever the name: to change from one file to another, go by way of LOGDEST_STDERR.
 *   name         LOGDEST_SYSLOG: the ident, which must stay valid while this is the destination;
 *                LOGDEST_LOGFILE: the file's path, not NULL; else ignored
 *   destination  LOGDEST_*
 * A file that cannot be opened, also a FIFO that nobody reads, ENDS THE PROCESS with exit status 1, after
 * "Error opening NAME: REASON\n" on standard error. A new file has the mode that the umask leaves of 0666;
 * a symlink is followed. Programs that the process starts do not inherit the file. Not to be called while
 * another thread logs. */
KORVO_BT_API void err_setdest(const char *name, int32_t destination);

/* Replaces the mask, in which every bit is set at the start, by ERR_MODULE_SELF and the named modules.
 *   list  module names separated by commas, upper and lower case alike; empty ones are skipped. It is
 *         CHANGED: each comma that ends a name becomes a NUL. Not NULL
 * Returns 0, or 1 at the first unknown name: the modules before it are in the mask, those after it are not.
 * Logs each module at level 9 and the mask at level 5, or the unknown name at level 1. There is no name
 * for all modules. Not to be called while another thread logs. */
KORVO_BT_API int32_t err_setdebugmask(char *list);

/* ---- BitTorrent tasks: the table BT_TASK --------------------------------------------------------- */

/* One row of BT_TASK; fields in column order, widths of strings including the NUL. What the numbers count
 * (bytes, KiB, seconds, percent ...) and the formats of the strings are an agreement between the programs
 * that write and read them; the library stores them unchanged. */
typedef struct BtTaskRecord {
    int32_t task_id;                 /*  0 identifier, from 1; assigned by the add, never written by updates */
    char task_torrent_name[1025];    /*  1 the torrent's name, and that of its data in the download folder */
    char task_filename[1025];        /*  2 path of the task's own file, removed together with the task */
    char task_current_tracker[1023]; /*  3 the tracker in use */
    int32_t task_state;              /*  4 state; the groups that listings tell apart: BT_TASK_FILTER_* */
    int32_t task_progress;           /*  5 progress */
    int32_t task_total_wanted_done;  /*  6 amount of wanted data done */
    int32_t task_total_wanted;       /*  7 amount of data wanted */
    int32_t task_all_time_download;  /*  8 total downloaded */
    int32_t task_all_time_upload;    /*  9 total uploaded */
    int32_t task_download_rate;      /* 10 current download rate */
    int32_t task_upload_rate;        /* 11 current upload rate */
    int32_t task_num_peers;          /* 12 number of peers */
    int32_t task_num_seeds;          /* 13 number of seeds */
    int32_t task_block_size;         /* 14 block size */
    char task_pieces[129];           /* 15 pieces, as a string */
    int32_t task_num_pieces;         /* 16 number of pieces */
    int32_t task_announce_interval;  /* 17 tracker announce interval */
    char task_start_time[20];        /* 18 start time; the combined listing sorts by it, as a string */
    char task_finish_time[17];       /* 19 finish time */
    float task_rating;               /* 20 rating; see bt_db_add_task() */
    char task_time_left[9];          /* 21 time left */
    int32_t task_is_paused;          /* 22 1 paused, 0 not */
    int32_t task_queue_position;     /* 23 place in the queue; the BT listings sort by it */
    char task_move_folder[257];      /* 24 folder that finished data is moved to; empty: none */
    char task_hash[56];              /* 25 info-hash, as a string */
    int32_t task_type;               /* 26 type; key of bt_db_query_task_by_task_type() */
    char task_magnet_link[2049];     /* 27 magnet link; empty: none */
    int32_t task_record;             /* 28 marker: 0 after the add, then bt_db_update_recode_by_task_id() */
} BtTaskRecord;

/* Creates BT_TASK and its indexes. Index names belong to the whole file, and four are shared with
 * HTTP_FTP_TASK: whichever table is created first gets them, the other goes without, and both creates
 * succeed.
 * Returns BTDB_OK; BTDB_ERR_TABLE when the table exists already (its rows stay, missing indexes whose
 * names are free are made); BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_create_tbl_task(void);

/* Drops BT_TASK with all its rows; identifiers start again at 1 when it is next created.
 * Returns BTDB_OK; BTDB_ERR_TABLE when there is no such table; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_remove_tbl_task(void);

/* Deletes all rows of BT_TASK; identifiers go on above the largest ever used.
 * Returns BTDB_OK, also for an empty table; BTDB_ERR_FLUSH; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_flush_tbl_task(void);

/* Deletes every task whose column equals a value.
 *   selector  0 task_id, 1 task_torrent_name, 2 task_filename, 4 task_state, 5 task_progress
 *   value     int32_t for 0, 4 and 5; the string itself for 1 and 2 (compared exactly, case included)
 * Rows of other tables that belong to the task stay; bt_task_remove() removes a task as a whole.
 * Returns BTDB_OK, also when no row matched; BTDB_ERR_PARAM for NULL and for any other selector;
 * BTDB_ERR_OPEN; BTDB_ERR_DELETE. */
KORVO_BT_API int32_t bt_db_del_task(uint32_t selector, const void *value);

/* Adds a task.
 *   record  read except for task_id; its task_record is set to 0, in the caller's record too and also when
 *           the add fails. The rating is stored with six decimals, and reads truncate it to a whole number;
 *           what 32 bits do not hold reads back as another number. One that is infinite or not a number
 *           is refused: BTDB_ERR_INSERT, by the updates BTDB_ERR_UPDATE
 * Returns the new task's identifier, 1 or more. It is read as the largest in the table on a second
 * connection: when another process adds a task in between, that one's is returned (look the task up by
 * name or hash where this matters). BTDB_ERR_PARAM for NULL; BTDB_ERR_OPEN and BTDB_ERR_INSERT when
 * nothing was stored. BTDB_ERR_OPEN and BTDB_ERR_QUERY can also come from reading the identifier: then
 * the row is stored. */
KORVO_BT_API int32_t bt_db_add_task(BtTaskRecord *record);

/* Writes a task's progress back, to every row that has the record's torrent name.
 *   record  read: torrent name (key), tracker, task_state to task_announce_interval, finish time,
 *           rating, time left, paused, queue position. The file name, start time, move folder, hash,
 *           type, magnet link and marker in the table stay as they are.
 * Finds the rows by a full table scan; bt_db_update_task_by_hash() does too.
 * Returns BTDB_OK; BTDB_ERR_UPDATE when no row has that name; BTDB_ERR_PARAM for NULL; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_update_task(const BtTaskRecord *record);

/* The same, to every row that has the record's hash. Through it the torrent name can change. */
KORVO_BT_API int32_t bt_db_update_task_by_hash(const BtTaskRecord *record);

/* Sets the move folder of one task.
 *   task_id  0 or more
 *   folder   relative to "/share/"; stored whole, whatever its length; a record holds 256 bytes of it
 * Returns BTDB_OK; BTDB_ERR_UPDATE when there is no such task; BTDB_ERR_PARAM for a NULL folder or a
 * negative identifier; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_update_task_move_folder_by_task_id(int32_t task_id, const char *folder);

/* Sets the hash of one task: as above; a record holds 55 bytes of it. */
KORVO_BT_API int32_t bt_db_update_task_hash_by_task_id(int32_t task_id, const char *hash);

/* Sets the download and upload rate of all tasks to 0, as after a restart of the daemon.
 * Returns BTDB_OK; BTDB_ERR_UPDATE, also when the table is empty; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_update_all_task_rate_to_zero(void);

/* Sets the marker (task_record) of one task.
 *   task_id, marker  0 or more
 * Returns BTDB_OK; BTDB_ERR_UPDATE when there is no such task; BTDB_ERR_PARAM when either is negative;
 * BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_update_recode_by_task_id(int32_t task_id, int32_t marker);

/* Reads the file name of one task.
 *   task_id  0 or more
 *   buffer   1024 bytes are written when there is such a task: a shorter name is followed by NULs; a
 *            name of 1024 bytes fills them WITHOUT a NUL, so give 1025 bytes with the last one 0
 * Returns the length in bytes of the stored name (0 for an empty one; it may exceed 1024);
 * BTDB_ERR_QUERY when there is no such task (buffer[0] is then NUL); BTDB_ERR_PARAM for a NULL buffer
 * or a negative identifier, BTDB_ERR_OPEN (the buffer is untouched). */
KORVO_BT_API int32_t bt_db_query_filename_by_task_id(int32_t task_id, char *buffer);

/* Read one task into a record, by identifier (0 or more) or by an exactly equal string. When several
 * rows match, the first that SQLite finds is read. All but the first do a full table scan.
 *   record  filled, every field
 * Return BTDB_OK; BTDB_ERR_QUERY when no row matches; BTDB_ERR_PARAM for a NULL record or string or
 * a negative identifier; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_query_data_by_task_id(int32_t task_id, BtTaskRecord *record);
KORVO_BT_API int32_t bt_db_query_data_by_task_torrent_name(const char *torrent_name, BtTaskRecord *record);
KORVO_BT_API int32_t bt_db_query_data_by_task_hash(const char *hash, BtTaskRecord *record);
KORVO_BT_API int32_t bt_db_query_data_by_task_magnet_link(const char *magnet_link, BtTaskRecord *record);

/* Hands one task to a callback as the 29 columns of BT_TASK, in the order of the record.
 *   callback  may be NULL: the statement runs and the row is discarded
 *   task_id   0 or more
 * Returns 0, also when there is no such task (the callback is then not called). Unlike the other
 * listings it reports a failed run with SQLite's own positive code: 4 (SQLITE_ABORT) when the callback
 * returned non-zero, 1 when the table is missing, 5 when the file stayed locked, 7 when memory ran out,
 * 11 when the file is damaged, 26 when it is no database.
 * BTDB_ERR_PARAM for a negative identifier; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_query_data_by_task_id_with_callback(TqRowCallback callback, int32_t task_id, void *context);

/* Returns the largest identifier in BT_TASK; BTDB_ERR_QUERY when the table is empty or missing;
 * BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_query_latest_task_id(void);

/* ---- BitTorrent tasks: listings and counts ------------------------------------------------------- */

/* Filters of the BT listings, counts and of the combined listing. Task states belong to the callers;
 * these groups are all that the library knows of them. State 0 and states above 7 are in ALL only. */
#define BT_TASK_FILTER_ALL 0      /* every task */
#define BT_TASK_FILTER_RUNNING 1  /* not paused, state 1 to 4 or 7 */
#define BT_TASK_FILTER_FINISHED 2 /* state 5 or 6, paused or not */
#define BT_TASK_FILTER_ACTIVE 3   /* state 1 to 6, and one of the rates above 0 */
#define BT_TASK_FILTER_INACTIVE 4 /* state 1 to 7, and both rates 0 */
#define BT_TASK_FILTER_PAUSED 5   /* paused, state 1 to 4 or 7 */
#define BT_TASK_FILTER_STATE_5 6  /* state 5 alone */

/* Counts the tasks that a filter selects.
 * Returns the count; BTDB_ERR_PARAM for a filter outside 0 to 6; BTDB_ERR_OPEN; BTDB_ERR_QUERY when the
 * table is missing. */
KORVO_BT_API int32_t bt_db_query_task_count(int32_t filter);

/* Lists the tasks that a filter selects, by ascending queue position (equal positions in no defined
 * order), as the 29 columns of BT_TASK in the order of the record.
 *   file      NULL: BTDB_DEFAULT_FILE
 *   reserved  ignored
 *   start, end  paging
 *   filter    BT_TASK_FILTER_*
 * A page costs as much as the rows before it: the file is read from the start and sorted.
 * Returns BTDB_OK, also when nothing is selected; BTDB_ERR_PARAM for bad paging or filter;
 * BTDB_ERR_OPEN; BTDB_ERR_QUERY when the listing failed or was stopped. */
KORVO_BT_API int32_t bt_db_query_task(const char *file, TqRowCallback callback, int32_t reserved, int32_t start,
                                      int32_t end, int32_t filter, void *context);

/* Lists all tasks of one type by ascending queue position, without paging. Any type is accepted.
 * Returns BTDB_OK; BTDB_ERR_OPEN; BTDB_ERR_QUERY when the listing failed or was stopped. */
KORVO_BT_API int32_t bt_db_query_task_by_task_type(int32_t task_type, TqRowCallback callback, void *context);

/* ---- BitTorrent session totals: the table BT_SESSION --------------------------------------------- */

/* One row of BT_SESSION; fields in column order. Units are an agreement between the programs. */
typedef struct BtSessionRecord {
    int32_t session_id;     /* 0 identifier, from 1; assigned by the add, key of the update */
    int32_t total_download; /* 1 total downloaded */
    int32_t total_upload;   /* 2 total uploaded */
    int32_t download_rate;  /* 3 download rate */
    int32_t upload_rate;    /* 4 upload rate */
    int32_t pause_all_time; /* 5 pause value, as the caller sets it */
} BtSessionRecord;

/* Creates BT_SESSION.
 * Returns BTDB_OK; BTDB_ERR_TABLE when the table exists already; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_create_tbl_session(void);

/* Drops BT_SESSION with its rows; identifiers start again at 1.
 * Returns BTDB_OK; BTDB_ERR_TABLE when there is no such table; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_remove_tbl_session(void);

/* Deletes all rows of BT_SESSION (there is no delete of single ones); identifiers go on.
 * Returns BTDB_OK; BTDB_ERR_FLUSH; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_flush_tbl_session(void);

/* Adds a session row; the record's session_id is not read.
 * Returns the new identifier, read as the largest in the table on a second connection (see
 * bt_db_add_task() for what that means); BTDB_ERR_PARAM for NULL; BTDB_ERR_INSERT; BTDB_ERR_OPEN;
 * BTDB_ERR_QUERY when the row is stored and its identifier could not be read. */
KORVO_BT_API int32_t bt_db_add_session(const BtSessionRecord *record);

/* Rewrites the row that has the record's session_id.
 * Returns BTDB_OK; BTDB_ERR_UPDATE when there is none; BTDB_ERR_PARAM for NULL; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_update_session(const BtSessionRecord *record);

/* Reads one row into a record.
 *   session_id  0 or more
 * Returns BTDB_OK; BTDB_ERR_QUERY when there is no such row; BTDB_ERR_PARAM for a NULL record or a
 * negative identifier; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_query_data_by_session_id(int32_t session_id, BtSessionRecord *record);

/* Lists the rows by ascending identifier, as the six columns of the table. Mind that this listing has no
 * reserved argument and no filter.
 * Returns BTDB_OK; BTDB_ERR_PARAM for bad paging; BTDB_ERR_OPEN; BTDB_ERR_QUERY when the listing failed
 * or was stopped. */
KORVO_BT_API int32_t bt_db_query_session(const char *file, TqRowCallback callback, int32_t start, int32_t end,
                                         void *context);

/* ---- Both kinds of task in one list -------------------------------------------------------------- */

/* Lists BitTorrent and HTTP/FTP tasks together, by ascending start time compared as strings (equal times
 * in no defined order). Paging counts positions in the merged order, so a page can mix both kinds. A page
 * costs as much as the whole list: SQLite merges and sorts both tables before it selects the page.
 *   filter  BT_TASK_FILTER_*. HTTP/FTP tasks go with them like this: RUNNING not paused, running or
 *           queued; FINISHED and STATE_5 finished; ACTIVE running with a download rate above 0;
 *           INACTIVE every task whose download rate is 0, in any state; PAUSED paused, running or queued.
 * The other arguments are those of bt_db_query_task().
 *
 * Each row has sixteen columns:
 *
 *      0 task_start_time         6 task_rating (0)              11 task_time_left
 *      1 task_id                 7 task_total_wanted_done       12 task_is_paused
 *      2 task_torrent_name         (task_total_downloaded)      13 task_queue_position
 *        (task_filename)         8 task_total_wanted            14 0 (task_errcode)
 *      3 task_state                (task_total_size)            15 the string bt (http)
 *      4 task_download_rate      9 task_progress
 *      5 task_upload_rate (0)   10 task_finish_time
 *
 * In parentheses: what an HTTP/FTP row has there, where it differs. Column names are those of the
 * BitTorrent side. Identifiers of the two tables overlap: a row's key is columns 15 and 1 together.
 * Returns BTDB_OK; BTDB_ERR_PARAM for bad paging or filter; BTDB_ERR_OPEN; BTDB_ERR_QUERY when the
 * listing was stopped or failed, also when either table is missing. */
KORVO_BT_API int32_t tq_db_query_task(const char *file, TqRowCallback callback, int32_t reserved, int32_t start,
                                      int32_t end, int32_t filter, void *context);

/* ---- HTTP/FTP tasks: the table HTTP_FTP_TASK ------------------------------------------------------ */

/* States of an HTTP/FTP task. */
#define HTTP_FTP_TASK_STATE_QUEUED 1   /* waits for a download process */
#define HTTP_FTP_TASK_STATE_RUNNING 2  /* is being downloaded */
#define HTTP_FTP_TASK_STATE_FINISHED 3 /* done; its file is looked for in its move folder, if it has one */

/* Types of an HTTP/FTP task. Other values are stored too and belong to neither. */
#define HTTP_FTP_TASK_TYPE_NORMAL 0
#define HTTP_FTP_TASK_TYPE_RAPIDSHARE 1

/* One row of HTTP_FTP_TASK; fields in column order, widths of strings including the NUL. The password is
 * kept as plain text. Units and formats are an agreement between the programs. */
typedef struct HttpFtpTaskRecord {
    int32_t task_id;               /*  0 identifier, from 1; assigned by the add, never written by updates */
    int32_t task_pid;              /*  1 process that downloads it, 0 none; removal kills a pid above 0 */
    char task_filename[1025];      /*  2 source address, beginning with http or ftp; key of the update */
    int32_t task_state;            /*  3 HTTP_FTP_TASK_STATE_* */
    int32_t task_progress;         /*  4 progress */
    int64_t task_total_size;       /*  5 total size */
    int64_t task_total_downloaded; /*  6 amount downloaded */
    int32_t task_download_rate;    /*  7 current download rate */
    char task_start_time[20];      /*  8 start time; the combined listing sorts by it, as a string */
    char task_finish_time[20];     /*  9 finish time */
    char task_time_left[9];        /* 10 time left */
    int32_t task_is_paused;        /* 11 1 paused, 0 not; apart from the state */
    int32_t task_type;             /* 12 HTTP_FTP_TASK_TYPE_* */
    char task_username[33];        /* 13 user name at the source */
    char task_password[65];        /* 14 password at the source */
    int32_t task_errcode;          /* 15 the downloader's error code */
    char task_move_folder[257];    /* 16 folder that the finished file is moved to; empty: none */
    char task_savename[1024];      /* 17 name of the saved file; empty: the address's last part */
    int32_t task_queue_position;   /* 18 place in the queue */
} HttpFtpTaskRecord;

/* Field codes: a column's position, for http_ftp_db_del_task() and the two field updates. The value is
 * an int32_t, an int64_t where marked so, or a string. Below: D accepted by the delete, I by the update by
 * identifier, P by the update by process id. */
#define HTTP_FTP_TASK_FIELD_ID 0               /* D   */
#define HTTP_FTP_TASK_FIELD_PID 1              /* DI  */
#define HTTP_FTP_TASK_FIELD_FILENAME 2         /* DIP string */
#define HTTP_FTP_TASK_FIELD_STATE 3            /* DIP */
#define HTTP_FTP_TASK_FIELD_PROGRESS 4         /* DIP */
#define HTTP_FTP_TASK_FIELD_TOTAL_SIZE 5       /*  IP int64_t */
#define HTTP_FTP_TASK_FIELD_TOTAL_DOWNLOADED 6 /*  IP int64_t */
#define HTTP_FTP_TASK_FIELD_DOWNLOAD_RATE 7    /*  IP int64_t, although the record holds 32 bits of it */
#define HTTP_FTP_TASK_FIELD_START_TIME 8       /*  IP string */
#define HTTP_FTP_TASK_FIELD_FINISH_TIME 9      /*  IP string */
#define HTTP_FTP_TASK_FIELD_TIME_LEFT 10       /*  IP string */
#define HTTP_FTP_TASK_FIELD_IS_PAUSED 11       /*  IP */
#define HTTP_FTP_TASK_FIELD_TYPE 12            /* set by the add alone */
#define HTTP_FTP_TASK_FIELD_USERNAME 13        /* set by the add alone */
#define HTTP_FTP_TASK_FIELD_PASSWORD 14        /* set by the add alone */
#define HTTP_FTP_TASK_FIELD_ERRCODE 15         /*  IP */
#define HTTP_FTP_TASK_FIELD_MOVE_FOLDER 16     /*  IP string */
#define HTTP_FTP_TASK_FIELD_SAVENAME 17        /*  IP string */
#define HTTP_FTP_TASK_FIELD_QUEUE_POSITION 18  /*  IP */

/* Creates HTTP_FTP_TASK and its indexes; see bt_db_create_tbl_task() for the four names it shares.
 * Returns BTDB_OK; BTDB_ERR_TABLE when the table exists already; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_create_tbl_task(void);

/* Drops HTTP_FTP_TASK with all its rows; identifiers start again at 1.
 * Returns BTDB_OK; BTDB_ERR_TABLE when there is no such table; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_remove_tbl_task(void);

/* Deletes all rows of HTTP_FTP_TASK; identifiers go on above the largest ever used.
 * Returns BTDB_OK, also for an empty table; BTDB_ERR_FLUSH; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_flush_tbl_task(void);

/* Adds a task, normally in state HTTP_FTP_TASK_STATE_QUEUED. The record's task_id is not read.
 * Returns the new task's own identifier, 1 or more, also when other processes add at the same time: it
 * is read on the insert's connection. BTDB_ERR_PARAM for NULL; BTDB_ERR_INSERT; BTDB_ERR_OPEN.
 * BTDB_ERR_QUERY when the row is stored under an identifier that 31 bits do not hold. */
KORVO_BT_API int32_t http_ftp_db_add_task(const HttpFtpTaskRecord *record);

/* Writes a task's progress back, to every row that has the record's source address.
 *   record  read: address (key), state, progress, both sizes, rate, finish time, time left, paused,
 *           error code. Everything else in the table stays as it is.
 * Returns BTDB_OK; BTDB_ERR_UPDATE when no row has that address; BTDB_ERR_PARAM for NULL;
 * BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_update_task(const HttpFtpTaskRecord *record);

/* Sets the process of one task. Nothing is checked; 0 means none.
 * Returns BTDB_OK; BTDB_ERR_UPDATE when there is no such task; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_update_pid_by_task_id(int32_t task_id, int32_t pid);

/* Sets one column of one task, or of every task that a process works on (0: of every task without one).
 *   field  HTTP_FTP_TASK_FIELD_*, as marked there
 *   value  points to the new value, or is the string; strings are stored whole, whatever their length
 * Mind the order of the arguments: http_ftp_db_del_task() takes the field first.
 * Returns BTDB_OK; BTDB_ERR_UPDATE when no row matches; BTDB_ERR_PARAM for NULL or a field that is not
 * accepted; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_update_task_field_by_id(int32_t task_id, uint32_t field, const void *value);
KORVO_BT_API int32_t http_ftp_db_update_task_field_by_pid(int32_t pid, uint32_t field, const void *value);

/* Deletes every task whose column equals a value.
 *   field  HTTP_FTP_TASK_FIELD_ID, _PID, _FILENAME, _STATE or _PROGRESS
 *   value  int32_t; the string itself for _FILENAME
 * Returns BTDB_OK, also when no row matched; BTDB_ERR_PARAM for NULL or any other field; BTDB_ERR_OPEN;
 * BTDB_ERR_DELETE. */
KORVO_BT_API int32_t http_ftp_db_del_task(uint32_t field, const void *value);

/* Reads the source address of one task.
 *   task_id  0 or more
 *   buffer   1024 bytes are written when there is such a task: at most 1023 of the address, then NULs
 * Returns the length in bytes of the stored address (0 for an empty one; above 1023: it was truncated);
 * BTDB_ERR_QUERY when there is no such task (buffer[0] is then NUL); BTDB_ERR_PARAM for a NULL buffer or
 * a negative identifier, BTDB_ERR_OPEN (the buffer is untouched). */
KORVO_BT_API int32_t http_ftp_db_query_filename_by_task_id(int32_t task_id, char *buffer);

/* Returns the process of one task, 0 when none; BTDB_ERR_QUERY when there is no such task or its stored
 * process is negative; BTDB_ERR_PARAM for a negative identifier; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_query_pid_by_task_id(int32_t task_id);

/* Reads one task into a record.
 *   task_id  0 or more
 * Returns BTDB_OK; BTDB_ERR_QUERY when there is no such task; BTDB_ERR_PARAM for a NULL record or a
 * negative identifier; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_query_data_by_task_id(int32_t task_id, HttpFtpTaskRecord *record);

/* Returns the largest identifier in HTTP_FTP_TASK; BTDB_ERR_QUERY when the table is empty or missing;
 * BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_query_latest_task_id(void);

/* ---- HTTP/FTP tasks: dispatch --------------------------------------------------------------------- */

/* How the downloader picks its work. No paused task is ever picked or counted here. "Queued" and
 * "running" are the states; the oldest queued task comes first, the newest running one. http_db_ and
 * ftp_db_ take only tasks whose address begins with http (https too) or ftp, in any letter case;
 * _no_rapidshare only type 0, _only_rapidshare only type 1, _without_pid only those without a process.
 *
 * PICKING DOES NOT CLAIM the task: two processes that ask at the same time get the same one, and entering
 * a process and a state afterwards does not tell them apart. Only one process may pick.
 *
 *   record           filled
 *   exclude_task_id  a task to skip; 0 or below: none
 * Return BTDB_OK; BTDB_ERR_QUERY when there is no such task; BTDB_ERR_PARAM for NULL; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_query_next_queued_task(HttpFtpTaskRecord *record, int32_t exclude_task_id);
KORVO_BT_API int32_t http_ftp_db_query_next_queued_task_no_rapidshare(HttpFtpTaskRecord *record,
                                                                      int32_t exclude_task_id);
KORVO_BT_API int32_t http_ftp_db_query_next_queued_task_only_rapidshare(HttpFtpTaskRecord *record,
                                                                        int32_t exclude_task_id);
KORVO_BT_API int32_t http_ftp_db_query_next_running_task(HttpFtpTaskRecord *record, int32_t exclude_task_id);
KORVO_BT_API int32_t http_ftp_db_query_next_running_task_without_pid(HttpFtpTaskRecord *record);
KORVO_BT_API int32_t http_db_query_next_running_task(HttpFtpTaskRecord *record, int32_t exclude_task_id);
KORVO_BT_API int32_t http_db_query_next_queued_task_no_rapidshare(HttpFtpTaskRecord *record, int32_t exclude_task_id);
KORVO_BT_API int32_t ftp_db_query_next_running_task(HttpFtpTaskRecord *record, int32_t exclude_task_id);
KORVO_BT_API int32_t ftp_db_query_next_queued_task(HttpFtpTaskRecord *record, int32_t exclude_task_id);

/* Return how many tasks run; BTDB_ERR_QUERY when the table is missing; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_query_running_task_count(void);
KORVO_BT_API int32_t http_ftp_db_query_running_task_count_only_rapidshare(void);
KORVO_BT_API int32_t http_ftp_db_query_running_task_count_without_pid(void);
KORVO_BT_API int32_t http_db_query_running_task_count(void);
KORVO_BT_API int32_t ftp_db_query_running_task_count(void);

/* Recovery after the downloader stopped, in this order: no task has a process any more, running tasks
 * that are not paused and have no process go back to the queue, nothing is being transferred.
 * Return BTDB_OK; BTDB_ERR_UPDATE, also when there was no row to change (an empty table; for the second,
 * no such task), which is then no failure of the recovery; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_update_pid_to_zero(void);
KORVO_BT_API int32_t http_ftp_db_update_no_pid_runninig_task_to_queue(void);
KORVO_BT_API int32_t http_ftp_db_update_download_rate_to_zero(void);

/* ---- HTTP/FTP tasks: listings and counts ---------------------------------------------------------- */

/* Filters of the HTTP/FTP listing and count. */
#define HTTP_FTP_TASK_FILTER_ALL 0      /* every task */
#define HTTP_FTP_TASK_FILTER_RUNNING 1  /* not paused, running or queued */
#define HTTP_FTP_TASK_FILTER_FINISHED 2 /* finished */
#define HTTP_FTP_TASK_FILTER_ACTIVE 3   /* running with a download rate above 0, paused or not */
#define HTTP_FTP_TASK_FILTER_INACTIVE 4 /* download rate 0, in any state */
#define HTTP_FTP_TASK_FILTER_PAUSED 5   /* paused, running or queued */

/* Counts the tasks that a filter selects.
 * Returns the count; BTDB_ERR_PARAM for a filter outside 0 to 5; BTDB_ERR_QUERY; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_query_task_count(int32_t filter);

/* Lists the tasks that a filter selects, as the 19 columns of HTTP_FTP_TASK in the order of the record
 * (the password among them). The order is SQLite's own: stable while the table does not change, and
 * otherwise undefined. Arguments and results are those of bt_db_query_task(). */
KORVO_BT_API int32_t http_ftp_db_query_task(const char *file, TqRowCallback callback, int32_t reserved, int32_t start,
                                            int32_t end, int32_t filter, void *context);

/* Counts the tasks that have exactly this source address, letter case included.
 * Returns the count; BTDB_ERR_PARAM for NULL; BTDB_ERR_QUERY; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t http_ftp_db_query_task_count_by_filename(const char *filename);

/* ---- Files of a torrent: the table BT_FDATA ------------------------------------------------------- */

/* One row of BT_FDATA; fields in column order. The library gives commands and checked marks no meaning.
 * Nothing ties the rows to BT_TASK; bt_task_remove() deletes those of the task it removes. */
typedef struct BtFileDataRecord {
    int32_t fdata_id;           /* 0 identifier, assigned by the add; read by no function */
    int32_t fdata_command;      /* 1 command code */
    int32_t fdata_task_id;      /* 2 task_id of the BitTorrent task */
    int32_t fdata_checked;      /* 3 checked mark */
    int32_t fdata_file_index;   /* 4 index of the file in the task */
    char fdata_file_path[4096]; /* 5 path of the file; as long as a path on Linux can be */
} BtFileDataRecord;

/* Creates BT_FDATA and its indexes.
 * Returns BTDB_OK; BTDB_ERR_TABLE when the table exists already; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_fdata_create_tbl(void);

/* Drops BT_FDATA with its rows; identifiers start again at 1. Does not wait: a locked file is
 * BTDB_ERR_TABLE at once.
 * Returns BTDB_OK; BTDB_ERR_TABLE; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_fdata_remove_tbl(void);

/* Deletes all rows of BT_FDATA; identifiers go on.
 * Returns BTDB_OK; BTDB_ERR_FLUSH; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_fdata_flush_tbl(void);

/* Adds a row. No value is checked; fdata_id is not read.
 * Returns BTDB_OK, not an identifier; BTDB_ERR_PARAM for NULL; BTDB_ERR_INSERT; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_fdata_add(const BtFileDataRecord *record);

/* Deletes every row whose column equals a value. Does not wait: a locked file is BTDB_ERR_DELETE at once.
 *   selector  0 fdata_id, 1 fdata_command, 2 fdata_task_id, 3 fdata_checked, 4 fdata_file_index,
 *             5 fdata_file_path
 *   value     int32_t; the string itself for 5
 * Returns BTDB_OK, also when no row matched; BTDB_ERR_PARAM; BTDB_ERR_OPEN; BTDB_ERR_DELETE. */
KORVO_BT_API int32_t bt_fdata_del(uint32_t selector, const void *value);

/* Counts the rows that have both this command and this task; there is no wildcard.
 *   command, task_id  0 or more
 * Returns the count; BTDB_ERR_PARAM when either is negative; BTDB_ERR_QUERY; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_fdata_query_count(int32_t command, int32_t task_id);

/* Lists the same rows, as the six columns of BT_FDATA, in no defined order and without paging.
 * Returns BTDB_OK; BTDB_ERR_PARAM; BTDB_ERR_QUERY when the listing failed or was stopped; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_fdata_query(const char *file, TqRowCallback callback, int32_t command, int32_t task_id,
                                    void *context);

/* Lists all rows; as bt_fdata_query(). */
KORVO_BT_API int32_t bt_fdata_query_all(const char *file, TqRowCallback callback, void *context);

/* Sets the checked mark of every row of one file of a task, whatever its command.
 *   task_id, file_index, checked  0 or more, in this order
 * Returns BTDB_OK; BTDB_ERR_UPDATE when no row matches; BTDB_ERR_PARAM when one is negative;
 * BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_fdata_update_checked_by_task_id_and_file_index(int32_t task_id, int32_t file_index,
                                                                       int32_t checked);

/* Overwrites every row that has the record's task and file index, whatever its command, with the whole
 * record (fdata_id aside). Adds no row.
 * Returns BTDB_OK; BTDB_ERR_UPDATE when no row matches; BTDB_ERR_PARAM for NULL; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_fdata_upload(const BtFileDataRecord *record);

/* ---- Metadata of a torrent: the table BT_INFODATA ------------------------------------------------- */

/* One row of BT_INFODATA; fields in column order, widths of strings including the NUL. Processes hand a
 * torrent's metadata to one another through these rows, keyed by command, task and sender. */
typedef struct BtInfoDataRecord {
    int32_t infodata_id;             /*  0 identifier, assigned by the add; read by no function */
    int32_t infodata_command;        /*  1 command code */
    int32_t infodata_task_id;        /*  2 task_id of the BitTorrent task; key of the update */
    int32_t infodata_sender_pid;     /*  3 process id of the sender; not checked */
    char infodata_creation_date[33]; /*  4 creation date */
    char infodata_name[1025];        /*  5 name */
    char infodata_comment[1025];     /*  6 comment */
    char infodata_creator[126];      /*  7 creator */
    int32_t infodata_piece_length;   /*  8 piece length */
    int32_t infodata_num_pieces;     /*  9 number of pieces */
    char infodata_infohash[57];      /* 10 info-hash, as a string */
    char infodata_trackers[1025];    /* 11 trackers */
    char infodata_error[513];        /* 12 error message */
    char infodata_next_announce[18]; /* 13 next announce */
    int32_t infodata_active_time;    /* 14 active time */
    int32_t infodata_seeding_time;   /* 15 seeding time */
} BtInfoDataRecord;

/* Creates BT_INFODATA and its indexes.
 * Returns BTDB_OK; BTDB_ERR_TABLE when the table exists already; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_infodata_create_tbl(void);

/* Drops BT_INFODATA with its rows; identifiers start again at 1. Does not wait: a locked file is
 * BTDB_ERR_TABLE at once.
 * Returns BTDB_OK; BTDB_ERR_TABLE; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_infodata_remove_tbl(void);

/* Deletes all rows of BT_INFODATA; identifiers go on.
 * Returns BTDB_OK; BTDB_ERR_FLUSH; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_infodata_flush_tbl(void);

/* Adds a row. No value is checked; infodata_id is not read.
 * Returns BTDB_OK, not an identifier; BTDB_ERR_PARAM for NULL; BTDB_ERR_INSERT; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_infodata_add(const BtInfoDataRecord *record);

/* Deletes every row whose column equals a value. Does not wait: a locked file is BTDB_ERR_DELETE at once.
 *   selector  0 infodata_id, 1 infodata_command, 2 infodata_task_id
 *   value     int32_t
 * Returns BTDB_OK, also when no row matched; BTDB_ERR_PARAM; BTDB_ERR_OPEN; BTDB_ERR_DELETE. */
KORVO_BT_API int32_t bt_infodata_del(uint32_t selector, const void *value);

/* Deletes one sender's rows of a task; those of other senders stay. Does not wait either.
 *   task_id, sender_pid  0 or more
 * Returns BTDB_OK, also when no row matched; BTDB_ERR_PARAM; BTDB_ERR_OPEN; BTDB_ERR_DELETE. */
KORVO_BT_API int32_t bt_infodata_del_by_task_id_and_pid(int32_t task_id, int32_t sender_pid);

/* Counts the rows that have this command, this task and this sender; there is no wildcard.
 *   command, task_id  0 or more
 *   sender_pid        any value, matched as it is
 * Returns the count; BTDB_ERR_PARAM; BTDB_ERR_QUERY; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_infodata_query_count(int32_t command, int32_t task_id, int32_t sender_pid);

/* Lists the same rows, as the sixteen columns of BT_INFODATA, in no defined order and without paging.
 * Returns BTDB_OK; BTDB_ERR_PARAM; BTDB_ERR_QUERY when the listing failed or was stopped; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_infodata_query(const char *file, TqRowCallback callback, int32_t command, int32_t task_id,
                                       int32_t sender_pid, void *context);

/* Lists all rows; as bt_infodata_query(). */
KORVO_BT_API int32_t bt_infodata_query_all(const char *file, TqRowCallback callback, void *context);

/* Overwrites EVERY row of the record's task with the whole record (infodata_id aside), command and
 * sender included: rows of other senders too. Adds no row.
 * Returns BTDB_OK; BTDB_ERR_UPDATE when the task has no row; BTDB_ERR_PARAM for NULL; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_infodata_update(const BtInfoDataRecord *record);

/* ---- RSS feed items: the table BT_RSS ------------------------------------------------------------- */

/* One row of BT_RSS; fields in column order, widths of strings including the NUL. */
typedef struct BtRssRecord {
    int32_t rss_id;               /* 0 identifier, from 1; assigned by the add */
    char rss_url[1025];           /* 1 address of the item's feed */
    char rss_title[1025];         /* 2 title of the item */
    char rss_enclosure_url[1025]; /* 3 address of what the item offers */
    char rss_keyword[33];         /* 4 keyword */
    char rss_user_def_title[57];  /* 5 the user's own title of the feed */
    int32_t rss_downloaded;       /* 6 downloaded mark */
} BtRssRecord;

/* Creates BT_RSS and its indexes.
 * Returns BTDB_OK; BTDB_ERR_TABLE when the table exists already; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_create_tbl(void);

/* Drops BT_RSS with its rows; identifiers start again at 1.
 * Returns BTDB_OK; BTDB_ERR_TABLE when there is no such table; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_remove_tbl(void);

/* Deletes all rows of BT_RSS; identifiers go on.
 * Returns BTDB_OK; BTDB_ERR_FLUSH; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_flush_tbl(void);

/* Adds an item; rss_id is not read.
 * Returns the new identifier, read as the largest in the table on a second connection (see
 * bt_db_add_task() for what that means); BTDB_ERR_PARAM for NULL; BTDB_ERR_INSERT; BTDB_ERR_OPEN;
 * BTDB_ERR_QUERY when the row is stored and its identifier could not be read. */
KORVO_BT_API int32_t bt_rss_add(const BtRssRecord *record);

/* Returns the largest identifier in BT_RSS; BTDB_ERR_QUERY when the table is empty or missing;
 * BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_query_latest_id(void);

/* Reads one item into a record.
 *   rss_id  0 or more
 * Returns BTDB_OK; BTDB_ERR_QUERY when there is no such item; BTDB_ERR_PARAM for a NULL record or a
 * negative identifier; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_query_data_by_id(int32_t rss_id, BtRssRecord *record);

/* Sets one column of one item.
 *   field  4 rss_keyword, 5 rss_user_def_title (strings), 6 rss_downloaded (int32_t)
 * Returns BTDB_OK; BTDB_ERR_UPDATE when there is no such item; BTDB_ERR_PARAM for a NULL value or any
 * other field; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_update_field_by_id(int32_t rss_id, uint32_t field, const void *value);

/* Deletes every item whose column equals a value.
 *   selector  0 rss_id, 1 rss_url, 4 rss_keyword, 5 rss_user_def_title, 6 rss_downloaded
 *   value     int32_t for 0 and 6; the string itself for the others
 * Returns BTDB_OK, also when no row matched; BTDB_ERR_PARAM; BTDB_ERR_OPEN; BTDB_ERR_DELETE. */
KORVO_BT_API int32_t bt_rss_del(uint32_t selector, const void *value);

/* Returns the number of items; BTDB_ERR_QUERY when the table is missing; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_query_count(void);

/* Lists the feeds: each distinct pair of rss_user_def_title and rss_url once, as these two columns.
 * Returns BTDB_OK; BTDB_ERR_QUERY when the listing failed or was stopped; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_user_title_list_query(const char *file, TqRowCallback callback, void *context);

/* Lists the items of one user title, as the seven columns of BT_RSS, in no defined order.
 * Returns BTDB_OK; BTDB_ERR_PARAM for a NULL title; BTDB_ERR_QUERY when the listing failed or was
 * stopped; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_query_data_by_ud_title(const char *file, TqRowCallback callback, const char *user_title,
                                                   void *context);

/* Lists all items by pages, as the seven columns of BT_RSS, in SQLite's own order.
 *   reserved  ignored
 * Returns BTDB_OK; BTDB_ERR_PARAM for bad paging; BTDB_ERR_QUERY when the listing failed or was stopped;
 * BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_query(const char *file, TqRowCallback callback, int32_t reserved, int32_t start,
                                  int32_t end, void *context);

/* ---- RSS download jobs: the table BT_RSS_JOB ------------------------------------------------------ */

/* One row of BT_RSS_JOB; fields in column order, widths of strings including the NUL. The library stores
 * filters and does not apply them. */
typedef struct BtRssJobRecord {
    int32_t rss_job_id;                 /* 0 identifier, from 1; assigned by the add */
    char rss_job_name[513];             /* 1 name */
    char rss_job_filter[513];           /* 2 filter */
    char rss_job_exclusion_filter[513]; /* 3 exclusion filter */
    char rss_job_url_applied[1022];     /* 4 address of the feed it applies to */
    int32_t rss_job_quality;            /* 5 quality code */
    int32_t rss_job_interval;           /* 6 check interval */
    int32_t rss_job_last_check;         /* 7 time of the last check */
    int32_t rss_job_enable_episode;     /* 8 episode switch */
    char rss_job_episode[513];          /* 9 episode; as wide as the filters, of which it is a further one */
} BtRssJobRecord;

/* Creates BT_RSS_JOB and its indexes.
 * Returns BTDB_OK; BTDB_ERR_TABLE when the table exists already; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_job_create_tbl(void);

/* Drops BT_RSS_JOB with its rows; identifiers start again at 1.
 * Returns BTDB_OK; BTDB_ERR_TABLE when there is no such table; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_job_remove_tbl(void);

/* Deletes all rows of BT_RSS_JOB; identifiers go on.
 * Returns BTDB_OK; BTDB_ERR_FLUSH; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_job_flush_tbl(void);

/* Adds a job; rss_job_id is not read. Results are those of bt_rss_add(). */
KORVO_BT_API int32_t bt_rss_job_add(const BtRssJobRecord *record);

/* Returns the largest identifier in BT_RSS_JOB; BTDB_ERR_QUERY when the table is empty or missing;
 * BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_job_query_latest_id(void);

/* Reads one job into a record.
 *   job_id  0 or more
 * Returns BTDB_OK; BTDB_ERR_QUERY when there is no such job; BTDB_ERR_PARAM for a NULL record or a
 * negative identifier; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_job_query_data_by_id(int32_t job_id, BtRssJobRecord *record);

/* Sets one column of one job.
 *   field  1 to 9, the column's position; 5 to 8 take an int32_t, the others a string
 * Returns BTDB_OK; BTDB_ERR_UPDATE when there is no such job; BTDB_ERR_PARAM for a NULL value or any
 * other field; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_job_update_field_by_id(int32_t job_id, uint32_t field, const void *value);

/* Deletes every job whose column equals a value.
 *   selector  0 rss_job_id, 1 rss_job_name, 4 rss_job_url_applied
 *   value     int32_t for 0; the string itself for the others
 * Returns BTDB_OK, also when no row matched; BTDB_ERR_PARAM; BTDB_ERR_OPEN; BTDB_ERR_DELETE. */
KORVO_BT_API int32_t bt_rss_job_del(uint32_t selector, const void *value);

/* Returns the number of jobs; BTDB_ERR_QUERY when the table is missing; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_rss_job_query_count(void);

/* Lists the jobs by pages, as the ten columns of BT_RSS_JOB; otherwise as bt_rss_query(). */
KORVO_BT_API int32_t bt_rss_job_query(const char *file, TqRowCallback callback, int32_t reserved, int32_t start,
                                      int32_t end, void *context);

/* ---- Host accounts: the table BT_ACCOUNT ---------------------------------------------------------- */

/* One row of BT_ACCOUNT; fields in column order, widths of strings including the NUL. A host may have any
 * number of accounts. Passwords are kept as plain text; reads and listings return them so. */
typedef struct BtAccountRecord {
    int32_t account_id;     /* 0 identifier, from 1; assigned by the add; not read by the update */
    char account_host[513]; /* 1 host */
    int32_t account_enable; /* 2 enable value, as the caller sets it */
    char account_user[33];  /* 3 user name */
    char account_pass[65];  /* 4 password; as wide as the login of an HTTP/FTP task that it is used for */
} BtAccountRecord;

/* Creates BT_ACCOUNT and its indexes.
 * Returns BTDB_OK; BTDB_ERR_TABLE when the table exists already; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_account_create_tbl(void);

/* Drops BT_ACCOUNT with its rows; identifiers start again at 1. Does not wait: a locked file is
 * BTDB_ERR_TABLE at once.
 * Returns BTDB_OK; BTDB_ERR_TABLE; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_account_remove_tbl(void);

/* Deletes all rows of BT_ACCOUNT; identifiers go on.
 * Returns BTDB_OK; BTDB_ERR_FLUSH; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_account_flush_tbl(void);

/* Adds an account; account_id is not read.
 * Returns BTDB_OK, not an identifier; BTDB_ERR_PARAM for NULL; BTDB_ERR_INSERT; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_account_add(const BtAccountRecord *record);

/* Overwrites all four values of the account that the second argument names; the record's account_id is
 * not read.
 * Returns BTDB_OK; BTDB_ERR_UPDATE when there is no such account; BTDB_ERR_PARAM for NULL;
 * BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_account_update(const BtAccountRecord *record, int32_t account_id);

/* Reads one account into a record.
 *   account_id  0 or more
 * Returns BTDB_OK; BTDB_ERR_QUERY when there is no such account; BTDB_ERR_PARAM for a NULL record or a
 * negative identifier; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_account_query_data_by_id(int32_t account_id, BtAccountRecord *record);

/* Deletes every account whose column equals a value. Does not wait: a locked file is BTDB_ERR_DELETE at
 * once.
 *   selector  0 account_id, 1 account_host, 2 account_enable
 *   value     int32_t for 0 and 2; the string itself for 1
 * Returns BTDB_OK, also when no row matched; BTDB_ERR_PARAM; BTDB_ERR_OPEN; BTDB_ERR_DELETE. */
KORVO_BT_API int32_t bt_account_del(uint32_t selector, const void *value);

/* Returns the number of accounts; BTDB_ERR_QUERY when the table is missing; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_account_query_count(void);

/* Lists the accounts with exactly this enable value, as the five columns of BT_ACCOUNT, in no defined
 * order and without paging.
 * Returns BTDB_OK; BTDB_ERR_QUERY when the listing failed or was stopped; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_account_query(const char *file, TqRowCallback callback, int32_t enable, void *context);

/* Lists all accounts; as bt_account_query(). */
KORVO_BT_API int32_t bt_account_query_all(const char *file, TqRowCallback callback, void *context);

/* ---- The message queue to the BitTorrent daemon --------------------------------------------------- */

/* Programs that control downloads hand commands and configuration messages to the daemon through one
 * System V message queue, which every call looks up again. Nothing here waits. Messages arrive in the order
 * in which they were sent, whatever their type, each at one receiver; the queue outlives all processes,
 * with what waits in it, until bt_msg_clean() or a restart of the system.
 *
 * What a daemon's author must know:
 *   - Failures END THE PROCESS with exit status 1, after a fatal message in the diagnostic log: a queue that
 *     cannot be reached (access refused, none left in the system), a send into a FULL queue, a type below 1,
 *     a receive that fails, for example because the queue is removed in that moment. A program that must
 *     survive sends and receives in child processes: see the advice above.
 *   - The queue is full when the bytes that wait would exceed its limit: 819 messages with Linux's usual
 *     limit of 16384 bytes (kernel.msgmnb).
 *   - Whoever comes first creates the queue: a sender with mode 0666, a receiver with mode 0777 (the umask
 *     is ignored). A receiver asks for all of 0777, which a queue of mode 0666 refuses to everybody but
 *     processes with the capability CAP_IPC_OWNER, as root has: ITS OWN CREATOR IS REFUSED TOO, and ended.
 *     So a daemon that does not run as root calls bt_msg_get() at its start, before any sender can be first;
 *     where a sender was first, remove the queue. With either mode every user of the system may send, and read
 *     and remove what waits: messages are not authenticated and hold no secrets.
 *   - bt_msg_get() logs at level 9 on every call; see err_debuglevel. */

/* The queue's System V key: this very number, not one that ftok() makes. */
#define BT_MSG_KEY 2502

/* Types of messages. */
#define BT_MSG_CONFIG 1
#define BT_MSG_COMMAND 2

/* A message. What the parameters mean is an agreement between the sender and the daemon. In the queue they
 * are 20 bytes behind a type that is as wide as the platform's long. */
typedef struct BtMessage {
    int32_t mtype;  /* BT_MSG_CONFIG or BT_MSG_COMMAND; other programs may send others */
    int32_t param1; /* first parameter */
    int32_t param2; /* second parameter, 0 or more in all that is sent through this library */
    int32_t param3; /* third parameter; this and the next two are 0 in a configuration message */
    int32_t param4; /* fourth parameter */
    int32_t param5; /* fifth parameter */
} BtMessage;

/* Sends a command. Creates the queue when there is none.
 *   param2  0 or more
 *   others  any value
 * Returns 0; -1 for a negative param2, with the queue untouched. Any other failure ends the process. */
KORVO_BT_API int32_t bt_msg_send_command(int32_t param1, int32_t param2, int32_t param3, int32_t param4,
                                         int32_t param5);

/* Sends a configuration message; as bt_msg_send_command(). */
KORVO_BT_API int32_t bt_msg_send_config(int32_t param1, int32_t param2);

/* Sends a message of any type: what the two above have in common.
 *   mtype  1 or more; any other ends the process, unless param2 is negative */
KORVO_BT_API int32_t __bt_msg_send(int32_t mtype, int32_t param1, int32_t param2, int32_t param3, int32_t param4,
                                   int32_t param5);

/* Takes the oldest message, of any type, off the queue. Creates the queue when there is none.
 *   record  filled when there is a message; another program's longer message is truncated to 20 bytes of
 *           parameters, a shorter one fills only those that it has, and one whose type 32 bits do not hold
 *           is discarded and the next one taken
 * Returns the message's type; 0 when none waits (the record is then untouched); -1 for NULL, with the queue
 * untouched. Any other failure ends the process. */
KORVO_BT_API int32_t bt_msg_get(BtMessage *record);

/* Removes the queue with all that waits in it. Not to be called while another program sends or receives:
 * the removal in the middle of its call would end it.
 * Returns 0, also when there is no queue; -1 when it cannot be removed: only its owner, its creator and
 * root may. */
KORVO_BT_API int32_t bt_msg_clean(void);

/* ---- Removing a task ------------------------------------------------------------------------------ */

/* Remove a task: its row, its files, and on request what it has downloaded.
 *   task_id      the task
 *   remove_data  not 0: what it has downloaded is removed too
 *
 * Downloaded data lies under "/share/", in the folder that the configuration file's section
 * "BTDownload" names as "BT Download Folder" or "HTTP_FTP Download Folder" (both "Download" by default),
 * or in the task's own move folder, if it has one and its state is 5 (BitTorrent) or
 * HTTP_FTP_TASK_STATE_FINISHED. All of them are relative to "/share/": "Movies", not "/share/Movies".
 *
 * What is removed there is what "rm -rf" of the named path would remove (for HTTP, FTP and ".fastresume":
 * what "rm -f" would), of any depth up to 100,000 levels, and nothing else. A directory that somebody
 * moves away meanwhile is emptied where it is then. Entries that somebody creates meanwhile may remain. What
 * this process may not delete remains, with the directories that contain it.
 *
 * Names are taken as they are. "/share" and the share, which is the folder's first component, may be
 * symlinks, and lead through symlinks, as long as root or this process's effective user made each of
 * them. Below the share no symlink on the way is followed; one at the end is removed itself. Nothing is
 * removed under a name or folder with a component "..", a name that is empty or ends in the component
 * ".", a folder that is empty (the name would be a share), a path that does not fit (1023 bytes for HTTP
 * and FTP, a folder of 255 for BitTorrent), or a string that the record holds truncated. A name that ends in
 * "/" means a directory, not a symlink to one. The rest of the removal goes on.
 *
 * Return BTDB_OK, whatever could not be killed, removed or deleted; or BTDB_ERR_NO_TASK when the task's
 * row cannot be read, and nothing happened. The steps are not atomic together: others can see the row
 * when the files are gone already, and a row that could not be deleted stays without them. */

/* Removes a BitTorrent task: on request the file or directory that has its torrent name; always the file
 * of that name with ".fastresume" in the same folder, the file task_filename and that name with ".db";
 * then the task's rows in BT_TASK, BT_FDATA and BT_INFODATA. After three more seconds it removes
 * task_filename and the ".db" file once more, in case a daemon wrote them again.
 *
 * task_filename and its ".db" are removed wherever they lead, also outside "/share/", relative to the
 * working directory, through symlinks; an empty task_filename removes neither.
 *
 * Blocks for those three seconds, for as long as removing the data takes, and while another process holds
 * a lock: the read and the delete in BT_TASK wait as every call does. The deletes in BT_FDATA and
 * BT_INFODATA do not wait, and are tried again until the three seconds are over. Rows stay where the lock
 * lasts longer. */
KORVO_BT_API int32_t bt_task_remove(int32_t task_id, int32_t remove_data);

/* Removes an HTTP or FTP task: kills its process (SIGKILL to a task_pid above 0 as the record holds it,
 * its low 32 bits, whatever the task's state and whatever process has that number by now); on request
 * removes the file that has its saved name, as it stands and percent-decoded; without a saved name the
 * one that is called like the last part of its address, with spaces as "%20" and as they are (only as
 * they are when it is finished); then deletes its row. A directory is never removed. Waits for locks as
 * every call does. */
KORVO_BT_API int32_t http_ftp_task_remove(int32_t task_id, int32_t remove_data);

/* ---- Times for display ---------------------------------------------------------------------------- */

/* Format a time as local time.
 *   time    seconds since 1970-01-01 00:00:00 UTC
 *   format  as for strftime(), not NULL
 * Return a string of up to 31 characters; the empty string when it would be longer or the time cannot be
 * converted. It is in a buffer of the function's own, one each, which the next call overwrites: copy it
 * before. Not for several threads at once. */
KORVO_BT_API char *bt_task_fmttime(int32_t time, const char *format);
KORVO_BT_API char *http_ftp_task_fmttime(int32_t time, const char *format);

/* ---- The weekly schedule -------------------------------------------------------------------------- */

/* Schedule and notification switches are settings of the device, kept in the section "BTDownload" of its
 * configuration file rather than in the database. Reading and writing them reports no failure: a setting
 * that cannot be read has its default. These functions hold no state and may be called from any thread. */

/* The hours of a week. What an hour's character means is up to the programs that write and obey it; "1"
 * is the one that hours without a stored character have. */
typedef struct ScheduleRecord {
    int32_t enabled;   /* 0 off, else on; 0 by default */
    char hours[7][25]; /* [day][hour]: day 0 Sunday to 6 Saturday, hour 0 to 23; the last one is a NUL */
} ScheduleRecord;

/* Reads the schedule ("Schedule Time", "Schedule Time Enable"). Without a stored one, and where the
 * stored one ends early, the hours are "1".
 * Returns BTDB_OK; BTDB_ERR_NULL for NULL. */
KORVO_BT_API int32_t get_tqv3_schedule(ScheduleRecord *record);

/* Stores the schedule.
 *   record  read: enabled and the first 24 characters of each day; a NUL among them is stored as "1"
 * Returns BTDB_OK, also when it could not be stored; BTDB_ERR_NULL for NULL. */
KORVO_BT_API int32_t set_tqv3_schedule(const ScheduleRecord *record);

/* Returns the character of the current local hour, 0 to 255; 50 ("2") while the schedule is off. */
KORVO_BT_API int32_t get_now_tqv3_schedule(void);

/* ---- Notifications -------------------------------------------------------------------------------- */

/* Switches: 0 off, else on; 0 by default. */
typedef struct NotificationRecord {
    int32_t email;   /* alert mails are sent */
    int32_t im;      /* instant messages; stored, but always 0 when read */
    int32_t desktop; /* notifications on the desktop */
} NotificationRecord;

/* Read and store the switches ("Notification Email", "Notification IM", "Notification Desktop").
 * Return BTDB_OK, also when they could not be stored; BTDB_ERR_PARAM for NULL. */
KORVO_BT_API int32_t get_tqv3_notification(NotificationRecord *record);
KORVO_BT_API int32_t set_tqv3_notification(const NotificationRecord *record);

/* Sends a message as an alert mail from this server, if the e-mail switch is on, and appends a line to
 * "/tmp/tqv3.log" with the result, the server's name and the message unchanged. The line is left
 * out when that file is a symlink, has a second hard link or is not a regular file. Waits until the mail
 * system has taken the mail or refused it.
 * Returns 0 while the switch is off, and nothing happens; else what the device's alert service returned,
 * 0 for success; BTDB_ERR_PARAM for NULL. */
KORVO_BT_API int32_t tqv3_notification_send(const char *message);

/* ---- URL encoding --------------------------------------------------------------------------------- */

/* Writes a string with every space as "%20"; all other bytes stay as they are.
 *   destination  up to three times the length of the source and a NUL are written; must not overlap it
 *   source       not NULL */
KORVO_BT_API void omra_url_encode(char *destination, const char *source);

#ifdef __cplusplus
}
#endif

#endif
