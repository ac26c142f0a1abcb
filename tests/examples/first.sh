# The README's first program adds a task and lists what runs; then a torrent daemon writes progress back.
example first
example first
hash=82bd74cdbb12a112f9adb756197b535c39e186d1
example progress $hash 3 2147483647 2147483647 250 10
example progress $hash 5 0 0 0 0
"$tqctl" list --kind bt
example progress no-such-hash 3 1 2 0 0
example progress $hash 3 2 1 0 0
example progress $hash 3 1x 2 0 0
rm -r /mnt/HDA_ROOT
example first
example progress $hash 3 1 2 0 0
mkdir /mnt/HDA_ROOT
