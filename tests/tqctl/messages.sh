# Both ends of the message queue, and a look into it.
say 'Without a queue.'
tq msg status
tq msg clean
tq msg get
say 'A receiver made it, so everybody may receive.'
tq msg status | sed "s/$(id -un)/ME/"
tq msg send-command 7 3 10 20 30
tq msg send-config -5 0
tq msg send-command -- -2147483648 2147483647 0 -1 1
tq msg status --json | grep -v owner
tq msg get
tq msg get
tq msg get
tq msg get

say 'Wrong numbers send nothing.'
tq msg send-config 1 -1
tq msg send-config 1
tq msg send-config 1 2 3
tq msg send-command 1 2 3 4
tq msg send-command 1 2 3 4 2147483648
tq msg send-config 0x1 1
tq msg
"$tqctl" msg status | head -1

say 'Following takes what waits and what comes, and ends cleanly when it is asked to.'
for signal in INT TERM; do
    "$tqctl" msg send-config 1 1
    "$tqctl" msg get --follow >followed 2>&1 &
    until_it_says config followed
    "$tqctl" msg send-command 2 2 2 2 2
    until_it_says command followed
    kill -$signal $!
    status wait $!
    cat followed
done

say 'What was taken and cannot be printed is told all the same.'
"$tqctl" msg send-command 1 2 3 4 5
into() { "$tqctl" "${@:2}" >&"$1"; }
exec 8>/dev/full
status into 8 msg get
exec 8>&-

say 'A queue that a sender made: the receiver is refused, with a reason, before the library would end it.'
tq msg clean
tq msg send-config 1 2
"$tqctl" msg status | grep mode
tq msg get
tq msg get --follow

say 'A full queue.'
while "$tqctl" msg send-config 1 1 2>/dev/null; do :; done
tq msg send-config 1 1
"$tqctl" msg status | grep room
tq msg clean
tq msg status

say 'A queue of somebody who lets nobody in.'
python3 -c 'import ctypes; ctypes.CDLL(None).msgget(2502, 0o1000)'
tq msg send-config 1 1
tq msg get
tq msg status
tq msg clean

say 'Help fits 80 columns.'
for command in '' send-command send-config get clean status; do
    "$tqctl" msg $command --help | tee help | head -1
    awk 'length > 80 { print "too wide: " $0 }' help
done
