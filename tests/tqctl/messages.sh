# Both ends of the message queue, and a look into it.
say 'Without a queue.'
tq msg status
tq msg clean
tq msg get
say 'A receiver made it, so everybody may receive.'
tq msg status | sed "s/$(id -un)/ME/"
fresh
torrent n >/dev/null
"$tqctl" msg get
tq msg send pause bt:1
tq msg send settings
tq msg send resume all
tq msg status --json | sed "s/$(id -un)/ME/"
tq msg get
tq msg get
tq msg get
tq msg get

say 'What is no message sends nothing.'
tq msg send pause
tq msg send pause bt:9
tq msg send settings bt:1
tq msg send nonsense 1
tq msg send release all
tq msg send look 1-9
tq msg send pause bt:1 extra
tq msg
tq msg get
"$tqctl" msg status | head -1

say 'Following takes what waits and what comes, and ends cleanly when it is asked to.'
for signal in INT TERM; do
    rm -f followed && "$tqctl" msg send settings
    "$tqctl" msg get --follow >followed 2>&1 &
    until_it_says config followed
    "$tqctl" msg send files 1
    until_it_says command followed
    kill -$signal $!
    status wait $!
    cat followed
done

say 'What was taken and cannot be printed is told all the same.'
"$tqctl" msg send look 1
into() { "$tqctl" "${@:2}" >&"$1"; }
exec 8>/dev/full
status into 8 msg get
exec 8>&-

say 'A queue that a sender made: the receiver is refused, with a reason, before the library would end it.'
tq msg clean
tq msg send settings
"$tqctl" msg status | grep mode
tq msg get
tq msg get --follow

say 'A full queue.'
python3 -c '
import ctypes
libc = ctypes.CDLL(None)
while libc.msgsnd(libc.msgget(2502, 0), ctypes.c_char_p(b"\1" + bytes(27)), 20, 0o4000) == 0: pass'
tq msg send settings
"$tqctl" msg status | grep room
tq msg clean
tq msg status

say 'A queue of somebody who lets nobody in.'
python3 -c 'import ctypes; ctypes.CDLL(None).msgget(2502, 0o1000)'
tq msg send settings
tq msg get
tq msg status
tq msg clean
