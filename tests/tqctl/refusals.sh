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
tq add --name n --file /f

say 'Values as long as their field are taken, longer ones are refused and never truncated.'
for field in name:1024 file:1024 folder:256; do
    option=--${field%:*} width=${field#*:}
    for bytes in $((width + 1)) $width; do
        status "$tqctl" add --hash $hash --duplicates "$option" "$(bytes $bytes)"
    done
done
link="magnet:?xt=urn:btih:$hash&tr=" && room=$((2048 - ${#link}))
status "$tqctl" add "$link$(bytes $((room + 1)))"
status "$tqctl" add --duplicates "$link$(bytes $room)"
status "$tqctl" set bt:1 --folder "$(bytes 257)"
tq add $'--name=a\nb' --hash "$hash"x

say 'Numbers are decimal and in range.'
tq list --page 0
tq list --per-page 0
tq list --page 1000000 --per-page 1000000 --no-header
for number in 3000000000 1x '' 1.5; do tq add --hash $hash --position "$number"; done
tq files bt:1 --want 3-1
cp /mnt/HDA_ROOT/tq.db copy.db && tq files bt:1 --want 1 --db copy.db

say 'Commands and options; what is near is suggested.'
tq
tq frobnicate
tq lsit
tq pauseee
tq resu
tq help nosuch
tq help rss nosuch
tq rss itmes
tq list --filter bogus
tq list --colums task
tq --json list
tq list extra
tq show
tq set bt:1
tq set --folder f
tq forget
tq forget bt:1 2-x
tq add -- foo
tq add --user me --name n
tq add --hash $hash --name a/b
tq add "sub/../../none.torrent"
: >empty.torrent && tq add empty.torrent
printf 'http://h/a\nnonsense\n' >list && tq add --input list
tq add --input missing
tq list --db missing --kind other
tq rss remove
tq job set all --name n
tq count --filter all
