# From nothing to a database that can be used, and the ways in which it cannot.
hash=0123456789abcdef0123456789abcdef01234567

say 'Without a database every command but init says so, and none creates it.'
for arguments in list "show 1" "show --hash $hash" count "add --name n" "set 1 --marker 1" "forget 1"; do
    tq $arguments
done
ls /mnt/HDA_ROOT

say 'A database without the table: no task is looked for where none can be.'
: >"$database"
for arguments in list "show 1" "show --hash $hash" count "add --name n" "set 1 --marker 1" "forget 1"; do
    tq $arguments
done

say 'init creates the tables, and leaves those alone that are there.'
tq init
tq add --name kept
tq init
tq count --filter all

say 'Not a database: nothing about missing tables, which init would not mend.'
printf 'no database, but longer than a header would be: %0100d' 0 >"$database"
tq list
tq init
tq add --name n

say 'Not to be opened.'
rm "$database" && mkdir "$database"
tq list
tq init
rmdir "$database" /mnt/HDA_ROOT
tq init
mkdir /mnt/HDA_ROOT

say 'Not to be written.'
fresh
chmod a-w "$database"
tq add --name n
tq list
chmod u+w "$database" && chmod a-w /mnt/HDA_ROOT
tq add --name n
chmod u+w /mnt/HDA_ROOT
tq count --filter all
