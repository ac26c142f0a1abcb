# The tasks as they change, on a terminal, on a pipe and as JSON.
fresh
sql "INSERT INTO BT_TASK (task_torrent_name, task_state, task_total_wanted_done, task_total_wanted, task_download_rate,
    task_start_time) VALUES ('first', 4, 1, 2, 7, 1), ('third', 6, 0, 0, 0, 3)"
sql "UPDATE BT_TASK SET task_upload_rate = 3 WHERE task_id = 2; INSERT INTO HTTP_FTP_TASK
    (task_filename, task_state, task_download_rate, task_start_time) VALUES ('http://anna:secret@h/second', 2, 5, 2)"
times() { sed -E 's/[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}/TIME/'; }
escapes() { sed 's/\x1b/^[/g'; }
export TERM=xterm

say 'A block a round with its time, or one object a line.'
"$tqctl" watch 1 --rounds 2 --columns task,name | times
"$tqctl" watch --rounds 1 --filter running --kind bt --sort download_rate --reverse --columns name --no-header | times
"$tqctl" watch 1 --rounds 2 --json >lines && wc -l <lines
while read -r line; do python3 -m json.tool <<<"$line" >/dev/null || echo 'no JSON'; done <lines
"$tqctl" watch --rounds 1 --json --columns id | times

say 'On a terminal: in one place, as many as fit, and everything put back; a narrow or dumb one too.'
screen() { script -qec "stty cols $1 rows $2 && '$tqctl' watch --rounds 1 --color never" /dev/null </dev/null | tr -d '\r' | times | escapes; echo; }
screen 70 6
screen 24 5
TERM=dumb screen 60 9

say 'Keys: one for each kind, and one for the end; a resize draws it anew.'
mkfifo keys && exec 9<>keys
script -qfec "stty cols 60 rows 9 && echo \$\$ >shell && exec '$tqctl' watch 600 --columns task" typescript <keys >/dev/null &
until_it_says 'down 12' typescript
printf b >&9 && until_it_says 'tasks, down 7' typescript
printf h >&9 && until_it_says 'task, down 5' typescript
printf a >&9 && until_it_says 'down 12' typescript 2
kill -WINCH "$(cat shell)"
until_it_says 'down 12' typescript 3
printf q >&9 && wait $! && exec 9>&-

say 'Ctrl-C ends it, and so does a reader that goes.'
"$tqctl" watch 9 --columns name >watched &
until_it_says name watched
kill -INT $!
wait $!
echo "[$?]"
"$tqctl" watch 1 --columns name | head -2 | tail -1
echo "[${PIPESTATUS[0]}]"
tq watch 0

say 'A database that goes away is not made anew, and is shown again when it is back.'
"$tqctl" watch 1 --columns name >rounds 2>&1 &
until_it_says first rounds
mv "$database" away
until_it_says 'does not exist' rounds
ls /mnt/HDA_ROOT
: >rounds && mv away "$database"
until_it_says first rounds
kill $! && wait $! || true
