# The tasks as they change, on a terminal, on a pipe and as JSON.
fresh
"$tqctl" add --name first --state 3 --done 1 --wanted 2 --download-rate 7 --start-time 1 >/dev/null
"$tqctl" add http://anna:secret@h/second --state 2 --download-rate 5 --start-time 2 >/dev/null
"$tqctl" add --name third --state 5 --upload-rate 3 --start-time 3 >/dev/null
times() { sed -E 's/[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}/TIME/'; }
escapes() { sed 's/\x1b/^[/g'; }

say 'A block a round with its time, or one object a line.'
"$tqctl" watch 1 --rounds 2 --columns kind,id,name | times
"$tqctl" watch --rounds 1 --filter running --sort down --reverse --columns name --no-header | times
"$tqctl" watch 1 --rounds 2 --json >lines && wc -l <lines
while read -r line; do python3 -m json.tool <<<"$line" >/dev/null || echo 'no JSON'; done <lines
"$tqctl" watch --rounds 1 --json --columns task_id | times

say 'On a terminal: in one place, as many as fit, and everything put back.'
script -qec "stty cols 70 rows 6 && '$tqctl' watch --rounds 1 --color never" /dev/null </dev/null | tr -d '\r' | times | escapes; echo

say 'Ctrl-C ends it, and so does a reader that goes.'
"$tqctl" watch 9 --columns name >watched &
until_it_says name watched
kill -INT $!
wait $!
echo "[$?]"
"$tqctl" watch 1 --columns name | head -2 | tail -1
echo "[${PIPESTATUS[0]}]"
tq watch 0
