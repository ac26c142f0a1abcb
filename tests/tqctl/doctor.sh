# What the doctor finds, and that it only looks.
export COLUMNS=200
look() { tq doctor "$@"; }

say 'Without a database, and with a good one.'
tq doctor
fresh
torrent n && sql "INSERT INTO BT_FDATA (fdata_task_id) VALUES (1)"
chmod 644 "$database"
tq doctor
chmod 640 "$database"
tq doctor --json
rm "$database" && "$tqctl" init >/dev/null
sql 'DROP TABLE BT_TASK' && "$tqctl" init >/dev/null
tq doctor --no-header # the shared indexes may belong to either table

say 'Rows.'
sql "INSERT INTO BT_FDATA (fdata_id, fdata_task_id, fdata_file_path) VALUES (5, 9, ''), (6, 9, '$(printf '%04096d' 0)')"
sql "INSERT INTO BT_INFODATA (infodata_task_id, infodata_creator) VALUES (NULL, ''), (8, '$(printf 'é%.0s' {1..63})')"
sql "INSERT INTO BT_TASK (task_id, task_state) VALUES (0, 1), (2147483648, 5), (3, 8), (4, NULL)"
sql "INSERT INTO HTTP_FTP_TASK (task_state, task_savename, task_pid) VALUES (4, '$(printf '%01023d' 0)', 'x'), (1, '', 4e9)"
tq doctor

say 'Tables and indexes.'
sql 'DROP TABLE BT_SESSION; DROP INDEX idx_rss_id; DROP INDEX idx_fdata_command; DROP TABLE BT_ACCOUNT'
sql 'CREATE INDEX idx_fdata_command ON BT_FDATA (fdata_checked); CREATE TABLE BT_ACCOUNT (account_id, account_host)'
sql 'CREATE TABLE visitor (a); CREATE TRIGGER quiet DELETE ON BT_RSS BEGIN SELECT 1; END; CREATE VIEW v AS SELECT 1'
tq doctor | grep -vE 'tasks|texts|identifiers|states'

say 'The file: its mode, a journal, damage.'
fresh && chmod 666 "$database"
tq doctor | grep file
mkfifo pipe
chmod 600 "$database"
: >"$database-journal" # of a program that was killed before it wrote anything
tq doctor | grep journal
python3 - "$database" "$tqctl" <<'PYTHON' | grep journal
import sqlite3, subprocess, sys
database = sqlite3.connect(sys.argv[1], isolation_level=None)
database.executescript("BEGIN; CREATE TABLE t (a)")
subprocess.run([sys.argv[2], "doctor"])
PYTHON
"$tqctl" backup copy && sql 'PRAGMA journal_mode = WAL'
tq doctor | grep journal
tq doctor copy --no-header
tq doctor pipe & # which nobody writes to
wait $!
fresh && torrent n >/dev/null
# A writer that is killed after it has written to the file, before it has committed.
python3 - "$database" <<'PYTHON'
import os, sqlite3, sys
database = sqlite3.connect(sys.argv[1], isolation_level=None)
database.executescript("PRAGMA cache_size = 1; BEGIN; UPDATE BT_TASK SET task_torrent_name = hex(zeroblob(500000))")
os._exit(0)
PYTHON
cp "$database" untouched && ls /mnt/HDA_ROOT
tq doctor
cmp "$database" untouched && ls /mnt/HDA_ROOT
"$tqctl" show bt:1 >/dev/null && tq doctor | grep -E 'journal|integrity'
dd if=/dev/zero of="$database" bs=4096 seek=1 count=1 conv=notrunc status=none
status "$tqctl" doctor | sed 's/:.*//' | sort -u
echo 'no database at all, whatever its name says' >"$database"
tq doctor

say 'The message queue.'
fresh
python3 - <<'PYTHON'
import ctypes
libc = ctypes.CDLL(None)
queue = libc.msgget(2502, 0o1666)
class Message(ctypes.Structure):
    _fields_ = [("type", ctypes.c_long), ("words", ctypes.c_int32 * 5)]
libc.msgsnd(queue, ctypes.byref(Message(1)), 20, 0o4000)
PYTHON
tq doctor | grep queue
python3 -c '
import ctypes
libc = ctypes.CDLL(None)
while libc.msgsnd(libc.msgget(2502, 0), ctypes.c_char_p(b"\1" + bytes(27)), 20, 0o4000) == 0: pass'
tq doctor | grep queue

say 'What surrounds it, processes that are gone, and what can be put right after a backup.'
fresh && printf '[BTDownload]\n' >/mnt/HDA_ROOT/korvo.conf && chmod 666 /mnt/HDA_ROOT/korvo.conf
sql "INSERT INTO HTTP_FTP_TASK (task_filename, task_state, task_pid) VALUES ('http://h/a', 2, 99999999), ('http://h/b', 2, $$);
    INSERT INTO BT_FDATA (fdata_task_id) VALUES (9); INSERT INTO BT_INFODATA (infodata_task_id) VALUES (NULL);
    INSERT INTO sqlite_sequence VALUES ('BT_RSS', 2147483647); DROP TABLE BT_SESSION; DROP INDEX idx_rss_url;
    CREATE TABLE visitor (a)"
chmod 646 "$database" && chmod 777 /mnt/HDA_ROOT
tq doctor
tq doctor --fix | sed -E 's/-fix-[-0-9]+/-fix-TIME/'
chmod 755 /mnt/HDA_ROOT
"$tqctl" msg clean
tq doctor --no-header | grep -v ok
stat -c '%a %n' /mnt/HDA_ROOT/* | sed -E 's/-fix-[-0-9]+/-fix-TIME/'
"$tqctl" rss items --db /mnt/HDA_ROOT/*before-fix* && tq rss add --url u --title t
for round in 1 2; do
    sql 'INSERT INTO BT_FDATA (fdata_task_id) VALUES (9)'
    "$tqctl" doctor --fix >/dev/null 2>&1
done
ls -d /mnt/HDA_ROOT/*before-fix* | wc -l
tq doctor --fix copy

say 'A mode that its owner cannot use, and a symlink in the place of the settings, which is left alone.'
fresh && chmod 400 "$database" && ln -sf "$PWD/else" /mnt/HDA_ROOT/korvo.conf && touch else && chmod 666 else
tq doctor --fix | sed -E 's/-fix-[-0-9]+/-fix-TIME/'
stat -c '%a' else
