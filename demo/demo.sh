#!/bin/bash
# Shows what the library is for, on torrents made on the spot from files of this machine. Takes the folder of the built
# programs; ./dev demo runs it in the sandbox. Every step is checked: the first surprise ends the demonstration.
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
run tqctl show --hash "$(hash_of program)"

step 'A key that nobody knows is refused, and the exit status says why. Nothing is changed.'
unknown=$(printf 'nobody has this' | sha1sum | cut -d ' ' -f 1)
expect 3 tqctl show --hash "$unknown"
expect 3 progress "$unknown" </dev/null

step 'Downloads over HTTP and FTP go into the same list. A file with one address a line queues them.'
printf '%s\n' http://example.org/film.iso ftp://example.org/books/novel.pdf https://example.org/music.flac >addresses
run cat addresses
run tqctl add --input addresses

step 'Their downloader claims the oldest task and dies half-way. What it left is still marked as running.'
expect 70 downloader --crash
run tqctl next running
run tqctl list

step 'Started again, it recovers the task and goes on where it was left.'
run downloader
run tqctl list --filter finished

step 'Many processes at once: one for every licence text on this machine, all started in the same moment.'
adders=()
for file in "$licences"/*; do
    name=${file##*/}
    [[ -L $file ]] || { make_torrent "$name" "$file"; adders+=("$name"); }
done
printf '$ tqctl add MAGNET &     (%d of them)\n' "${#adders[@]}"
processes=()
for name in "${adders[@]}"; do
    tqctl add "$(magnet_of "$name")" >/dev/null &
    processes+=($!)
done
for process in "${processes[@]}"; do wait "$process"; done
run tqctl count --filter all
[[ $(tqctl count --filter all) == $((${#adders[@]} + 6)) ]] || { echo 'demo.sh: a task was lost' >&2; exit 1; }

step 'What was downloaded lies in the share, beside what belongs to others; a torrent also has files of its own.'
mkdir -p /share/Download
cp licence.torrent /mnt/HDA_ROOT/
cp "$licences/GPL-3" /share/Download/
touch /share/Download/{GPL-3.fastresume,film.iso,holiday.jpg}
run find /share/Download /mnt/HDA_ROOT -maxdepth 1 -type f

step 'The road ends: a task is removed as a whole, with its data if one asks for it. First, only what would go.'
run tqctl remove 1 --delete-data --dry-run
run tqctl remove 1 --delete-data --yes
run tqctl remove 1 --kind http --delete-data --yes
expect 3 tqctl show 1
expect 3 tqctl show 1 --kind http
run find /share/Download /mnt/HDA_ROOT -maxdepth 1 -type f
run tqctl count --filter all

printf '\nAll of it lived in one SQLite file, /mnt/HDA_ROOT/tq.db, in a sandbox that is gone now. Next: ./dev shell\n'
