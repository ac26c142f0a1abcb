# A full disk: named for what it is, and nothing half done stays.
fresh
for i in $(seq 30); do echo "INSERT INTO BT_TASK (task_torrent_name, task_state) VALUES ('$(printf '%0600d' "$i")', 1);"; done >rows
sql "$(cat rows)"

cd /mnt/small && head -c 2000000 /dev/zero >filler 2>/dev/null || true
tq backup /mnt/small/copy.db
TMPDIR=/mnt/small tq list --json --page 1 >/dev/null
ls

cd /tmp && rm /mnt/small/*
mv /mnt/HDA_ROOT /mnt/aside && ln -s small /mnt/HDA_ROOT && fresh
head -c 2000000 /dev/zero >/mnt/small/filler 2>/dev/null || true
tq add --hash 0123456789abcdef0123456789abcdef01234567
tq list --kind bt
