# One task has one name: where a number fits both kinds, nothing happens.
fresh
hash=0123456789abcdef0123456789abcdef01234567
"$tqctl" add "magnet:?xt=urn:btih:$hash&dn=Film" http://u:pw@h/one http://h/two >/dev/null

for words in 1 2 bt:1 http:1-2 1-2 all bt:all "$hash" "http:$hash" 'http:2,1' 'http:1,bt:1' BT:1 9 bt:9 http:5-9 ftp:1 1x \
    '' 010 -1 99999999999; do
    status "$tqctl" show "$words" | grep -E 'task|tqctl|\[' || true
done
tq show 1 --kind http | grep address
tq show bt:1 --kind http
tq show 2 --kind all | grep ^task

say 'No command takes a number that is two tasks.'
for command in remove forget pause resume 'set --folder f'; do tq $command 1; done
tq files http:1
tq count --filter all
sql "INSERT INTO BT_TASK (task_torrent_name, task_hash) VALUES ('Film again', '${hash^^}')"
tq show $hash

say 'A name that a link brings is one directory entry.'
"$tqctl" add "magnet:?xt=urn:btih:${hash/0/1}&dn=.." "magnet:?xt=urn:btih:${hash/0/2}&dn=." "magnet:?xt=urn:btih:${hash/0/3}&dn=a/b" >/dev/null
tq list --kind bt --sort task --columns name --no-header --color auto
tq set bt:1 --folder=F && tq set bt:1 --folder= && status "$tqctl" show bt:1 | grep folder
