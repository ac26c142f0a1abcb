# Whatever is not understood or does not fit is refused before anything happens.
fresh
hash=0123456789abcdef0123456789abcdef01234567
bytes() { printf "%0$1d" 0; }

say 'Magnet links without a usable hash; fields without a name.'
tq add "sftp://example.org/?xt=urn:btih:$hash"
tq add 'magnet:?dn=name'
tq add "magnet:?xt=urn:btmh:1220$hash"
tq add "magnet:?xt=urn:btih:${hash}0"
tq add "magnet:?xt=urn:btih:$hash&dn=a%00b"
tq add --file /f
tq add --name= --file /f

say 'Values as long as their field are taken, longer ones are refused and never cut.'
for field in name:1024 file:1024 tracker:1022 pieces:128 start-time:19 finish-time:16 time-left:8 folder:256; do
    option=--${field%:*} width=${field#*:}
    status "$tqctl" add "$option" "$(bytes $((width + 1)))"
    name=(--name n)
    [[ $option != --name ]] || name=()
    status "$tqctl" add "${name[@]}" "$option" "$(bytes "$width")"
done
link="magnet:?xt=urn:btih:$hash&tr=" && room=$((2048 - ${#link}))
status "$tqctl" add "$link$(bytes $((room + 1)))"
status "$tqctl" add "$link$(bytes $room)"
status "$tqctl" set 1 --folder "$(bytes 257)"

say 'Numbers are decimal and in range.'
tq show 010
for number in -1 x 1x '' 0x1 2147483648 1.5; do
    tq show "$number"
done
tq list --page 0
tq list --per-page 0
tq list --page 1000000 --per-page 1000000
tq add --name n --state 3000000000
tq add --name n --rating nan
tq set 1 --marker=-1
tq set 1 --hash abc

say 'Commands and options.'
tq
tq frobnicate
tq list --filter bogus
tq list --frobnicate
tq list extra
tq show
tq show 1 --name n
tq set 1
tq set --marker 1
tq forget
tq forget 1 2-x
tq count --filter all

say 'A reader that went away and a full disk are failures, and an added task is named.'
into() { "$tqctl" "${@:2}" >&"$1"; }
exec 8>/dev/full
status into 8 list --json
status into 8 --help
status into 8 add --name n
mkfifo pipe && exec 7<>pipe 8>pipe 7>&- # a pipe whose only reader is gone
status into 8 list
exec 8>&-
