# What the torrent daemon keeps beside its tasks.
fresh
torrent one && torrent two
sql "INSERT INTO BT_FDATA VALUES (1, 1, 1, 1, 10, 'sub/b.iso'), (2, 1, 11, 0, 0, 'other'), (3, 2, 1, 0, 9, 'a' || char(10))"
sql "INSERT INTO BT_INFODATA (infodata_command, infodata_task_id, infodata_sender_pid, infodata_name, infodata_comment,
    infodata_num_pieces) VALUES (1, 1, 100, '1', 'first', 7), (1, 1, 200, NULL, 'second', 8), (1, 2, 100, 'two', '', 9)"
sql "INSERT INTO BT_SESSION VALUES (1, 5, 6, 7, 8, 0), (3, 50, 6, 7, 8, 1)"

say 'The rows of this task and of no other; those of other programs as well.'
tq files 1 --sort index
tq files 1 --json
tq files 2
tq info 1 --columns sender,name,comment
tq info 1 --json
on_terminal 70 "$tqctl" info 1
tq session
tq session --json --page 2 --per-page 1

say 'No such task, unlike a task without rows.'
tq files 11
tq files 9
tq info 9 --json

say 'Columns that are not there.'
tq files 1 --sort size
tq files 1 --columns path,,index
