# From nothing to a database that can be used, and the ways in which it cannot: each is told apart from the others.
hash=0123456789abcdef0123456789abcdef01234567
commands=(list "show bt:1" "show $hash" count "add --hash $hash" "set bt:1 --folder f" "forget bt:1" "rss items" export)

say 'Without a database every command but init says so, and none makes it.'
for arguments in "${commands[@]}" 'watch' 'doctor' 'backup copy'; do tq $arguments; done
for name in nowhere /nowhere nowhere/x.db '' /tmp; do tq list --db "$name"; done
tq doctor ''
ls /mnt/HDA_ROOT
mv /mnt/HDA_ROOT /mnt/aside && tq init && mv /mnt/aside /mnt/HDA_ROOT

say 'A database without the tables.'
: >"$database"
for arguments in "${commands[@]}"; do tq $arguments; done

say 'init makes the tables, also for a reader that goes away, and leaves those alone that are there.'
umask 022
"$tqctl" init | true
tq init
stat -c %a "$database"
tq add --hash $hash --name kept
tq count --filter all
tq --version | sed 's/SQLite [0-9.]*/SQLite N/'

say 'What is no database.'
printf 'no database, but longer than a header would be: %0100d' 0 >"$database"
tq list
tq init
tq add --hash $hash
rm "$database" && mkdir "$database" && tq list
rmdir "$database" && : >other.db && ln -s /tmp/other.db "$database" && tq list && rm other.db && tq init && ! ls /tmp/other.db 2>/dev/null
rm -f "$database" other && mkfifo "$database" && tq doctor
rm "$database"

say 'Not to be written.'
fresh
chmod a-w "$database"
tq add --hash $hash
tq list
chmod u+w "$database" && chmod a-w /mnt/HDA_ROOT
tq add --hash $hash
tq forget all
chmod u+w /mnt/HDA_ROOT
