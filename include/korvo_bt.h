/*
 * korvo_bt.h - the state store of the download manager.
 *
 * One shared library, libKorvo_bt.so.1, in which the download daemons and the programs of the web
 * interface keep and read everything they know about downloads. All of it lives in one SQLite file.
 * This header is the whole contract. It serves C11 and C++17 and later.
 *
 * Conventions, said once and true for every function below unless its own text says otherwise:
 *
 *  1. Results. A function returns a signed 32-bit number: BTDB_OK (0), or a count, an identifier or a
 *     length (0 or more), or one of the negative codes BTDB_ERR_*. There is no error text and no errno.
 *     A failed call changed nothing, with one exception that is named where it occurs: an add whose
 *     row is stored but whose new identifier could not be read back.
 *
 *  2. Argument checks come first. BTDB_ERR_PARAM means that nothing was built, opened or changed.
 *
 *  3. Ownership. Every record, text and buffer belongs to the caller. The library reads it during the
 *     call, fills it where the function says so, and keeps no pointer to it. A record that a function
 *     fills is left as it was when the function fails.
 *
 *  4. Texts are NUL-terminated bytes, by custom UTF-8, stored unchanged: quotes, line ends and bytes
 *     below 32 included. A stored text that is longer than the record field it is read into arrives
 *     cut to the field's width, NUL-terminated; an SQL NULL (only other programs write it) arrives as
 *     the empty text. Bytes of a filled text field after its NUL are zero.
 *
 *  5. One call, one connection. Every store function opens the database file, runs one statement and
 *     closes the file. Nothing survives the call: no connection, descriptor, lock, cache or
 *     allocation. There is nothing to initialise and nothing to shut down.
 *
 *  6. Blocking. While another process holds a conflicting lock on the file, a call waits for up to
 *     20 seconds and then fails with its ordinary code. Functions that do not wait say so.
 *
 *  7. Threads and processes. Every function may be called from any thread of any number of processes
 *     at once, unless its text says otherwise. Each call is one statement and therefore atomic by
 *     itself; two calls in a row are not atomic together. Do not call across fork() from a child that
 *     was forked while another thread was inside this library, and do not open or close the database
 *     file by other means than SQLite in a process that uses the library (that would drop its locks).
 *
 *  8. Row callbacks have the signature of sqlite3_exec's: see TqRowCallback.
 *
 *  9. Paging. Listings take two positions, start and end, counted from 0 in the listing's order, end
 *     exclusive. Both 0 lists everything. Otherwise the rows at start .. end-1 are listed; start equal
 *     to end (not 0) lists none and is success. A negative value, or start above end, gives
 *     BTDB_ERR_PARAM.
 *
 * 10. The database file argument. Listings that take a `file` open BTDB_DEFAULT_FILE when it is NULL;
 *     any other text, the empty one included, goes to SQLite as it stands. A file that does not exist
 *     is created empty.
 *
 * 11. Column positions. Delete functions choose rows by one column: `selector` is the column's place,
 *     counted from 0, in the table (the order of the record's fields), and `value` points to an
 *     int32_t for a number or is the text itself. A selector that the function does not serve, and a
 *     NULL value, give BTDB_ERR_PARAM.
 *
 * 12. Memory that runs out is an ordinary failure: the function's own code, and nothing done.
 *
 * On purpose, and not to be "repaired" by callers or maintainers: records are plain fixed-width
 * structures whose layout is the same on 32-bit ARM and on 64-bit PCs; statements are built with
 * SQLite's "'%q'" quoting instead of bound parameters; an update that matches no row is reported as
 * BTDB_ERR_UPDATE, like a failed one, while a delete that matches no row is BTDB_OK.
 */
#ifndef KORVO_BT_H
#define KORVO_BT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define KORVO_BT_API __attribute__((visibility("default")))
#else
#define KORVO_BT_API
#endif

/* ---- Result codes ------------------------------------------------------------------------------ */

/* Done; the function has nothing else to return. */
#define BTDB_OK 0
/* An argument check failed: a NULL record, key text, value or buffer; a negative identifier; a selector,
 * field code or filter out of range (compared unsigned: negative ones too); paging out of order. */
#define BTDB_ERR_PARAM (-11)
/* The database file could not be opened: its folder is missing, or access is refused. */
#define BTDB_ERR_OPEN (-20)
/* CREATE TABLE failed (the table exists already) or DROP TABLE failed (it does not exist). */
#define BTDB_ERR_TABLE (-21)
/* Deleting all rows of a table failed (the table does not exist). */
#define BTDB_ERR_FLUSH (-22)
/* The INSERT of an add failed (the table does not exist, the disk is full). No row was stored. */
#define BTDB_ERR_INSERT (-23)
/* A read found no row, or a negative value, or could not run (the table does not exist, the file is
 * damaged); or a listing could not run or was stopped by its callback. */
#define BTDB_ERR_QUERY (-24)
/* A delete by column could not run. */
#define BTDB_ERR_DELETE (-27)
/* An UPDATE could not run, or matched no row. A matched row counts also when no value changed. */
#define BTDB_ERR_UPDATE (-28)

