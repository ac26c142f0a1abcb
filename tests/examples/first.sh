# The README's first program adds a task and lists what runs; then a torrent daemon writes progress back.
example first
example first
hash=82bd74cdbb12a112f9adb756197b535c39e186d1
example progress $hash <<'LINES'
3 0 0 0 0
4 1099511627775 1099511627776 3000000000 10
5 1099511627776 1099511627776 0 0
4 1 1099511627776 1 10
LINES
sql "UPDATE BT_TASK SET task_finish_time = '-' WHERE task_finish_time GLOB '20[0-9][0-9]-*:[0-9][0-9]'"
"$tqctl" list --kind bt
python3 -c 'import sqlite3, sys
print(*sqlite3.connect(sys.argv[1]).execute("SELECT task_finish_time, task_time_left, task_download_rate FROM BT_TASK"))' \
    "$database"
example progress no-such-hash </dev/null
example progress $hash <<<'4 2 1 0 0'
rm -r /mnt/HDA_ROOT
example first
example progress $hash </dev/null
mkdir /mnt/HDA_ROOT
