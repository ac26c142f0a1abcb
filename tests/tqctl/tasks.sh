# Adding tasks and finding them again.
fresh
hash=0123456789abcdef0123456789abcdef01234567

say 'A magnet link gives name and hash, and is kept whole.'
before=$(date '+%F %T')
tq add "magnet:?xt=urn:btih:${hash^^}&dn=It%27s+a%20name&tr=udp%3A%2F%2Ftracker.example.org"
start=$("$tqctl" show 1 | grep task_start_time | cut -f 2)
[[ ! $start < $before && ! $start > $(date '+%F %T') && $start =~ ^[-0-9]{10}\ [:0-9]{8}$ ]] && echo 'started now'
"$tqctl" show 1 | grep -E 'name|hash|magnet'
tq show --hash "${hash^^}" --json | grep -E 'id|hash'
tq show --name "It's a name" --json | grep -E 'task_id'

say 'base32, and no name: the hash stands in for it. Options go before what the link says.'
tq add 'magnet:?dn=&xt=urn:btih:AERUKZ4JVPG66AJDIVTYTK6N54ASGRLH' --start-time '2026-01-01 00:00:00'
tq add "magnet:?dn=theirs&xt=urn:btih:$hash" --name ours --hash "${hash/0123/ffff}" --start-time ''
"$tqctl" show 2 | grep -E 'name|hash'
"$tqctl" show 3 | grep -E 'name|hash'

say 'Every field by its option, and every field shown.'
tq add --name n --file /f --tracker t --state 1 --progress 2 --done 3 --wanted 4 --downloaded 5 --uploaded 6 \
    --download-rate 7 --upload-rate 8 --peers 9 --seeds 10 --block-size 11 --pieces p --num-pieces 12 --announce 13 \
    --start-time s --finish-time e --rating 2.75 --time-left l --paused --position -14 --folder /d --type 15 \
    --hash "$hash"
tq show 4
tq show 4 --json

say 'Lists in the order of the queue, by filter, by page.'
fresh
"$tqctl" add --name third --position 3 --state 5 --done 50 --wanted 50 --upload-rate 1 --hash "$hash"
"$tqctl" add --name first --position 1 --state 3 --done 1 --wanted 3 --download-rate 9
"$tqctl" add --name second --position 2 --state 7 --paused
"$tqctl" add --name fourth --position 4
tq list --kind bt
for filter in running finished active inactive paused state5; do
    tq list --kind bt --filter $filter | cut -f 1,11
done
tq count --kind bt
tq count --filter finished
tq list --kind bt --page 2 --per-page 3 | cut -f 11
tq list --kind bt --per-page 1 --filter finished | cut -f 11
tq list --kind bt --page 3 --per-page 2 | cut -f 11
tq list --kind bt --json --filter finished | sed -E 's/"task_start_time":"[^"]*"/START/'
tq list --json --page 9

say 'On a terminal: fitted to its width, with bars.'
"$tqctl" add --name "$(printf 'long %.0s' {1..40})" --position 5 --done 5 --wanted 4
on_terminal 80 "$tqctl" list --kind bt
on_terminal 60 "$tqctl" list --kind bt --filter finished
on_terminal 80 "$tqctl" list --filter running --page 2
on_terminal 80 "$tqctl" show 2 | head -2

say 'Sorted, the columns that are wanted, and colours only where they are wanted.'
tq list --kind bt --sort DONE --reverse --columns id,done,status --per-page 2
tq list --sort name --columns id,name --no-header --page 2 --per-page 3
tq list --kind bt --sort frobnication
tq list --kind bt --color always --columns id,status | sed 's/\x1b/^[/g'
NO_COLOR='' TERM=xterm on_terminal 80 "$tqctl" list --kind bt --filter running --columns status,name | sed 's/\x1b/^[/g'
NO_COLOR='' TERM=xterm on_terminal 80 "$tqctl" list --kind bt --filter running --columns name --color never
tq list --color sometimes