/* Besides the causes named above, every code from BTDB_ERR_TABLE on also reports a file that stayed
 * locked for longer than the call waits, a damaged file, a full disk or memory that ran out. */

/* ---- The database file ------------------------------------------------------------------------- */

/* The file that every function opens unless it takes a `file` argument of its own. Its folder must
 * exist; the file is created empty by the first call, with the mode that the process's umask leaves of
 * 0644. Tables come into being only through the create functions. */
#define BTDB_DEFAULT_FILE "/mnt/HDA_ROOT/tq.db"

/* Called once per row of a listing, before the listing function returns, on the caller's thread.
 *
 *   context  the pointer given to the listing function, untouched
 *   columns  the number of columns
 *   values   the row's values as texts, one a column; NULL for an SQL NULL
 *   names    the column names
 *
 * The texts are valid during this call only: copy what is to be kept. Returning 0 goes on; any other
 * value stops the listing, which then returns BTDB_ERR_QUERY (rows already delivered stay delivered).
 * The callback may call functions of this library, also writing ones, but the file is being read while
 * it runs: a write from inside it waits for the listing's own lock and fails after 20 seconds. It must
 * return in the ordinary way: neither an exception nor longjmp may leave it. */
typedef int (*TqRowCallback)(void *context, int columns, char **values, char **names);

/* ---- BitTorrent tasks: the table BT_TASK --------------------------------------------------------- */

/* One row of BT_TASK; fields in column order, widths of texts including the NUL. What the numbers count
 * (bytes, KiB, seconds, permille ...) and the formats of the texts are an agreement between the
 * programs that write and read them; the library stores them unchanged. */
typedef struct BtTaskRecord {
    int32_t task_id;                 /*  0 identifier, from 1; assigned by the add, never written by updates */
    char task_torrent_name[1025];    /*  1 the torrent's name, also that of its data in the download folder */
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
    char task_pieces[129];           /* 15 pieces, as text */
    int32_t task_num_pieces;         /* 16 number of pieces */
    int32_t task_announce_interval;  /* 17 tracker announce interval */
    char task_start_time[20];        /* 18 start time; the combined listing sorts by it, as text */
    char task_finish_time[17];       /* 19 finish time */
    float task_rating;               /* 20 rating; stored with six decimals, read back as a whole number */
    char task_time_left[9];          /* 21 time left */
    int32_t task_is_paused;          /* 22 1 paused, 0 not */
    int32_t task_queue_position;     /* 23 place in the queue; the BT listings sort by it */
    char task_move_folder[257];      /* 24 folder that finished data is moved to; empty: none */
    char task_hash[56];              /* 25 info-hash, as text */
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
 *   value     int32_t for 0, 4 and 5; the text itself for 1 and 2 (compared exactly, case included)
 * Rows of other tables that belong to the task stay; bt_task_remove() removes a task as a whole.
 * Returns BTDB_OK, also when no row matched; BTDB_ERR_PARAM for NULL and for any other selector;
 * BTDB_ERR_OPEN; BTDB_ERR_DELETE. */
KORVO_BT_API int32_t bt_db_del_task(uint32_t selector, const void *value);

/* Adds a task.
 *   record  read except for task_id; its task_record is set to 0, in the caller's record too
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
 * Finds the rows by a scan of the table; bt_db_update_task_by_hash() does too.
 * Returns BTDB_OK; BTDB_ERR_UPDATE when no row has that name; BTDB_ERR_PARAM for NULL; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_update_task(const BtTaskRecord *record);

/* The same, to every row that has the record's hash. Through it the torrent name can change. */
KORVO_BT_API int32_t bt_db_update_task_by_hash(const BtTaskRecord *record);

/* Sets the move folder of one task.
 *   task_id  0 or more
 *   folder   stored whole, whatever its length; a record holds 256 bytes of it
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

/* Read one task into a record, by identifier (0 or more) or by an exactly equal text. When several rows
 * match a text, the first that SQLite finds is read. All but the first scan the table.
 *   record  filled, every field
 * Return BTDB_OK; BTDB_ERR_QUERY when no row matches; BTDB_ERR_PARAM for a NULL record or text or a
 * negative identifier; BTDB_ERR_OPEN. */
KORVO_BT_API int32_t bt_db_query_data_by_task_id(int32_t task_id, BtTaskRecord *record);
KORVO_BT_API int32_t bt_db_query_data_by_task_torrent_name(const char *torrent_name, BtTaskRecord *record);
KORVO_BT_API int32_t bt_db_query_data_by_task_hash(const char *hash, BtTaskRecord *record);
KORVO_BT_API int32_t bt_db_query_data_by_task_magnet_link(const char *magnet_link, BtTaskRecord *record);

/* Hands one task to a callback as the 29 columns of BT_TASK, in the order of the record.
 *   callback  may be NULL: the statement runs and nobody is told
 *   task_id   0 or more
 * Returns 0, also when there is no such task (the callback is then not called). Unlike the other
 * listings it reports a failed run with SQLite's own positive code: 4 (SQLITE_ABORT) when the callback
 * returned non-zero, 1 when the table is missing, 5 when the file stayed locked, 7 when memory ran out.
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

#ifdef __cplusplus
}
#endif

#endif
