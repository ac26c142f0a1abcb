# What others wrote never reaches a terminal as it stands, wherever it comes from.
fresh
name=$'\e[31mred\a\n\t\\x1b \x7f \xc2\x9b31m \xe2\x80\xae\xe2\x80\xa8 \xff\xc0\xaf \x9b31m \xe6\x97\xa5\xe6\x9c\xac \xf0\x9f\x8e\xac'
torrent "$name"
"$tqctl" add 'magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567&dn=%1b%5D0;title%07'
sql $'ALTER TABLE BT_TASK ADD COLUMN "\e]0;owned\a\nid\t7" TEXT'
sql $'CREATE TABLE "\e[31m\n" (a)'

"$tqctl" list --columns name
"$tqctl" show bt:1 | tail -8
"$tqctl" show bt:1 --json | grep -E 'name|owned'
on_terminal 200 "$tqctl" list --columns name,task
on_terminal 30 "$tqctl" list --columns task,name
say 'A terminal that does not expect UTF-8 gets ASCII, on standard error too.'
on_terminal 200 env LC_ALL=C "$tqctl" list --columns name
on_terminal 200 env LC_ALL=C "$tqctl" show bt:1 | grep name
answered "env LC_ALL=C $tqctl remove bt:1 >out" y/N n | head -1

say 'Messages quote names too.'
status "$tqctl" show "$name"
status "$tqctl" list --filter $'\e[31m'
status "$tqctl" $'\e[31m'
status "$tqctl" add $'--\e[31m'
"$tqctl" doctor | grep -E 'foreign|columns' || true
status "$tqctl" export >/dev/null
for command in list doctor 'show bt:1-2' 'list --columns x' 'remove bt:1 --dry-run'; do
    script -qec "$tqctl $command" /dev/null </dev/null | tr -d '\r\n\t' | LC_ALL=C grep -c $'[\x01-\x1f\x7f]' || true
done
