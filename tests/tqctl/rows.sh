# Feeds, download jobs and accounts: added, changed, listed, removed.
fresh

say 'Items and their feeds.'
tq rss add --url http://a.example/feed --title "It's one" --feed Alpha --keyword k --enclosure http://a.example/1
"$tqctl" rss add --url http://a.example/feed --title two --feed Alpha --downloaded 1
"$tqctl" rss add --url http://b.example/feed --title three --feed Beta
tq rss mark 2-9,3
tq rss mark 2 --keyword "it's" --feed Gamma
tq rss mark 9
tq rss items
tq rss items --feed Gamma --json
tq rss items --page 2 --per-page 2 --columns id,title
tq rss items --feed Alpha --page 2 --per-page 1 --columns id,title
tq rss feeds --sort feed --reverse
on_terminal 60 "$tqctl" rss items
tq rss remove --downloaded 1
tq rss remove 1 --feed Alpha
tq rss remove 3
tq rss items --no-header --columns ID

say 'Jobs: each field by its option, changed one at a time.'
tq job add --name n --filter f --exclude x --url u --quality 1 --interval 2 --last-check 3 --episodes 4 --episode e
tq job list --json
tq job set 1 --filter "it's" --last-check 600 --episode ''
tq job list
tq job set 1
tq job set 2 --name m
"$tqctl" job add --name m --url u
tq job remove 7
tq job remove --url u
tq job list

say 'Passwords come from standard input, whatever they hold, and are shown to nobody who does not ask.'
password="it's \"sécret\" -- --%s"
printf '%s\nnext line\n' "$password" | status "$tqctl" account add --host h --user u
printf 'other' | status "$tqctl" account add --host h --user v --enable 0
printf '\n' | status "$tqctl" account add --host i --user w
tq account list
tq account list --json --enable 1
tq account list --show-passwords --columns id,password
tq account set 2 --user "v'" --enable 7
tq account set 3 --host j
printf 'changed' | status "$tqctl" account set 3 --password
tq account list --show-passwords
tq account add --host h --user u secret
tq account add --host h --user u --password=secret
status "$tqctl" account add --host h --user u </dev/null
printf '%065d' 0 | status "$tqctl" account add --host h --user u
printf 'a\0b\n' | status "$tqctl" account add --host h --user u
tq account set 9 --enable 1
tq account remove --enable 7
tq account remove --host h
tq account list --no-header

say 'A terminal is asked twice and shows nothing of the answer.'
ask() { answered "$3" 'password: ' "$1" 'again: ' "$2"; }
ask secret secret "$tqctl account set 3 --password"
ask secret public "$tqctl account set 3 --password"
tq account list --show-passwords --columns password

say 'An account that would lose a part of its texts is left alone.'
sql "UPDATE BT_ACCOUNT SET account_user = '$(printf '%040d' 0)'"
tq account set 3 --enable 0
