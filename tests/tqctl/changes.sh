# Changing and forgetting one task among several.
fresh
hash=0123456789abcdef0123456789abcdef01234567
for name in one two three; do
    "$tqctl" add --name $name --folder /share/old --start-time '2026-01-01 00:00:00'
done

tq set 2 --folder "/share/it's new" --hash "${hash^^}" --marker 7
for id in 1 2 3; do
    "$tqctl" show $id | grep -E 'name|folder|hash|record'
done
say 'An empty value, in both spellings.'
tq set 2 --folder=
tq set 3 --folder ''
"$tqctl" list --kind bt --json | grep -o '"task_move_folder":[^,]*'

tq forget 2
tq list --kind bt | cut -f 1,11

say 'What is not there is said to be not there, and nothing else happens.'
tq forget 2
tq set 2 --marker 1
tq set 0 --marker 1
tq show 2
tq show --hash $hash
tq show --name two
tq show --name "one' OR '1'='1"
tq count --filter all
