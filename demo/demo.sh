#!/bin/bash
# Shows what the library is for, on torrents made on the spot and real downloads, all of files of this machine. Takes the
# directory of the built programs; ./dev demo runs it in the sandbox. Every step is checked: the first surprise ends it.
set -euo pipefail

if [[ ${KORVO_SANDBOX:-} != 1 || $# != 1 ]]; then
    echo "demo.sh changes the download manager's real database: run it as ./dev demo" >&2
    exit 2
fi
PATH=$1:$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd):$PATH
tracker=udp://tracker.example.org:6969/announce
licences=/usr/share/common-licenses
cd "$(mktemp -d)"

step() { printf '\n--- %s\n' "$*"; }

# Prints a command as one would type it.
show() {
    local line='$' word
    for word; do
        [[ $word != *[!A-Za-z0-9_./:=-]* ]] || word=\'$word\'
        line+=" $word"
    done
    printf '%s\n' "$line"
}

# expect STATUS COMMAND...: shows the command and its real output; any other exit status ends the demonstration.
expect() {
    local wanted=$1 status=0
    shift
    show "$@"
    "$@" 2>&1 || status=$?
    if ((status != 0)); then printf '(exit status %d)\n' "$status"; fi
    if ((status != wanted)); then
        printf 'demo.sh: exit status %d was expected\n' "$wanted" >&2
        exit 1
    fi
}
run() { expect 0 "$@"; }

# write_progress HASH STATE DONE TOTAL DOWN-RATE UP-RATE: what a torrent daemon writes back once a second.
write_progress() {
    printf '$ echo %s | progress %s\n' "${*:2}" "$1"
    progress "$1" <<<"${*:2}"
}

make_torrent() { mktorrent --announce="$tracker" --output="$1.torrent" "$2" >mktorrent.log || { cat mktorrent.log; return 1; }; }
magnet_of() { magnet.py "$1.torrent"; }
size_of() { magnet.py --size "$1.torrent"; }
hash_of() {
    local magnet
    magnet=$(magnet_of "$1")
    magnet=${magnet#*btih:}
    printf '%s\n' "${magnet%%&*}"
}

step 'Three real downloads: a licence text, a program, a folder. A magnet link names each by its hash.'
make_torrent licence "$licences/GPL-3"
make_torrent program "$(readlink -f /bin/bash)"
make_torrent folder "$licences"
run magnet.py folder.torrent

step 'Set the database up once, then add them. Each gets an identifier.'
run tqctl init
run tqctl add "$(magnet_of licence)" --file /mnt/HDA_ROOT/licence.torrent
run tqctl add "$(magnet_of program)"
run tqctl add "$(magnet_of folder)"

step 'The torrent daemon, another process, writes progress back: state, bytes done, bytes in all, rates.'
licence_size=$(size_of licence) program_size=$(size_of program)
write_progress "$(hash_of licence)" 5 "$licence_size" "$licence_size" 0 0
write_progress "$(hash_of program)" 4 $(((program_size * 2 + 4) / 5)) "$program_size" 262144 16384

step 'What a user sees: everything, then what is running and what is finished, then the second page of two.'
run tqctl list
run tqctl list --filter active
run tqctl list --filter finished
run tqctl list --page 2 --per-page 2

step 'Look one up by its hash.'
run tqctl show "$(hash_of program)"

step 'A key that nobody knows is refused, and the exit status says why. Nothing is changed.'
unknown=$(printf 'nobody has this' | sha1sum | cut -d ' ' -f 1)
expect 3 tqctl show "$unknown"
expect 3 progress "$unknown" </dev/null

step 'Downloads over HTTP go into the same list. A web server in here has three files of this machine, the compiler too.'
mkdir served
cp "$(g++ -print-prog-name=cc1plus)" served/compiler
cp "$(readlink -f /bin/bash)" served/program
cp "$licences/GPL-3" 'served/a licence.txt'
cat >lighttpd.conf <<CONF
server.document-root = "$PWD/served"
server.bind = "127.0.0.1"
server.port = 8080
server.kbytes-per-second = 3000
CONF
lighttpd -D -f lighttpd.conf 2>lighttpd.log &
server=$!
trap 'kill $server ${daemon:-}' EXIT
printf 'http://127.0.0.1:8080/%s\n' compiler program a%20licence.txt >addresses
run cat addresses
run tqctl add --input addresses

step 'tqfetchd downloads them. It is killed half-way through the compiler, without a warning.'
half=$(($(stat -c %s served/compiler) / 2))
fetch() {
    echo '$ tqfetchd &'
    tqfetchd 2>>tqfetchd.log &
    daemon=$!
}
# until_true COMMAND...: looks again and again, for a minute.
until_true() {
    for ((tries = 0; tries < 600; ++tries)); do
        ! "$@" || return 0
        sleep 0.1
    done
    cat tqfetchd.log
    echo 'demo.sh: the daemon does not get on' >&2
    exit 1
}
is_half_done() { (($(stat -c %s /share/Download/compiler.part 2>/dev/null || echo 0) >= half)); }
is_done() { (($(tqctl list --filter finished | grep -c ^http) == 3)); }
fetch
until_true is_half_done
show kill -KILL "$daemon"
kill -KILL "$daemon"
{ wait "$daemon" || true; } 2>/dev/null
run tqctl list
run ls -l /share/Download

step 'Started again, it goes on where it was, and not from the beginning.'
fetch
until_true is_done
show kill "$daemon"
kill "$daemon"
wait "$daemon"
daemon=
run cat tqfetchd.log
run tqctl list --filter finished

step 'What came out is what was served.'
(cd served && sha256sum -- *) >sums
run cat sums
(cd /share/Download && run sha256sum --check "$OLDPWD/sums")

step 'Many processes at once: one for every licence text on this machine, all started in the same moment.'
adders=()
for file in "$licences"/*; do
    name=${file##*/}
    [[ -L $file ]] || { make_torrent "$name" "$file"; adders+=("$name"); }
done
printf '$ tqctl add MAGNET --duplicates &     (%d of them)\n' "${#adders[@]}"
processes=()
for name in "${adders[@]}"; do
    tqctl add --duplicates "$(magnet_of "$name")" >/dev/null &
    processes+=($!)
done
for process in "${processes[@]}"; do wait "$process"; done
run tqctl count --filter all
[[ $(tqctl count --filter all) == $((${#adders[@]} + 6)) ]] || { echo 'demo.sh: a task was lost' >&2; exit 1; }

step 'What was downloaded lies in the share, beside what belongs to others; a torrent also has files of its own.'
cp licence.torrent /mnt/HDA_ROOT/
cp "$licences/GPL-3" /share/Download/
touch /share/Download/{GPL-3.fastresume,holiday.jpg}
run find /share/Download /mnt/HDA_ROOT -maxdepth 1 -type f

step 'The road ends: a task is removed as a whole, with its data if one asks for it. First, only what would go.'
run tqctl remove bt:1 --delete-data --dry-run
run tqctl remove bt:1 --delete-data --yes
run tqctl remove http:1 --delete-data --yes
expect 3 tqctl show bt:1
expect 3 tqctl show http:1
run find /share/Download /mnt/HDA_ROOT -maxdepth 1 -type f
run tqctl count --filter all

printf '\nAll of it lived in one SQLite file, /mnt/HDA_ROOT/tq.db, in a sandbox that is gone now. Next: ./dev shell\n'
