# A torrent's name never reaches a terminal as it stands.
fresh
name=$'\e[31mred\a\n\t\\x1b \x7f \xc2\x9b31m \xe2\x80\xae\xe2\x80\xa8 \xff\xc0\xaf \xe6\x97\xa5\xe6\x9c\xac \xf0\x9f\x8e\xac'
"$tqctl" add --name "$name" --start-time 1
"$tqctl" add 'magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567&dn=%1b%5D0;title%07' --start-time 2

"$tqctl" list | cut -f 13
"$tqctl" show 1 | grep name
"$tqctl" list --json | grep -o '"task_torrent_name":[^,]*'
"$tqctl" show 1 --json | grep name
on_terminal 200 "$tqctl" list | grep -o '[^ ]*red.*' | sed 's/ *0  .*//'
say 'A terminal that does not expect UTF-8 gets ASCII.'
on_terminal 200 env LC_ALL=C "$tqctl" list | grep -o '[^ ]*red.*' | sed 's/ *0  .*//'
on_terminal 200 env LC_ALL=C "$tqctl" show 1 | grep name

say 'Messages quote names too.'
status "$tqctl" show --name "$name"x
status "$tqctl" list --filter $'\e[31m'
status "$tqctl" $'\e[31m'
status "$tqctl" add $'--\e[31m'
