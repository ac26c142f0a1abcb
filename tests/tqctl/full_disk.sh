# A full disk: named for what it is, and nothing half done stays.
fresh
for i in $(seq 30); do echo "INSERT INTO BT_TASK (task_torrent_name, task_state) VALUES ('$(printf '%0600d' "$i")', 1);"; done >rows
sql "$(cat rows)"

fill() { head -c 2000000 /dev/zero >"/mnt/small/$1" 2>/dev/null || true; }
fill filler
tq backup /mnt/small/copy.db
TMPDIR=/mnt/small tq list --json --page 1 >/dev/null
ls /mnt/small

rm /mnt/small/*
mv /mnt/HDA_ROOT /mnt/aside && ln -s small /mnt/HDA_ROOT && fresh && sql 'DROP INDEX idx_rss_url'
"$tqctl" export --show-passwords >export.json && fill filler
tq add --hash 0123456789abcdef0123456789abcdef01234567
tq rss add --url u --title t
tq init
tq doctor --fix | sed -E 's/-fix-[-0-9]+/-fix-TIME/'
tq list --kind bt
rm "$database" && fill more
tq import export.json
ls /mnt/small
