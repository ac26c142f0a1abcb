# A lock, a damaged page, Ctrl-C, an output that cannot be written, a reader that goes: each is named for what it is and leaves nothing.
fresh
hash=0123456789abcdef0123456789abcdef01234567
for i in $(seq 30); do echo "INSERT INTO BT_TASK (task_torrent_name, task_state) VALUES ('$(printf '%0600d' "$i")', 1);"; done >rows
sql "$(cat rows)"
"$tqctl" add http://h/a "magnet:?xt=urn:btih:$hash" >/dev/null

# hold SECONDS: another program keeps the file locked.
hold() {
    rm -f held
    python3 -c 'import sqlite3, sys, time
database = sqlite3.connect(sys.argv[1], isolation_level=None)
database.execute("BEGIN EXCLUSIVE")
open("held", "w").write("held")
time.sleep(float(sys.argv[2]))
database.rollback()' "$database" "$1" &
    holder=$!
    until_it_says held held
}
all=(list 'show bt:1' "show $hash" count "add --hash $hash" 'set bt:1 --folder f' 'pause http:1' 'forget bt:2' 'files bt:1'
    'rss items' 'job add --name n' init 'backup copy.db' export 'recover' 'remove bt:1 --yes' 'watch --rounds 1'
    'doctor' 'import -' 'clear --yes' 'info bt:1' session 'rss mark 1' 'account set 1 --enable 0')

say 'A lock that passes is waited for, with a word after two seconds.'
hold 2.6
tq count --filter all
wait $holder
hold 0.3
tq show bt:1 --json | grep -c name

say 'While it lasts, every command says so at once when it gives up, and is ended by Ctrl-C within a second.'
hold 100
for command in "${all[@]}"; do
    start=$SECONDS
    timeout -s INT --preserve-status 1 "$tqctl" $command </dev/null >out 2>&1 && code=0 || code=$?
    ((SECONDS - start < 15)) || echo "$command took $((SECONDS - start)) seconds"
    # The watch goes on, and import reads its input before the database.
    echo "$command: $code $(sed -E 's/^[-0-9]{10} [0-9:]{8}//' out)"
done
find . /mnt/HDA_ROOT /var/tmp -newer held ! -name out ! -name 'tmp.*' ! -name 'tq.db*' -type f
kill $holder && wait $holder 2>/dev/null || true
tq count --filter all

say 'A damaged page.'
cp "$database" whole
python3 - "$database" <<'PYTHON'
import sqlite3, sys
database = sqlite3.connect(sys.argv[1])
(root,) = database.execute("SELECT rootpage FROM sqlite_master WHERE name = 'BT_TASK'").fetchone()
(size,) = database.execute("PRAGMA page_size").fetchone()
database.close()
with open(sys.argv[1], "r+b") as file:
    file.seek((root - 1) * size)
    file.write(b"\xff" * size)
PYTHON
for command in list 'show bt:1' "show $hash" 'set bt:1 --folder f' 'forget bt:1' 'remove bt:1 --yes' 'files bt:1' count export \
    'pause http:1' init recover 'watch --rounds 1' 'backup damaged.db'; do
    tq $command
done
cmp damaged.db "$database" && status "$tqctl" doctor --fix 2>&1 | sed -E 's/-fix-[-0-9]+/-fix-TIME/'
"$tqctl" doctor | cut -f 1,2 | sort -u
cp whole "$database"

say 'An output that cannot be written.'
into() { "$tqctl" "${@:2}" >&"$1"; }
exec 8>/dev/full
for command in 'list --json' --help "add --hash ${hash/0/1}" export; do status into 8 $command; done
exec 8>&-

say 'A reader that goes ends it without a word, and stops nothing that was asked for.'
mkfifo pipe && exec 7<>pipe 8>pipe 7>&- # a pipe whose only reader is gone
for command in list export 'watch 1' --help; do status into 8 $command; done
printf 'http://h/%d\n' {1..20} >addresses
status into 8 add --input addresses
exec 8>&-
tq count --kind http --filter all

say 'A view in the place of a table is not read, and nothing is written past a trigger.'
rm "$database"
sql "CREATE VIEW BT_TASK AS WITH RECURSIVE r(task_id) AS (SELECT 1 UNION ALL SELECT task_id + 1 FROM r) SELECT * FROM r"
"$tqctl" doctor | grep -E 'BT_TASK'
for command in 'count --kind bt' init; do tq $command; done
status "$tqctl" export | tail -2
rm /mnt/HDA_ROOT/* && fresh && "$tqctl" add http://h/a >/dev/null
sql "CREATE TRIGGER swallow BEFORE INSERT ON HTTP_FTP_TASK BEGIN SELECT RAISE(IGNORE); END"
for command in 'add http://h/b' 'pause http:1' 'doctor --fix' 'count --kind http --filter all'; do tq $command; done
ls /mnt/HDA_ROOT

say 'A journal that somebody has planted is not followed: it names a file for SQLite to delete, or is a FIFO to wait at.'
plant() { python3 - "$database" "$PWD/precious" <<'PYTHON'
import os, struct, sys
mark, name = bytes.fromhex("d9d505f920a163d7"), sys.argv[2].encode()
head = mark + struct.pack(">5I", 0, 0, os.path.getsize(sys.argv[1]) // 4096, 512, 4096)
tail = struct.pack(">I", 2**30 // 4096 + 1) + name + struct.pack(">2I", len(name), sum(name)) + mark
open(sys.argv[1] + "-journal", "wb").write(head.ljust(512, b"\0") + tail)
PYTHON
}
fresh && echo 1 >precious
for command in list 'add http://h/b' doctor init; do plant && tq $command; done
cat precious && rm "$database-journal" && mkfifo "$database-journal"
for command in list 'add http://h/b' doctor; do tq $command; done
rm "$database-journal"

say 'What a killed program left is put in order by whoever may.'
fresh && torrent n >/dev/null
python3 - "$database" <<'PYTHON'
import os, sqlite3, sys
database = sqlite3.connect(sys.argv[1], isolation_level=None)
database.executescript("PRAGMA cache_size = 1; BEGIN; UPDATE BT_TASK SET task_torrent_name = hex(zeroblob(500000))")
os._exit(0)
PYTHON
cp "$database" foreign.db && cp "$database-journal" foreign.db-journal
tq count --db foreign.db
tq list --columns task,name
