# A daemon outlives a queue that refuses it, and takes what waits there as soon as it may.
fresh
"$tqctl" add 'magnet:?xt=urn:btih:82bd74cdbb12a112f9adb756197b535c39e186d1&dn=film' >/dev/null
"$tqctl" msg send look bt:1
"${tqctl%/*}/messages" serve >log 2>&1 &
until_it_says 'failed' log
"$tqctl" msg clean
until "$tqctl" msg status 2>/dev/null | grep -q 0777; do sleep 0.05; done
example messages pause 1
example messages resume 1
example messages pause 2
kill $!
tail -2 log
example messages
