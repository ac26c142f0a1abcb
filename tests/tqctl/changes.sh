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

say 'Several at once: ranges take what is there, and without a single one that is named nothing happens.'
for name in four five six; do "$tqctl" add --name $name >/dev/null; done
tq set 3-4,6 --marker 5
tq show 3-9 | grep -E 'task_id|record|^$'
tq show 1,3 --json | grep -o '"task_id":[0-9]*'
tq forget 1 2 3
tq forget 7-9
tq forget 3-5 6
tq forget 2-1
tq list --kind bt --columns id
tq forget all
tq forget all
tq count --filter all
