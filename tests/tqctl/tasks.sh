# Adding tasks and finding them again.
fresh
hash=0123456789abcdef0123456789abcdef01234567
no_times() { sed -E 's/[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}/TIME/'; }

say 'A magnet link gives name and hash, and is kept whole.'
before=$(date '+%F %T')
tq add "magnet:?xt=urn:btih:${hash^^}&dn=It%27s+a%2Fname&tr=udp%3A%2F%2Ftracker.example.org"
start=$("$tqctl" show bt:1 | grep start_time | cut -f 2)
[[ ! $start < $before && ! $start > $(date '+%F %T') && $start =~ ^[-0-9]{10}\ [:0-9]{8}$ ]] && echo 'started now'
tq show "${hash^^}" | no_times
tq show bt:1 --json | no_times | grep -E '[][{}]|name|ratio|paused'

say 'base32, and no name: the hash stands in for it. Several at once, and what is there already is left out.'
tq add 'magnet:?dn=&xt=urn:btih:AERUKZ4JVPG66AJDIVTYTK6N54ASGRLH'
printf '# two\r\n\nftp://h/%s\nhttps://h/b\n' a >list
tq add 'magnet:?dn=&xt=urn:btih:BERUKZ4JVPG66AJDIVTYTK6N54ASGRLH' http://h/a ftp://u:pw@h/a --input list --folder /share/In/Here
tq add http://h/a ftps://h/c --paused
tq add http://h/a --duplicates
tq add "magnet:?dn=theirs&xt=urn:btih:$hash" --name ours --hash "${hash/0123/ffff}"
tq list --sort task --columns task,name,folder,hash,state,paused

say 'A .torrent file: its name, hash, size and files, and a copy of its own.'
mkdir -p sub
printf 'd8:announce10:http://t/a4:infod5:filesld6:lengthi5e4:pathl1:a1:beed6:lengthi2048e4:pathl1:ceee4:name4:Film12:piece lengthi16384e6:pieces20:01234567890123456789ee' >sub/film.torrent
tq add sub/film.torrent
tq show bt:4 | grep -E '^(name|file|hash|wanted|num_pieces|block_size)'
tq files bt:4
cmp sub/film.torrent /mnt/HDA_ROOT/torrents/*.torrent && echo same
for content in 'd4:info3:abce' 'd4:infod4:name2:..12:piece lengthi1e6:pieces0:6:lengthi1eee' 'd4:infod6:lengthi1e4:name1:a' junk; do
    printf '%s' "$content" >bad.torrent && tq add bad.torrent
done

say 'Lists in the order of the queue, by filter, by page, with sums for people.'
fresh
sql "INSERT INTO BT_TASK (task_torrent_name, task_queue_position, task_state, task_is_paused, task_total_wanted_done,
    task_total_wanted, task_download_rate, task_upload_rate, task_hash, task_start_time, task_time_left) VALUES
    ('third', 3, 5, 0, 50, 50, 0, 1, '$hash', 3, ''), ('first', 1, 4, 0, 1, 3, 9000, 0, '', 4, '00:01:00'),
    ('second', 2, 7, 1, 0, 0, 0, 0, '', 5, ''), ('fourth', 4, 0, 0, 0, 0, 0, 0, '', 6, ''),
    ('fifth', 5, 2, 1, 0, 9000000, 0, 0, '', 7, ''), ('sixth', 6, 3, 0, 0, 0, 0, 5, '', 8, ''),
    ('seventh', 7, 6, 0, 9, 9, 0, 0, '', 9, ''), ('eighth', 8, 1, 0, 9, 9, 0, 0, '', 9, '')"
sql "UPDATE BT_TASK SET task_record = 2 WHERE task_id = 8"
sql "INSERT INTO HTTP_FTP_TASK (task_filename, task_state, task_is_paused, task_errcode, task_total_downloaded,
    task_total_size, task_download_rate, task_start_time, task_password) VALUES
    ('http://h/1', 2, 0, 0, 1500000000, 5000000000, 2000000, 1, 'secret'), ('http://h/2', 1, 1, 404, 0, 0, 0, 2, ''),
    ('http://h/3', 3, 0, 0, 7, 7, 0, 0, ''), ('http://h/4', 1, 1, 0, 0, 0, 0, 0, ''), ('http://h/5', 1, 0, 0, 0, 0, 0, 0, '')"
tq list
tq list --kind bt
tq list --kind http --human
for filter in all running finished active inactive paused state5; do
    echo "$filter: $("$tqctl" list --filter $filter --columns task --no-header | paste -sd ' ')"
done
tq count
tq count --kind http --filter paused
tq list --kind bt --page 2 --per-page 3 --columns name
tq list --page 9
tq list --json --kind bt --filter finished --columns task,status,name,ratio
tq list --page 9 --json

say 'Sorted, the columns that are wanted, and colours only where they are wanted.'
tq list --kind bt --sort WANTED --reverse --columns id,wanted,status --per-page 2
tq list --sort status --columns task,status --no-header --per-page 3
tq list --kind bt --sort frobnication
tq list --columns frobnication
tq list --kind bt --color always --columns task,status | sed 's/\x1b/^[/g'
tq list --color sometimes
tq list --json --human

say 'On a terminal: fitted to its width, down to very narrow ones.'
for columns in 100 60 30 12; do on_terminal $columns "$tqctl" list; done
sql "INSERT INTO BT_TASK (task_id, task_torrent_name, task_state, task_start_time)
    VALUES (4294967296, 'A name that is longer than a narrow column, and more', 4, 99)"
for columns in 85 60 12; do on_terminal $columns "$tqctl" list --page 7 --per-page 2; done
on_terminal 30 "$tqctl" list --page 7 --per-page 2 --columns name,task
sql 'DELETE FROM BT_TASK WHERE task_id > 9'
on_terminal 80 "$tqctl" list --filter paused --page 2
on_terminal 80 "$tqctl" show bt:3 | head -2
NO_COLOR='' TERM=xterm on_terminal 40 "$tqctl" list --kind bt --columns status,name | sed 's/\x1b/^[/g'
NO_COLOR='' TERM=dumb on_terminal 40 "$tqctl" list --kind bt --columns name --filter finished
