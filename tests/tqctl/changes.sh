# Changing and forgetting torrents, and the daemon that does what only it can.
fresh
hash=0123456789abcdef0123456789abcdef01234567
for name in one two three four five; do torrent $name >/dev/null; done

tq set bt:2 --folder "/share/it's new" --hash "${hash^^}"
tq set bt:3 --folder ''
tq list --kind bt --columns task,folder,hash,name
sql 'UPDATE BT_TASK SET task_state = 5 WHERE task_id = 4'
tq set bt:4 --folder late

say 'Without a daemon nothing is paused.'
tq pause bt:1

# A daemon: answers each message as the conventions have it.
mkfifo messages
"$tqctl" msg get --follow >messages &
receiver=$!
while IFS=$'\t' read -r _ code id _; do
    case $code in
    2 | 3) sql "UPDATE BT_TASK SET task_is_paused = $((code == 2)), task_state = 4 WHERE task_id = $id" ;;
    5) sql "UPDATE BT_TASK SET task_record = 3 WHERE task_id = $id" ;;
    esac
    echo "$code $id" >>told
done <messages &
until "$tqctl" msg status >/dev/null 2>&1; do sleep 0.05; done

say 'With one it pauses, tries again what failed, and lets go of what is removed.'
tq pause bt:1
sql 'UPDATE BT_TASK SET task_state = 7, task_is_paused = 1 WHERE task_id = 3'
tq resume bt:3
tq list --kind bt --columns task,status
sql "INSERT INTO BT_FDATA (fdata_task_id, fdata_command, fdata_file_index, fdata_checked, fdata_file_path) VALUES
    (1, 1, 0, 1, 'a'), (1, 1, 1, 1, 'b'), (1, 1, 2, 1, 'c')"
tq files bt:1 --skip 0-1 --want 1
tq files bt:1
tq files bt:1 --skip 7
tq files bt:1 --want x
tq forget bt:1,3
until [[ $(sort -u told 2>/dev/null | wc -l) -ge 5 ]]; do sleep 0.05; done
sort -u told
tq list --kind bt --columns task
tq files bt:1
kill $receiver && wait
"$tqctl" msg clean

say 'What is forgotten leaves no rows of details; ranges take what is there.'
sql "INSERT INTO BT_FDATA (fdata_task_id) VALUES (2); INSERT INTO BT_INFODATA (infodata_task_id) VALUES (2)"
tq forget 1-3
tq doctor | grep -E 'fault|rows'
tq forget all
tq forget all
